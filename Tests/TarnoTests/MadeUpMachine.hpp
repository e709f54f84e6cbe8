#pragma once

#include "Tarno/AppMachine.hpp"

#include "TarnoTests/MadeUpApps.hpp"
#include "TarnoTests/MadeUpFiles.hpp"
#include "TarnoTests/MadeUpPerformance.hpp"
#include "TarnoTests/MadeUpProjects.hpp"

#include "TarnoCore/Cleanup/AdminCleanup.hpp"

#include "TarnoCore/Cleanup/CleanSummary.hpp"

#include <QDeadlineTimer>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <utility>
#include <string>
#include <vector>

namespace tarno::test {

// An item with the fields a test cares about; the rest as the catalog's default.
inline CleanupItem madeUpItem(std::string id, std::string title, CleanupCategory category, Safety safety,
                              CleanupAction action, std::string consequence = "It comes back when needed.")
{
    CleanupItem item;
    item.id = std::move(id);
    item.title = std::move(title);
    item.category = category;
    item.safety = safety;
    item.action = std::move(action);
    item.consequence = std::move(consequence);
    return item;
}

inline CleanupItem needingAdministrator(CleanupItem item)
{
    item.requiresAdmin = true;
    return item;
}

inline SizeResult sizeOf(std::int64_t bytes)
{
    SizeResult size;
    size.bytes = bytes;
    size.files = bytes > 0 ? 1 : 0;
    return size;
}

inline CleanSummary summaryOf(std::int64_t freed, std::int64_t trashed = 0, std::int64_t insideDocker = 0,
                              std::vector<CleanReport::Failure> failures = {})
{
    CleanSummary summary;
    summary.freed = freed;
    summary.trashed = trashed;
    summary.insideDocker = insideDocker;
    summary.failures = std::move(failures);
    return summary;
}

// Runs the main thread's events until the predicate holds; false on time-out.
inline bool waitUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout = std::chrono::seconds(20))
{
    const QDeadlineTimer deadline(timeout);
    while (!predicate()) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(1);
    }
    return true;
}

// A machine made up for the cleanup flow: the catalog, Docker and the tools
// answer what the test put in; sizes come from a table that removals change;
// measuring and removing can be held at a gate so that a test sees the flow
// half-way. Everything the model's worker threads touch sits behind one lock,
// and the machine's callables share it, so a task that outlives the test
// object still finds it.
class MadeUpMachine {
    struct State;

    template <typename F>
    auto read(F reader) const -> decltype(reader(std::declval<const State&>()))
    {
        std::lock_guard lock(m_state->mutex);
        return reader(static_cast<const State&>(*m_state));
    }

public:
    // What a removal of one item does to the table.
    struct Removal {
        std::vector<CleanReport::Failure> failures;
        std::int64_t left = 0; // bytes still there afterwards
    };

    explicit MadeUpMachine(std::string home) : m_state(std::make_shared<State>()) { m_state->home = std::move(home); }
    ~MadeUpMachine()
    {
        letAllMeasure();
        letAllClean();
    }
    MadeUpMachine(const MadeUpMachine&) = delete;
    MadeUpMachine& operator=(const MadeUpMachine&) = delete;

    // The items, Docker's answer and the tools' items; before machine().
    std::vector<CleanupItem> catalog;
    DockerStatus docker = DockerStatus::notInstalled();
    std::vector<CleanupItem> toolItems;
    bool fullDiskAccess = true;

    void setSize(const std::string& id, std::int64_t bytes) { locked([&](State& s) { s.sizes[id] = bytes; }); }
    // The removal of the item leaves this; without a word, it all goes.
    void setRemoval(const std::string& id, Removal removal) { locked([&](State& s) { s.removals[id] = removal; }); }
    void setAdministratorAnswer(AdminCleanup::Outcome answer)
    {
        locked([&](State& s) { s.administratorAnswer = std::move(answer); });
    }
    void setDisk(std::optional<DiskUsage> disk) { locked([&](State& s) { s.disk = disk; }); }

