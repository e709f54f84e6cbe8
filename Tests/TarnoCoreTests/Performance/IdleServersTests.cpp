// The idle rule for dev servers, on made-up time.

#include "TarnoCore/Performance/IdleServers.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using namespace std::chrono_literals;
using TimePoint = IdleServers::TimePoint;
using Server = IdleServers::Server;

const TimePoint t0 = TimePoint(std::chrono::seconds(1'700'000'000));
constexpr std::chrono::duration<double> hour = 1h;

Server server(std::optional<TimePoint> started = t0 - 1h, std::optional<std::string> folder = "/home/a/app",
              int clients = 0)
{
    return Server{"tree-4242", started, std::move(folder), clients};
}

double seconds(std::optional<std::chrono::duration<double>> time)
{
    return time ? time->count() : -1;
}

TEST(IdleServers, AServerStartsIdleAtItsFirstObservationAndIsForgottenWhenGone)
{
    IdleServers idle;
    EXPECT_FALSE(idle.idleTime(server(), t0).has_value()) << "not yet observed";

    idle.observe({server()}, {}, t0);
    EXPECT_EQ(seconds(idle.idleTime(server(), t0 + 90s)), 90);

    idle.observe({}, {}, t0 + 100s);
    EXPECT_TRUE(idle.watches.empty());
    EXPECT_FALSE(idle.idleTime(server(), t0 + 100s).has_value());

    // Back again: its clock starts over.
    idle.observe({server()}, {}, t0 + 200s);
    EXPECT_EQ(seconds(idle.idleTime(server(), t0 + 230s)), 30);
}

// The pair of id and start date names one run of a server.
TEST(IdleServers, AWatchContinuesOnlyForTheSameRun)
{
    struct Case {
        const char* name;
        std::optional<TimePoint> before;
        std::optional<TimePoint> after;
        bool continues;
    };
    const Case cases[] = {
        {"both dates absent", std::nullopt, std::nullopt, true},
        {"same date", t0 - 1h, t0 - 1h, true},
        {"date appears", std::nullopt, t0 - 1h, false},
        {"date disappears", t0 - 1h, std::nullopt, false},
        {"restarted under the same id", t0 - 1h, t0 + 50s, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        IdleServers idle;
        idle.observe({server(c.before)}, {}, t0);
        idle.keep("tree-4242");
        idle.observe({server(c.after)}, {}, t0 + 100s);

        EXPECT_EQ(seconds(idle.idleTime(server(c.after), t0 + 100s)), c.continues ? 100 : 0);
        EXPECT_EQ(idle.watches.at("tree-4242").kept, c.continues) << "a new run is not kept";
        // A watch of the run before is no watch of this one.
        if (c.before != c.after) {
            EXPECT_FALSE(idle.idleTime(server(c.before), t0 + 100s).has_value());
        }
        const auto taken = idle.takeIdle({server(c.after)}, 100s, t0 + 200s);
        EXPECT_EQ(taken.size(), c.continues ? 0u : 1u);
    }
}

TEST(IdleServers, AServerWithAClientAtEveryObservationIsNeverIdle)
{
    IdleServers idle;
    for (int minute = 0; minute <= 180; ++minute) {
        const TimePoint now = t0 + std::chrono::minutes(minute);
        idle.observe({server(t0 - 1h, "/home/a/app", 1)}, {}, now);
        EXPECT_EQ(seconds(idle.idleTime(server(), now)), 0);
        EXPECT_TRUE(idle.takeIdle({server()}, hour, now).empty()) << "minute " << minute;
    }
}

// Which folder changes count as use: the server's own folder, later than its
// last use; with a client too, the later of the two.
TEST(IdleServers, FolderChangesRestartTheClockWhenNewer)
{
    struct Case {
        const char* name;
        std::optional<std::string> folder;
        std::map<std::string, TimePoint> changes;
        int clients;
        double idleAt1000; // seconds idle at t0 + 1000 s after an observation at t0 + 600 s
    };
    const Case cases[] = {
        {"no change", "/home/a/app", {}, 0, 1000},
        {"a change after the watch began", "/home/a/app", {{"/home/a/app", t0 + 300s}}, 0, 700},
        {"a change before the watch began", "/home/a/app", {{"/home/a/app", t0 - 300s}}, 0, 1000},
        {"a change to another folder", "/home/a/app", {{"/home/a/app2", t0 + 300s}}, 0, 1000},
        {"a server without a folder", std::nullopt, {{"/home/a/app", t0 + 300s}}, 0, 1000},
        {"a client now and an older change", "/home/a/app", {{"/home/a/app", t0 + 300s}}, 1, 400},
        {"a client now and a change stamped later", "/home/a/app", {{"/home/a/app", t0 + 800s}}, 1, 200},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        IdleServers idle;
        idle.observe({server(t0 - 1h, c.folder)}, {}, t0);
        idle.observe({server(t0 - 1h, c.folder, c.clients)}, c.changes, t0 + 600s);
        EXPECT_EQ(seconds(idle.idleTime(server(), t0 + 1000s)), c.idleAt1000);
    }
}

TEST(IdleServers, AChangeAlreadySeenDoesNotRestartTheClockAgain)
{
    IdleServers idle;
    const std::map<std::string, TimePoint> changes = {{"/home/a/app", t0 + 10s}};
    idle.observe({server()}, {}, t0);
    idle.observe({server()}, changes, t0 + 20s);
    ASSERT_EQ(idle.takeIdle({server()}, 100s, t0 + 110s), std::vector<std::string>{"tree-4242"});

    // The same change at later ticks is not new use: no second report.
    idle.observe({server()}, changes, t0 + 120s);
    EXPECT_TRUE(idle.watches.at("tree-4242").reported);
    EXPECT_TRUE(idle.takeIdle({server()}, 100s, t0 + 500s).empty());
}

TEST(IdleServers, IdleTimeIsNeverNegative)
{
    IdleServers idle;
    idle.observe({server()}, {}, t0);
    EXPECT_EQ(seconds(idle.idleTime(server(), t0 - 30s)), 0);
    // A folder change stamped ahead of the monitor's clock.
    idle.observe({server()}, {{"/home/a/app", t0 + 500s}}, t0 + 10s);
    EXPECT_EQ(seconds(idle.idleTime(server(), t0 + 20s)), 0);
    EXPECT_EQ(seconds(idle.idleTime(server(), t0 + 600s)), 100);
}

TEST(IdleServers, EachIdleSpellIsHandedOutOnceAtTheThreshold)
{
    IdleServers idle;
    idle.observe({server()}, {}, t0);
    EXPECT_TRUE(idle.takeIdle({server()}, hour, t0 + 1h - 1s).empty());
    EXPECT_EQ(idle.takeIdle({server()}, hour, t0 + 1h), std::vector<std::string>{"tree-4242"});
    EXPECT_TRUE(idle.takeIdle({server()}, hour, t0 + 1h).empty()) << "the same spell again";
    EXPECT_TRUE(idle.takeIdle({server()}, hour, t0 + 5h).empty());

    // A client ends the spell; the next is reported after a further full hour.
    idle.observe({server(t0 - 1h, "/home/a/app", 1)}, {}, t0 + 6h);
    idle.observe({server()}, {}, t0 + 6h + 1min);
    EXPECT_EQ(seconds(idle.idleTime(server(), t0 + 6h + 30min)), 1800);
    EXPECT_TRUE(idle.takeIdle({server()}, hour, t0 + 7h - 1s).empty());
    EXPECT_EQ(idle.takeIdle({server()}, hour, t0 + 7h), std::vector<std::string>{"tree-4242"});
}

TEST(IdleServers, TakeIdleKeepsTheServersOrderAndSkipsUnwatchedRuns)
{
    const Server first{"tree-1", t0 - 2h, "/home/a/one", 0};
    const Server second{"tree-2", t0 - 2h, "/home/a/two", 0};
    const Server third{"tree-3", t0 - 2h, "/home/a/three", 0};
    IdleServers idle;
    idle.observe({first, second}, {}, t0);
    idle.observe({first, second, third}, {}, t0 + 30min);

    Server secondRestarted = second;
    secondRestarted.started = t0 + 10min;
    EXPECT_EQ(idle.takeIdle({second, first, third, secondRestarted}, hour, t0 + 1h),
              (std::vector<std::string>{"tree-2", "tree-1"}));
    EXPECT_EQ(idle.takeIdle({third}, hour, t0 + 90min), std::vector<std::string>{"tree-3"});
}

TEST(IdleServers, AKeptServerIsNeverHandedOutButStillCounts)
{
    for (const bool reportedFirst : {false, true}) {
        SCOPED_TRACE(reportedFirst ? "kept after a report" : "kept while watched");
        IdleServers idle;
        idle.observe({server()}, {}, t0);
        if (reportedFirst) {
            ASSERT_EQ(idle.takeIdle({server()}, hour, t0 + 1h).size(), 1u);
        }
        idle.keep("tree-4242");

        EXPECT_TRUE(idle.takeIdle({server()}, hour, t0 + 3h).empty());
        EXPECT_EQ(seconds(idle.idleTime(server(), t0 + 3h)), 3 * 3600);

        // Use still moves the clock and clears the report, and the mark stays.
        idle.observe({server(t0 - 1h, "/home/a/app", 2)}, {}, t0 + 4h);
        const IdleServers::Watch& watch = idle.watches.at("tree-4242");
        EXPECT_EQ(watch.idleSince, t0 + 4h);
        EXPECT_FALSE(watch.reported);
        EXPECT_TRUE(watch.kept);
        idle.observe({server()}, {}, t0 + 4h + 1s);
        EXPECT_TRUE(idle.takeIdle({server()}, hour, t0 + 9h).empty());
    }
}

TEST(IdleServers, KeepingAnUnknownServerChangesNothing)
{
    IdleServers idle;
    idle.observe({server()}, {}, t0);
    const IdleServers before = idle;
    idle.keep("tree-9999");
    EXPECT_EQ(idle, before);
    EXPECT_EQ(idle.takeIdle({server()}, hour, t0 + 1h), std::vector<std::string>{"tree-4242"});
}

} // namespace
} // namespace tarno
