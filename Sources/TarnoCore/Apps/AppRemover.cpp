#include "TarnoCore/Apps/AppRemover.hpp"

#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/AdministratorPrompt.hpp"
#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Platform/Text.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"
#include "TarnoCore/Platform/Trash.hpp"

#include <chrono>
#include <cstdlib>
#include <map>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {

namespace {

using Failure = CleanReport::Failure;

constexpr const char* cancelledPrompt = "The password prompt was cancelled.";
constexpr const char* administratorLeftIt = "pkexec did not move it to the Trash";
constexpr const char* flatpakLeftIt = "Flatpak did not uninstall it";

// Flatpak asks for authorisation itself for a system-wide app and may wait as
// long as the prompt stands; a download of nothing should never take longer.
constexpr std::chrono::seconds flatpakTimeout{960};
constexpr std::chrono::seconds promptTimeout{960};

bool isStillThere(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

std::string reasonFor(const AdminCleanup::Outcome& outcome)
{
    using Kind = AdminCleanup::Outcome::Kind;
    switch (outcome.kind) {
    case Kind::removed: return administratorLeftIt;
    case Kind::cancelled: return cancelledPrompt;
    case Kind::notAllowed:
    case Kind::couldNotStart:
    case Kind::failed: return outcome.message.empty() ? administratorLeftIt : outcome.message;
    }
    return administratorLeftIt;
}

std::string folderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

std::string nameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

AppRemover AppRemover::live(PathGuard guardian)
{
    const std::string trashFolder = Platform::trashFolder(guardian.home());
    const char* searchPath = std::getenv("PATH");
    return AppRemover{
        .guardian = std::move(guardian),
        .trash = [trashFolder](const std::string& path) {
            return Platform::Trash::moveToTrash(path, trashFolder, std::chrono::system_clock::now());
        },
        .administrator = [trashFolder](const std::vector<std::string>& paths) {
            return moveAsAdministrator(paths, trashFolder);
        },
        .flatpak = [path = std::string(searchPath ? searchPath : "")](const std::vector<std::string>& ids,
                                                                       bool systemWide) {
            return uninstallFlatpaks(ids, systemWide, path);
        },
    };
}

CleanReport AppRemover::remove(const std::vector<std::string>& paths) const
{
    CleanReport report;
    std::vector<std::string> forAdministrator;
    // Flatpak folders by installation: the system's (true) and the user's.
    std::map<bool, std::vector<std::string>> flatpaks;
    const std::string systemFlatpaks = Platform::flatpakAppFolders({}).front();

    for (const std::string& path : paths) {
        if (isAllowed(guardian.checkUninstallFlatpak(path))) {
            flatpaks[folderOf(PathGuard::normalize(path)) == systemFlatpaks].push_back(path);
            continue;
        }
        const PathGuard::Verdict verdict = guardian.checkTrashApp(path);
        if (const auto* refusal = std::get_if<PathGuard::Refused>(&verdict)) {
            report.failures.push_back({path, refusal->reason, Failure::Kind::refused});
            continue;
        }
        const Platform::TreeRemoval::Outcome outcome = trash(PathGuard::normalize(path));
        switch (outcome.status) {
        case Platform::TreeRemoval::Outcome::Status::done:
            ++report.removed;
            break;
        case Platform::TreeRemoval::Outcome::Status::denied:
            forAdministrator.push_back(path);
            break;
        case Platform::TreeRemoval::Outcome::Status::absent:
            report.failures.push_back({path, "it is no longer there", Failure::Kind::failed});
            break;
        case Platform::TreeRemoval::Outcome::Status::failed:
        case Platform::TreeRemoval::Outcome::Status::cancelled:
            report.failures.push_back({path, outcome.reason, Failure::Kind::failed});
            break;
        }
    }

    // The disk alone says what went; every path of a batch still there gets
    // the batch's reason.
    const auto settle = [&report](const std::vector<std::string>& batch, const std::string& reason,
                                  Failure::Kind kind) {
        for (const std::string& path : batch) {
            if (isStillThere(path))
                report.failures.push_back({path, reason, kind});
            else
                ++report.removed;
        }
    };

    if (!forAdministrator.empty()) {
        // The guard is asked again right before the prompt: the paths may
        // have changed while the first moves ran.
        std::vector<std::string> batch;
        for (const std::string& path : forAdministrator) {
            const PathGuard::Verdict verdict = guardian.checkTrashApp(path);
            if (const auto* refusal = std::get_if<PathGuard::Refused>(&verdict))
                report.failures.push_back({path, refusal->reason, Failure::Kind::refused});
            else
                batch.push_back(PathGuard::normalize(path));
        }
        if (!batch.empty()) {
            const AdminCleanup::Outcome outcome = administrator(batch);
            const Failure::Kind kind = outcome.kind == AdminCleanup::Outcome::Kind::cancelled ? Failure::Kind::cancelled
                                                                                               : Failure::Kind::failed;
            settle(batch, reasonFor(outcome), kind);
        }
    }

    for (const auto& [systemWide, folders] : flatpaks) {
        std::vector<std::string> ids;
        std::vector<std::string> batch;
        for (const std::string& folder : folders) {
            // Again at the moment of removal, as for every other path.
            if (!isAllowed(guardian.checkUninstallFlatpak(folder)))
                continue;
            batch.push_back(PathGuard::normalize(folder));
            ids.push_back(nameOf(batch.back()));
        }
        if (batch.empty())
            continue;
        const std::optional<std::string> message = flatpak(ids, systemWide);
        settle(batch, message && !message->empty() ? *message : flatpakLeftIt, Failure::Kind::failed);
    }
    return report;
}

std::string AppRemover::administratorScript()
{
    // Fixed text: the paths arrive as arguments and are never part of it, so
    // no name can be read as a command. One failed move does not stop the rest.
    return "owner=\"$1\"; shift; status=0\n"
           "while [ \"$#\" -ge 2 ]; do\n"
           "    /bin/mv -T -- \"$1\" \"$2\" && /bin/chown -R -h -- \"$owner\" \"$2\" || status=1\n"
           "    shift 2\n"
           "done\n"
           "exit \"$status\"";
}

std::vector<std::string> AppRemover::administratorArguments(const std::string& owner,
                                                            const std::vector<std::pair<std::string, std::string>>& moves)
{
    std::vector<std::string> arguments{"/bin/sh", "-c", administratorScript(), "sh", owner};
    for (const auto& [from, to] : moves) {
        arguments.push_back(from);
        arguments.push_back(to);
    }
    return arguments;
}

AdminCleanup::Outcome AppRemover::moveAsAdministrator(const std::vector<std::string>& paths, const std::string& trash)
{
    using Kind = AdminCleanup::Outcome::Kind;
    // The names in the Trash are taken as the user, with their .trashinfo
    // written, so that the administrator only renames.
    std::vector<Platform::Trash::Reservation> reservations;
    std::vector<std::pair<std::string, std::string>> moves;
    std::string firstProblem;
    const auto now = std::chrono::system_clock::now();
    for (const std::string& path : paths) {
        auto reserved = Platform::Trash::reserve(path, trash, now);
        if (auto* reservation = std::get_if<Platform::Trash::Reservation>(&reserved)) {
            moves.emplace_back(path, reservation->destination);
            reservations.push_back(std::move(*reservation));
        } else if (firstProblem.empty()) {
            firstProblem = std::get<Platform::TreeRemoval::Outcome>(reserved).reason;
        }
    }
    if (moves.empty())
        return {Kind::failed, firstProblem};

    const std::string owner = std::to_string(::getuid()) + ":" + std::to_string(::getgid());
    AdminCleanup::Outcome outcome;
    const std::optional<std::vector<std::string>> line =
        Platform::AdministratorPrompt::commandLine(administratorArguments(owner, moves));
    if (!line) {
        outcome = AdminCleanup::outcomeOf(Platform::AdministratorPrompt::answerFor(std::nullopt, {}));
    } else {
        const std::vector<std::string> arguments(line->begin() + 1, line->end());
        const std::optional<Shell::Output> output = Shell::run(line->front(), arguments, {}, promptTimeout);
        outcome = AdminCleanup::outcomeOf(output
                                              ? Platform::AdministratorPrompt::answerFor(output->status,
                                                                                         output->standardError)
                                              : Platform::AdministratorPrompt::answerFor(std::nullopt, {}));
    }
    for (std::size_t index = 0; index < moves.size(); ++index) {
        if (isStillThere(moves[index].first) || !isStillThere(moves[index].second))
            Platform::Trash::release(reservations[index]);
    }
    return outcome;
}

std::optional<std::string> AppRemover::uninstallFlatpaks(const std::vector<std::string>& appIDs, bool systemWide,
                                                         const std::string& searchPath)
{
    const std::optional<std::string> tool = Platform::firstExecutable(Platform::flatpakCandidates(searchPath));
    if (!tool)
        return "Flatpak is not installed";
    std::vector<std::string> arguments{"uninstall", systemWide ? "--system" : "--user", "--assumeyes", "--"};
    arguments.insert(arguments.end(), appIDs.begin(), appIDs.end());
    const std::optional<Shell::Output> output = Shell::run(*tool, arguments, {}, flatpakTimeout);
    if (!output)
        return "flatpak could not be started";
    if (output->succeeded())
        return std::nullopt;
    const std::string_view said = Text::trimmed(output->standardError);
    return said.empty() ? "exit code " + std::to_string(output->status) : std::string(said);
}

} // namespace tarno
