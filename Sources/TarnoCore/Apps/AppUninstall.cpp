#include "TarnoCore/Apps/AppUninstall.hpp"

namespace tarno::AppUninstall {

std::string stillOpenReason(const std::string& name)
{
    return name + " is still open. Quit it, then try again.";
}

UninstallSummary run(const std::vector<InstalledApp>& apps, const std::map<std::string, std::vector<AppPart>>& parts,
                     const std::set<std::string>& kept, const Machine& machine, const Progress& progress,
                     const std::function<bool()>& isCancelled)
{
    UninstallSummary summary;
    const auto working = [&progress](const std::string& name) {
        if (progress.working)
            progress.working(name);
    };

    std::vector<InstalledApp> closed;
    for (const InstalledApp& app : apps) {
        if (isCancelled())
            return summary;
        working(app.name);
        if (machine.quit(app))
            closed.push_back(app);
        else
            summary.failures.push_back({app.path, stillOpenReason(app.name), CleanReport::Failure::Kind::failed});
    }
    if (closed.empty())
        return summary;

    working(closed.size() == 1 ? closed.front().name : std::to_string(closed.size()) + " apps");
    std::vector<std::string> paths;
    for (const InstalledApp& app : closed)
        paths.push_back(app.path);
    const CleanReport removal = machine.removeApps(paths);
    summary.failures.insert(summary.failures.end(), removal.failures.begin(), removal.failures.end());
    const std::set<std::string> stayedApps = removal.failedPaths();

    for (const InstalledApp& app : closed) {
        if (stayedApps.contains(app.path))
            continue;
        working(app.name);
        const auto found = parts.find(app.path);
        const std::vector<AppPart> appParts = found == parts.end() ? std::vector<AppPart>{} : found->second;
        std::vector<std::string> rest;
        for (std::size_t index = 1; index < appParts.size(); ++index) {
            if (!kept.contains(appParts[index].path))
                rest.push_back(appParts[index].path);
        }
        const CleanReport report = machine.trash(rest);
        summary.failures.insert(summary.failures.end(), report.failures.begin(), report.failures.end());
        std::set<std::string> stayed = report.failedPaths();
        stayed.insert(kept.begin(), kept.end());
        for (std::size_t index = 0; index < appParts.size(); ++index) {
            // The app itself has gone, whatever is spared.
            if (index == 0 || !stayed.contains(appParts[index].path))
                summary.trashed += appParts[index].bytes;
        }
        summary.apps.push_back(app.name);
        if (progress.removed)
            progress.removed(app);
    }
    return summary;
}

CleanupRecord record(const UninstallSummary& summary, std::chrono::system_clock::time_point date)
{
    return CleanupRecord{.date = date,
                         .source = "Applications",
                         .freedBytes = summary.trashed,
                         .items = summary.apps,
                         .failures = static_cast<int>(summary.failures.size())};
}

} // namespace tarno::AppUninstall
