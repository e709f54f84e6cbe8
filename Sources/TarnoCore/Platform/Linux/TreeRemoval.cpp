// Tree removal with openat/unlinkat. The path's folders are opened one by one
// with O_NOFOLLOW, and everything below is reached relative to a descriptor,
// so no link anywhere is followed, whenever it appeared.

#include "TarnoCore/Platform/TreeRemoval.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace tarno::Platform::TreeRemoval {

namespace {

// O_PATH needs only the right to pass through a folder, not to read it.
constexpr int folderReference = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int folderForReading = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Each level holds a descriptor open, so the descriptor limit usually ends a
// deeper walk first; this keeps the recursion off the end of the stack too.
constexpr int maximumDepth = 4096;

Outcome failed(std::string reason)
{
    return Outcome{Outcome::Status::failed, std::move(reason)};
}

Outcome absent()
{
    return Outcome{Outcome::Status::absent, {}};
}

// glibc gives the GNU strerror_r in C++; either form is read here.
[[maybe_unused]] const char* textOf(int /*result*/, const char* buffer)
{
    return buffer;
}
[[maybe_unused]] const char* textOf(const char* text, const char* /*buffer*/)
{
    return text;
}

// What removal needs to know of an entry, without following it.
struct Entry {
    mode_t mode = 0;
    dev_t device = 0;
    bool isMountRoot = false;
    std::uint64_t mountID = 0; // 0 when the system does not say
};

// The entry `name` in `folder`, or the folder itself for an empty name.
std::optional<Entry> entryAt(int folder, const char* name, int& error)
{
    struct statx status;
    const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (name[0] == '\0' ? AT_EMPTY_PATH : 0);
    if (::statx(folder, name, flags, STATX_TYPE | STATX_MNT_ID, &status) != 0) {
        error = errno;
        return std::nullopt;
    }
    Entry entry;
    entry.mode = status.stx_mode;
    entry.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    entry.isMountRoot = (status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0
        && (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    entry.mountID = (status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0;
    return entry;
}

// A folder that is the root of a mount, bind mounts included, or that lies on
// another file system than `home`.
bool isAnotherFileSystem(const Entry& folder, const Entry& home)
{
    return folder.isMountRoot || folder.device != home.device
        || (folder.mountID != 0 && home.mountID != 0 && folder.mountID != home.mountID);
}

struct DirectoryCloser {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

// The names in the open folder, without "." and "..".
std::optional<std::vector<std::string>> namesIn(int folder, int& error)
{
    // The listing gets its own descriptor: closedir closes it.
    const int copy = ::openat(folder, ".", folderForReading);
    if (copy < 0) {
        error = errno;
        return std::nullopt;
    }
    std::unique_ptr<DIR, DirectoryCloser> directory(::fdopendir(copy));
    if (!directory) {
        error = errno;
        ::close(copy);
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(directory.get());
        if (entry == nullptr) {
            if (errno != 0) {
                error = errno;
                return std::nullopt;
            }
            return names;
        }
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0)
            names.emplace_back(name);
    }
}

std::vector<std::string> componentsOf(const std::string& path)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t slash = std::min(path.find('/', start), path.size());
        if (slash > start)
            parts.push_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}

// Removes one tree below an open folder and keeps the first failure.
class Remover {
public:
    Remover(const std::function<bool()>& isCancelled, const FolderHook& hook, std::string top, const Entry& topEntry)
        : m_isCancelled(isCancelled)
        , m_hook(hook)
        , m_top(std::move(top))
        , m_topEntry(topEntry)
    {
    }

    void removeEntry(int folder, const std::string& name, const std::string& path, const Entry& entry, int depth)
    {
        if (!S_ISDIR(entry.mode)) {
            removeNonFolder(folder, name, path);
            return;
        }
        if (isAnotherFileSystem(entry, m_topEntry)) {
            fail(path, "is a mount point");
            return;
        }
        if (depth >= maximumDepth) {
            fail(path, "is nested too deeply");
            return;
        }
        if (m_cancelled || (m_isCancelled && m_isCancelled())) {
            m_cancelled = true;
            return;
        }
        if (m_hook)
            m_hook(path);

        Descriptor opened(::openat(folder, name.c_str(), folderForReading));
        if (!opened) {
            const int error = errno;
            if (error == ENOENT)
                return;
            if (error == ELOOP || error == ENOTDIR) {
                // No longer a folder, perhaps a link now: that goes, never
                // what it points to.
                int again = 0;
                const auto now = entryAt(folder, name.c_str(), again);
                if (!now) {
                    if (again != ENOENT)
                        fail(path, errorWords(again));
                    return;
                }
                if (!S_ISDIR(now->mode)) {
                    removeNonFolder(folder, name, path);
                    return;
                }
            }
            fail(path, errorWords(error));
            return;
        }

        // What was opened is judged again: it may not be what was looked at.
        int error = 0;
        const auto self = entryAt(opened.get(), "", error);
        if (!self) {
            fail(path, errorWords(error));
            return;
        }
        if (!S_ISDIR(self->mode) || isAnotherFileSystem(*self, m_topEntry)) {
            fail(path, "is a mount point");
            return;
        }

        const auto names = namesIn(opened.get(), error);
        if (!names) {
            fail(path, errorWords(error));
            return;
        }
        for (const std::string& child : *names) {
            if (m_cancelled)
                return;
            const std::string childPath = path + "/" + child;
            const auto childEntry = entryAt(opened.get(), child.c_str(), error);
            if (!childEntry) {
                if (error != ENOENT)
                    fail(childPath, errorWords(error));
                continue;
            }
            removeEntry(opened.get(), child, childPath, *childEntry, depth + 1);
        }
        opened = Descriptor();

        if (::unlinkat(folder, name.c_str(), AT_REMOVEDIR) != 0) {
            error = errno;
            // A folder left full by a failure inside: that failure says why.
            const bool explained = m_firstFailure && (error == ENOTEMPTY || error == EEXIST);
            if (error != ENOENT && !explained)
                fail(path, errorWords(error));
        }
    }

    const std::optional<std::string>& firstFailure() const { return m_firstFailure; }
    bool wasCancelled() const { return m_cancelled; }

private:
    void removeNonFolder(int folder, const std::string& name, const std::string& path)
    {
        if (::unlinkat(folder, name.c_str(), 0) == 0 || errno == ENOENT)
            return;
        // A folder put in its place after it was looked at is left alone.
        fail(path, errno == EISDIR ? std::string("changed while it was being removed") : errorWords(errno));
    }

    void fail(const std::string& path, std::string words)
    {
        if (m_firstFailure)
            return;
        m_firstFailure = path == m_top ? std::move(words) : "cannot remove " + path + ": " + words;
    }

    const std::function<bool()>& m_isCancelled;
    const FolderHook& m_hook;
    bool m_cancelled = false;
    std::string m_top;
    Entry m_topEntry;
    std::optional<std::string> m_firstFailure;
};

} // namespace

Descriptor::~Descriptor()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
{
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other) {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

std::string errorWords(int error)
{
    char buffer[256] = {};
    std::string words = textOf(::strerror_r(error, buffer, sizeof buffer), buffer);
    if (!words.empty())
        words.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(words.front())));
    return words;
}

std::variant<Parent, Outcome> openParent(const std::string& path)
{
    if (path.empty() || path.front() != '/')
        return failed("is not an absolute path");
    const std::vector<std::string> parts = componentsOf(path);
    if (parts.empty())
        return failed("is the root folder");
    for (const std::string& part : parts)
        if (part == "." || part == "..")
            return failed("is not a standard path");

    Descriptor current(::open("/", folderReference));
    if (!current)
        return failed(errorWords(errno));
    std::string reached;
    for (std::size_t index = 0; index + 1 < parts.size(); ++index) {
        const std::string& part = parts[index];
        reached += "/" + part;
        Descriptor next(::openat(current.get(), part.c_str(), folderReference));
        int error = next ? 0 : errno;
        struct stat status;
        if (next && (::fstat(next.get(), &status) != 0 || !S_ISDIR(status.st_mode)))
            error = ENOTDIR;
        if (error == ENOENT)
            return absent();
        if (error == ELOOP || error == ENOTDIR) {
            if (::fstatat(current.get(), part.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode))
                return failed("a folder on the way is a symbolic link: " + reached);
            // A file where a folder should be: nothing can be at the path.
            return absent();
        }
        if (error != 0)
            return failed(errorWords(error));
        current = std::move(next);
    }
    return Parent{std::move(current), parts.back()};
}

Outcome remove(const std::string& path, const std::function<bool()>& isCancelled, const FolderHook& beforeOpeningFolder)
{
    auto opened = openParent(path);
    if (auto* outcome = std::get_if<Outcome>(&opened))
        return *outcome;
    const Parent& parent = std::get<Parent>(opened);

    int error = 0;
    const auto entry = entryAt(parent.folder.get(), parent.name.c_str(), error);
    if (!entry)
        return error == ENOENT ? absent() : failed(errorWords(error));
    const auto parentEntry = entryAt(parent.folder.get(), "", error);
    if (!parentEntry)
        return failed(errorWords(error));
    // A mount point given itself is refused like one met inside.
    if (S_ISDIR(entry->mode) && isAnotherFileSystem(*entry, *parentEntry))
        return failed("is a mount point");

    Remover remover(isCancelled, beforeOpeningFolder, path, *entry);
    remover.removeEntry(parent.folder.get(), parent.name, path, *entry, 0);
    if (remover.wasCancelled())
        return Outcome{Outcome::Status::cancelled, {}};
    if (remover.firstFailure())
        return failed(*remover.firstFailure());
    return Outcome{};
}

Listing listFolder(const std::string& path)
{
    auto opened = openParent(path);
    if (auto* outcome = std::get_if<Outcome>(&opened))
        return {{}, outcome->status == Outcome::Status::absent ? errorWords(ENOENT) : outcome->reason};
    const Parent& parent = std::get<Parent>(opened);

    Descriptor folder(::openat(parent.folder.get(), parent.name.c_str(), folderForReading));
    if (!folder)
        return {{}, errno == ELOOP ? std::string("is a symbolic link") : errorWords(errno)};
    int error = 0;
    // The names of a mount point belong to another file system, perhaps a
    // protected folder bound there: emptying it would remove them, and
    // removal never enters another file system.
    const auto self = entryAt(folder.get(), "", error);
    const auto above = self ? entryAt(parent.folder.get(), "", error) : std::nullopt;
    if (!self || !above)
        return {{}, errorWords(error)};
    if (isAnotherFileSystem(*self, *above))
        return {{}, std::string("is a mount point")};
    auto names = namesIn(folder.get(), error);
    if (!names)
        return {{}, errorWords(error)};
    std::sort(names->begin(), names->end());
    return {std::move(*names), std::nullopt};
}

} // namespace tarno::Platform::TreeRemoval
