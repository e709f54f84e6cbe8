#pragma once

#include "Tarno/DuplicatesMachine.hpp"
#include "Tarno/LargeFilesMachine.hpp"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace tarno::test {

// A machine made up for the Large Files and Duplicates sections: searches
// answer what the test put in and can be held half-way; moves go in memory,
// and the paths a test names fail. The callables share one locked state, so
// a task that outlives the test object still finds it.
class MadeUpFiles {
public:
    MadeUpFiles() : m_state(std::make_shared<State>()) {}
    ~MadeUpFiles() { letSearchFinish(); }
    MadeUpFiles(const MadeUpFiles&) = delete;
    MadeUpFiles& operator=(const MadeUpFiles&) = delete;

    void setLargeFiles(std::vector<LargeFile> files) { locked([&](State& s) { s.largeFiles = std::move(files); }); }
    void setGroups(std::vector<DuplicateGroup> groups) { locked([&](State& s) { s.groups = std::move(groups); }); }
    void setFailure(const std::string& path, std::string reason)
    {
        locked([&](State& s) { s.failures[path] = std::move(reason); });
    }
    void setPhotosLibrary(bool present) { locked([&](State& s) { s.photosLibrary = present; }); }
    void setFullDiskAccess(bool granted) { locked([&](State& s) { s.fullDiskAccess = granted; }); }
    // A search reports progress, then waits until let go.
    void holdSearch() { locked([](State& s) { s.held = true; }); }
    void letSearchFinish()
    {
        locked([](State& s) { s.held = false; });
        m_state->gate.notify_all();
    }

    int searches() const { return read([](const State& s) { return s.searches; }); }
    // Every move asked for, the paths of each.
    std::vector<std::vector<std::string>> moves() const { return read([](const State& s) { return s.moves; }); }
    std::set<std::string> excluded() const { return read([](const State& s) { return s.excluded; }); }
    std::int64_t minimumAsked() const { return read([](const State& s) { return s.minimum; }); }

    LargeFilesMachine largeFilesMachine() const
    {
        std::shared_ptr<State> state = m_state;
        return LargeFilesMachine{
            .find = [state](const std::string&, std::int64_t minimumBytes, std::size_t,
                            const std::set<std::string>& excluding, const std::function<void(std::int64_t)>& progress,
                            const LargeFilesMachine::IsCancelled& isCancelled) {
                progress(1'234);
                std::unique_lock lock(state->mutex);
                ++state->searches;
                state->excluded = excluding;
                state->minimum = minimumBytes;
                while (state->held && !isCancelled())
                    state->gate.wait_for(lock, std::chrono::milliseconds(5));
                return state->largeFiles;
            },
            .hasFullDiskAccess = [state](const std::string&) {
                const std::lock_guard lock(state->mutex);
                return state->fullDiskAccess;
            },
            .excludedFolders = [](const std::string& home, bool hasAccess) {
                return hasAccess ? std::set<std::string>{} : std::set<std::string>{home + "/Library/Containers"};
            },
            .appDataFolders = [](const std::string& home) { return std::vector<std::string>{home + "/.config"}; },
            .perform = [state](const PathGuard&, const CleanupAction& action) { return move(*state, action); },
            .reveal = [](const std::vector<std::string>&) {},
        };
    }

    DuplicatesMachine duplicatesMachine() const
    {
        std::shared_ptr<State> state = m_state;
        return DuplicatesMachine{
            .defaultRoots = [](const std::string& home) { return std::vector<std::string>{home + "/Documents"}; },
            .find = [state](const std::vector<std::string>&, std::int64_t minimumBytes, const std::string&,
                            const std::function<void(const DuplicateFinder::Stage&)>& progress,
                            const DuplicatesMachine::IsCancelled& isCancelled) {
                progress(DuplicateFinder::Comparing{3, 8});
                std::unique_lock lock(state->mutex);
                ++state->searches;
                state->minimum = minimumBytes;
                while (state->held && !isCancelled())
                    state->gate.wait_for(lock, std::chrono::milliseconds(5));
                return state->groups;
            },
            .hasPhotosLibrary = [state](const std::string&) {
                const std::lock_guard lock(state->mutex);
                return state->photosLibrary;
            },
            .perform = [state](const PathGuard&, const CleanupAction& action) { return move(*state, action); },
            // A picture for the photos, none for the rest.
            .thumbnail = [](const std::string& path, QSize size) {
                QImage image;
                if (path.ends_with(".jpg")) {
                    image = QImage(size, QImage::Format_RGB32);
                    image.fill(Qt::darkCyan);
                }
                return image;
            },
            .typeIcon = [](const std::string&, QSize size) {
                QImage icon(size, QImage::Format_ARGB32);
                icon.fill(Qt::gray);
                return icon;
            },
            .reveal = [](const std::vector<std::string>&) {},
            .openPhotos = nullptr,
        };
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable gate;
        std::vector<LargeFile> largeFiles;
        std::vector<DuplicateGroup> groups;
        std::map<std::string, std::string> failures;
        bool photosLibrary = false;
        bool fullDiskAccess = true;
        bool held = false;
        int searches = 0;
        std::vector<std::vector<std::string>> moves;
        std::set<std::string> excluded;
        std::int64_t minimum = 0;
    };

    static CleanReport move(State& state, const CleanupAction& action)
    {
        const std::lock_guard lock(state.mutex);
        CleanReport report;
        state.moves.push_back(action.paths());
        for (const std::string& path : action.paths()) {
            if (const auto failure = state.failures.find(path); failure != state.failures.end())
                report.failures.push_back({path, failure->second, CleanReport::Failure::Kind::failed});
            else
                ++report.removed;
        }
        return report;
    }

    template <typename F>
    void locked(F change) const
    {
        const std::lock_guard lock(m_state->mutex);
        change(*m_state);
    }
    template <typename F>
    std::invoke_result_t<F, const State&> read(F get) const
    {
        const std::lock_guard lock(m_state->mutex);
        return get(*m_state);
    }

    std::shared_ptr<State> m_state;
};

} // namespace tarno::test
