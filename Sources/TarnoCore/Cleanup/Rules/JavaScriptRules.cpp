#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Cleanup/Rules/RuleSupport.hpp"

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

constexpr const char* downloadAgain = "Packages download again on the next install.";

std::string_view withoutQuotes(std::string_view value)
{
    const auto isQuote = [](char character) { return character == '"' || character == '\''; };
    while (!value.empty() && isQuote(value.front()))
        value.remove_prefix(1);
    while (!value.empty() && isQuote(value.back()))
        value.remove_suffix(1);
    return value;
}

// Whether every folder from the home down to the path is a folder itself: a
// cache reached through a link in the home would lead the item elsewhere.
bool liesInHomeWithoutLinks(const std::string& home, const std::string& path)
{
    for (std::size_t slash = path.find('/', home.size() + 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        if (!RuleSupport::isRealFolder(path.substr(0, slash)))
            return false;
    }
    return RuleSupport::isRealFolder(path);
}

std::vector<std::string> npmCacheParts(const std::string& folder)
{
    return {folder + "/_cacache", folder + "/_npx", folder + "/_logs"};
}

} // namespace

std::optional<std::string> npmCacheFolder(const std::string& home, const std::vector<std::string>& globalConfigFiles)
{
    std::vector<std::string> files{home + "/.npmrc"};
    files.insert(files.end(), globalConfigFiles.begin(), globalConfigFiles.end());
    for (const std::string& file : files) {
        const std::optional<std::string> text = RuleSupport::readUtf8(file);
        if (!text)
            continue;
        const std::optional<std::string> folder = npmrcCacheSetting(*text, home);
        if (!folder)
            continue;
        // The first "cache" line decides, even when it points outside the home.
        if (folder->starts_with(home + "/"))
            return folder;
        return std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::string> npmrcCacheSetting(std::string_view npmrc, const std::string& home)
{
    for (const std::string_view line : RuleSupport::nonEmptyLines(npmrc)) {
        const std::vector<std::string_view> parts = RuleSupport::keyAndValue(line);
        if (parts.size() != 2 || parts[0] != "cache")
            continue;
        std::string folder(withoutQuotes(parts[1]));
        if (folder == "~" || folder.starts_with("~/"))
            folder = home + folder.substr(1);
        return RuleSupport::replacingAll(std::move(folder), "${HOME}", home);
    }
    return std::nullopt;
}

void javascript(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    const std::string& home = env.home;
    const std::string& cache = env.folders.cache;
    const CleanupCategory category = CleanupCategory::javascript;

    std::vector<std::string> npm = npmCacheParts(home + "/.npm");
    const std::optional<std::string> custom = npmCacheFolder(home, env.globalNpmConfigFiles);
    if (custom && *custom != home + "/.npm" && liesInHomeWithoutLinks(home, *custom)) {
        for (std::string& part : npmCacheParts(*custom))
            npm.push_back(std::move(part));
    }
    builder.add("npm.cache", "npm cache", category, downloadAgain, Safety::safe,
                CleanupAction::Delete{RuleSupport::withoutRepeats(std::move(npm))});
    builder.add("yarn.cache", "Yarn cache", category, downloadAgain, Safety::safe,
                CleanupAction::Delete{RuleSupport::withoutRepeats(
                    {home + "/Library/Caches/Yarn", cache + "/yarn", home + "/.yarn/berry/cache"})});
    if (env.rootYarnCache) {
        builder.add("yarn.cache.root", "Yarn cache left behind by sudo", category,
                    "None. Yarn only uses it when it runs as root.", Safety::safe,
                    CleanupAction::Delete{{*env.rootYarnCache}});
    }
    builder.add("puppeteer.browsers", "Puppeteer browser downloads", category,
                "Each project needs \"npx puppeteer browsers install\" before it next runs.", Safety::safe,
                CleanupAction::DeleteContents{
                    RuleSupport::withoutRepeats({home + "/.cache/puppeteer", cache + "/puppeteer"})});
    builder.add("playwright.browsers", "Playwright browser downloads", category,
                "Each project needs \"npx playwright install\" before it next runs.", Safety::safe,
                CleanupAction::Delete{
                    RuleSupport::withoutRepeats({home + "/Library/Caches/ms-playwright", cache + "/ms-playwright"})});
    builder.add("node.buildCaches", "Node build caches", category, "Rebuilt on demand.", Safety::safe,
                CleanupAction::Delete{RuleSupport::withoutRepeats({home + "/Library/Caches/node-gyp",
                                                                   home + "/Library/Caches/typescript",
                                                                   cache + "/node-gyp", cache + "/typescript"})});
}

} // namespace tarno::RuleFamilies
