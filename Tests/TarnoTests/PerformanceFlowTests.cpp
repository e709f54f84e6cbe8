#include "Tarno/PerformanceModel.hpp"
#include "Tarno/PerformanceScreen.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"

#include "TarnoTests/MadeUpMachine.hpp"
#include "TarnoTests/MadeUpPerformance.hpp"

#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarno {
namespace {

using test::MadeUpPerformance;
using test::waitUntil;
using ::testing::ElementsAre;
using Kind = DeveloperTool::Kind;
using Question = PerformanceScreen::Question;

constexpr std::int64_t mebibytes = 1024 * 1024;
const std::string home = "/home/alex";

DeveloperTool tool(std::string id, Kind kind, double cpu, int clients = 0)
{
    return DeveloperTool{.id = std::move(id),
                         .kind = kind,
                         .title = "Tool " + std::to_string(static_cast<int>(kind)),
                         .detail = "Doing things.",
                         .consequence = "Stops it.",
                         .pids = {100},
                         .memoryBytes = 100 * mebibytes,
                         .cpuPercent = cpu,
                         .stop = DeveloperTool::Signal{{100}},
                         .started = std::nullopt,
                         .folder = kind == Kind::devServer ? std::optional<std::string>(home + "/code/" + std::to_string(clients)) : std::nullopt,
                         .clients = clients};
}

ProcessGroup group(std::string id, std::int64_t megabytes, std::vector<std::int32_t> pids, bool isSystem = false)
{
    return ProcessGroup{.id = id,
                        .name = id,
                        .bundlePath = std::nullopt,
                        .pids = std::move(pids),
                        .mainPID = 0,
                        .memoryBytes = megabytes * mebibytes,
                        .cpuPercent = 2.4,
                        .isSystemService = isSystem};
}

// The section and its screen over a made-up machine whose clock the test moves.
class PerformanceFlow : public ::testing::Test {
protected:
    PerformanceFlow()
    {
        machine.setMemory({.total = 16'384 * mebibytes,
                           .app = 8'000 * mebibytes,
                           .wired = 2'000 * mebibytes,
                           .compressed = 1'000 * mebibytes,
                           .cached = 4'000 * mebibytes,
                           .swapUsed = 0,
                           .freePercent = 40,
                           .pressure = MemorySnapshot::Pressure::normal});
        machine.setNow(start);
    }

    // One reading, waited for.
    void read(PerformanceModel& model)
    {
        const int before = machine.calls().readings;
        model.refresh();
        ASSERT_TRUE(waitUntil([&] { return machine.calls().readings > before && !model.developerTools().empty(); }));
        QTest::qWait(20);
    }

