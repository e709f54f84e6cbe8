#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Clock = std::chrono::system_clock;
using Paths = std::vector<std::string>;

// A whole second, so that dates at the limit are exact.
const Clock::time_point now = Clock::time_point(std::chrono::seconds(1'750'000'000));
constexpr std::chrono::seconds month{2592000};

std::vector<CleanupItem> assistantItems(const std::string& home)
{
    CleanupEnvironment env = CleanupEnvironment::empty(home);
    env.now = [] { return now; };
    return test::familyItems(env, RuleFamilies::assistants);
}

// Sets the entry's own modification date, a link's included.
void touch(const std::string& path, Clock::time_point date)
{
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::nanoseconds>(date.time_since_epoch());
    const struct timespec time {
        static_cast<time_t>(sinceEpoch.count() / 1'000'000'000), static_cast<long>(sinceEpoch.count() % 1'000'000'000)
    };
    const struct timespec times[2] = {time, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

CleanupItem sessionsItem(std::size_t count, Paths paths)
{
    return CleanupItem{"claude.sessions", "Claude Code conversations older than a month (" + std::to_string(count) + ")",
                       CleanupCategory::apps, "They can no longer be resumed or searched.", Safety::review,
                       CleanupAction::Delete{std::move(paths)}, false, 1, std::nullopt};
}

TEST(AssistantRulesTests, ConversationsOlderThanAMonthAreCountedOnceWithTheirFolders)
{
    test::TemporaryFolder home;
    test::TemporaryFolder personal;
    EXPECT_TRUE(assistantItems(home.path()).empty());

    const std::string projects = home.makeFolder(".claude/projects");
    const std::string web = projects + "/-Users-ana-web";
    const std::string api = projects + "/-Users-ana-api";
    touch(home.makeFile(".claude/projects/-Users-ana-web/b-old.jsonl", 10), now - month - std::chrono::seconds(1));
    home.makeFolder(".claude/projects/-Users-ana-web/b-old/tool-results");
    touch(home.makeFile(".claude/projects/-Users-ana-web/a-at-limit.jsonl", 10), now - month);
    home.makeFolder(".claude/projects/-Users-ana-web/a-at-limit");
    touch(home.makeFile(".claude/projects/-Users-ana-web/c-recent.jsonl", 10), now - std::chrono::hours(1));
    touch(home.makeFile(".claude/projects/-Users-ana-web/d-old.txt", 10), now - 2 * month);
    touch(home.makeFile(".claude/projects/-Users-ana-api/no-folder.jsonl", 10), now - 2 * month);
    touch(home.makeFile(".claude/projects/stray.jsonl", 10), now - 2 * month); // not inside a project
    // A project folder that is a link leads to personal files: not read.
    touch(personal.makeFile("notes/diary.jsonl", 10), now - 2 * month);
    home.makeSymlink(personal / "notes", ".claude/projects/-Users-ana-notes");

    const std::vector<CleanupItem> items = assistantItems(home.path());
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0], sessionsItem(2, {api + "/no-folder.jsonl", web + "/b-old.jsonl", web + "/b-old"}));
}

TEST(AssistantRulesTests, ChromesOnDeviceModelInEitherPlace)
{
    test::TemporaryFolder home;
    home.makeFolder("Library/Application Support/Google/Chrome/OptGuideOnDeviceModel/2025");
    const std::string linuxModel = home.makeFolder(".config/google-chrome/OptGuideOnDeviceModel");
    home.makeFolder(".config/chromium/OptGuideOnDeviceModel");
    EXPECT_EQ(assistantItems(home.path()),
              (std::vector<CleanupItem>{
                  {"chrome.onDeviceModel", "Chrome's on-device AI model", CleanupCategory::apps,
                   "Chrome downloads it again unless its on-device AI is turned off in chrome://flags.",
                   Safety::review,
                   CleanupAction::Delete{{home / "Library/Application Support/Google/Chrome/OptGuideOnDeviceModel",
                                          linuxModel}},
                   false, 1, std::nullopt}}));
}

} // namespace
} // namespace tarno
