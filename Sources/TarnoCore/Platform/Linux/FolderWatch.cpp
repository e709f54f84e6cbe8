#include "TarnoCore/Platform/FolderWatch.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno::Platform {

namespace {

using SteadyClock = std::chrono::steady_clock;

// What counts as a person's edit below a watched folder. No IN_ATTRIB: tools
// touch modes and times on their own. IN_EXCL_UNLINK keeps a deleted file
// that is still open from reporting on.
constexpr std::uint32_t watchMask = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                    IN_DELETE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;

struct Entry {
    std::string name;
    bool isFolder = false; // a real folder; a link to one is not
};

// One level of `folder`, opened without following a link at its end.
// Nothing when it cannot be read.
std::vector<Entry> entriesOf(const std::string& folder)
{
    std::vector<Entry> entries;
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return entries;
    DIR* listing = ::fdopendir(descriptor);
    if (listing == nullptr) {
        ::close(descriptor);
        return entries;
    }
    while (const dirent* entry = ::readdir(listing)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat status {};
            isFolder = ::fstatat(descriptor, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                       S_ISDIR(status.st_mode);
        }
        entries.push_back(Entry{name, isFolder});
    }
    ::closedir(listing);
    return entries;
}

bool isReadableFolder(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    ::close(descriptor);
    return true;
}

bool isAtOrBelow(const std::string& path, const std::string& folder)
{
    return path == folder || (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/');
}

// A polled entry changed when any of these did: an editor that saves by
// renaming gives a new inode, and a write within the file system's clock
// tick may leave the time as it was but not the size.
struct Stamp {
    std::int64_t modified = 0; // nanoseconds
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    bool operator==(const Stamp&) const = default;
};

using Snapshot = std::map<std::string, Stamp>;

} // namespace

struct FolderWatch::State {
    // Fixed from construction.
    std::vector<std::string> roots;
    SteadyClock::duration latency{};
    SteadyClock::duration pollEvery{};
    Skip skip;
    Report report;
    std::size_t budget = SIZE_MAX;
    int inotify = -1;
    int wake = -1;

    // The constructor's, then the thread's alone.
    std::unordered_map<int, std::string> folderOfWatch;
    std::unordered_map<std::string, int> watchOfFolder;
    std::map<std::string, Snapshot> snapshots; // of the polled roots
    std::set<std::string> pending;
    std::optional<SteadyClock::time_point> pendingSince;
    SteadyClock::time_point nextPoll;
    std::vector<char> buffer;

    // What other threads may ask, copied out by the thread.
    mutable std::mutex publishedLock;
    std::set<std::string> polled;
    std::size_t count = 0;

    std::jthread thread;

    void publish()
    {
        std::set<std::string> polledNow;
        for (const auto& [root, snapshot] : snapshots)
            polledNow.insert(root);
        const std::lock_guard lock(publishedLock);
        polled = std::move(polledNow);
        count = folderOfWatch.size();
    }

    // `top` and the folders below it that are to be watched; every entry met
    // is added to `found` when one is given.
    std::vector<std::string> folderTree(const std::string& top, std::vector<std::string>* found) const
    {
        std::vector<std::string> folders;
        std::vector<std::string> stack{top};
        while (!stack.empty()) {
            std::string folder = std::move(stack.back());
            stack.pop_back();
            const std::vector<Entry> entries = entriesOf(folder);
            if (entries.empty() && !isReadableFolder(folder))
                continue;
            for (const Entry& entry : entries) {
                std::string path = folder + "/" + entry.name;
                if (found != nullptr)
                    found->push_back(path);
                if (entry.isFolder && !skip(entry.name))
                    stack.push_back(std::move(path));
            }
            folders.push_back(std::move(folder));
        }
        return folders;
    }

    // Watches every folder, or none of those it would newly watch: false when
    // they do not fit in the budget or the kernel refuses.
    bool addWatches(const std::vector<std::string>& folders)
    {
        if (inotify < 0)
            return false;
        const auto fresh = static_cast<std::size_t>(std::count_if(
            folders.begin(), folders.end(), [&](const std::string& folder) { return !watchOfFolder.contains(folder); }));
        if (folderOfWatch.size() + fresh > budget)
            return false;
        std::vector<int> added;
        for (const std::string& folder : folders) {
            const int watch = ::inotify_add_watch(inotify, folder.c_str(), watchMask);
            if (watch < 0) {
                if (errno == ENOSPC || errno == ENOMEM) {
                    for (const int undo : added) {
                        ::inotify_rm_watch(inotify, undo);
                        watchOfFolder.erase(folderOfWatch[undo]);
                        folderOfWatch.erase(undo);
                    }
                    return false;
                }
                continue; // gone or unreadable since it was listed
            }
            auto [known, inserted] = folderOfWatch.try_emplace(watch, folder);
            if (inserted) {
                added.push_back(watch);
            } else if (known->second != folder) {
                // The kernel watches a folder, not a name: the same folder
                // under a new path, after a move.
                if (auto old = watchOfFolder.find(known->second); old != watchOfFolder.end() && old->second == watch)
                    watchOfFolder.erase(old);
                known->second = folder;
            }
            watchOfFolder[folder] = watch;
        }
        return true;
    }

