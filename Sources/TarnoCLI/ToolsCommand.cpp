#include "CommandLine.hpp"
#include "Commands.hpp"
#include "Confirmation.hpp"
#include "HomeEnvironment.hpp"
#include "JsonEncoding.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Performance/DeveloperTools.hpp"
#include "TarnoCore/Performance/FolderActivity.hpp"
#include "TarnoCore/Performance/ProcessSampler.hpp"
#include "TarnoCore/Performance/SlownessCheck.hpp"
#include "TarnoCore/Platform/ProcessTable.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace tarno::cli {

namespace {

using DeveloperTools::DeveloperTool;
using Clock = std::chrono::system_clock;

// A folder's files are looked at up to this many, so that a huge tree costs
// a bounded time; what is beyond counts as unchanged.
constexpr int mostFilesLooked = 50'000;

// Two samples a second apart, so that the processor shares are real.
ProcessSample sampleTwice()
{
    ProcessSampler sampler;
    sampler.sample();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return sampler.sample();
}

// The newest modification of a source file in the folder; what tools write
// (build output, caches, .git) does not count.
std::optional<Clock::time_point> newestEdit(const std::string& folder)
{
    namespace fs = std::filesystem;
    std::error_code error;
    std::optional<fs::file_time_type> newest;
    int looked = 0;
    for (fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, error), end;
         it != end && looked < mostFilesLooked; it.increment(error), ++looked) {
        if (error)
            break;
        if (FolderActivity::isGenerated(it->path().string())) {
            if (it->is_directory(error))
                it.disable_recursion_pending();
            continue;
        }
        if (!it->is_regular_file(error))
            continue;
        const fs::file_time_type modified = it->last_write_time(error);
        if (!error && (!newest || modified > *newest))
            newest = modified;
    }
    if (!newest)
        return std::nullopt;
    return std::chrono::time_point_cast<Clock::duration>(std::chrono::file_clock::to_sys(*newest));
}

// How long a dev server has gone unused as one look can tell: none while a
// client is connected, else since the later of its start and the last edit
// in its folder. Other tools have none.
std::optional<double> idleSeconds(const DeveloperTool& tool, Clock::time_point now)
{
    if (tool.kind != DeveloperTool::Kind::devServer)
        return std::nullopt;
    if (tool.clients > 0)
        return 0.0;
    std::optional<Clock::time_point> lastUse = tool.started;
    if (tool.folder) {
        if (const auto edit = newestEdit(*tool.folder); edit && (!lastUse || *edit > *lastUse))
            lastUse = edit;
    }
    if (!lastUse)
        return std::nullopt;
    return std::max(0.0, std::chrono::duration<double>(now - *lastUse).count());
}

void printTool(const DeveloperTool& tool, std::optional<double> idle)
{
    std::string state;
    if (tool.clients > 0)
        state = ", in use";
    else if (idle)
        state = ", idle " + SlownessCheck::duration(*idle);
    fmt::print("{}  {}: {}, {} CPU{}\n", tool.id, tool.title, ByteFormat::memory(tool.memoryBytes),
               SlownessCheck::percent(tool.cpuPercent), state);
    fmt::print("  {}\n  Stopping it: {}\n", tool.detail, tool.consequence);
}

bool isRunning(std::int32_t pid, const Platform::ProcessTable& table)
{
    const std::optional<Platform::ProcessTable::Status> status = table.status(pid);
    return status && !status->hasEnded;
}

} // namespace

int runTools(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(toolsSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    const std::string home = homeFor(*parsed);
    const std::vector<DeveloperTool> tools = DeveloperTools::find(sampleTwice(), home);
    const Clock::time_point now = Clock::now();
    if (parsed->has("--json")) {
        JsonEncoding::Json list = JsonEncoding::Json::array();
        for (const DeveloperTool& tool : tools) {
            JsonEncoding::Json object = JsonEncoding::encode(tool);
            const std::optional<double> idle = idleSeconds(tool, now);
            object["idleSeconds"] = idle ? JsonEncoding::Json(*idle) : JsonEncoding::Json();
            list.push_back(std::move(object));
        }
        JsonEncoding::print(JsonEncoding::Json{{"tools", std::move(list)}});
        return successStatus;
    }
    if (tools.empty())
        fmt::print("No developer tools running.\n");
    for (const DeveloperTool& tool : tools)
        printTool(tool, idleSeconds(tool, now));
    return successStatus;
}

int runStop(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(stopSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    const std::string home = homeFor(*parsed);
    ProcessSampler sampler;
    const std::vector<DeveloperTool> running = DeveloperTools::find(sampler.sample(), home);

    std::vector<DeveloperTool> chosen;
    std::vector<std::string> unknown;
    for (const std::string& id : parsed->operands) {
        const auto found = std::find_if(running.begin(), running.end(),
                                        [&](const DeveloperTool& tool) { return tool.id == id; });
        if (found == running.end())
            unknown.push_back(id);
        else if (std::none_of(chosen.begin(), chosen.end(), [&](const DeveloperTool& tool) { return tool.id == id; }))
            chosen.push_back(*found);
    }
    if (!unknown.empty()) {
        std::string list;
        for (const std::string& id : unknown)
            list += (list.empty() ? "" : ", ") + id;
        fmt::print(stderr, "tarno-cli: no running developer tool has the id {} (tarno-cli tools lists them)\n", list);
        return usageErrorStatus;
    }

    const bool json = parsed->has("--json");
    JsonEncoding::Json document = JsonEncoding::Json::object();
    document["tools"] = JsonEncoding::Json::array();
    for (const DeveloperTool& tool : chosen) {
        if (json)
            document["tools"].push_back(JsonEncoding::encode(tool));
        else
            fmt::print("{}: {}\n", tool.title, tool.consequence);
    }
    if (!parsed->has("--yes")) {
        if (!canAsk()) {
            fmt::print(stderr, "tarno-cli: not stopping: standard input is not a terminal, so no one can confirm; "
                               "pass --yes to stop without asking\n");
            return incompleteStatus;
        }
        std::FILE* const promptStream = json ? stderr : stdout;
        const std::string question = chosen.size() == 1 ? fmt::format("Stop {}?", chosen.front().title)
                                                        : fmt::format("Stop these {} tools?", chosen.size());
        if (!confirmedOnTerminal(question, promptStream)) {
            fmt::print(promptStream, "Nothing was stopped.\n");
            return incompleteStatus;
        }
    }

    for (const DeveloperTool& tool : chosen)
        DeveloperTools::stop(tool);
    // A process gets ten seconds to act on the request; one that stays is
    // named, never killed.
    const Platform::ProcessTable table;
    std::vector<const DeveloperTool*> staying;
    for (int pass = 0; pass <= 40; ++pass) {
        staying.clear();
        for (const DeveloperTool& tool : chosen) {
            if (std::any_of(tool.pids.begin(), tool.pids.end(), [&](std::int32_t pid) { return isRunning(pid, table); }))
                staying.push_back(&tool);
        }
        if (staying.empty() || pass == 40)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    if (json) {
        document["stillRunning"] = JsonEncoding::Json::array();
        for (const DeveloperTool* tool : staying)
            document["stillRunning"].push_back(tool->id);
        JsonEncoding::print(document);
    } else {
        for (const DeveloperTool* tool : staying)
            fmt::print("Still running: {} ({}). It did not end when asked; quit it from where it runs.\n", tool->title,
                       tool->id);
    }
    return staying.empty() ? successStatus : incompleteStatus;
}

} // namespace tarno::cli
