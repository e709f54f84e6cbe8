#include "TarnoCore/Duplicates/UserFiles.hpp"

#include "TarnoCore/Foundation/BulkWalker.hpp"
#include "TarnoCore/Platform/FileStatus.hpp"
#include "TarnoCore/Projects/ArtifactKind.hpp"

#include <algorithm>
#include <cctype>

#include <sys/stat.h>

namespace tarno::UserFiles {

namespace {

// Progress is reported after at least this many files.
constexpr std::int64_t progressStep = 2048;

struct Candidate {
    std::string path;
    std::int64_t bytes = 0;
    std::uint64_t cloneID = 0;
};

std::string lowercased(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return lower;
}

// Regenerable build output: a folder name of the artifact table with one of
// its kinds' markers beside it.
bool isBuildOutput(const BulkFolder& folder, std::string_view name)
{
    const auto& byFolder = ArtifactKind::byFolder();
    const auto kinds = byFolder.find(name);
    if (kinds == byFolder.end())
        return false;
    return std::any_of(kinds->second.begin(), kinds->second.end(), [&folder](const ArtifactKind* kind) {
        return std::any_of(kind->markers.begin(), kind->markers.end(),
                           [&folder](const std::string& marker) { return folder.contains(marker); });
    });
}

// One call's state, shared by all its roots.
class Listing {
public:
    Listing(std::int64_t minimumBytes, const std::function<bool(std::string_view)>& accept,
            const std::function<void(std::int64_t)>& progress, const std::function<bool()>& isCancelled)
        : m_minimumBytes(minimumBytes), m_accept(accept), m_progress(progress), m_isCancelled(isCancelled)
    {
    }

    bool visit(BulkFolder& folder)
    {
        // A repository is not loose files: nothing in it is listed or entered.
        if (folder.contains(".git")) {
            for (std::size_t index = 0; index < folder.entries.size(); ++index)
                folder.skipped.insert(index);
            return true;
        }
        for (std::size_t index = 0; index < folder.entries.size(); ++index) {
            const BulkEntry& entry = folder.entries[index];
            if (entry.kind == BulkEntry::Kind::file)
                consider(folder, entry);
            else if (entry.kind == BulkEntry::Kind::directory && isSkipped(folder, entry))
                folder.skipped.insert(index);
        }
        if (m_examined - m_reported >= progressStep) {
            m_reported = m_examined;
            if (m_progress)
                m_progress(m_examined);
        }
        return !m_isCancelled();
    }

    std::int64_t examined() const { return m_examined; }
    std::vector<Candidate> takeCandidates() { return std::move(m_candidates); }

private:
    void consider(const BulkFolder& folder, const BulkEntry& entry)
    {
        ++m_examined;
        // The size first: small files cost nothing beyond their name.
        if (entry.allocatedBytes < m_minimumBytes || entry.namePointer[0] == '.')
            return;
        const std::string_view name(entry.namePointer, static_cast<std::size_t>(entry.nameLength));
        if (m_accept && !m_accept(name))
            return;
        if (entry.linkCount >= 2 && !m_seenLinks.insert(entry.fileID).second)
            return;
        m_candidates.push_back({folder.pathOf(entry), entry.allocatedBytes, entry.cloneID != 0 ? entry.cloneID : entry.fileID});
    }

    static bool isSkipped(const BulkFolder& folder, const BulkEntry& entry)
    {
        const std::string_view name(entry.namePointer, static_cast<std::size_t>(entry.nameLength));
        return name.front() == '.' || skippedFolderNames().contains(name) || isPackage(name)
            || isBuildOutput(folder, name);
    }

    std::int64_t m_minimumBytes;
    const std::function<bool(std::string_view)>& m_accept;
    const std::function<void(std::int64_t)>& m_progress;
    const std::function<bool()>& m_isCancelled;
    std::int64_t m_examined = 0;
    std::int64_t m_reported = 0;
    std::set<std::uint64_t> m_seenLinks;
    std::vector<Candidate> m_candidates;
};

} // namespace

const std::set<std::string, std::less<>>& skippedFolderNames()
{
    static const std::set<std::string, std::less<>> names = {"node_modules", "Pods", "venv", "__pycache__",
                                                             "Media.localized"};
    return names;
}

const std::set<std::string, std::less<>>& packageExtensions()
{
    static const std::set<std::string, std::less<>> extensions = {
        "app",    "photoslibrary", "musiclibrary", "tvlibrary", "imovielibrary", "fcpbundle", "logicx",
        "band",   "lrdata",        "lrlibrary",    "xcarchive", "bundle",        "framework", "plugin",
    };
    return extensions;
}

bool isPackage(std::string_view folderName)
{
    const std::size_t dot = folderName.rfind('.');
    return dot != std::string_view::npos && packageExtensions().contains(lowercased(folderName.substr(dot + 1)));
}

std::vector<File> list(const std::vector<std::string>& roots,
                       std::int64_t minimumBytes,
                       const std::function<bool(std::string_view name)>& accept,
                       const std::function<void(std::int64_t examined)>& progress,
                       const std::function<bool()>& isCancelled)
{
    Listing listing(minimumBytes, accept, progress, isCancelled);
    for (const std::string& root : roots) {
        struct stat status {};
        if (::lstat(root.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
            continue;
        BulkWalker::walk(root, [&listing](BulkFolder& folder) { return listing.visit(folder); },
                         [](const std::string&) {});
    }
    if (progress)
        progress(listing.examined());

    // The walk may be minutes old: what is offered is what is there now.
    std::vector<File> files;
    for (Candidate& candidate : listing.takeCandidates()) {
        const std::optional<Platform::FileStatus> status = Platform::fileStatus(candidate.path);
        if (!status || !status->isRegularFile)
            continue;
        files.push_back(File{std::move(candidate.path), candidate.bytes, status->length, candidate.cloneID,
                             status->modified, status->created});
    }
    return files;
}

} // namespace tarno::UserFiles
