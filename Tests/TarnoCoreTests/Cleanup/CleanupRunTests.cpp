#include "TarnoCore/Cleanup/CleanupRun.hpp"

#include "TarnoCore/Cleanup/Cleaner.hpp"

#include "Support/FileChecks.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarno {
namespace {

using test::exists;
using ::testing::ElementsAre;

CleanupItem item(std::string id, CleanupCategory category, CleanupAction action)
{
    CleanupItem made;
    made.id = id;
    made.title = "Title of " + id;
    made.category = category;
    made.action = std::move(action);
    return made;
}

// A made-up home with one item of each kind the road treats differently,
// cleaned by the real cleaner under the real guard.
class CleanupRunTest : public ::testing::Test {
protected:
    CleanupRunTest()
        : dataHome("XDG_DATA_HOME", root / "home/.local/share")
        , cleaner{PathGuard::forHome(home)}
    {
        root.makeFile("home/Library/Caches/a/blob", 200'000);
        root.makeFile("home/Documents/notes.txt", 100);
        root.makeFile("home/Library/Caches/root-owned/blob", 50'000);
        root.makeFile("home/Downloads/old.iso", 80'000);

        CleanupItem admin = item("admin", CleanupCategory::developerTools,
                                 CleanupAction::Delete{{home + "/Library/Caches/root-owned"}});
        admin.requiresAdmin = true;
        CleanupItem docker = item("docker", CleanupCategory::docker, CleanupAction::Run{"/bin/true", {}, {}});
        docker.knownBytes = 5'000;
        items = {
            item("caches", CleanupCategory::apps, CleanupAction::Delete{{home + "/Library/Caches/a"}}),
            // A fault upstream that offers the user's own files: the guard says no.
            item("documents", CleanupCategory::personalData, CleanupAction::Delete{{home + "/Documents"}}),
            admin,
            item("download", CleanupCategory::downloads, CleanupAction::Trash{{home + "/Downloads/old.iso"}}),
            docker,
        };
        for (const CleanupItem& each : items)
            sizes[each.id] = each.measure();
    }

    CleanupRun::Machine machine() const
    {
        return {
            .perform = [this](const CleanupAction& action, const CleanupRun::IsCancelled& isCancelled) {
                return cleaner.perform(action, isCancelled);
            },
            .measure = [](const CleanupItem& each, const CleanupRun::IsCancelled& isCancelled) {
                return each.measure(isCancelled);
            },
        };
    }

    test::TemporaryFolder root;
    std::string home = root / "home";
    test::ScopedEnvironment dataHome;
    Cleaner cleaner;
    std::vector<CleanupItem> items;
    std::map<std::string, SizeResult> sizes;
};

TEST_F(CleanupRunTest, CleansInOrderPassesByTheAdministratorsItemAndCountsWhatReallyWent)
{
    std::vector<std::string> started;
    std::vector<std::int64_t> gains;
    const CleanupRun::Progress progress{
        .started = [&](const CleanupItem& each) { started.push_back(each.id); },
        .finished = [&](const CleanupItem&, const CleanupRun::Step& step) { gains.push_back(step.gain); },
    };
    const CleanupRun::Outcome outcome = CleanupRun::clean(items, sizes, machine(), progress);

    EXPECT_THAT(started, ElementsAre("caches", "documents", "download", "docker"));
    EXPECT_THAT(gains, ElementsAre(sizes["caches"].bytes, 0, sizes["download"].bytes, 5'000));
    EXPECT_EQ(outcome.summary.freed, sizes["caches"].bytes + 5'000);
    EXPECT_EQ(outcome.summary.trashed, sizes["download"].bytes);
    EXPECT_EQ(outcome.summary.insideDocker, 5'000);
    ASSERT_EQ(outcome.summary.failures.size(), 1u);
    EXPECT_EQ(outcome.summary.failures[0].path, home + "/Documents");
    EXPECT_EQ(outcome.summary.failures[0].kind, CleanReport::Failure::Kind::refused);
    EXPECT_FALSE(outcome.wasCancelled);

    EXPECT_FALSE(exists(home + "/Library/Caches/a"));
    EXPECT_FALSE(exists(home + "/Downloads/old.iso"));
    EXPECT_TRUE(exists(home + "/Documents/notes.txt"));
    EXPECT_TRUE(exists(home + "/Library/Caches/root-owned/blob"));

    const auto date = std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000));
    EXPECT_EQ(CleanupRun::record(outcome, date),
              (CleanupRecord{date, "Cleanup", outcome.summary.freed + outcome.summary.trashed,
                             {"Title of caches", "Title of documents", "Title of download", "Title of docker"}, 1}));
}

TEST_F(CleanupRunTest, ACancelledRunKeepsWhatWasDoneAndTouchesNothingAfter)
{
    bool cancelled = false;
    const CleanupRun::Progress progress{
        .started = {},
        .finished = [&](const CleanupItem& each, const CleanupRun::Step&) { cancelled = each.id == "documents"; },
    };
    const CleanupRun::Outcome outcome =
        CleanupRun::clean(items, sizes, machine(), progress, [&] { return cancelled; });

    EXPECT_TRUE(outcome.wasCancelled);
    EXPECT_THAT(outcome.cleaned, ElementsAre("Title of caches", "Title of documents"));
    EXPECT_EQ(outcome.summary.freed, sizes["caches"].bytes);
    EXPECT_EQ(outcome.summary.trashed, 0);
    EXPECT_FALSE(exists(home + "/Library/Caches/a"));
    EXPECT_TRUE(exists(home + "/Downloads/old.iso"));
    EXPECT_EQ(CleanupRun::record(outcome, {}).freedBytes, sizes["caches"].bytes);
}

TEST(CleanupRunPasswordTests, EachAnswerOfThePromptLeavesItsOwnTrace)
{
    using Kind = AdminCleanup::Outcome::Kind;
    CleanupItem yarn = item("yarn.cache.root", CleanupCategory::developerTools,
                            CleanupAction::Delete{{"/usr/local/share/.cache/yarn"}});
    yarn.title = "Root's Yarn Cache";
    const auto date = std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000));

    struct Case {
        AdminCleanup::Outcome answer;
        std::int64_t left;
        std::optional<CleanSummary> summary;
        std::optional<CleanupRecord> record;
    };
    const std::vector<Case> cases = {
        {{Kind::removed, {}}, 0, CleanSummary{900, 0, 0, {}}, CleanupRecord{date, "Cleanup", 900, {yarn.title}, 0}},
        {{Kind::removed, {}}, 1'000, CleanSummary{0, 0, 0, {}}, CleanupRecord{date, "Cleanup", 0, {yarn.title}, 0}},
        {{Kind::cancelled, {}}, 900, std::nullopt, std::nullopt},
        {{Kind::failed, "not authorized"}, 900,
         CleanSummary{0, 0, 0, {{"/usr/local/share/.cache/yarn", "not authorized"}}}, std::nullopt},
    };
    for (const Case& each : cases) {
        std::string prompt;
        const CleanupRun::Machine machine{
            .perform = {},
            .measure = [&](const CleanupItem&, const CleanupRun::IsCancelled&) {
                SizeResult size;
                size.bytes = each.left;
                return size;
            },
        };
        const CleanupRun::PasswordOutcome outcome = CleanupRun::cleanWithPassword(
            yarn, 900,
            [&](const std::vector<std::string>&, const std::string& asked) {
                prompt = asked;
                return each.answer;
            },
            machine, date);
        EXPECT_EQ(prompt, "Tarno needs your password to delete root's yarn cache.");
        EXPECT_EQ(outcome.after.bytes, each.left);
        EXPECT_EQ(outcome.summary, each.summary) << each.answer.message;
        EXPECT_EQ(outcome.record, each.record) << each.answer.message;
    }
}

} // namespace
} // namespace tarno
