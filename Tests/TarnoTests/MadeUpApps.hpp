#pragma once

#include "Tarno/ApplicationsMachine.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace tarno::test {

// A made-up machine for the Applications section: apps and their parts in
// memory, answers to quit requests and removals set by the test, and a log
// of what the section asked for. Safe from any thread.
class MadeUpApps {
public:
    struct Calls {
        std::vector<std::string> quit;                    // app names, in order
        std::vector<std::vector<std::string>> removeApps; // each batch of app paths
        std::vector<std::vector<std::string>> trash;      // each batch of part paths
        std::vector<std::set<std::string>> listedExcluding;
        std::vector<bool> footprintWithContainers;
    };

    void setApps(std::vector<InstalledApp> apps) { locked([&](State& s) { s.apps = std::move(apps); }); }
    // What the footprint gives for the app at this path.
    void setParts(const std::string& app, std::vector<std::string> parts)
    {
        locked([&](State& s) { s.parts[app] = std::move(parts); });
    }
    void setSize(const std::string& path, std::int64_t bytes) { locked([&](State& s) { s.sizes[path] = bytes; }); }
    void setStaysOpen(const std::string& name) { locked([&](State& s) { s.staysOpen.insert(name); }); }
    // The removal of this path fails with this reason.
    void setFailure(const std::string& path, std::string reason)
    {
        locked([&](State& s) { s.failures[path] = std::move(reason); });
    }
    void setFullDiskAccess(bool access) { locked([&](State& s) { s.fullDiskAccess = access; }); }
    void setOwnBundleID(std::string id) { locked([&](State& s) { s.ownBundleID = std::move(id); }); }

    Calls calls() const
    {
        std::lock_guard lock(m_state->mutex);
        return m_state->calls;
    }

    ApplicationsMachine machine() const
    {
        std::shared_ptr<State> state = m_state;
        return ApplicationsMachine{
            .list = [state](const std::string&, const std::set<std::string>& excluding) {
                std::lock_guard lock(state->mutex);
                state->calls.listedExcluding.push_back(excluding);
                std::vector<InstalledApp> apps;
                for (const InstalledApp& app : state->apps) {
                    if (!excluding.contains(app.bundleID) && !state->gone.contains(app.path))
                        apps.push_back(app);
                }
                return apps;
            },
            .ownBundleID = [state] {
                std::lock_guard lock(state->mutex);
                return state->ownBundleID;
            },
            .hasFullDiskAccess = [state](const std::string&) {
                std::lock_guard lock(state->mutex);
                return state->fullDiskAccess;
            },
            .footprint = [state](const InstalledApp& app, const std::string&, bool includeContainers,
                                 const std::vector<std::string>&) {
                std::lock_guard lock(state->mutex);
                state->calls.footprintWithContainers.push_back(includeContainers);
                return state->parts[app.path];
            },
            .measure = [state](const std::string& path, const ApplicationsMachine::IsCancelled&) {
                std::lock_guard lock(state->mutex);
                return state->sizes.contains(path) ? state->sizes.at(path) : std::int64_t{0};
            },
            .quit = [state](const InstalledApp& app) {
                std::lock_guard lock(state->mutex);
                state->calls.quit.push_back(app.name);
                return !state->staysOpen.contains(app.name);
            },
            .removeApps = [state](const PathGuard&, const std::vector<std::string>& paths) {
                std::lock_guard lock(state->mutex);
                state->calls.removeApps.push_back(paths);
                return state->remove(paths);
            },
            .trash = [state](const PathGuard&, const std::vector<std::string>& paths) {
                std::lock_guard lock(state->mutex);
                state->calls.trash.push_back(paths);
                return state->remove(paths);
            },
            .reveal = {},
        };
    }

private:
    struct State {
        std::mutex mutex;
        std::vector<InstalledApp> apps;
        std::map<std::string, std::vector<std::string>> parts;
        std::map<std::string, std::int64_t> sizes;
        std::set<std::string> staysOpen;
        std::map<std::string, std::string> failures;
        std::set<std::string> gone;
        bool fullDiskAccess = true;
        std::string ownBundleID;
        Calls calls;

        CleanReport remove(const std::vector<std::string>& paths)
        {
            CleanReport report;
            for (const std::string& path : paths) {
                if (const auto failure = failures.find(path); failure != failures.end()) {
                    report.failures.push_back({path, failure->second, CleanReport::Failure::Kind::failed});
                } else {
                    gone.insert(path);
                    ++report.removed;
                }
            }
            return report;
        }
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
