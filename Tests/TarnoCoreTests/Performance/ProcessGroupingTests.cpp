#include "TarnoCore/Performance/ProcessSampler.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using Pids = std::vector<std::int32_t>;

ProcessSnapshot process(std::int32_t pid, std::string path, std::int64_t memory = 0, std::string responsible = {},
                        double cpu = 0)
{
    ProcessSnapshot snapshot;
    snapshot.pid = pid;
    snapshot.path = std::move(path);
    snapshot.name = snapshot.path.empty() ? "pid " + std::to_string(pid)
                                          : snapshot.path.substr(snapshot.path.rfind('/') + 1);
    snapshot.memoryBytes = memory;
    snapshot.responsiblePath = std::move(responsible);
    snapshot.cpuPercent = cpu;
    return snapshot;
}

ProcessGroup groupWithID(const std::vector<ProcessGroup>& groups, std::string_view id)
{
    for (const ProcessGroup& group : groups)
        if (group.id == id)
            return group;
    ADD_FAILURE() << "no group " << id;
    return {};
}

TEST(ProcessSamplerSystemPaths, KnowsTheSystemFoldersOfBothPlatforms)
{
    for (const char* path : {"", "/System/Library/CoreServices/Finder.app/Contents/MacOS/Finder",
                             "/Volumes/X/System/Library/Helper", "/usr/libexec/trustd", "/usr/sbin/sshd",
                             "/sbin/launchd", "/Library/Apple/System/Library/Frameworks/x",
                             "/usr/lib/systemd/systemd-journald", "/lib/systemd/systemd-udevd"})
        EXPECT_TRUE(ProcessSampler::isSystemService(path)) << path;
    for (const char* path : {"/usr/bin/python3", "/bin/bash", "/opt/homebrew/bin/node", "/usr/lib/firefox/firefox",
                             "/home/a/System/Library", "/Applications/X.app/Contents/MacOS/X", "usr/sbin/sshd"})
        EXPECT_FALSE(ProcessSampler::isSystemService(path)) << path;
}

TEST(ProcessSamplerGrouping, BundlesGatherTheirHelpersAndTheMainProcess)
{
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(30, "/Applications/X.app/Contents/Frameworks/X Helper.app/Contents/MacOS/X Helper", 100),
        process(20, "/Applications/X.app/Contents/MacOS/X", 200),
        process(40, "/Applications/X.app/Contents/MacOS/X", 50),
        process(50, "/Users/a/Tools/Y.app.bundle/Contents/MacOS/Y", 10),
    });
    // X's main process is the first in Contents/MacOS, not the nested helper.
    EXPECT_EQ(groups, (std::vector<ProcessGroup>{
                          {"app:X", "X", "/Applications/X.app", {30, 20, 40}, 20, 350, 0, false},
                          {"app:Y", "Y", "/Users/a/Tools/Y.app.bundle", {50}, 50, 10, 0, false},
                      }));

    // Same-named bundles share one group; an ordinary bundle's path wins.
    const std::vector<ProcessGroup> same = ProcessSampler::groups({
        process(3, "/Users/a/Build/X.app.bundle/Contents/MacOS/X"),
        process(4, "/Applications/X.app/Contents/MacOS/X"),
        process(6, "/Users/a/Downloads/X.app/Contents/MacOS/X"),
    });
    EXPECT_EQ(same, (std::vector<ProcessGroup>{{"app:X", "X", "/Applications/X.app", {3, 4, 6}, 3, 0, 0, false}}));
}

TEST(ProcessSamplerGrouping, ResponsibilityFoldsOnlySystemHelpersIntoApplications)
{
    const std::string webContent = "/System/Library/Frameworks/WebKit.framework/Versions/A/WebContent";
    const std::string owner = "/Applications/X.app/Contents/MacOS/X";
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(5, webContent, 70, owner, 1.5),
        process(9, webContent, 30, owner, 2.5),
        process(7, "/opt/homebrew/bin/node", 40, owner),
    });
    // Without the application's own process the lowest pid is the main one; the owner makes it no system service.
    const ProcessGroup x = groupWithID(groups, "app:X");
    EXPECT_EQ(x.pids, (Pids{5, 9}));
    EXPECT_EQ(x.mainPID, 5);
    EXPECT_EQ(x.bundlePath, "/Applications/X.app");
    EXPECT_DOUBLE_EQ(x.cpuPercent, 4.0);
    EXPECT_FALSE(x.isSystemService);
    // A non-system executable stands for itself whoever launched it.
    EXPECT_EQ(groupWithID(groups, "node").pids, Pids{7});
    EXPECT_EQ(groupWithID(groups, "node").bundlePath, std::nullopt);

    // A folded helper never becomes the main process, even before the application.
    const std::vector<ProcessGroup> withMain =
        ProcessSampler::groups({process(2, "/System/Library/WebContent", 1, owner), process(8, owner, 1)});
    ASSERT_EQ(withMain.size(), 1u);
    EXPECT_EQ(withMain[0].mainPID, 8);
}

TEST(ProcessSamplerGrouping, UnreadablePathsAndSystemMembers)
{
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(12, "", 5), process(11, "", 5), process(20, "/usr/sbin/cron", 1),
        process(21, "/usr/lib/systemd/systemd-logind", 1), process(22, "/usr/bin/cron", 1),
    });
    // An unreadable path is keyed by the snapshot's name.
    EXPECT_TRUE(groupWithID(groups, "pid 12").isSystemService);
    EXPECT_EQ(groupWithID(groups, "pid 12").bundlePath, std::nullopt);
    // One member outside the system folders makes the group the user's.
    EXPECT_EQ(groupWithID(groups, "cron"), (ProcessGroup{"cron", "cron", std::nullopt, {20, 22}, 20, 2, 0, false}));
    EXPECT_TRUE(groupWithID(groups, "systemd-logind").isSystemService);
}

TEST(ProcessSamplerGrouping, KernelThreadsShareOneSystemGroup)
{
    const auto withParent = [](ProcessSnapshot snapshot, std::int32_t parent) {
        snapshot.parentPID = parent;
        return snapshot;
    };
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        withParent(process(2, "", 0), 0),               // kthreadd
        withParent(process(14, "", 0), 2),              // a kernel worker
        withParent(process(9, "", 3), 2),
        withParent(process(30, "", 4), 1),              // unreadable, but no kernel thread
        withParent(process(31, "/usr/bin/kworker", 5), 2), // has an executable: stands for itself
    });
    EXPECT_EQ(groupWithID(groups, "System (kernel)"),
              (ProcessGroup{"System (kernel)", "System (kernel)", std::nullopt, {2, 14, 9}, 2, 3, 0, true}));
    EXPECT_EQ(groupWithID(groups, "pid 30").pids, Pids{30});
    EXPECT_EQ(groupWithID(groups, "kworker").pids, Pids{31});
    EXPECT_FALSE(groupWithID(groups, "kworker").isSystemService);
    EXPECT_EQ(groups.size(), 3u);
}

TEST(ProcessSamplerGrouping, LargestMemoryFirstAndTiesInOrderOfAppearance)
{
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(1, "/usr/bin/a", 10), process(2, "/usr/bin/b", 30), process(3, "/usr/bin/c", 10),
        process(4, "/usr/bin/a", 25),
    });
    std::vector<std::string> order;
    for (const ProcessGroup& group : groups)
        order.push_back(group.id);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(groups[0].memoryBytes, 35);
    EXPECT_TRUE(ProcessSampler::groups({}).empty());
}

} // namespace
} // namespace tarno
