#pragma once

#include "TarnoCore/Cleanup/AdminCleanup.hpp"
#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Platform/TreeRemoval.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// Removes applications themselves: moves bundles and AppImages to the Trash
// and has Flatpak uninstall its apps. Applications often belong to the
// system, so a move the system refuses for want of permission is not a
// failure: every such path goes in one batch to the administrator's prompt,
// which moves them into the user's Trash. Tarno never asks for a password
// itself and never holds one. What an app keeps in the home is removed by
// the caller, through the cleaner.
struct AppRemover {
    PathGuard guardian;
    // Moves one path to the user's Trash.
    std::function<Platform::TreeRemoval::Outcome(const std::string& path)> trash;
    // Moves all the paths to the user's Trash as the administrator, after one prompt.
    std::function<AdminCleanup::Outcome(const std::vector<std::string>& paths)> administrator;
    // Uninstalls Flatpak apps of one installation; no text means Flatpak
    // said it did, a text is what it said instead.
    std::function<std::optional<std::string>(const std::vector<std::string>& appIDs, bool systemWide)> flatpak;

    // This machine, for the user whose home the guard keeps.
    static AppRemover live(PathGuard guardian);

    // Blocks until everything is done, for as long as a prompt stands: call
    // it off the main thread. Only the disk says what went: a path still
    // there afterwards is a failure, whatever the tool answered, and one that
    // is gone counts as removed.
    CleanReport remove(const std::vector<std::string>& paths) const;

    // The administrator's move: a fixed shell script that takes the new
    // owner ("uid:gid") and then pairs of an item and its place in the Trash.
    // The items are given to the user, or they could never be emptied from
    // the Trash.
    static std::string administratorScript();
    static std::vector<std::string> administratorArguments(const std::string& owner,
                                                           const std::vector<std::pair<std::string, std::string>>& moves);

    // The live administrator's move of `paths` into the Trash folder `trash`.
    static AdminCleanup::Outcome moveAsAdministrator(const std::vector<std::string>& paths, const std::string& trash);

    // The live Flatpak uninstall, through the tool found on `searchPath`.
    static std::optional<std::string> uninstallFlatpaks(const std::vector<std::string>& appIDs, bool systemWide,
                                                        const std::string& searchPath);
};

} // namespace tarno
