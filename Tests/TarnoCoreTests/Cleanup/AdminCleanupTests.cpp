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

TEST(AdminCleanupTests, CommandAndRemoveAcceptOnlyPathsThatAreAllOnTheList)
{
    EXPECT_EQ(AdminCleanup::command({macYarn}), "/bin/rm -rf -- '/usr/local/share/Library/Caches/Yarn'");
    EXPECT_EQ(AdminCleanup::command({"/usr/local/share/.cache/yarn", macYarn}),
              "/bin/rm -rf -- '/usr/local/share/.cache/yarn' '/usr/local/share/Library/Caches/Yarn'");
    EXPECT_EQ(AdminCleanup::removalArguments({macYarn}), (Paths{"/bin/rm", "-rf", "--", macYarn}));

    ASSERT_TRUE(Platform::aptArchivesFolder());
    const std::string apt = *Platform::aptArchivesFolder();
    EXPECT_EQ(AdminCleanup::command({apt + "/code_1.95_amd64.deb"}), "/bin/rm -rf -- '" + apt + "/code_1.95_amd64.deb'");

    const std::vector<Paths> refused = {
        {apt},
        {apt + "/"},
        {apt + "/lock"},
        {apt + "/partial"},
        {apt + "/partial/code_1.95_amd64.deb"},
        {apt + "/../archives.deb"},
        {apt + "/.deb"},
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
        // remove refuses before any tool runs.
        EXPECT_EQ(AdminCleanup::remove(paths, "Tarno needs your password."),
                  (AdminCleanup::Outcome{AdminCleanup::Outcome::Kind::notAllowed,
                                         "not on the list of folders Tarno may remove"}));
    }
}

TEST(AdminCleanupTests, ScriptQuotesTheCommandAndPromptAsAppleScriptLiterals)
{
    EXPECT_EQ(AdminCleanup::script(AdminCleanup::command({macYarn}).value(), "Tarno needs your password."),
              "do shell script \"/bin/rm -rf -- '/usr/local/share/Library/Caches/Yarn'\" with prompt "
              "\"Tarno needs your password.\" with administrator privileges");

    // Backslashes are doubled before quotes are escaped, so the user reads the prompt as written.
    EXPECT_EQ(AdminCleanup::script("echo \\\"", "Say \"hi\" \\ bye"),
              R"(do shell script "echo \\\"" with prompt "Say \"hi\" \\ bye" with administrator privileges)");
}

TEST(AdministratorPromptTests, PkexecsAnswersBecomeTheCallersOutcomes)
{
    using Kind = AdminCleanup::Outcome::Kind;
    const auto outcomeFor = [](std::optional<int> status, std::string_view standardError) {
        return AdminCleanup::outcomeOf(Platform::AdministratorPrompt::answerFor(status, standardError));
    };
    // A failure with nothing to say is still a failure.
    const std::vector<std::tuple<std::optional<int>, std::string, AdminCleanup::Outcome>> cases = {
        {std::nullopt, "", {Kind::couldNotStart, "pkexec could not be started"}},
        {0, "", {}},
        {0, "warning: something\n", {}},
        {126, "Error executing command as another user: Request dismissed\n", {Kind::cancelled, ""}},
        {127, "  Error executing command as another user: Not authorized\n\n",
         {Kind::failed, "Error executing command as another user: Not authorized"}},
        {127, " \n\t", {Kind::failed, "not authorized"}},
        {1, "\n/bin/rm: cannot remove 'x': Read-only file system\n",
         {Kind::failed, "/bin/rm: cannot remove 'x': Read-only file system"}},
        {1, "", {Kind::failed, ""}},
        {143, "", {Kind::failed, ""}},
    };
    for (const auto& [status, standardError, outcome] : cases)
        EXPECT_EQ(outcomeFor(status, standardError), outcome) << status.value_or(-1) << standardError;
    EXPECT_EQ(Platform::AdministratorPrompt::commandLine({}), std::nullopt) << "pkexec alone is a root shell";
}

} // namespace
} // namespace tarno
