#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// Removal of files and folder trees that never follows a symbolic link and
// never leaves the path it was given. Every path taken here is absolute and
// standard (PathGuard::normalize): its folders are opened one by one from the
// root without following links, and everything below is reached relative to
// an open folder, so a folder swapped for a link between a check and the
// removal is not followed; the link itself goes, or the removal fails.
namespace tarno::Platform::TreeRemoval {

// How the work on one path went.
struct Outcome {
    enum class Status {
        done,   // removed, or moved where it was asked to go
        absent, // nothing was there: nothing to do
        failed,    // `reason` says why, in words for the user
        denied,    // the system refused for want of permission; `reason` says so
        cancelled, // stopped on request: part of a tree may be gone
    };
    Status status = Status::done;
    std::string reason;

    bool operator==(const Outcome&) const = default;
};

// An open file descriptor, closed when it goes.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }

private:
    int m_descriptor = -1;
};

// The open folder that holds a path, and the path's last component.
struct Parent {
    Descriptor folder; // opened for reference only (O_PATH)
    std::string name;
};

// Opens the folder that holds `path`, component by component from the root,
// following no link. An absent folder on the way gives `absent`; a link on
// the way gives `failed`.
std::variant<Parent, Outcome> openParent(const std::string& path);

// The system's words for an error number, starting in lower case.
std::string errorWords(int error);

// Called with each folder's path just before it is opened; tests use it to
// change the tree at the worst moment.
using FolderHook = std::function<void(const std::string& folder)>;

// Removes the file, link or folder tree at `path`. Inside the tree nothing is
// followed and no other file system is entered: a mount point inside is left
// with its contents, and the tree's removal fails. The removal goes on past a
// failure and reports the first one. `isCancelled` is asked before each folder
// is opened; once it answers yes nothing more is removed.
Outcome remove(const std::string& path,
               const std::function<bool()>& isCancelled = {},
               const FolderHook& beforeOpeningFolder = {});

// The names in the folder at `path`, sorted, without "." and "..". A folder
// that is a mount point gives a failure, as a removal that meets one does.
struct Listing {
    std::vector<std::string> names;
    std::optional<std::string> failure; // words for the user
};
Listing listFolder(const std::string& path);

} // namespace tarno::Platform::TreeRemoval
