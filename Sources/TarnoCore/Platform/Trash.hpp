#pragma once

#include "TarnoCore/Platform/TreeRemoval.hpp"

#include <chrono>
#include <string>
#include <variant>

// Moving to the Trash as the freedesktop.org Trash standard has it: the item
// is renamed into `trash`/files, beside a `trash`/info/<name>.trashinfo that
// says where it came from and when. Nothing is copied: an item on another
// file system than the Trash stays where it is, and that is a failure.
namespace tarno::Platform::Trash {

// Moves the file, link or folder at `path` (absolute and standard, as
// PathGuard::normalize gives it) into the Trash folder `trash`, made as
// needed. A name already in the Trash gets ".2", ".3", … appended. The path's
// folders are opened without following links, as for removal.
TreeRemoval::Outcome moveToTrash(const std::string& path, const std::string& trash,
                                 std::chrono::system_clock::time_point deletionDate);

// A name taken in the Trash for an item that another process will move
// there (one with the rights the user lacks): the .trashinfo is written, and
// `destination` is free for the item.
struct Reservation {
    std::string destination; // `trash`/files/<name>
    std::string info;        // `trash`/info/<name>.trashinfo

    bool operator==(const Reservation&) const = default;
};

// Takes a name for `path` (absolute and standard) in the Trash folder
// `trash`, made as needed, as moveToTrash would; the item is not looked at.
std::variant<Reservation, TreeRemoval::Outcome> reserve(const std::string& path, const std::string& trash,
                                                         std::chrono::system_clock::time_point deletionDate);

// Gives the name back when the item did not go.
void release(const Reservation& reservation);

// The text of a .trashinfo file: the path percent-encoded, the date in local time.
std::string infoText(const std::string& originalPath, std::chrono::system_clock::time_point deletionDate);

} // namespace tarno::Platform::Trash
