#include "TarnoCore/Foundation/PathGuard.hpp"

#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/FileStatus.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {

namespace {

using namespace std::string_view_literals;

constexpr std::array neverTouchTable = {
    "Library/Keychains"sv, ".ssh"sv, ".gnupg"sv, ".aws"sv, ".kube"sv,
};

constexpr std::array personalTreesTable = {
    "Documents"sv, "Desktop"sv, "Downloads"sv, "Pictures"sv, "Movies"sv, "Music"sv, "Public"sv,
    "Library/Mobile Documents"sv, "Library/CloudStorage"sv, "Library/Mail"sv, "Library/Messages"sv,
    "Library/Preferences"sv,
};

constexpr std::array keptFoldersTable = {
    "Library/Application Support"sv, "Library/Caches"sv, "Library/Logs"sv, "Library/Containers"sv,
    "Library/Group Containers"sv, "Library/Developer/Xcode"sv, "Library/Developer/CoreSimulator/Devices"sv,
    ".Trash"sv, ".gradle/wrapper"sv, ".android/avd"sv, ".npm"sv, ".cache"sv, ".docker"sv, ".pub-cache"sv,
};

constexpr std::array removableTopLevelTable = {
    ".dartServer"sv, ".cursor"sv, ".trae"sv, ".windsurf"sv, ".vscode"sv,
};

PathGuard::Refused refused(std::string reason)
{
    return PathGuard::Refused{std::move(reason)};
}

// The path is that folder or a parent of it.
bool narrowTest(std::string_view rel, std::string_view entry)
{
    return rel == entry || (entry.size() > rel.size() && entry.starts_with(rel) && entry[rel.size()] == '/');
}

// The path is that folder, a parent of it, or inside it.
bool wideTest(std::string_view rel, std::string_view entry)
{
    return narrowTest(rel, entry)
        || (rel.size() > entry.size() && rel.starts_with(entry) && rel[entry.size()] == '/');
}

std::vector<std::string_view> components(std::string_view path)
{
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string_view part = path.substr(0, slash);
        if (!part.empty())
            parts.push_back(part);
        if (slash == std::string_view::npos)
            break;
        path.remove_prefix(slash + 1);
    }
    return parts;
}

std::string joined(const std::vector<std::string_view>& parts, std::size_t count)
{
    std::string path;
    for (std::size_t index = 0; index < count; ++index) {
        path += '/';
        path += parts[index];
    }
    return path.empty() ? "/" : path;
}

std::string currentFolder()
{
    char buffer[PATH_MAX];
    if (::getcwd(buffer, sizeof buffer) == nullptr)
        return {};
    return buffer;
}

// `folder` with its links resolved as far as it exists; the part that does
// not exist is put back as it was written.
std::string resolvedAsFarAsItExists(const std::vector<std::string_view>& parts, std::size_t count)
{
    for (std::size_t existing = count + 1; existing-- > 0;) {
        char resolved[PATH_MAX];
        if (::realpath(joined(parts, existing).c_str(), resolved) == nullptr)
            continue;
        std::string path = resolved;
        for (std::size_t index = existing; index < count; ++index) {
            if (path.back() != '/')
                path += '/';
            path += parts[index];
        }
        return path;
    }
    return joined(parts, count);
}

// A root the guard measures against: normalised, and resolved itself when it
// is a link, because every path judged has its parents resolved and would
// otherwise never lie below a home folder that is a link.
std::string resolvedRoot(std::string_view path)
{
    std::string root = PathGuard::normalize(path);
    char resolved[PATH_MAX];
    if (!root.empty() && ::realpath(root.c_str(), resolved) != nullptr)
        return resolved;
    return root;
}

bool isFolderFollowingLinks(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool exists(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0;
}

// A usable root: "/" and "" would put every path inside.
bool isUsableRoot(const std::string& root)
{
    return root.size() > 1 && root.front() == '/';
}

// `path` below `root`, or nothing when it is not strictly inside.
std::optional<std::string_view> below(std::string_view path, const std::string& root)
{
    if (!isUsableRoot(root) || path.size() <= root.size() + 1 || !path.starts_with(root) || path[root.size()] != '/')
        return std::nullopt;
    return path.substr(root.size() + 1);
}

} // namespace

PathGuard PathGuard::forHome(std::string_view home)
{
    return PathGuard(home, Platform::systemApplicationsFolder());
}

PathGuard::PathGuard(std::string_view home, std::string_view systemApplications)
    : PathGuard(home, systemApplications, Platform::runningExecutablePath())
{
}

PathGuard::PathGuard(std::string_view home, std::string_view systemApplications, std::string_view runningApplication)
    : m_home(resolvedRoot(home))
    , m_systemApplications(resolvedRoot(systemApplications))
    , m_runningApplication(normalize(runningApplication))
    , m_neverTouch(neverTouchTable.begin(), neverTouchTable.end())
    , m_personalTrees(personalTreesTable.begin(), personalTreesTable.end())
    , m_keptFolders(keptFoldersTable.begin(), keptFoldersTable.end())
{
    // The Trash keeps what the user may still want back: it may be emptied,
    // never removed. It is asked for by the home as given, as the cleaner does.
    const std::string given(home);
    const std::string trash = normalize(Platform::trashFolder(given));
    if (const auto relative = below(trash, m_home))
        m_keptFolders.emplace_back(*relative);
    // The platform's places are named from the home as given, and judged, like
    // every path, at the home's real place.
    const Platform::GuardedPlaces places = Platform::guardedPlaces(given, Platform::userFolders(given));
    m_neverTouch.insert(m_neverTouch.end(), places.neverTouch.begin(), places.neverTouch.end());
    m_personalTrees.insert(m_personalTrees.end(), places.personalTrees.begin(), places.personalTrees.end());
    m_keptFolders.insert(m_keptFolders.end(), places.keptFolders.begin(), places.keptFolders.end());
}

