#pragma once

#include "Tarno/ProjectsMachine.hpp"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno::test {

// A machine made up for the Projects section: its scan answers the scan the
// test put in and can be held half-way; removals go in memory, and the paths
// a test names fail. The callables share one locked state, so a task that
// outlives the test object still finds it.
class MadeUpProjects {
public:
    MadeUpProjects() : m_state(std::make_shared<State>()) {}
    ~MadeUpProjects() { letScanFinish(); }
    MadeUpProjects(const MadeUpProjects&) = delete;
    MadeUpProjects& operator=(const MadeUpProjects&) = delete;

    void setScan(ProjectScan scan) { locked([&](State& s) { s.scan = std::move(scan); }); }
    void setFailure(const std::string& path, CleanReport::Failure failure)
    {
        locked([&](State& s) { s.failures[path] = std::move(failure); });
    }
    void setChosenFolders(std::optional<ProjectsMachine::Roots> chosen)
    {
        locked([&](State& s) { s.chosen = std::move(chosen); });
    }
    // A scan reports its first stage, then waits until let go or stopped.
    void holdScan() { locked([](State& s) { s.held = true; }); }
    void letScanFinish()
    {
        locked([](State& s) { s.held = false; });
        m_state->gate.notify_all();
    }

    std::vector<std::string> performed() const
    {
        std::vector<std::string> paths;
        locked([&](const State& s) { paths = s.performed; });
        return paths;
    }
    std::optional<ProjectsMachine::Roots> storedRoots() const
    {
        std::optional<ProjectsMachine::Roots> roots;
        locked([&](const State& s) { roots = s.stored; });
        return roots;
    }
    int scans() const
    {
        int count = 0;
        locked([&](const State& s) { count = s.scans; });
        return count;
    }

    // The machine; with `remembers`, roots are kept in memory as preferences would.
    ProjectsMachine machine(bool remembers = false, std::optional<ProjectsMachine::Roots> remembered = {}) const
    {
        std::shared_ptr<State> state = m_state;
        locked([&](State& s) { s.stored = std::move(remembered); });
        ProjectsMachine made{
            .defaultRoots = [](const std::string& home) { return ProjectsMachine::Roots{home + "/code"}; },
            .workingDirectories = [] { return std::vector<std::string>{}; },
            .scan = [state](const ProjectsMachine::Roots&, const std::string&, const PathGuard&,
                            const std::vector<std::string>&,
                            const std::function<void(const ProjectScanner::Stage&)>& stage,
                            const ProjectsMachine::IsCancelled& isCancelled) {
                stage(ProjectScanner::CheckingWorktrees{2});
                std::unique_lock lock(state->mutex);
                ++state->scans;
                while (state->held && !isCancelled())
                    state->gate.wait_for(lock, std::chrono::milliseconds(5));
                return state->scan;
            },
            .perform = [state](const PathGuard&, const CleanupAction& action, const ProjectsMachine::IsCancelled&) {
                const std::lock_guard lock(state->mutex);
                const std::string path = action.as<CleanupAction::RemoveWorktree>()
                                             ? action.as<CleanupAction::RemoveWorktree>()->path
                                             : action.paths().front();
                state->performed.push_back(path);
                if (const auto failure = state->failures.find(path); failure != state->failures.end())
                    return CleanReport{0, {failure->second}, false};
                state->removed.insert(path);
                return CleanReport{1, {}, false};
            },
            .exists = [state](const std::string& path) {
                const std::lock_guard lock(state->mutex);
                return !state->removed.contains(path);
            },
            .chooseFolders = [state](const std::string&) {
                const std::lock_guard lock(state->mutex);
                return state->chosen;
            },
            .reveal = [](const std::string&) {},
            .rememberedRoots = std::nullopt,
        };
        if (remembers) {
            made.rememberedRoots = ProjectsMachine::RememberedRoots{
                .load = [state] {
                    const std::lock_guard lock(state->mutex);
                    return state->stored;
                },
                .store = [state](const ProjectsMachine::Roots& roots) {
                    const std::lock_guard lock(state->mutex);
                    state->stored = roots;
                },
            };
        }
        return made;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable gate;
        ProjectScan scan;
        bool held = false;
        std::map<std::string, CleanReport::Failure> failures;
        std::set<std::string> removed;
        std::vector<std::string> performed;
        std::optional<ProjectsMachine::Roots> chosen;
        std::optional<ProjectsMachine::Roots> stored;
        int scans = 0;
    };

    template <typename F>
    void locked(F change) const
    {
        const std::lock_guard lock(m_state->mutex);
        change(*m_state);
    }

    std::shared_ptr<State> m_state;
};

} // namespace tarno::test
