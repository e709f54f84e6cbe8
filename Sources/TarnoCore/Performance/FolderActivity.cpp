#include "TarnoCore/Performance/FolderActivity.hpp"

#include "TarnoCore/Platform/FolderWatch.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace tarno {

namespace {

// Folders that build tools, package managers, version control and editors
// fill on their own.
constexpr std::array<std::string_view, 24> generated = {
    "node_modules", ".git",     ".next",       ".nuxt",        ".svelte-kit", ".turbo",
    ".wrangler",    ".vite",    ".cache",      ".parcel-cache", ".angular",   ".expo",
    ".dart_tool",   ".gradle",  ".build",      "build",        "dist",        "out",
    "target",       "coverage", "DerivedData", ".idea",        ".vscode",     ".swiftpm",
};

std::string realPathOf(const std::string& folder)
{
    char* resolved = ::realpath(folder.c_str(), nullptr);
    if (resolved == nullptr)
        return folder;
    std::string real = resolved;
    std::free(resolved);
    return real;
}

bool liesBelow(std::string_view path, std::string_view folder)
{
    if (folder == "/")
        return path.size() > 1 && path.front() == '/';
    return path.size() > folder.size() + 1 && path.starts_with(folder) && path[folder.size()] == '/';
}

} // namespace

FolderActivity::FolderActivity(std::chrono::duration<double> latency, Clock clock,
                               std::optional<std::size_t> watchBudget)
    : m_latency(latency)
    , m_clock(clock ? std::move(clock) : Clock([] { return std::chrono::system_clock::now(); }))
    , m_watchBudget(watchBudget)
{
}

// The stream is stopped outside the lock: its thread may be waiting for the
// lock in record().
FolderActivity::~FolderActivity()
{
    std::unique_ptr<Platform::FolderWatch> stream;
    {
        const std::lock_guard lock(m_lock);
        stream = std::move(m_stream);
    }
}

void FolderActivity::watch(std::vector<std::string> folders)
{
    std::erase(folders, std::string());
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());

    const std::lock_guard watching(m_watching);
    {
        const std::lock_guard lock(m_lock);
        if (folders == m_folders)
            return;
    }

    std::vector<std::pair<std::string, std::string>> realPaths;
    std::vector<std::string> roots;
    for (const std::string& folder : folders) {
        std::string real = realPathOf(folder);
        // Below a generated folder nothing can count: no watch is spent on it.
        if (!isGenerated(real))
            roots.push_back(real);
        realPaths.emplace_back(std::move(real), folder);
    }

    std::unique_ptr<Platform::FolderWatch> old;
    {
        const std::lock_guard lock(m_lock);
        std::erase_if(m_changes, [&](const auto& change) {
            return !std::binary_search(folders.begin(), folders.end(), change.first);
        });
        m_folders = std::move(folders);
        m_realPaths = std::move(realPaths);
        old = std::move(m_stream);
    }
    old.reset();

    if (roots.empty())
        return;
    auto stream = std::make_unique<Platform::FolderWatch>(
        std::move(roots), m_latency, [](const std::string& name) { return isGenerated(name); },
        [this](std::vector<std::string> paths) { record(paths); }, m_watchBudget);
    const std::lock_guard lock(m_lock);
    m_stream = std::move(stream);
}

std::map<std::string, std::chrono::system_clock::time_point> FolderActivity::lastChanges() const
{
    const std::lock_guard lock(m_lock);
    return m_changes;
}

void FolderActivity::record(const std::vector<std::string>& paths)
{
    const auto now = m_clock();
    std::vector<std::string_view> kept;
    for (const std::string& path : paths) {
        if (!isGenerated(path))
            kept.emplace_back(path);
    }
    if (kept.empty())
        return;

    const std::lock_guard lock(m_lock);
    for (const auto& watched : m_realPaths) {
        const std::string& real = watched.first;
        const bool changed = std::any_of(kept.begin(), kept.end(),
                                         [&real](std::string_view path) { return liesBelow(path, real); });
        if (changed)
            m_changes[watched.second] = now;
    }
}

std::set<std::string> FolderActivity::polledFolders() const
{
    const std::lock_guard lock(m_lock);
    std::set<std::string> folders;
    if (!m_stream)
        return folders;
    const std::set<std::string> roots = m_stream->polledRoots();
    for (const auto& [real, folder] : m_realPaths) {
        if (roots.contains(real))
            folders.insert(folder);
    }
    return folders;
}

std::size_t FolderActivity::watchCount() const
{
    const std::lock_guard lock(m_lock);
    return m_stream ? m_stream->watchCount() : 0;
}

bool FolderActivity::isGenerated(std::string_view path)
{
    std::string_view last;
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string_view piece = path.substr(0, slash);
        path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
        if (piece.empty())
            continue;
        if (std::find(generated.begin(), generated.end(), piece) != generated.end())
            return true;
        last = piece;
    }
    return last == ".DS_Store" || last.ends_with(".tsbuildinfo");
}

} // namespace tarno