    void forgetTree(const std::string& top)
    {
        for (auto it = folderOfWatch.begin(); it != folderOfWatch.end();) {
            if (isAtOrBelow(it->second, top)) {
                ::inotify_rm_watch(inotify, it->first);
                watchOfFolder.erase(it->second);
                it = folderOfWatch.erase(it);
            } else {
                ++it;
            }
        }
    }

    Snapshot snapshotOf(const std::string& root) const
    {
        Snapshot snapshot;
        const auto stampAt = [&](const std::string& path) {
            struct stat status {};
            if (::lstat(path.c_str(), &status) != 0)
                return;
            snapshot[path] = Stamp{static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 +
                                       static_cast<std::int64_t>(status.st_mtim.tv_nsec),
                                   static_cast<std::int64_t>(status.st_size), static_cast<std::uint64_t>(status.st_ino)};
        };
        for (const Entry& entry : entriesOf(root)) {
            if (skip(entry.name))
                continue;
            const std::string path = root + "/" + entry.name;
            stampAt(path);
            if (!entry.isFolder)
                continue;
            for (const Entry& inner : entriesOf(path)) {
                if (!skip(inner.name))
                    stampAt(path + "/" + inner.name);
            }
        }
        return snapshot;
    }

    void startPolling(const std::string& root)
    {
        if (!snapshots.contains(root))
            snapshots.emplace(root, snapshotOf(root));
    }

    void comparePolled()
    {
        for (auto& [root, old] : snapshots) {
            Snapshot now = snapshotOf(root);
            for (const auto& [path, stamp] : now) {
                const auto before = old.find(path);
                if (before == old.end() || before->second != stamp)
                    pending.insert(path);
            }
            for (const auto& [path, stamp] : old) {
                if (!now.contains(path))
                    pending.insert(path);
            }
            old = std::move(now);
        }
    }

    // A folder made or moved in while watching: watched with what it already
    // holds, which counts as made now. When that no longer fits, the roots
    // that hold it are polled as well.
    void addMovedInOrMade(const std::string& folder)
    {
        std::vector<std::string> found;
        const std::vector<std::string> folders = folderTree(folder, &found);
        pending.insert(found.begin(), found.end());
        if (folders.empty() || addWatches(folders))
            return;
        for (const std::string& root : roots) {
            if (isAtOrBelow(folder, root))
                startPolling(root);
        }
    }

    void handle(const inotify_event& event)
    {
        if ((event.mask & IN_IGNORED) != 0) {
            // The folder is gone (or the watch was taken back).
            if (auto it = folderOfWatch.find(event.wd); it != folderOfWatch.end()) {
                if (auto back = watchOfFolder.find(it->second); back != watchOfFolder.end() && back->second == event.wd)
                    watchOfFolder.erase(back);
                folderOfWatch.erase(it);
            }
            return;
        }
        // Events on a watched folder itself (IN_DELETE_SELF) carry no name;
        // its parent tells of the removal.
        if (event.len == 0)
            return;
        const auto it = folderOfWatch.find(event.wd);
        if (it == folderOfWatch.end())
            return;
        const std::string name = event.name;
        std::string path = it->second + "/" + name;
        if ((event.mask & IN_ISDIR) != 0) {
            if ((event.mask & IN_MOVED_FROM) != 0)
                forgetTree(path);
            if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0 && !skip(name))
                addMovedInOrMade(path);
        }
        pending.insert(std::move(path));
    }

