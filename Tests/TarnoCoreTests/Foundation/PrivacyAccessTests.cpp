#include "TarnoCore/Foundation/PrivacyAccess.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace tarno {
namespace {

TEST(PrivacyAccessTests, AccessMeansTheHomeCanBeListed)
{
    test::TemporaryFolder temp;
    const std::string home = temp.makeFolder("home");
    // What the folder holds does not matter, only that it lists.
    EXPECT_TRUE(PrivacyAccess::hasFullDiskAccess(home));
    temp.makeFile("home/.bashrc", 10);
    EXPECT_TRUE(PrivacyAccess::hasFullDiskAccess(home));
    EXPECT_FALSE(PrivacyAccess::hasFullDiskAccess(temp / "missing"));
    EXPECT_FALSE(PrivacyAccess::hasFullDiskAccess(temp / "home/.bashrc"));
}

TEST(PrivacyAccessTests, AHomeClosedToTheProcessMeansNoAccess)
{
    test::TemporaryFolder temp;
    const std::string home = temp.makeFolder("home");
    test::openToEveryone(temp.path());
    ASSERT_EQ(::chmod(home.c_str(), 0700), 0);

    const test::UnprivilegedRun run
        = test::runAsNobody([&] { return PrivacyAccess::hasFullDiskAccess(home) ? "access" : "none"; });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, "none");
}

TEST(PrivacyAccessTests, ContainerFoldersArePlainConcatenations)
{
    EXPECT_EQ(PrivacyAccess::appContainerFolders("/Users/ana"),
              (std::set<std::string>{"/Users/ana/Library/Containers", "/Users/ana/Library/Group Containers"}));
    EXPECT_EQ(PrivacyAccess::appContainerFolders("/Users/ana/"),
              (std::set<std::string>{"/Users/ana//Library/Containers", "/Users/ana//Library/Group Containers"}));
}

} // namespace
} // namespace tarno
