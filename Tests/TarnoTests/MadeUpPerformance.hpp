#pragma once

#include "Tarno/PerformanceMachine.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace tarno::test {

// A made-up machine for the Performance section: readings, tools and startup
// items set by the test, a clock it moves, and a log of what the section
// asked for. Safe from any thread.
class MadeUpPerformance {
public:
    using TimePoint = std::chrono::system_clock::time_point;

    struct Calls {
        std::vector<std::string> stopped;          // tool ids
        std::vector<std::pair<std::string, bool>> quit; // group ids, forced
        std::vector<std::string> removed;          // startup item paths
        std::vector<std::set<std::string>> watched;
        int readings = 0;
    };

    void setMemory(MemorySnapshot memory) { locked([&](State& s) { s.memory = memory; }); }
    void setGroups(std::vector<ProcessGroup> groups) { locked([&](State& s) { s.groups = std::move(groups); }); }
    void setTools(std::vector<DeveloperTool> tools) { locked([&](State& s) { s.tools = std::move(tools); }); }
    void setStartupItems(std::vector<StartupItem> items) { locked([&](State& s) { s.items = std::move(items); }); }
    void setRemovalProblem(std::optional<std::string> problem) { locked([&](State& s) { s.problem = problem; }); }
    void setFolderChange(const std::string& folder, TimePoint when) { locked([&](State& s) { s.changes[folder] = when; }); }
    void setPolled(std::set<std::string> folders) { locked([&](State& s) { s.polled = std::move(folders); }); }
    void setNow(TimePoint now) { locked([&](State& s) { s.now = now; }); }
    void setOwnPID(std::int32_t pid) { locked([&](State& s) { s.ownPID = pid; }); }

    Calls calls() const
    {
        std::lock_guard lock(m_state->mutex);
        return m_state->calls;
    }

    PerformanceMachine machine() const
    {
        std::shared_ptr<State> state = m_state;
        std::lock_guard lock(state->mutex);
        return PerformanceMachine{
            .memory = [state] {
                std::lock_guard held(state->mutex);
                ++state->calls.readings;
                return state->memory;
            },
            .sample = [state] {
                std::lock_guard held(state->mutex);
                return ProcessSample{.processes = {}, .groups = state->groups};
            },
            .findTools = [state](const ProcessSample&, const std::string&) {
                std::lock_guard held(state->mutex);
                return state->tools;
            },
            .stopTool = [state](const DeveloperTool& tool) {
                std::lock_guard held(state->mutex);
                state->calls.stopped.push_back(tool.id);
                return true;
            },
            .quitGroup = [state](const ProcessGroup& group, bool force) {
                std::lock_guard held(state->mutex);
                state->calls.quit.emplace_back(group.id, force);
            },
            .startupItems = [state](const std::string&) {
                std::lock_guard held(state->mutex);
                return state->items;
            },
            .removeLeftover = [state](const StartupItem& item, const std::string&) {
                std::lock_guard held(state->mutex);
                state->calls.removed.push_back(item.plistPath);
                if (!state->problem)
                    std::erase(state->items, item);
                return state->problem;
            },
            .watchFolders = [state](const std::set<std::string>& folders) {
                std::lock_guard held(state->mutex);
                state->calls.watched.push_back(folders);
            },
            .folderChanges = [state] {
                std::lock_guard held(state->mutex);
                return state->changes;
            },
            .polledFolders = [state] {
                std::lock_guard held(state->mutex);
                return state->polled;
            },
            .now = [state] {
                std::lock_guard held(state->mutex);
                return state->now;
            },
            .ownPID = state->ownPID,
            .reveal = {},
        };
    }

private:
    struct State {
        std::mutex mutex;
        MemorySnapshot memory;
        std::vector<ProcessGroup> groups;
        std::vector<DeveloperTool> tools;
        std::vector<StartupItem> items;
        std::optional<std::string> problem;
        std::map<std::string, TimePoint> changes;
        std::set<std::string> polled;
        TimePoint now = std::chrono::system_clock::time_point(std::chrono::hours(500'000));
        std::int32_t ownPID = 0;
        Calls calls;
    };

    template <typename Change>
    void locked(Change change)
    {
        std::lock_guard lock(m_state->mutex);
        change(*m_state);
    }

    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace tarno::test
