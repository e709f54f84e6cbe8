#include "TarnoCore/Cleanup/AdminCleanup.hpp"

#include "TarnoCore/Platform/AdministratorPrompt.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using Paths = std::vector<std::string>;

constexpr const char* macYarn = "/usr/local/share/Library/Caches/Yarn";

TEST(AdminCleanupTests, TheListHoldsRootsYarnCacheOfThisPlatformAndOfTheMac)
{
    EXPECT_EQ(AdminCleanup::allowedPaths(), (std::set<std::string>{macYarn, "/usr/local/share/.cache/yarn"}));
    ASSERT_TRUE(Platform::rootYarnCache());
    EXPECT_TRUE(AdminCleanup::allowedPaths().contains(*Platform::rootYarnCache()))
        << "the environment's root Yarn cache must be able to take the password road";
}

TEST(AdminCleanupTests, CommandIsGivenOnlyWhenEveryPathIsOnTheList)
{
    EXPECT_EQ(AdminCleanup::command({macYarn}), "/bin/rm -rf -- '/usr/local/share/Library/Caches/Yarn'");
    EXPECT_EQ(AdminCleanup::command({"/usr/local/share/.cache/yarn", macYarn}),
              "/bin/rm -rf -- '/usr/local/share/.cache/yarn' '/usr/local/share/Library/Caches/Yarn'");
    EXPECT_EQ(AdminCleanup::removalArguments({macYarn}), (Paths{"/bin/rm", "-rf", "--", macYarn}));

    const std::vector<Paths> refused = {
        {},
        {macYarn, "/Users/ada/Documents"}, // no partial command
        {std::string(macYarn) + "/v6"},    // below a member is not on the list
        {std::string(macYarn) + "/"},
        {"/usr/local/share/Library/Caches/yarn"},
        {"/usr/local/share/Library/Caches/Yarn/../../../../../etc"},
        {"'; rm -rf ~; '"},
    };
    for (const Paths& paths : refused) {
        EXPECT_FALSE(AdminCleanup::command(paths)) << ::testing::PrintToString(paths);
        EXPECT_FALSE(AdminCleanup::removalArguments(paths)) << ::testing::PrintToString(paths);
    }
}

TEST(AdminCleanupTests, RemoveRefusesAPathOffTheListBeforeAnyToolRuns)
{
    const std::string message = "not on the list of folders Tarno may remove";
    EXPECT_EQ(AdminCleanup::remove({}, "Tarno needs your password."), message);
    EXPECT_EQ(AdminCleanup::remove({"/tmp"}, "Tarno needs your password."), message);
    EXPECT_EQ(AdminCleanup::remove({macYarn, "/tmp"}, "Tarno needs your password."), message);
}

TEST(AdminCleanupTests, ScriptQuotesTheCommandAndPromptAsAppleScriptLiterals)
{
    const std::optional<std::string> command = AdminCleanup::command({macYarn});
    ASSERT_TRUE(command);
    const std::string prompt = "Tarno needs your password to delete yarn cache left behind by sudo.";
    EXPECT_EQ(AdminCleanup::script(*command, prompt),
              "do shell script \"/bin/rm -rf -- '/usr/local/share/Library/Caches/Yarn'\" with prompt "
              "\"Tarno needs your password to delete yarn cache left behind by sudo.\" with administrator privileges");

    // Backslashes are doubled before quotes are escaped, so the user reads the prompt as written.
    EXPECT_EQ(AdminCleanup::script("echo \\\"", "Say \"hi\" \\ bye"),
              R"(do shell script "echo \\\"" with prompt "Say \"hi\" \\ bye" with administrator privileges)");
}

TEST(AdministratorPromptTests, PkexecsOutcomesBecomeTheCallersMessages)
{
    using Platform::AdministratorPrompt::messageFor;
    const auto ended = [](int status, std::string standardError) {
        return std::optional<Shell::Output>(Shell::Output{status, "", std::move(standardError)});
    };

    EXPECT_EQ(messageFor(std::nullopt), "pkexec could not be started");
    EXPECT_EQ(messageFor(ended(0, "")), std::nullopt);
    EXPECT_EQ(messageFor(ended(0, "warning: something\n")), std::nullopt) << "success whatever was printed";
    EXPECT_EQ(messageFor(ended(126, "Error executing command as another user: Request dismissed\n")), "cancelled");
    EXPECT_EQ(messageFor(ended(127, "  Error executing command as another user: Not authorized\n\n")),
              "Error executing command as another user: Not authorized");
    EXPECT_EQ(messageFor(ended(127, " \n\t")), "not authorized");
    EXPECT_EQ(messageFor(ended(1, "\n/bin/rm: cannot remove 'x': Read-only file system\n")),
              "/bin/rm: cannot remove 'x': Read-only file system");
    // A failure with nothing to say is still a failure: a message, not none.
    EXPECT_EQ(messageFor(ended(1, "")), std::optional<std::string>(""));
    EXPECT_EQ(messageFor(ended(143, "")), std::optional<std::string>(""));
}

} // namespace
} // namespace tarno
