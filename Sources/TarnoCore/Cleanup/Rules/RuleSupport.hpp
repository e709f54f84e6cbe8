#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What several rule families need to read the small configuration files of
// the tools and to look at paths without following links. Private to the rules.
namespace tarno::RuleSupport {

// The whole file, when it can be read and is valid UTF-8.
std::optional<std::string> readUtf8(const std::string& path);

// The text's lines, split at "\n" or "\r", without the empty ones.
std::vector<std::string_view> nonEmptyLines(std::string_view text);

// The text without blanks and tabs at either end.
std::string_view trimmedOfBlanks(std::string_view text);

// The line's non-empty parts around its first "=" that has text before it
// (so "=a=b" splits as "a" and "b"), each trimmed of blanks and tabs.
std::vector<std::string_view> keyAndValue(std::string_view line);

// The text with every occurrence of `target` replaced, left to right.
std::string replacingAll(std::string text, std::string_view target, std::string_view replacement);

// Whether something is at the path, following links as a user's tools would.
bool existsFollowingLinks(const std::string& path);

// Whether the path is a folder itself, not a link to one.
bool isRealFolder(const std::string& path);

// The entries of a folder that is not a link, sorted full paths, so that a
// rule never lists what a link leads to. Anything else gives nothing.
std::vector<std::string> childrenOfRealFolder(
    const std::string& folder,
    const std::function<bool(std::string_view name)>& predicate = [](std::string_view) { return true; });

// The paths in their first order, each once: a Linux base folder may be the
// very place a rule already names for the Mac.
std::vector<std::string> withoutRepeats(std::vector<std::string> paths);

} // namespace tarno::RuleSupport
