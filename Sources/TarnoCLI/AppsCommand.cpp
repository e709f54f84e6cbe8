#include "CommandLine.hpp"
#include "Commands.hpp"
#include "Confirmation.hpp"
#include "HomeEnvironment.hpp"
#include "JsonEncoding.hpp"

#include "TarnoCore/Apps/AppInventory.hpp"
#include "TarnoCore/Apps/AppRemover.hpp"
#include "TarnoCore/Apps/AppUninstall.hpp"
#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cstdio>
#include <map>

namespace tarno::cli {

namespace {

// Every app of the home, the program's own left out, with its parts measured
// one by one, as the Applications section measures them.
struct Inventory {
    std::vector<InstalledApp> apps;
    std::map<std::string, std::vector<AppPart>> parts;
};

std::vector<AppPart> measuredParts(const InstalledApp& app, const std::string& home,
                                   const std::vector<std::string>& others)
{
    std::vector<std::string> paths{app.path};
    for (std::string& path : AppInventory::parts(app, home, true, others))
        paths.push_back(std::move(path));
    std::vector<AppPart> parts;
    for (std::string& path : paths) {
        const std::int64_t bytes = SizeScanner::measure({path}).bytes;
        parts.push_back({std::move(path), bytes});
    }
    return parts;
}

std::vector<std::string> identifiers(const std::vector<InstalledApp>& apps)
{
    std::vector<std::string> ids;
    for (const InstalledApp& app : apps)
        ids.push_back(app.bundleID);
    return ids;
}

std::string lowercased(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// An app named on the command line: by its identifier or path exactly, or
// by its name in any case.
bool isNamed(const InstalledApp& app, const std::string& operand)
{
    return app.bundleID == operand || app.path == operand || lowercased(app.name) == lowercased(operand);
}

std::int64_t total(const std::vector<AppPart>& parts)
{
    std::int64_t bytes = 0;
    for (const AppPart& part : parts)
        bytes += part.bytes;
    return bytes;
}

const char* kindWord(AppKind kind)
{
    switch (kind) {
    case AppKind::bundle: return "";
    case AppKind::flatpak: return ", Flatpak";
    case AppKind::appImage: return ", AppImage";
    }
    return "";
}

void printApp(const InstalledApp& app, const std::vector<AppPart>& parts, const std::string& home)
{
    fmt::print("{}{}: {}{}{}\n", app.name, app.version ? " " + *app.version : std::string(),
               ByteFormat::string(total(parts)), kindWord(app.kind),
               app.needsPassword ? ", needs an administrator" : "");
    for (const AppPart& part : parts)
        fmt::print("  {:>10}  {}\n", ByteFormat::string(part.bytes), withTilde(part.path, home));
}

} // namespace

int runApps(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(appsSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    const std::string home = homeFor(*parsed);
    const std::vector<InstalledApp> apps = AppInventory::list(home, {Platform::ownApplicationID()});
    const std::vector<std::string> others = identifiers(apps);

    JsonEncoding::Json list = JsonEncoding::Json::array();
    for (const InstalledApp& app : apps) {
        const std::vector<AppPart> parts = measuredParts(app, home, others);
        if (parsed->has("--json"))
            list.push_back(JsonEncoding::encode(app, parts));
        else
            printApp(app, parts, home);
    }
    if (parsed->has("--json"))
        JsonEncoding::print(JsonEncoding::Json{{"apps", std::move(list)}});
    else if (apps.empty())
        fmt::print("No apps to uninstall.\n");
    return successStatus;
}

int runUninstall(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(uninstallSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    const std::string home = homeFor(*parsed);
    const std::vector<InstalledApp> installed = AppInventory::list(home, {Platform::ownApplicationID()});

    std::vector<std::string> unknown;
    for (const std::string& operand : parsed->operands) {
        if (std::none_of(installed.begin(), installed.end(),
                         [&](const InstalledApp& app) { return isNamed(app, operand); }))
            unknown.push_back(operand);
    }
    if (!unknown.empty()) {
        std::string list;
        for (const std::string& name : unknown)
            list += (list.empty() ? "" : ", ") + name;
        fmt::print(stderr, "tarno-cli: no installed app is called {} (tarno-cli apps lists them)\n", list);
        return usageErrorStatus;
    }

    // In the list's order; an app named twice goes once.
    const std::vector<std::string> others = identifiers(installed);
    std::vector<InstalledApp> chosen;
    std::map<std::string, std::vector<AppPart>> parts;
    const bool json = parsed->has("--json");
    JsonEncoding::Json document = JsonEncoding::Json::object();
    document["apps"] = JsonEncoding::Json::array();
    for (const InstalledApp& app : installed) {
        if (std::none_of(parsed->operands.begin(), parsed->operands.end(),
                         [&](const std::string& operand) { return isNamed(app, operand); }))
            continue;
        chosen.push_back(app);
        parts[app.path] = measuredParts(app, home, others);
        if (json)
            document["apps"].push_back(JsonEncoding::encode(app, parts[app.path]));
        else
            printApp(app, parts[app.path], home);
    }

    if (parsed->has("--dry-run")) {
        if (json)
            JsonEncoding::print(document);
        else
            fmt::print("Dry run: {} would be uninstalled; nothing was removed.\n",
                       chosen.size() == 1 ? std::string("1 app") : fmt::format("{} apps", chosen.size()));
        return successStatus;
    }
    if (!parsed->has("--yes")) {
        if (!canAsk()) {
            fmt::print(stderr, "tarno-cli: not uninstalling: standard input is not a terminal, so no one can "
                               "confirm; pass --yes to uninstall without asking\n");
            return incompleteStatus;
        }
        std::FILE* const promptStream = json ? stderr : stdout;
        const std::string question = chosen.size() == 1 ? fmt::format("Uninstall {}?", chosen.front().name)
                                                        : fmt::format("Uninstall these {} apps?", chosen.size());
        if (!confirmedOnTerminal(question, promptStream)) {
            fmt::print(promptStream, "Nothing was uninstalled.\n");
            return incompleteStatus;
        }
    }

    // Ctrl-C stops before the next app is asked to quit.
    const InterruptWatch watch;
    const PathGuard guardian = PathGuard::forHome(home);
    const AppRemover remover = AppRemover::live(guardian);
    const AppUninstall::Machine machine{
        .quit = [](const InstalledApp& app) { return AppInventory::quit(app); },
        .removeApps = [&remover](const std::vector<std::string>& paths) { return remover.remove(paths); },
        .trash = [&guardian](const std::vector<std::string>& paths) {
            return Cleaner{guardian}.perform(CleanupAction::Trash{paths});
        },
    };
    const AppUninstall::Progress progress{
        .working = [json](const std::string& name) {
            if (!json) {
                fmt::print("Uninstalling {}…\n", name);
                std::fflush(stdout);
            }
        },
        .removed = {},
    };
    const UninstallSummary summary = AppUninstall::run(chosen, parts, {}, machine, progress,
                                                       [] { return InterruptWatch::wasInterrupted(); });
    if (json) {
        document["summary"] = JsonEncoding::encode(summary);
        JsonEncoding::print(document);
    } else {
        if (!summary.failures.empty()) {
            fmt::print("Stayed:\n");
            for (const CleanReport::Failure& failure : summary.failures)
                fmt::print("  {}: {}\n", withTilde(failure.path, home), failure.reason);
        }
        fmt::print("Moved to the Trash: {}.\n", ByteFormat::string(summary.trashed));
    }
    if (!summary.apps.empty())
        CleanupHistory(home).append(AppUninstall::record(summary, std::chrono::system_clock::now()));
    const bool didAll = summary.failures.empty() && summary.apps.size() == chosen.size();
    return didAll ? successStatus : incompleteStatus;
}

} // namespace tarno::cli
