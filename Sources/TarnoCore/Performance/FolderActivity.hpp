#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarno {

namespace Platform {
class FolderWatch;
}

// When a person last changed a source file in each of a set of project
// folders (the working folders of the running dev servers). What the tools
// write themselves (build output, caches, `.git`) does not count, or every
// watcher would look busy for ever. Safe to call from any thread.
class FolderActivity {
public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    // `latency` groups bursts of file events into one pass of record(); the
    // background monitor gives 5 s. `clock` defaults to the system's.
    // `watchBudget` is how many kernel watches this object may hold
    // (default: Platform::FolderWatch::defaultWatchBudget()).
    explicit FolderActivity(std::chrono::duration<double> latency, Clock clock = {},
                            std::optional<std::size_t> watchBudget = std::nullopt);
    ~FolderActivity();
    FolderActivity(const FolderActivity&) = delete;
    FolderActivity& operator=(const FolderActivity&) = delete;

    // Makes these folders (in any order, repeats ignored) the watched set. A
    // folder that stays keeps its last change; one that goes is forgotten. The
    // same set again is one sort and one comparison, so it can be called at
    // every tick of the monitor.
    void watch(std::vector<std::string> folders);

    // For each watched folder, as given to watch(), the moment of its last
    // counted change; folders with none are absent.
    std::map<std::string, std::chrono::system_clock::time_point> lastChanges() const;

    // Counts a change now for every watched folder that one of `paths` (real
    // paths, as the kernel reports them) lies below, unless the path is
    // generated. A path naming a watched folder itself counts for no one.
    void record(const std::vector<std::string>& paths);

    // The watched folders, as given, that are polled at their top two levels
    // rather than watched throughout, for want of kernel watches.
    std::set<std::string> polledFolders() const;

    // The kernel watches held now.
    std::size_t watchCount() const;

    // Whether `path` lies in, or is, what tools write rather than people: any
    // piece of it (those above the project too) is a generated folder name, or
    // it names a .DS_Store or a *.tsbuildinfo.
    static bool isGenerated(std::string_view path);

private:
    std::chrono::duration<double> m_latency;
    Clock m_clock;
    std::optional<std::size_t> m_watchBudget;

    // One watch() at a time, so that the stream always matches m_folders;
    // never taken by the stream's thread.
    std::mutex m_watching;

    mutable std::mutex m_lock; // guards everything below
    std::unique_ptr<Platform::FolderWatch> m_stream;
    std::vector<std::string> m_folders;                             // as given, sorted
    std::vector<std::pair<std::string, std::string>> m_realPaths;   // (real path, folder as given)
    std::map<std::string, std::chrono::system_clock::time_point> m_changes;
};

} // namespace tarno