    void readEvents()
    {
        const ssize_t length = ::read(inotify, buffer.data(), buffer.size());
        if (length <= 0)
            return;
        // A lost queue (IN_Q_OVERFLOW, wd -1) is passed over: its events
        // cannot be told apart, and a flood is more often a tool than a person.
        for (std::size_t offset = 0; offset + sizeof(inotify_event) <= static_cast<std::size_t>(length);) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
            handle(*event);
            offset += sizeof(inotify_event) + event->len;
        }
    }

    int timeoutMilliseconds(SteadyClock::time_point now) const
    {
        std::optional<SteadyClock::time_point> due;
        if (pendingSince)
            due = *pendingSince + latency;
        if (!snapshots.empty())
            due = due ? std::min(*due, nextPoll) : nextPoll;
        // Without a wake-up descriptor the thread looks for its stop now and then.
        if (wake < 0)
            due = due ? std::min(*due, now + std::chrono::milliseconds(100)) : now + std::chrono::milliseconds(100);
        if (!due)
            return -1;
        if (*due <= now)
            return 0;
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - now).count();
        return static_cast<int>(std::min<std::int64_t>(wait, INT_MAX));
    }

    void run(const std::stop_token& stop)
    {
        while (!stop.stop_requested()) {
            pollfd descriptors[2] = {{inotify, POLLIN, 0}, {wake, POLLIN, 0}};
            const int ready = ::poll(descriptors, 2, timeoutMilliseconds(SteadyClock::now()));
            if (stop.stop_requested())
                break;
            if (ready > 0 && (descriptors[0].revents & POLLIN) != 0)
                readEvents();
            const auto now = SteadyClock::now();
            if (!snapshots.empty() && now >= nextPoll) {
                comparePolled();
                nextPoll = now + pollEvery;
            }
            publish();
            if (!pending.empty() && !pendingSince)
                pendingSince = now;
            if (pendingSince && now >= *pendingSince + latency) {
                std::vector<std::string> paths(pending.begin(), pending.end());
                pending.clear();
                pendingSince.reset();
                report(std::move(paths));
            }
        }
    }
};

FolderWatch::FolderWatch(std::vector<std::string> roots, std::chrono::duration<double> latency, Skip skip,
                         Report report, std::optional<std::size_t> watchBudget)
    : m_state(std::make_unique<State>())
{
    State& state = *m_state;
    std::sort(roots.begin(), roots.end());
    roots.erase(std::unique(roots.begin(), roots.end()), roots.end());
    state.roots = std::move(roots);
    state.latency = std::chrono::ceil<SteadyClock::duration>(std::max(latency, std::chrono::duration<double>(0)));
    state.pollEvery = pollInterval(latency);
    state.skip = std::move(skip);
    state.report = std::move(report);
    state.budget = watchBudget.value_or(defaultWatchBudget().value_or(SIZE_MAX));
    state.inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    state.wake = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    state.buffer.resize(64 * 1024);

    // Roots are taken whole or polled whole, in order.
    for (const std::string& root : state.roots) {
        const std::vector<std::string> folders = state.folderTree(root, nullptr);
        if (!folders.empty() && !state.addWatches(folders))
            state.startPolling(root);
    }
    state.nextPoll = SteadyClock::now() + state.pollEvery;
    state.publish();
    state.thread = std::jthread([&state](const std::stop_token& stop) { state.run(stop); });
}

FolderWatch::~FolderWatch()
{
    State& state = *m_state;
    if (state.thread.joinable()) {
        state.thread.request_stop();
        if (state.wake >= 0) {
            const std::uint64_t one = 1;
            [[maybe_unused]] const ssize_t written = ::write(state.wake, &one, sizeof one);
        }
        state.thread.join();
    }
    if (state.inotify >= 0)
        ::close(state.inotify);
    if (state.wake >= 0)
        ::close(state.wake);
}

std::set<std::string> FolderWatch::polledRoots() const
{
    const std::lock_guard lock(m_state->publishedLock);
    return m_state->polled;
}

std::size_t FolderWatch::watchCount() const
{
    const std::lock_guard lock(m_state->publishedLock);
    return m_state->count;
}

std::optional<std::size_t> FolderWatch::defaultWatchBudget()
{
    std::ifstream file("/proc/sys/fs/inotify/max_user_watches");
    long long limit = 0;
    if (!(file >> limit) || limit <= 0)
        return std::nullopt;
    return static_cast<std::size_t>(limit) / 2;
}

std::chrono::steady_clock::duration FolderWatch::pollInterval(std::chrono::duration<double> latency)
{
    const auto bounded =
        std::clamp(latency, std::chrono::duration<double>(0.1), std::chrono::duration<double>(2.0));
    return std::chrono::ceil<SteadyClock::duration>(bounded);
}

} // namespace tarno::Platform
