#include "Tarno/AppMachine.hpp"

#include "TarnoCore/Cleanup/AdminCleanup.hpp"
#include "TarnoCore/Cleanup/CleanupCatalog.hpp"
#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/PrivacyAccess.hpp"
#include "TarnoCore/Performance/SystemStats.hpp"
#include "TarnoCore/Platform/DesktopEntries.hpp"

#include <QProcess>
#include <QStringList>

namespace tarno {

AppMachine AppMachine::live(CleanupEnvironment environment)
{
    std::string historyFile = CleanupHistory(environment.home).file();
    return AppMachine{
        .environment = std::move(environment),
        .catalog = [](const CleanupEnvironment& env) { return CleanupCatalog::items(env); },
        .measure = [](const CleanupItem& item) { return item.measure(); },
        .perform = [](const PathGuard& guardian, const CleanupAction& action) {
            return Cleaner{guardian}.perform(action);
        },
        .removeAsAdministrator = [](const std::vector<std::string>& paths, const std::string& prompt) {
            return AdminCleanup::remove(paths, prompt);
        },
        .hasFullDiskAccess = [](const std::string& home) { return PrivacyAccess::hasFullDiskAccess(home); },
        .disk = [](const std::string& path) { return SystemStats::disk(path); },
        .historyFile = std::move(historyFile),
        .dockerApplication = Platform::desktopApplicationCommand(Platform::dockerDesktopID()),
        .launch = [](const std::vector<std::string>& command) {
            if (command.empty())
                return false;
            QStringList arguments;
            for (auto argument = command.begin() + 1; argument != command.end(); ++argument)
                arguments.append(QString::fromStdString(*argument));
            return QProcess::startDetached(QString::fromStdString(command.front()), arguments);
        },
    };
}

} // namespace tarno
