#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Cleanup/Rules/RuleSupport.hpp"

#include <algorithm>
#include <chrono>

#include <fcntl.h>
#include <sys/stat.h>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;
using Clock = std::chrono::system_clock;

constexpr std::string_view conversationExtension = ".jsonl";
constexpr std::chrono::seconds conversationAge{2592000}; // 30 days

// When the entry itself was last modified, to the nanosecond; a link's own date.
std::optional<Clock::time_point> modificationDate(const std::string& path)
{
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_MTIME, &status) != 0
        || (status.stx_mask & STATX_MTIME) == 0)
        return std::nullopt;
    const auto sinceEpoch =
        std::chrono::seconds(status.stx_mtime.tv_sec) + std::chrono::nanoseconds(status.stx_mtime.tv_nsec);
    return Clock::time_point(std::chrono::duration_cast<Clock::duration>(sinceEpoch));
}

// Each conversation is a .jsonl file in its project's folder, with a folder of
// the same name beside it for what the conversation made.
void addOldConversations(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    const Clock::time_point limit = (env.now ? env.now() : Clock::now()) - conversationAge;
    std::vector<std::string> paths;
    const auto isConversation = [](std::string_view name) { return name.ends_with(conversationExtension); };
    for (const std::string& project : RuleSupport::childrenOfRealFolder(env.home + "/.claude/projects")) {
        for (const std::string& conversation : RuleSupport::childrenOfRealFolder(project, isConversation)) {
            const std::optional<Clock::time_point> modified = modificationDate(conversation);
            if (!modified || *modified >= limit)
                continue;
            paths.push_back(conversation);
            paths.push_back(conversation.substr(0, conversation.size() - conversationExtension.size()));
        }
    }
    // Conversations, not paths: a conversation's folder is part of it.
    const auto count = std::count_if(paths.begin(), paths.end(),
                                     [](const std::string& path) { return path.ends_with(conversationExtension); });
    builder.add("claude.sessions", "Claude Code conversations older than a month (" + std::to_string(count) + ")",
                CleanupCategory::apps, "They can no longer be resumed or searched.", Safety::review,
                CleanupAction::Delete{std::move(paths)});
}

} // namespace

void assistants(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    addOldConversations(builder);
    builder.add("chrome.onDeviceModel", "Chrome's on-device AI model", CleanupCategory::apps,
                "Chrome downloads it again unless its on-device AI is turned off in chrome://flags.", Safety::review,
                CleanupAction::Delete{RuleSupport::withoutRepeats(
                    {env.home + "/Library/Application Support/Google/Chrome/OptGuideOnDeviceModel",
                     env.folders.config + "/google-chrome/OptGuideOnDeviceModel"})});
}

} // namespace tarno::RuleFamilies
