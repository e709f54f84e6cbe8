#include "CommandLine.hpp"
#include "Commands.hpp"
#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Performance/ProcessSampler.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <thread>

namespace tarno::cli {

namespace {

using Json = nlohmann::ordered_json;

// The records' fields in order; `started` in ISO 8601 UTC or null.
Json encode(const ProcessSnapshot& process)
{
    return {
        {"pid", process.pid},
        {"parentPID", process.parentPID},
        {"path", process.path},
        {"name", process.name},
        {"memoryBytes", process.memoryBytes},
        {"cpuPercent", process.cpuPercent},
        {"responsiblePath", process.responsiblePath},
        {"started", process.started ? Json(TextFormat::isoTimestamp(*process.started)) : Json(nullptr)},
    };
}

Json encode(const ProcessGroup& group)
{
    return {
        {"id", group.id},
        {"name", group.name},
        {"bundlePath", group.bundlePath ? Json(*group.bundlePath) : Json(nullptr)},
        {"pids", group.pids},
        {"mainPID", group.mainPID},
        {"memoryBytes", group.memoryBytes},
        {"cpuPercent", group.cpuPercent},
        {"isSystemService", group.isSystemService},
    };
}

void printHuman(const ProcessSample& sample)
{
    std::size_t nameWidth = 4;
    for (const ProcessGroup& group : sample.groups)
        nameWidth = std::max(nameWidth, std::min<std::size_t>(group.name.size(), 40));
    std::int64_t memory = 0;
    fmt::print("{:<{}}  {:>10}  {:>7}  {}\n", "Name", nameWidth, "Memory", "CPU", "Processes");
    for (const ProcessGroup& group : sample.groups) {
        fmt::print("{:<{}}  {:>10}  {:>6.1f}%  {}{}\n", group.name.substr(0, 40), nameWidth,
                   ByteFormat::memory(group.memoryBytes), group.cpuPercent, group.pids.size(),
                   group.isSystemService ? "  (system)" : "");
        memory += group.memoryBytes;
    }
    fmt::print("{} processes in {} groups, {} in all\n", sample.processes.size(), sample.groups.size(),
               ByteFormat::memory(memory));
}

} // namespace

int runProcesses(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(processesSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    int samples = 2;
    if (const std::optional<std::string> given = parsed->option("--samples")) {
        const auto [end, error] = std::from_chars(given->data(), given->data() + given->size(), samples);
        if (error != std::errc() || end != given->data() + given->size() || samples < 1)
            return reportUsageError(fmt::format("--samples needs a whole number of 1 or more, not '{}'", *given),
                                    processesSyntax);
    }

    // Shares are measured between two samples of one sampler, so only the
    // second and later samples say anything about the processor.
    ProcessSampler sampler;
    ProcessSample sample = sampler.sample();
    for (int taken = 1; taken < samples; ++taken) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        sample = sampler.sample();
    }

    // This program runs, so a sample without any process is one that could not read /proc.
    if (sample.processes.empty()) {
        fmt::print(stderr, "tarno-cli: cannot read the processes from /proc\n");
        return incompleteStatus;
    }
    if (parsed->has("--json")) {
        Json processes = Json::array();
        for (const ProcessSnapshot& process : sample.processes)
            processes.push_back(encode(process));
        Json groups = Json::array();
        for (const ProcessGroup& group : sample.groups)
            groups.push_back(encode(group));
        const Json document = {{"processes", std::move(processes)}, {"groups", std::move(groups)}};
        // Paths and arguments are bytes on Linux; what is not UTF-8 prints repaired.
        JsonEncoding::print(document);
    } else {
        printHuman(sample);
    }
    return 0;
}

} // namespace tarno::cli
