#include "TarnoCore/Duplicates/DuplicateFinder.hpp"

#include "TarnoCore/Foundation/ConcurrentPerform.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>

#include <fcntl.h>
#include <unistd.h>

namespace tarno {

std::string DuplicateFile::name() const
{
    return path.substr(path.find_last_of('/') + 1);
}

std::string DuplicateFile::folder() const
{
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::int64_t DuplicateGroup::reclaimable() const
{
    if (files.size() < 2)
        return 0;
    std::set<std::string> others;
    for (auto file = files.begin() + 1; file != files.end(); ++file)
        others.insert(file->path);
    return freed(others);
}

std::int64_t DuplicateGroup::freed(const std::set<std::string>& removing) const
{
    return UserFiles::freed(files, removing);
}

namespace DuplicateFinder {

namespace {

constexpr std::size_t chunkBytes = 1'048'576;
// Progress of the comparison is told every this many files.
constexpr std::int64_t progressStep = 16;

using Clock = std::chrono::system_clock;
// Files of one length and one digest, by length and digest.
using ByDigest = std::map<std::pair<std::int64_t, std::string>, std::vector<DuplicateFile>>;
// Files to hash, each with its length.
using Sized = std::vector<std::pair<std::int64_t, DuplicateFile>>;

// An open file, closed on every way out.
class ReadOnlyFile {
public:
    explicit ReadOnlyFile(const std::string& path) : m_descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW)) {}
    ~ReadOnlyFile()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    ReadOnlyFile(const ReadOnlyFile&) = delete;
    ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

    bool isOpen() const { return m_descriptor >= 0; }
    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

// Reads up to `count` bytes at `offset` into the buffer; the bytes read, or -1.
ssize_t readAt(int descriptor, unsigned char* buffer, std::size_t count, off_t offset)
{
    std::size_t total = 0;
    while (total < count) {
        const ssize_t got = ::pread(descriptor, buffer + total, count - total, offset + static_cast<off_t>(total));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        total += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(total);
}

std::string hexadecimal(const unsigned char* bytes, unsigned int count)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(count * 2);
    for (unsigned int index = 0; index < count; ++index) {
        text.push_back(digits[bytes[index] >> 4]);
        text.push_back(digits[bytes[index] & 0x0f]);
    }
    return text;
}

// Whether `path` lies in one of the downloads folders (each given with a trailing slash).
bool isDownloaded(const std::string& path, const std::vector<std::string>& downloads)
{
    return std::any_of(downloads.begin(), downloads.end(),
                       [&path](const std::string& folder) { return path.starts_with(folder); });
}

std::size_t characterCount(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xc0) != 0x80; }));
}

// The downloads folder as this home names it, and the usual one.
std::vector<std::string> downloadFolders(const std::string& home)
{
    std::vector<std::string> folders = {home + "/Downloads/"};
    const std::string named = Platform::userFolders(home).downloads + "/";
    if (named != folders.front())
        folders.push_back(named);
    return folders;
}

std::vector<DuplicateFile> ordered(std::vector<DuplicateFile> files, const std::vector<std::string>& downloads)
{
    // Each file's key once, not once per comparison.
    using Key = std::tuple<bool, bool, std::chrono::system_clock::time_point, std::size_t, std::string>;
    std::vector<std::pair<Key, DuplicateFile>> keyed;
    keyed.reserve(files.size());
    for (DuplicateFile& file : files) {
        Key key{isDownloaded(file.path, downloads), looksLikeACopy(file.name()), file.created,
                characterCount(file.path), file.path};
        keyed.emplace_back(std::move(key), std::move(file));
    }
    std::sort(keyed.begin(), keyed.end(), [](const auto& left, const auto& right) { return left.first < right.first; });
    files.clear();
    for (auto& entry : keyed)
        files.push_back(std::move(entry.second));
    return files;
}

// What one pass found, and the lengths of which a file was never read
// because the pass was cancelled: their sets would be incomplete.
struct Digested {
    ByDigest byDigest;
    std::set<std::int64_t> unfinishedLengths;
};

