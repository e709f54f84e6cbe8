#include "TarnoCore/Foundation/FileWalker.hpp"

#include <optional>

#include <fts.h>
#include <sys/stat.h>

namespace tarno {

std::string WalkEntry::path() const
{
    return std::string(entry->fts_path, entry->fts_pathlen);
}

std::string WalkEntry::name() const
{
    // fts trims a root to its last component; callers see the root as they gave it.
    if (entry->fts_level == FTS_ROOTLEVEL)
        return path();
    return std::string(entry->fts_name, entry->fts_namelen);
}

int WalkEntry::depth() const
{
    return entry->fts_level;
}

std::int64_t WalkEntry::allocatedBytes() const
{
    return static_cast<std::int64_t>(entry->fts_statp->st_blocks) * 512;
}

std::uint64_t WalkEntry::inode() const
{
    return entry->fts_statp->st_ino;
}

std::int64_t WalkEntry::linkCount() const
{
    return static_cast<std::int64_t>(entry->fts_statp->st_nlink);
}

std::chrono::system_clock::time_point WalkEntry::modified() const
{
    return std::chrono::system_clock::time_point(std::chrono::seconds(entry->fts_statp->st_mtime));
}

bool WalkEntry::nameEquals(const char* bytes, std::size_t length) const
{
    if (entry->fts_level == FTS_ROOTLEVEL)
        return entry->fts_pathlen == length && std::memcmp(entry->fts_path, bytes, length) == 0;
    return entry->fts_namelen == length && std::memcmp(entry->fts_name, bytes, length) == 0;
}

namespace {

// The entries a visitor sees; post-order folders, cycles, dots and entries
// that could not be stat'ed are read past.
std::optional<WalkEntry::Kind> kindOf(unsigned short info)
{
    switch (info) {
    case FTS_F:
        return WalkEntry::Kind::file;
    case FTS_D:
        return WalkEntry::Kind::directory;
    case FTS_SL:
    case FTS_SLNONE:
        return WalkEntry::Kind::symlink;
    case FTS_DEFAULT:
        return WalkEntry::Kind::other;
    case FTS_DNR:
    case FTS_ERR:
        return WalkEntry::Kind::unreadableDirectory;
    default:
        return std::nullopt;
    }
}

} // namespace

namespace FileWalker {

void walk(const std::string& root, const std::function<WalkDecision(const WalkEntry&)>& visit)
{
    std::string rootCopy = root;
    char* const roots[] = {rootCopy.data(), nullptr};
    FTS* traversal = ::fts_open(roots, FTS_PHYSICAL | FTS_NOCHDIR | FTS_XDEV, nullptr);
    if (traversal == nullptr)
        return;

    while (FTSENT* current = ::fts_read(traversal)) {
        const std::optional<WalkEntry::Kind> kind = kindOf(current->fts_info);
        if (!kind)
            continue;
        const WalkDecision decision = visit(WalkEntry{*kind, current});
        if (decision == WalkDecision::stop)
            break;
        if (decision == WalkDecision::skipDirectory && *kind == WalkEntry::Kind::directory)
            ::fts_set(traversal, current, FTS_SKIP);
    }
    ::fts_close(traversal);
}

} // namespace FileWalker
} // namespace tarno
