#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno::Platform {

// Tells of changes below a set of folders as the kernel sees them (inotify on
// Linux), from one background thread of its own. Every folder below a root is
// watched except those `skip` names and symbolic links; folders made or moved
// in while watching are watched too. Bursts are grouped: `report` runs at most
// once per `latency`, with the paths touched since the last report (real
// paths: a root and what was found below it), in no set order.
//
// The user's watches are few and shared with every other program. A root whose
// folders would take this watch past `watchBudget`, or that the kernel refuses
// more watches, is polled instead: the modification time, size and inode of
// every entry in its top two levels, compared at each poll. Never fails: what
// cannot be watched or read is passed over.
class FolderWatch {
public:
    using Report = std::function<void(std::vector<std::string> paths)>;
    using Skip = std::function<bool(const std::string& name)>;

    // `roots`: real paths, no link among them. Every watch is in place when
    // the constructor returns. `watchBudget` defaults to defaultWatchBudget().
    FolderWatch(std::vector<std::string> roots, std::chrono::duration<double> latency, Skip skip, Report report,
                std::optional<std::size_t> watchBudget = std::nullopt);
    // Stops the thread; no report runs once it has returned.
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    // The roots that are polled rather than watched.
    std::set<std::string> polledRoots() const;
    // The kernel watches held now.
    std::size_t watchCount() const;

    // Half of the user's limit (/proc/sys/fs/inotify/max_user_watches), so
    // that editors and the dev servers' own watchers keep room; absent when
    // the limit cannot be read.
    static std::optional<std::size_t> defaultWatchBudget();

    // How often a polled root is compared: the latency, within 0.1 s to 2 s.
    static std::chrono::steady_clock::duration pollInterval(std::chrono::duration<double> latency);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace tarno::Platform