// The digests of one pass over every file at once, each file read on one of
// the cores: one parallel pass rather than one per length keeps both cores
// busy, as thread starts and the slowest file of a small pass do not.
Digested digests(const Sized& files, bool partial, const std::function<void()>& done,
                 const std::function<bool()>& isCancelled)
{
    Locked<ByDigest> results;
    // One flag per file, each written by one thread only and read after the join.
    std::vector<char> reached(files.size(), 0);
    concurrentPerform(files.size(), [&](std::size_t index) {
        if (isCancelled())
            return;
        reached[index] = 1;
        // Named copies, not a structured binding: clang 14 cannot capture those in a lambda.
        const std::int64_t length = files[index].first;
        const DuplicateFile& file = files[index].second;
        if (std::optional<std::string> hash = digest(file.path, length, partial))
            results.change([&](ByDigest& map) { map[{length, *hash}].push_back(file); });
        if (done)
            done();
    });
    Digested digested{results.take(), {}};
    for (std::size_t index = 0; index < files.size(); ++index) {
        if (!reached[index])
            digested.unfinishedLengths.insert(files[index].first);
    }
    return digested;
}

// Largest first, so that the last file a core takes is a small one.
void largestFirst(Sized& files)
{
    std::stable_sort(files.begin(), files.end(),
                     [](const auto& left, const auto& right) { return left.first > right.first; });
}

} // namespace

std::optional<std::string> digest(const std::string& path, std::int64_t size, bool partial)
{
    const ReadOnlyFile file(path);
    if (!file.isOpen())
        return std::nullopt;
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1)
        return std::nullopt;
    // Reused between files on one thread, never cleared: only what was read is hashed.
    thread_local std::unique_ptr<unsigned char[]> buffer;
    thread_local std::size_t capacity = 0;
    // A small file needs no more than itself and one byte to see its end.
    const std::size_t needed = size >= 0 && static_cast<std::uint64_t>(size) < chunkBytes
                                   ? std::max<std::size_t>(static_cast<std::size_t>(size) + 1, edgeBytes)
                                   : chunkBytes;
    if (capacity < needed) {
        buffer.reset(new unsigned char[needed]);
        capacity = needed;
    }

    if (partial && size > wholeFileLimit) {
        for (const off_t offset : {off_t{0}, static_cast<off_t>(size - edgeBytes)}) {
            const ssize_t got = readAt(file.descriptor(), buffer.get(), edgeBytes, offset);
            if (got < 0)
                return std::nullopt;
            EVP_DigestUpdate(context.get(), buffer.get(), static_cast<std::size_t>(got));
        }
    } else {
        ::posix_fadvise(file.descriptor(), 0, 0, POSIX_FADV_SEQUENTIAL);
        for (off_t offset = 0;;) {
            const ssize_t got = readAt(file.descriptor(), buffer.get(), capacity, offset);
            if (got < 0)
                return std::nullopt;
            if (got == 0)
                break;
            EVP_DigestUpdate(context.get(), buffer.get(), static_cast<std::size_t>(got));
            offset += got;
        }
    }
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), hash, &length) != 1)
        return std::nullopt;
    return hexadecimal(hash, length);
}

bool looksLikeACopy(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    std::string_view stem = dot == std::string_view::npos || dot == 0 ? name : name.substr(0, dot);
    // Trailing digits, at least one, taken off the end.
    const auto withoutNumber = [](std::string_view text) -> std::optional<std::string_view> {
        const std::size_t last = text.find_last_not_of("0123456789");
        const std::size_t start = last == std::string_view::npos ? 0 : last + 1;
        return start < text.size() ? std::optional(text.substr(0, start)) : std::nullopt;
    };
    if (stem.ends_with(" copy"))
        return true;
    if (const std::optional<std::string_view> before = withoutNumber(stem))
        return before->ends_with(" copy ");
    if (stem.ends_with(')')) {
        stem.remove_suffix(1);
        if (const std::optional<std::string_view> before = withoutNumber(stem))
            return before->ends_with(" (");
    }
    return false;
}