    // Measuring of items without a known size waits until the item is let
    // through; the tools' answers wait until all are let through.
    void holdMeasuring() { locked([](State& s) { s.measuringHeld = true; }); }
    void letThrough(const std::string& id) { notifying([&](State& s) { s.letThrough.insert(id); }); }
    void letAllMeasure() { notifying([](State& s) { s.measuringHeld = false; }); }
    // Removals, the administrator's included, wait until let go.
    void holdCleaning() { locked([](State& s) { s.cleaningHeld = true; }); }
    void letAllClean() { notifying([](State& s) { s.cleaningHeld = false; }); }

    std::vector<std::string> measuringNow() const { return read([](const State& s) { return s.measuring; }); }
    int mostMeasuringAtOnce() const { return read([](const State& s) { return s.mostMeasuring; }); }
    int measureCount(const std::string& id) const
    {
        return read([&](const State& s) { return s.measured.contains(id) ? s.measured.at(id) : 0; });
    }
    int catalogReadings() const { return read([](const State& s) { return s.catalogReadings; }); }
    // Ids of the items whose action was performed, in order, the one under way included.
    std::vector<std::string> performed() const { return read([](const State& s) { return s.performed; }); }
    std::vector<std::pair<std::vector<std::string>, std::string>> administratorCalls() const
    {
        return read([](const State& s) { return s.administratorCalls; });
    }
    // A gate that timed out means a test forgot to open it, not that the model failed.
    bool gateTimedOut() const { return read([](const State& s) { return s.gateTimedOut; }); }

    // The machine as the model sees it, its history in the given file. Call
    // once the fields above are set.
    AppMachine machine(const std::string& historyFile) const
    {
        return AppMachine{
            .home = m_state->home,
            .history = AppMachine::History::inFile(historyFile),
            .disk = [state = m_state](const std::string&) {
                std::lock_guard lock(state->mutex);
                return state->disk;
            },
            .cleanup = cleanupMachine(),
            .projects = test::MadeUpProjects().machine(),
            .largeFiles = test::MadeUpFiles().largeFilesMachine(),
            .duplicates = test::MadeUpFiles().duplicatesMachine(),
            .applications = test::MadeUpApps().machine(),
            .performance = test::MadeUpPerformance().machine(),
        };
    }

