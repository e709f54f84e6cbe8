#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include <gtest/gtest.h>

namespace tarno::cli {
namespace {

using JsonEncoding::Json;
using Keys = std::vector<std::string>;

Keys keysOf(const Json& object)
{
    Keys keys;
    for (const auto& [key, value] : object.items())
        keys.push_back(key);
    return keys;
}

TEST(JsonEncodingTests, SizeResultUsesTheRecordsFieldsAndAnIsoDate)
{
    SizeResult size;
    size.bytes = 4096;
    size.files = 3;
    size.unreadableDirectories = 1;
    Json encoded = JsonEncoding::encode(size);
    EXPECT_EQ(keysOf(encoded), (Keys{"bytes", "files", "unreadableDirectories", "newestModification"}));
    EXPECT_EQ(encoded["bytes"], 4096);
    EXPECT_EQ(encoded["files"], 3);
    EXPECT_EQ(encoded["unreadableDirectories"], 1);
    EXPECT_TRUE(encoded["newestModification"].is_null());

    size.newestModification = std::chrono::system_clock::from_time_t(1714555800);
    EXPECT_EQ(JsonEncoding::encode(size)["newestModification"], "2024-05-01T09:30:00Z");
    EXPECT_EQ(TextFormat::isoTimestamp(std::chrono::system_clock::from_time_t(0)), "1970-01-01T00:00:00Z");
}

TEST(JsonEncodingTests, ActionsCarryTheirKindPathsAndOwnPayload)
{
    const Json remove = JsonEncoding::encode(CleanupAction{CleanupAction::DeleteContents{{"/h/a", "/h/b"}}});
    EXPECT_EQ(remove, Json::parse(R"({"kind": "deleteContents", "paths": ["/h/a", "/h/b"]})"));

    const Json run = JsonEncoding::encode(CleanupAction{CleanupAction::Run{"/usr/bin/tool", {"clean"}, {"/h/c"}}});
    EXPECT_EQ(keysOf(run), (Keys{"kind", "paths", "tool", "arguments"}));
    EXPECT_EQ(run, Json::parse(R"({"kind": "run", "paths": ["/h/c"], "tool": "/usr/bin/tool",
                                   "arguments": ["clean"]})"));

    const Json worktree =
        JsonEncoding::encode(CleanupAction{CleanupAction::RemoveWorktree{"/h/repo", "/h/wt", {"/h/wt/build"}}});
    EXPECT_EQ(keysOf(worktree), (Keys{"kind", "paths", "repository", "clearFirst"}));
    EXPECT_EQ(worktree, Json::parse(R"({"kind": "removeWorktree", "paths": ["/h/wt"], "repository": "/h/repo",
                                        "clearFirst": ["/h/wt/build"]})"));
}

TEST(JsonEncodingTests, ItemsUseTheRecordsFieldsInOrder)
{
    CleanupItem item{"tools.cache", "Tool cache", CleanupCategory::developerTools, "It is downloaded again.",
                     Safety::review, CleanupAction::Trash{{"/h/cache"}}, true, 0, std::nullopt};
    Json encoded = JsonEncoding::encode(item);
    EXPECT_EQ(keysOf(encoded), (Keys{"id", "title", "category", "consequence", "safety", "action", "requiresAdmin",
                                     "minimumBytesToShow", "knownBytes"}));
    EXPECT_EQ(encoded["category"], "developerTools");
    EXPECT_EQ(encoded["safety"], "review");
    EXPECT_EQ(encoded["action"]["kind"], "trash");
    EXPECT_EQ(encoded["requiresAdmin"], true);
    EXPECT_EQ(encoded["minimumBytesToShow"], 0);
    EXPECT_TRUE(encoded["knownBytes"].is_null());

    item.knownBytes = 0;
    EXPECT_EQ(JsonEncoding::encode(item)["knownBytes"], 0);
    EXPECT_EQ(TextFormat::safetyLabel(Safety::review), "Your call");
}

TEST(JsonEncodingTests, StringsAreWrittenLosslesslyAndTheLayoutIsTheLibrarys)
{
    struct Case {
        std::string bytes;
        std::string written;
    };
    const std::vector<Case> cases = {
        {"plain", R"("plain")"},
        {"caf\xc3\xa9 \xf0\x9f\x93\xa6", "\"caf\xc3\xa9 \xf0\x9f\x93\xa6\""}, // valid UTF-8 stays as it is
        {"caf\xe9", R"("caf\udce9")"},                                  // Latin-1
        {"\xc0\xaf", R"("\udcc0\udcaf")"},                              // overlong slash
        {"\xed\xa0\x80", R"("\udced\udca0\udc80")"},                   // a surrogate in UTF-8
        {"\xf4\x90\x80\x80", R"("\udcf4\udc90\udc80\udc80")"},         // past U+10FFFF
        {"end\xe2\x82", R"("end\udce2\udc82")"},                        // cut short
        {"\xe2\x82\xac\x80", "\"\xe2\x82\xac\\udc80\""},                 // a stray continuation after a whole one
        {std::string("a\0b\n\t\x07\x7f\"\\", 9), "\"a\\u0000b\\n\\t\\u0007\x7f\\\"\\\\\""},
    };
    for (const Case& testCase : cases)
        EXPECT_EQ(JsonEncoding::write(Json(testCase.bytes)), testCase.written) << testCase.bytes;

    Json document = Json::object();
    document["list"] = Json::array({1, -2, 2.5, true, nullptr, Json::object(), Json::array()});
    document["nested"] = Json::object({{"key", "value"}});
    document["empty"] = Json::array();
    EXPECT_EQ(JsonEncoding::write(document), document.dump(2));
}

} // namespace
} // namespace tarno::cli
