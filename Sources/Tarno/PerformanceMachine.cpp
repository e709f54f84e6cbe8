#include "Tarno/PerformanceMachine.hpp"

#include "Tarno/FileViewer.hpp"

#include "TarnoCore/Performance/FolderActivity.hpp"
#include "TarnoCore/Performance/SystemStats.hpp"

#include <memory>

#include <csignal>
#include <unistd.h>

namespace tarno {

namespace {

// Edits arrive in bursts (a save, a formatter, a branch switch): one pass per
// five seconds is plenty for an idle time counted in hours.
constexpr std::chrono::seconds editLatency{5};

} // namespace

PerformanceMachine PerformanceMachine::live()
{
    auto sampler = std::make_shared<ProcessSampler>();
    auto activity = std::make_shared<FolderActivity>(editLatency);
    return PerformanceMachine{
        .memory = [] { return SystemStats::memory(); },
        .sample = [sampler] { return sampler->sample(); },
        .findTools = [](const ProcessSample& sample, const std::string& home) {
            return DeveloperTools::find(sample, home);
        },
        .stopTool = [](const DeveloperTool& tool) { return DeveloperTools::stop(tool); },
        .quitGroup = [](const ProcessGroup& group, bool force) {
            for (const std::int32_t pid : group.pids) {
                if (pid > 1 && pid != ::getpid())
                    ::kill(pid, force ? SIGKILL : SIGTERM);
            }
        },
        .startupItems = [](const std::string& home) { return StartupItems::list(home); },
        .removeLeftover = [](const StartupItem& item, const std::string& home) {
            return StartupItems::removeLeftover(item, home);
        },
        .watchFolders = [activity](const std::set<std::string>& folders) {
            activity->watch({folders.begin(), folders.end()});
        },
        .folderChanges = [activity] { return activity->lastChanges(); },
        .polledFolders = [activity] { return activity->polledFolders(); },
        .now = [] { return std::chrono::system_clock::now(); },
        .ownPID = static_cast<std::int32_t>(::getpid()),
        .reveal = [](const std::vector<std::string>& paths) { FileViewer::reveal(paths); },
    };
}

} // namespace tarno
