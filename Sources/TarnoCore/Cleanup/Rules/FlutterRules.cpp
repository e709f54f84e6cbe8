#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Cleanup/Rules/RuleSupport.hpp"

#include <nlohmann/json.hpp>

#include <climits>

#include <unistd.h>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;
using Json = nlohmann::json;

// The target of the link, verbatim; nothing when the path is no link.
std::optional<std::string> linkTarget(const std::string& path)
{
    std::string target(PATH_MAX, '\0');
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    if (length < 0 || static_cast<std::size_t>(length) >= target.size())
        return std::nullopt;
    target.resize(static_cast<std::size_t>(length));
    return target;
}

// The last component, as a file name: trailing slashes don't count.
std::string lastPathComponent(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    const std::size_t slash = path.find_last_of('/');
    return std::string(slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1));
}

std::string_view trimmedOfWhiteSpace(std::string_view text)
{
    constexpr const char* whiteSpace = " \t\n\r\v\f";
    const std::size_t first = text.find_first_not_of(whiteSpace);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

std::vector<std::string> sdkCandidates(const CleanupEnvironment& env)
{
    const std::string& home = env.home;
    // The version fvm uses by default is in use, so it is never offered.
    const std::optional<std::string> defaultTarget = linkTarget(home + "/fvm/default");
    const std::optional<std::string> defaultVersion =
        defaultTarget ? std::optional<std::string>(lastPathComponent(*defaultTarget)) : std::nullopt;
    std::vector<std::string> candidates = RuleSupport::childrenOfRealFolder(
        home + "/fvm/versions", [&defaultVersion](std::string_view name) { return name != defaultVersion; });
    for (const char* place :
         {"/development/flutter", "/Developer/flutter", "/dev/flutter", "/snap/flutter/common/flutter"})
        candidates.push_back(home + place);
    return candidates;
}

void addSdks(Builder& builder)
{
    const std::string& home = builder.env().home;
    for (const std::string& sdk : sdkCandidates(builder.env())) {
        // A link to an SDK elsewhere is not the SDK: the rules never follow one.
        if (!RuleSupport::isRealFolder(sdk) || !RuleSupport::existsFollowingLinks(sdk + "/bin/flutter"))
            continue;
        const std::string version = flutterVersion(sdk).value_or("unknown version");
        const std::string displayPath = RuleSupport::replacingAll(sdk, home, "~");
        const std::string consequence = sdk.find("/fvm/versions/") != std::string::npos
            ? "fvm installs it again with \"fvm install " + version + "\" if a project asks for it."
            : "Projects or editors that point at this SDK need another one.";
        builder.add("flutter.sdk." + displayPath, "Flutter " + version + " SDK in " + displayPath,
                    CleanupCategory::flutter, consequence, Safety::review, CleanupAction::Delete{{sdk}});
    }
}

} // namespace

std::optional<std::string> flutterVersion(const std::string& sdk)
{
    if (const std::optional<std::string> text = RuleSupport::readUtf8(sdk + "/version")) {
        const std::string_view version = trimmedOfWhiteSpace(*text);
        if (!version.empty())
            return std::string(version);
    }
    const std::optional<std::string> text = RuleSupport::readUtf8(sdk + "/bin/cache/flutter.version.json");
    return text ? flutterVersionInJson(*text) : std::nullopt;
}

std::optional<std::string> flutterVersionInJson(std::string_view text)
{
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object())
        return std::nullopt;
    for (const char* key : {"frameworkVersion", "flutterVersion"}) {
        const auto found = json.find(key);
        if (found != json.end() && found->is_string())
            return found->get<std::string>();
    }
    return std::nullopt;
}

void flutter(Builder& builder)
{
    const std::string& home = builder.env().home;
    const CleanupCategory category = CleanupCategory::flutter;
    builder.add("dart.analysis", "Dart analysis cache", category,
                "The first analysis after reopening a project is slower.", Safety::safe,
                CleanupAction::Delete{{home + "/.dartServer"}});
    builder.add("pub.cache", "Pub package cache", category,
                "Every project needs \"flutter pub get\" again, and globally activated tools may need reactivating.",
                Safety::review, CleanupAction::Delete{{home + "/.pub-cache/hosted", home + "/.pub-cache/git"}});
    builder.add("shorebird.cache", "Shorebird's copies of Flutter", category,
                "Shorebird downloads the one it needs again on its next run, a few minutes for each.", Safety::review,
                CleanupAction::Delete{{home + "/.shorebird/bin/cache"}});
    addSdks(builder);
}

} // namespace tarno::RuleFamilies
