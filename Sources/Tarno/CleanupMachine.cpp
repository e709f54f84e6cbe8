#include "Tarno/CleanupMachine.hpp"

#include "TarnoCore/Cleanup/AdminCleanup.hpp"
#include "TarnoCore/Cleanup/CleanupCatalog.hpp"
#include "TarnoCore/Foundation/PrivacyAccess.hpp"
#include "TarnoCore/Platform/DesktopEntries.hpp"

#include <QProcess>
#include <QStringList>

namespace tarno {

CleanupMachine CleanupMachine::live(CleanupEnvironment environment)
{
    return CleanupMachine{
        .environment = std::move(environment),
        .catalog = [](const CleanupEnvironment& env) { return CleanupCatalog::items(env); },
        .measure = [](const CleanupItem& item, const IsCancelled& isCancelled) { return item.measure(isCancelled); },
        .perform = [](const PathGuard& guardian, const CleanupAction& action, const IsCancelled& isCancelled) {
            return Cleaner{guardian}.perform(action, isCancelled);
        },
        .removeAsAdministrator = [](const std::vector<std::string>& paths, const std::string& prompt) {
            return AdminCleanup::remove(paths, prompt);
        },
        .hasFullDiskAccess = [](const std::string& home) { return PrivacyAccess::hasFullDiskAccess(home); },
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

CleanupRun::Machine CleanupMachine::road(const PathGuard& guardian) const
{
    return CleanupRun::Machine{
        .perform = [perform = perform, guardian](const CleanupAction& action, const IsCancelled& isCancelled) {
            return perform(guardian, action, isCancelled);
        },
        .measure = measure,
    };
}

} // namespace tarno
