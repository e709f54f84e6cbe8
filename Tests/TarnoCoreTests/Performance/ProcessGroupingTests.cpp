#include "TarnoCore/Performance/ProcessSampler.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

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

const ProcessGroup* groupWithID(const std::vector<ProcessGroup>& groups, std::string_view id)
{
    for (const ProcessGroup& group : groups) {
        if (group.id == id)
            return &group;
    }
    return nullptr;
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
    ASSERT_EQ(groups.size(), 2u);
    const ProcessGroup& x = groups[0];
    EXPECT_EQ(x.id, "app:X");
    EXPECT_EQ(x.name, "X");
    EXPECT_EQ(x.bundlePath, "/Applications/X.app");
    EXPECT_EQ(x.pids, (std::vector<std::int32_t>{30, 20, 40}));
    EXPECT_EQ(x.mainPID, 20) << "the first process in Contents/MacOS, not the nested helper";
    EXPECT_EQ(x.memoryBytes, 350);
    EXPECT_FALSE(x.isSystemService);

    const ProcessGroup& y = groups[1];
    EXPECT_EQ(y.id, "app:Y");
    EXPECT_EQ(y.name, "Y");
    EXPECT_EQ(y.bundlePath, "/Users/a/Tools/Y.app.bundle");
    EXPECT_EQ(y.mainPID, 50);
}

TEST(ProcessSamplerGrouping, ResponsibilityFoldsOnlySystemHelpersIntoApplications)
{
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(5, "/System/Library/Frameworks/WebKit.framework/Versions/A/WebContent", 70,
                "/Applications/X.app/Contents/MacOS/X", 1.5),
        process(9, "/System/Library/Frameworks/WebKit.framework/Versions/A/WebContent", 30,
                "/Applications/X.app/Contents/MacOS/X", 2.5),
        process(7, "/opt/homebrew/bin/node", 40, "/Applications/X.app/Contents/MacOS/X"),
    });
    const ProcessGroup* x = groupWithID(groups, "app:X");
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->pids, (std::vector<std::int32_t>{5, 9}));
    EXPECT_EQ(x->mainPID, 5) << "without the application's own process, the lowest pid";
    EXPECT_EQ(x->bundlePath, "/Applications/X.app");
    EXPECT_DOUBLE_EQ(x->cpuPercent, 4.0);
    EXPECT_FALSE(x->isSystemService) << "the owner path is the application's";

    const ProcessGroup* node = groupWithID(groups, "node");
    ASSERT_NE(node, nullptr) << "a non-system executable stands for itself whoever launched it";
    EXPECT_EQ(node->pids, (std::vector<std::int32_t>{7}));
    EXPECT_EQ(node->bundlePath, std::nullopt);

    // A folded helper never becomes the main process, even before the application.
    const std::vector<ProcessGroup> withMain = ProcessSampler::groups({
        process(2, "/System/Library/WebContent", 1, "/Applications/X.app/Contents/MacOS/X"),
        process(8, "/Applications/X.app/Contents/MacOS/X", 1),
    });
    ASSERT_EQ(withMain.size(), 1u);
    EXPECT_EQ(withMain[0].mainPID, 8);
}

TEST(ProcessSamplerGrouping, SameNamedBundlesShareOneGroupAndAnOrdinaryBundleWins)
{
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(3, "/Users/a/Build/X.app.bundle/Contents/MacOS/X"),
        process(4, "/Applications/X.app/Contents/MacOS/X"),
        process(6, "/Users/a/Downloads/X.app/Contents/MacOS/X"),
    });
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].id, "app:X");
    EXPECT_EQ(groups[0].bundlePath, "/Applications/X.app");
    EXPECT_EQ(groups[0].mainPID, 3) << "the first process in its own bundle's Contents/MacOS";
}

TEST(ProcessSamplerGrouping, UnreadablePathsAndSystemMembers)
{
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(12, "", 5),
        process(11, "", 5),
        process(20, "/usr/sbin/cron", 1),
        process(21, "/usr/lib/systemd/systemd-logind", 1),
        process(22, "/usr/bin/cron", 1),
    });
    const ProcessGroup* kernel12 = groupWithID(groups, "pid 12");
    ASSERT_NE(kernel12, nullptr) << "keyed by the snapshot's name";
    EXPECT_TRUE(kernel12->isSystemService);
    EXPECT_EQ(kernel12->bundlePath, std::nullopt);

    const ProcessGroup* cron = groupWithID(groups, "cron");
    ASSERT_NE(cron, nullptr);
    EXPECT_EQ(cron->pids, (std::vector<std::int32_t>{20, 22}));
    EXPECT_FALSE(cron->isSystemService) << "one member outside the system folders makes the group the user's";
    EXPECT_EQ(cron->mainPID, 20);
    EXPECT_TRUE(groupWithID(groups, "systemd-logind")->isSystemService);
}

TEST(ProcessSamplerGrouping, LargestMemoryFirstAndTiesInOrderOfAppearance)
{
    const std::vector<ProcessGroup> groups = ProcessSampler::groups({
        process(1, "/usr/bin/a", 10),
        process(2, "/usr/bin/b", 30),
        process(3, "/usr/bin/c", 10),
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
