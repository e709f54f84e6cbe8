#include "Tarno/AppMachine.hpp"

#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Performance/SystemStats.hpp"

#include <memory>
#include <mutex>

namespace tarno {

AppMachine::History AppMachine::History::inFile(const std::string& file)
{
    // Appends read the file and write it again: two at once would lose one.
    auto writing = std::make_shared<std::mutex>();
    const CleanupHistory history = CleanupHistory::inFile(file);
    return History{
        .load = [history, writing] {
            const std::lock_guard lock(*writing);
            return history.load();
        },
        .append = [history, writing](const CleanupRecord& record) {
            const std::lock_guard lock(*writing);
            history.append(record);
        },
    };
}

AppMachine AppMachine::live(CleanupEnvironment environment)
{
    std::string home = environment.home;
    return AppMachine{
        .home = home,
        .history = History::inFile(CleanupHistory(home).file()),
        .disk = [](const std::string& path) { return SystemStats::disk(path); },
        .cleanup = CleanupMachine::live(std::move(environment)),
        .projects = ProjectsMachine::live(),
        .largeFiles = LargeFilesMachine::live(),
        .duplicates = DuplicatesMachine::live(),
        .applications = ApplicationsMachine::live(),
        .performance = PerformanceMachine::live(),
    };
}

} // namespace tarno