std::string PathGuard::normalize(std::string_view path)
{
    // No file has a NUL in its name, and the system would cut the path there.
    if (path.empty() || path.find('\0') != std::string_view::npos)
        return {};

    std::string absolute;
    if (path.front() != '/') {
        absolute = currentFolder();
        if (absolute.empty())
            return {};
        absolute += '/';
    }
    absolute += path;

    std::vector<std::string_view> parts;
    for (const std::string_view part : components(absolute)) {
        if (part == ".")
            continue;
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
    if (parts.empty())
        return "/";

    std::string normalized = resolvedAsFarAsItExists(parts, parts.size() - 1);
    if (normalized.back() != '/')
        normalized += '/';
    normalized += parts.back();
    return normalized;
}

PathGuard::Verdict PathGuard::checkDelete(std::string_view path) const
{
    const std::string p = normalize(path);
    const auto rel = below(p, m_home);
    if (!rel)
        return refused("outside the home folder");

    // Checked before the tables, so even `.ssh` itself gets this reason.
    if (rel->find('/') == std::string_view::npos) {
        if (std::ranges::find(removableTopLevelTable, *rel) != removableTopLevelTable.end())
            return Allowed{};
        return refused("top-level folder in the home folder");
    }
    for (const std::string& entry : m_neverTouch)
        if (wideTest(*rel, entry))
            return refused("protected folder " + entry);
    for (const std::string& entry : m_personalTrees)
        if (wideTest(*rel, entry))
            return refused("protected folder " + entry);
    for (const std::string& entry : m_keptFolders)
        if (narrowTest(*rel, entry))
            return refused("would remove " + entry + " itself");
    return Allowed{};
}

PathGuard::Verdict PathGuard::checkTrash(std::string_view path) const
{
    const std::string p = normalize(path);
    const auto rel = below(p, m_home);
    if (!rel)
        return refused("outside the home folder");

    // A top-level file may go to the Trash; a top-level folder may not.
    if (rel->find('/') == std::string_view::npos && isFolderFollowingLinks(p))
        return refused("top-level folder in the home folder");
    for (const std::string& entry : m_neverTouch)
        if (wideTest(*rel, entry))
            return refused("protected folder " + entry);
    for (const std::string& entry : m_personalTrees)
        if (narrowTest(*rel, entry))
            return refused("would remove " + entry + " itself");
    for (const std::string& entry : m_keptFolders)
        if (narrowTest(*rel, entry))
            return refused("would remove " + entry + " itself");
    if (narrowTest(*rel, "Library"))
        return refused("would remove Library itself");
    return Allowed{};
}

PathGuard::Verdict PathGuard::checkTrashApp(std::string_view path) const
{
    const std::string p = normalize(path);
    if (!p.ends_with(".app"))
        return checkTrashAppImage(p);

    auto inside = below(p, m_systemApplications);
    if (!inside && isUsableRoot(m_home))
        inside = below(p, m_home + "/Applications");
    if (!inside)
        return refused("not in an Applications folder");

    // One folder level, such as Utilities/X.app, is accepted.
    const auto levels = components(*inside);
    if (levels.size() >= 3 || (levels.size() == 2 && levels.front().ends_with(".app")))
        return refused("inside another folder or app");

    struct stat status;
    if (::lstat(p.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        return refused("not a folder, or a symbolic link");
    if (!exists(p + "/Contents/Info.plist"))
        return refused("not an app bundle");

    // The running program may live inside the bundle rather than be it.
    if (!m_runningApplication.empty()
        && (m_runningApplication == p
            || (m_runningApplication.starts_with(p) && m_runningApplication[p.size()] == '/')))
        return refused("Tarno itself");
    return Allowed{};
}

PathGuard::Verdict PathGuard::checkTrashAppImage(const std::string& p) const
{
    if (!isUsableRoot(m_home))
        return refused("not an app");
    const std::size_t slash = p.rfind('/');
    const std::string folder = p.substr(0, slash);
    if (folder != m_home + "/Applications" && folder != m_home + "/.local/bin")
        return refused("not an app");
    if (!Platform::isAppImage(p))
        return refused("not an AppImage");
    if (m_runningApplication == p)
        return refused("Tarno itself");
    return Allowed{};
}

PathGuard::Verdict PathGuard::checkUninstallFlatpak(std::string_view path) const
{
    const std::string p = normalize(path);
    const std::size_t slash = p.rfind('/');
    const std::string folder = p.substr(0, slash);
    const std::string id = p.substr(slash + 1);
    const std::vector<std::string> appFolders = Platform::flatpakAppFolders(Platform::userFolders(m_home).data);
    if (std::find(appFolders.begin(), appFolders.end(), folder) == appFolders.end())
        return refused("not in a Flatpak installation");
    // Flatpak's ids have at least three parts; anything else is not an app's folder.
    if (std::count(id.begin(), id.end(), '.') < 2 || id.front() == '.' || id.back() == '.')
        return refused("not a Flatpak app");
    struct stat status;
    if (::lstat(p.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        return refused("not a folder, or a symbolic link");
    return Allowed{};
}

std::span<const std::string_view> PathGuard::neverTouch()
{
    return neverTouchTable;
}

std::span<const std::string_view> PathGuard::personalTrees()
{
    return personalTreesTable;
}

std::span<const std::string_view> PathGuard::keptFolders()
{
    return keptFoldersTable;
}

std::span<const std::string_view> PathGuard::removableTopLevel()
{
    return removableTopLevelTable;
}

} // namespace tarno