    CleanupMachine cleanupMachine() const
    {
        std::shared_ptr<State> state = m_state;
        {
            // Everything that may be removed, Docker's items included, to find
            // the item an action belongs to.
            std::lock_guard lock(state->mutex);
            state->items = catalog;
            const std::vector<CleanupItem> dockerItems = Docker::cleanupItems(docker);
            state->items.insert(state->items.end(), dockerItems.begin(), dockerItems.end());
            state->items.insert(state->items.end(), toolItems.begin(), toolItems.end());
        }
        CleanupEnvironment environment = CleanupEnvironment::empty(state->home);
        environment.docker = [state, docker = docker](const std::function<bool()>& isCancelled) {
            state->askTool(isCancelled);
            return docker;
        };
        environment.toolItems = [state, toolItems = toolItems](const std::function<bool()>& isCancelled) {
            state->askTool(isCancelled);
            return toolItems;
        };
        return CleanupMachine{
            .environment = std::move(environment),
            .catalog = [state, items = catalog](const CleanupEnvironment&) {
                std::lock_guard lock(state->mutex);
                ++state->catalogReadings;
                return items;
            },
            .measure = [state](const CleanupItem& item, const CleanupMachine::IsCancelled& isCancelled) {
                return state->measure(item, isCancelled);
            },
            .perform = [state](const PathGuard&, const CleanupAction& action, const CleanupMachine::IsCancelled&) {
                return state->perform(action);
            },
            .removeAsAdministrator = [state](const std::vector<std::string>& paths, const std::string& prompt) {
                return state->removeAsAdministrator(paths, prompt);
            },
            .hasFullDiskAccess = [access = fullDiskAccess](const std::string&) { return access; },
            .dockerApplication = std::nullopt,
            .launch = [](const std::vector<std::string>&) { return false; },
        };
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable gate;
        std::string home;
        std::vector<CleanupItem> items;
        std::map<std::string, std::int64_t> sizes;
        std::map<std::string, Removal> removals;
        AdminCleanup::Outcome administratorAnswer;
        std::optional<DiskUsage> disk;
        bool measuringHeld = false;
        std::set<std::string> letThrough;
        bool cleaningHeld = false;
        std::vector<std::string> measuring;
        int mostMeasuring = 0;
        std::map<std::string, int> measured;
        int catalogReadings = 0;
        std::vector<std::string> performed;
        std::vector<std::pair<std::vector<std::string>, std::string>> administratorCalls;
        bool gateTimedOut = false;

        void waitAtGate(std::unique_lock<std::mutex>& lock, const std::function<bool()>& open)
        {
            if (!gate.wait_for(lock, std::chrono::seconds(30), open))
                gateTimedOut = true;
        }

        // Held work gives up when it is cancelled, as a walk or a tool does.
        void waitWhileHeld(std::unique_lock<std::mutex>& lock, const std::function<bool()>& held,
                           const CleanupMachine::IsCancelled& isCancelled)
        {
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (held() && !isCancelled()) {
                if (std::chrono::steady_clock::now() > deadline) {
                    gateTimedOut = true;
                    break;
                }
                gate.wait_for(lock, std::chrono::milliseconds(5));
            }
        }

        void askTool(const CleanupMachine::IsCancelled& isCancelled)
        {
            std::unique_lock lock(mutex);
            waitWhileHeld(lock, [this] { return measuringHeld; }, isCancelled);
        }

        SizeResult measure(const CleanupItem& item, const CleanupMachine::IsCancelled& isCancelled)
        {
            std::unique_lock lock(mutex);
            ++measured[item.id];
            // A size a tool reported is the item's, as the live machine has it.
            if (item.knownBytes)
                return item.measure();
            measuring.push_back(item.id);
            mostMeasuring = std::max(mostMeasuring, static_cast<int>(measuring.size()));
            waitWhileHeld(lock, [&] { return measuringHeld && !letThrough.contains(item.id); }, isCancelled);
            std::erase(measuring, item.id);
            return sizeOf(sizes.contains(item.id) ? sizes.at(item.id) : 0);
        }

        AdminCleanup::Outcome removeAsAdministrator(const std::vector<std::string>& paths, const std::string& prompt)
        {
            std::unique_lock lock(mutex);
            administratorCalls.emplace_back(paths, prompt);
            waitAtGate(lock, [&] { return !cleaningHeld; });
            if (administratorAnswer.kind == AdminCleanup::Outcome::Kind::removed) {
                for (const CleanupItem& item : items)
                    if (item.action.paths() == paths)
                        sizes[item.id] = 0;
            }
            return administratorAnswer;
        }

        CleanReport perform(const CleanupAction& action)
        {
            std::unique_lock lock(mutex);
            const auto item = std::find_if(items.begin(), items.end(),
                                           [&](const CleanupItem& candidate) { return candidate.action == action; });
            const std::string id = item == items.end() ? std::string("?") : item->id;
            performed.push_back(id);
            waitAtGate(lock, [&] { return !cleaningHeld; });
            const Removal removal = removals.contains(id) ? removals.at(id) : Removal{};
            sizes[id] = removal.left;
            return CleanReport{.removed = removal.failures.empty() ? 1 : 0, .failures = removal.failures};
        }
    };

    void locked(const std::function<void(State&)>& change)
    {
        std::lock_guard lock(m_state->mutex);
        change(*m_state);
    }
    void notifying(const std::function<void(State&)>& change)
    {
        locked(change);
        m_state->gate.notify_all();
    }

    std::shared_ptr<State> m_state;
};

} // namespace tarno::test
