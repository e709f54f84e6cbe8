// The home trash of the freedesktop.org Trash standard. The .trashinfo file
// is made first, with O_EXCL, so that it claims the name in the Trash; the
// item is renamed after it, and the claim is given up if that fails.

#include "TarnoCore/Platform/Trash.hpp"

#include <cerrno>
#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno::Platform::Trash {

namespace {

using TreeRemoval::Descriptor;
using TreeRemoval::Outcome;
using TreeRemoval::errorWords;

constexpr const char* onAnotherDisk = "is on another disk than the Trash";

// Enough for any real clash; a bound so a full Trash cannot hold us forever.
constexpr int maximumNumber = 10000;

Outcome failed(std::string reason)
{
    return Outcome{Outcome::Status::failed, std::move(reason)};
}

bool isUnreserved(unsigned char byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') || byte == '-'
        || byte == '_' || byte == '.' || byte == '~' || byte == '/';
}

std::string percentEncoded(const std::string& path)
{
    constexpr const char* digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        if (isUnreserved(byte)) {
            encoded += character;
        } else {
            encoded += '%';
            encoded += digits[byte >> 4];
            encoded += digits[byte & 0xF];
        }
    }
    return encoded;
}

// Makes `folder` and the folders above it that are missing, private to the user.
int makeFolders(const std::string& folder)
{
    for (std::size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
        const std::string prefix = folder.substr(0, slash);
        if (::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST)
            return errno;
        if (slash == std::string::npos)
            return 0;
    }
}

struct TrashFolders {
    Descriptor files;
    Descriptor info;
};

// The Trash's two folders, made as needed and opened.
std::variant<TrashFolders, Outcome> openTrash(const std::string& trash)
{
    if (trash.empty() || trash.front() != '/')
        return failed("there is no Trash folder");
    TrashFolders folders;
    for (auto [folder, name] : {std::pair{&folders.files, "/files"}, std::pair{&folders.info, "/info"}}) {
        const std::string path = trash + name;
        if (const int error = makeFolders(path))
            return failed("the Trash folder cannot be made: " + errorWords(error));
        *folder = Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!*folder)
            return failed("the Trash folder cannot be opened: " + errorWords(errno));
    }
    return folders;
}

bool writeAll(int descriptor, const std::string& text)
{
    const char* data = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        const ssize_t written = ::write(descriptor, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    return true;
}

} // namespace

std::string infoText(const std::string& originalPath, std::chrono::system_clock::time_point deletionDate)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(deletionDate);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    char date[32] = {};
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + percentEncoded(originalPath) + "\nDeletionDate=" + date + "\n";
}

Outcome moveToTrash(const std::string& path, const std::string& trash, std::chrono::system_clock::time_point deletionDate)
{
    auto opened = TreeRemoval::openParent(path);
    if (auto* outcome = std::get_if<Outcome>(&opened))
        return *outcome;
    const TreeRemoval::Parent& parent = std::get<TreeRemoval::Parent>(opened);

    struct stat item;
    if (::fstatat(parent.folder.get(), parent.name.c_str(), &item, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? Outcome{Outcome::Status::absent, {}} : failed(errorWords(errno));

    auto trashFolders = openTrash(trash);
    if (auto* outcome = std::get_if<Outcome>(&trashFolders))
        return *outcome;
    const Descriptor& files = std::get<TrashFolders>(trashFolders).files;
    const Descriptor& info = std::get<TrashFolders>(trashFolders).info;

    struct stat filesStatus;
    if (::fstat(files.get(), &filesStatus) != 0)
        return failed(errorWords(errno));
    if (filesStatus.st_dev != item.st_dev)
        return failed(onAnotherDisk);

    const std::string text = infoText(path, deletionDate);
    for (int number = 1; number <= maximumNumber; ++number) {
        const std::string name = number == 1 ? parent.name : parent.name + "." + std::to_string(number);
        const std::string infoName = name + ".trashinfo";
        Descriptor note(::openat(info.get(), infoName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!note) {
            if (errno == EEXIST)
                continue;
            return failed(errorWords(errno));
        }
        const auto giveUpClaim = [&] { ::unlinkat(info.get(), infoName.c_str(), 0); };

        // An item left in files without its info still holds the name.
        struct stat taken;
        if (::fstatat(files.get(), name.c_str(), &taken, AT_SYMLINK_NOFOLLOW) == 0) {
            note = Descriptor();
            giveUpClaim();
            continue;
        }
        const bool written = writeAll(note.get(), text);
        const int writeError = errno;
        note = Descriptor();
        if (!written) {
            giveUpClaim();
            return failed(errorWords(writeError));
        }

        if (::renameat2(parent.folder.get(), parent.name.c_str(), files.get(), name.c_str(), RENAME_NOREPLACE) == 0)
            return Outcome{};
        int error = errno;
        // Some file systems cannot promise not to replace; the name was free a moment ago.
        if (error == EINVAL) {
            if (::renameat(parent.folder.get(), parent.name.c_str(), files.get(), name.c_str()) == 0)
                return Outcome{};
            error = errno;
        }
        giveUpClaim();
        if (error == EEXIST)
            continue;
        if (error == ENOENT)
            return Outcome{Outcome::Status::absent, {}};
        if (error == EXDEV)
            return failed(onAnotherDisk);
        if (error == EACCES || error == EPERM)
            return Outcome{Outcome::Status::denied, errorWords(error)};
        return failed(errorWords(error));
    }
    return failed("the Trash holds too many items of that name");
}

std::variant<Reservation, Outcome> reserve(const std::string& path, const std::string& trash,
                                           std::chrono::system_clock::time_point deletionDate)
{
    auto trashFolders = openTrash(trash);
    if (auto* outcome = std::get_if<Outcome>(&trashFolders))
        return *outcome;
    const Descriptor& files = std::get<TrashFolders>(trashFolders).files;
    const Descriptor& info = std::get<TrashFolders>(trashFolders).info;

    const std::size_t slash = path.rfind('/');
    const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    if (base.empty() || base == "." || base == "..")
        return failed("has no name to keep in the Trash");
    const std::string text = infoText(path, deletionDate);
    for (int number = 1; number <= maximumNumber; ++number) {
        const std::string name = number == 1 ? base : base + "." + std::to_string(number);
        const std::string infoName = name + ".trashinfo";
        Descriptor note(::openat(info.get(), infoName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!note) {
            if (errno == EEXIST)
                continue;
            return failed(errorWords(errno));
        }
        struct stat taken;
        const bool nameIsTaken = ::fstatat(files.get(), name.c_str(), &taken, AT_SYMLINK_NOFOLLOW) == 0;
        const bool written = !nameIsTaken && writeAll(note.get(), text);
        const int writeError = errno;
        note = Descriptor();
        if (!written) {
            ::unlinkat(info.get(), infoName.c_str(), 0);
            if (nameIsTaken)
                continue;
            return failed(errorWords(writeError));
        }
        return Reservation{trash + "/files/" + name, trash + "/info/" + infoName};
    }
    return failed("the Trash holds too many items of that name");
}

void release(const Reservation& reservation)
{
    ::unlink(reservation.info.c_str());
}

} // namespace tarno::Platform::Trash