    const std::chrono::system_clock::time_point start = std::chrono::sys_days{std::chrono::year{2026} / 11 / 2};
    MadeUpPerformance machine;
};

TEST_F(PerformanceFlow, ADevServerIsIdleUntilAClientOrAnEditAndTheScreenSaysForHowLong)
{
    const DeveloperTool quiet = tool("tree-1", Kind::devServer, 0, 0);
    const DeveloperTool busy = tool("tree-2", Kind::devServer, 0, 1);
    machine.setTools({quiet, busy, tool("7", Kind::buildDaemon, 0.2)});
    PerformanceModel model(machine.machine(), home);
    PerformanceScreen screen;
    screen.setModel(&model);
    read(model);
    EXPECT_THAT(machine.calls().watched.back(), ::testing::UnorderedElementsAre(*quiet.folder, *busy.folder))
        << "only dev servers' folders are watched";

    // Thirty minutes later the quiet one shows its idle time; the busy one is in use.
    machine.setNow(start + std::chrono::minutes(30));
    read(model);
    EXPECT_EQ(model.idleTimes(), (std::map<std::string, double>{{"tree-1", 1800.0}, {"tree-2", 0.0}}));
    const auto row = [&](const char* id) {
        const auto& rows = screen.toolRows()->rows();
        return *std::find_if(rows.begin(), rows.end(), [&](const ToolRow& r) { return r.key == QLatin1String(id); });
    };
    EXPECT_EQ(row("tree-1").badgeText, QStringLiteral("Idle 30 minutes"));
    EXPECT_EQ(row("tree-2").badgeText, QStringLiteral("In use"));
    EXPECT_EQ(row("7").badgeText, QString()) << "only dev servers have an idle badge";

    // An edit in its folder restarts the clock; a minute short of the badge, there is none.
    machine.setFolderChange(*quiet.folder, start + std::chrono::minutes(40));
    machine.setNow(start + std::chrono::minutes(69));
    read(model);
    EXPECT_EQ(model.idleTimes().at("tree-1"), 29 * 60.0);
    EXPECT_EQ(row("tree-1").badgeText, QString());

    // A folder polled for want of kernel watches says so in the tool's words.
    machine.setPolled({*quiet.folder});
    read(model);
    EXPECT_THAT(row("tree-1").detailText.toStdString(), ::testing::HasSubstr("no file watches left"));
    EXPECT_THAT(row("tree-2").detailText.toStdString(), ::testing::Not(::testing::HasSubstr("watches")));
}

TEST_F(PerformanceFlow, StoppingTakesTheRowAtOnceAndIdleDaemonsAreThoseBelowOnePercent)
{
    machine.setTools({tool("1", Kind::buildDaemon, 0.99), tool("2", Kind::buildDaemon, 1.0),
                      tool("3", Kind::languageServer, 0.0), tool("tree-4", Kind::devServer, 0.0)});
    PerformanceModel model(machine.machine(), home);
    PerformanceScreen screen;
    screen.setModel(&model);
    read(model);
    EXPECT_TRUE(screen.stopIdleEnabled());

    screen.askToStop(QStringLiteral("3"));
    EXPECT_EQ(screen.question(), Question::Stop);
    EXPECT_EQ(screen.questionText(), QStringLiteral("Stops it."));
    screen.confirm();
    EXPECT_FALSE(screen.isAsking());
    EXPECT_EQ(model.developerTools().size(), 3u) << "gone in the same turn, before the tool heard anything";
    screen.stopIdleBuildDaemons();
    EXPECT_EQ(model.developerTools().size(), 2u);
    EXPECT_FALSE(screen.stopIdleEnabled()) << "the daemon at 1.0 % is building";
    ASSERT_TRUE(waitUntil([&] { return machine.calls().stopped.size() == 2; }));
    EXPECT_THAT(machine.calls().stopped, ::testing::UnorderedElementsAre("3", "1"));

    // A tool that is gone by the time the question would be answered asks nothing.
    screen.askToStop(QStringLiteral("3"));
    EXPECT_FALSE(screen.isAsking());
}

TEST_F(PerformanceFlow, TheAppsTabShowsEightyGroupsAndOffersNoQuitForTheSystemOrItself)
{
    std::vector<ProcessGroup> groups;
    for (int index = 0; index < 81; ++index)
        groups.push_back(group("app" + std::to_string(index), 900 - index, {1000 + index}));
    groups[1] = group("gnome-shell", 899, {1201}, true);
    groups[2] = group("tarno", 898, {4242, 4243});
    machine.setGroups(groups);
    machine.setOwnPID(4242);
    machine.setTools({tool("1", Kind::buildDaemon, 0.5)});
    PerformanceModel model(machine.machine(), home);
    PerformanceScreen screen;
    screen.setModel(&model);
    read(model);

    const std::vector<ProcessRow>& rows = screen.processRows()->rows();
    ASSERT_EQ(rows.size(), PerformanceScreen::shownGroups);
    EXPECT_EQ(rows[0].fraction, 1.0);
    EXPECT_DOUBLE_EQ(rows[79].fraction, 821.0 / 900.0) << "bars are scaled to the first group";
    EXPECT_EQ(rows[1].subtitle, QStringLiteral("Part of the system"));
    EXPECT_FALSE(rows[1].canQuit);
    EXPECT_FALSE(rows[2].canQuit) << "the program never offers to quit itself";
    EXPECT_EQ(rows[2].subtitle, QStringLiteral("2 processes"));
    EXPECT_TRUE(rows[0].canQuit);

    // An icon where the desktop's theme has one by the program's name.
    EXPECT_EQ(PerformanceScreen::iconSource(group("Folder", 1, {9})), QStringLiteral("image://appicon/folder"));
    EXPECT_EQ(PerformanceScreen::iconSource(group("no-such-program-icon", 1, {9})), QString());
    EXPECT_EQ(PerformanceScreen::iconSource(group("folder", 1, {9}, true)), QString()) << "the system's have the symbol";

    screen.askToQuit(QStringLiteral("app0"));
    EXPECT_EQ(screen.questionTitle(), QStringLiteral("Quit app0?"));
    EXPECT_EQ(screen.questionText(), QStringLiteral("This ends the process. Anything it was doing stops."));
    screen.confirm(true);
    ASSERT_TRUE(waitUntil([&] { return !machine.calls().quit.empty(); }));
    EXPECT_THAT(machine.calls().quit, ElementsAre(std::pair<std::string, bool>{"app0", true}));
}

TEST_F(PerformanceFlow, MemoryAdviceFollowsPressureAndCompressionAndAnEqualReadingWakesNoOne)
{
    MemorySnapshot memory{.total = 1000, .app = 500, .wired = 100, .compressed = 199, .cached = 100, .swapUsed = 0,
                          .freePercent = 20, .pressure = MemorySnapshot::Pressure::normal};
    EXPECT_THAT(PerformanceScreen::advice(memory).toStdString(), ::testing::StartsWith("Nothing to do."));
    memory.compressed = 200;
    EXPECT_THAT(PerformanceScreen::advice(memory).toStdString(), ::testing::StartsWith("The system is coping"));
    memory.pressure = MemorySnapshot::Pressure::warning;
    EXPECT_THAT(PerformanceScreen::advice(memory).toStdString(), ::testing::StartsWith("The system is compressing"));
    memory.pressure = MemorySnapshot::Pressure::critical;
    EXPECT_THAT(PerformanceScreen::advice(memory).toStdString(), ::testing::StartsWith("The system is out of room"));

    machine.setTools({tool("1", Kind::buildDaemon, 0.5)});
    PerformanceModel model(machine.machine(), home);
    PerformanceScreen screen;
    screen.setModel(&model);
    read(model);
    EXPECT_EQ(screen.memoryText(), QStringLiteral("10.74 GB of 16 GB in use"));
    QSignalSpy memoryChanges(&model, &PerformanceModel::memoryChanged);
    read(model);
    EXPECT_EQ(memoryChanges.count(), 0);

    // A total of 0 scales by 1 rather than dividing by nothing.
    model.setMemory(MemorySnapshot{.total = 0, .app = 0, .wired = 0, .compressed = 0, .cached = 0, .swapUsed = 0,
                                   .freePercent = 100, .pressure = MemorySnapshot::Pressure::normal});
    EXPECT_EQ(screen.memorySegments().front().toMap().value(QStringLiteral("fraction")).toDouble(), 0.0);
}

TEST_F(PerformanceFlow, ALeftoverIsRemovedAfterTheQuestionAndAFailureIsShownAfterTheListIsRead)
{
    const StartupItem leftover{.label = "Old agent",
                               .scope = StartupItem::Scope::userAutostart,
                               .program = "/opt/gone/agent",
                               .startsAutomatically = true,
                               .programMissing = true,
                               .plistPath = home + "/.config/autostart/old.desktop"};
    StartupItem system = leftover;
    system.scope = StartupItem::Scope::systemAutostart;
    system.plistPath = "/etc/xdg/autostart/old.desktop";
    machine.setStartupItems({leftover, system});
    PerformanceModel model(machine.machine(), home);
    PerformanceScreen screen;
    screen.setModel(&model);
    screen.startupShown();
    ASSERT_TRUE(waitUntil([&] { return model.startupItems().size() == 2; }));
    const std::vector<StartupRow>& rows = screen.startupRows()->rows();
    EXPECT_EQ(rows[0].section, QStringLiteral("Your autostart entries"));
    EXPECT_TRUE(rows[0].isLeftover);
    EXPECT_TRUE(rows[1].programMissing);
    EXPECT_FALSE(rows[1].isLeftover) << "a system entry is shown missing but never offered for removal";

    screen.askToRemove(QString::fromStdString(system.plistPath));
    EXPECT_FALSE(screen.isAsking());
    machine.setRemovalProblem("the Trash refused it");
    screen.askToRemove(QString::fromStdString(leftover.plistPath));
    EXPECT_EQ(screen.questionTitle(), QStringLiteral("Remove Old agent?"));
    screen.confirm();
    ASSERT_TRUE(waitUntil([&] { return screen.hasProblem(); }));
    EXPECT_EQ(screen.problemText(), QStringLiteral("the Trash refused it"));
    EXPECT_EQ(model.startupItems().size(), 2u);
    screen.dismissProblem();
    EXPECT_FALSE(screen.hasProblem());

    machine.setRemovalProblem(std::nullopt);
    screen.askToRemove(QString::fromStdString(leftover.plistPath));
    screen.confirm();
    ASSERT_TRUE(waitUntil([&] { return model.startupItems().size() == 1; }));
    EXPECT_FALSE(screen.hasProblem());
}

} // namespace
} // namespace tarno