std::vector<DuplicateFile> keeperFirst(std::vector<DuplicateFile> files, const std::string& home)
{
    return ordered(std::move(files), downloadFolders(home));
}

std::vector<std::string> defaultRoots(const std::string& home)
{
    std::vector<std::string> roots;
    for (const char* name : {"Desktop", "Documents", "Downloads", "Pictures", "Movies", "Music", "Public", "Videos"})
        roots.push_back(home + "/" + name);
    // A downloads folder moved elsewhere by user-dirs.dirs is searched too.
    const std::string downloads = Platform::userFolders(home).downloads;
    if (std::find(roots.begin(), roots.end(), downloads) == roots.end())
        roots.push_back(downloads);
    return roots;
}

std::vector<DuplicateGroup> find(const std::vector<std::string>& roots,
                                 std::int64_t minimumBytes,
                                 const std::string& home,
                                 const std::function<void(const Stage&)>& progress,
                                 const std::function<bool()>& isCancelled)
{
    const std::vector<UserFiles::File> listed = UserFiles::list(
        roots, minimumBytes, [](std::string_view) { return true; },
        [&progress](std::int64_t files) {
            if (progress)
                progress(Looking{files});
        },
        isCancelled);

    std::map<std::int64_t, std::vector<DuplicateFile>> byLength;
    for (const UserFiles::File& file : listed)
        byLength[file.length].push_back({file.path, file.bytes, file.modified, file.created, file.cloneID});
    std::erase_if(byLength, [](const auto& entry) { return entry.second.size() < 2; });
    if (byLength.empty() || isCancelled())
        return {};

    std::int64_t total = 0;
    for (const auto& [length, files] : byLength)
        total += static_cast<std::int64_t>(files.size());
    Locked<std::int64_t> counter;
    const auto done = [&] {
        std::int64_t count = 0;
        counter.change([&count](std::int64_t& value) { count = ++value; });
        if (progress && (count % progressStep == 0 || count == total))
            progress(Comparing{count, total});
    };

    const std::vector<std::string> downloads = downloadFolders(home);
    std::vector<DuplicateGroup> groups;
    const auto addGroups = [&](ByDigest& byDigest) {
        for (auto& [key, same] : byDigest) {
            if (same.size() >= 2)
                groups.push_back(DuplicateGroup{key.second, key.first, ordered(std::move(same), downloads)});
        }
    };
    Sized candidates;
    candidates.reserve(static_cast<std::size_t>(total));
    for (auto& [length, files] : byLength) {
        for (DuplicateFile& file : files)
            candidates.emplace_back(length, std::move(file));
    }
    byLength.clear();
    largestFirst(candidates);

    // A small file was hashed whole already; a larger one is read again in full.
    // A cancelled pass leaves out every set of a length it did not finish.
    Digested starts = digests(candidates, true, done, isCancelled);
    candidates = {};
    ByDigest sameWhole;
    Sized sameEdges;
    for (auto& [key, sameStart] : starts.byDigest) {
        if (sameStart.size() < 2 || starts.unfinishedLengths.contains(key.first))
            continue;
        if (key.first <= wholeFileLimit) {
            sameWhole.emplace(key, std::move(sameStart));
            continue;
        }
        for (DuplicateFile& file : sameStart)
            sameEdges.emplace_back(key.first, std::move(file));
    }
    addGroups(sameWhole);
    largestFirst(sameEdges);
    Digested wholes = digests(sameEdges, false, {}, isCancelled);
    std::erase_if(wholes.byDigest, [&](const auto& entry) { return wholes.unfinishedLengths.contains(entry.first.first); });
    addGroups(wholes.byDigest);
    std::sort(groups.begin(), groups.end(), [](const DuplicateGroup& left, const DuplicateGroup& right) {
        const std::int64_t leftBytes = left.reclaimable(), rightBytes = right.reclaimable();
        return leftBytes != rightBytes ? leftBytes > rightBytes : left.hash > right.hash;
    });
    return groups;
}

} // namespace DuplicateFinder
} // namespace tarno
