#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Cleanup/Rules/RuleSupport.hpp"

#include <algorithm>
#include <optional>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;
using RuleSupport::existsFollowingLinks;
using RuleSupport::keyAndValue;
using RuleSupport::nonEmptyLines;
using RuleSupport::readUtf8;

constexpr std::string_view avdExtension = ".avd";

std::string withBlanksForUnderscores(std::string name)
{
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

void addEmulators(Builder& builder)
{
    const std::string& home = builder.env().home;
    const std::string avdFolder = home + "/.android/avd";
    // Only the folder's presence starts a rule: a stray .ini alone is not an emulator.
    const std::vector<std::string> avds =
        Builder::children(avdFolder, [](std::string_view name) { return name.ends_with(avdExtension); });
    for (const std::string& avd : avds) {
        const std::string fileName = avd.substr(avdFolder.size() + 1);
        const std::string name = fileName.substr(0, fileName.size() - avdExtension.size());
        if (name.empty())
            continue; // a bare ".avd" names no emulator
        const std::string consequence = avdSystemImageExists(avd, home)
            ? "Deletes the emulator and everything stored on it."
            : "Deletes the emulator and its data. "
              "Its system image is no longer installed, so it cannot start as it is.";
        builder.add("android.avd." + name, "Emulator: " + withBlanksForUnderscores(name), CleanupCategory::android,
                    consequence, Safety::review, CleanupAction::Delete{{avd, avdFolder + "/" + name + ".ini"}});
    }
}

} // namespace

bool avdSystemImageExists(const std::string& avd, const std::string& home)
{
    const std::optional<std::string> configuration = readUtf8(avd + "/config.ini");
    const std::optional<std::string> image = configuration ? avdSystemImage(*configuration) : std::nullopt;
    if (!image)
        return true;
    // The SDK's place on a Mac, then Android Studio's default on Linux.
    return existsFollowingLinks(home + "/Library/Android/sdk/" + *image)
        || existsFollowingLinks(home + "/Android/Sdk/" + *image);
}

std::optional<std::string> avdSystemImage(std::string_view configuration)
{
    for (const std::string_view line : nonEmptyLines(configuration)) {
        const std::vector<std::string_view> parts = keyAndValue(line);
        // A blank value names no image; below the SDK it would name the SDK itself.
        if (parts.size() == 2 && parts[0] == "image.sysdir.1")
            return parts[1].empty() ? std::nullopt : std::optional<std::string>(parts[1]);
    }
    return std::nullopt;
}

void android(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    const std::string& home = env.home;
    const auto isStudio = [](std::string_view name) { return name.starts_with("AndroidStudio"); };
    std::vector<std::string> studioCaches = Builder::children(home + "/Library/Caches/Google", isStudio);
    for (std::string& linuxCache : Builder::children(env.folders.cache + "/Google", isStudio))
        studioCaches.push_back(std::move(linuxCache));

    builder.add("gradle.caches", "Gradle caches and downloaded Gradle versions", CleanupCategory::android,
                "The next Gradle build downloads its dependencies again.", Safety::safe,
                CleanupAction::Delete{
                    {home + "/.gradle/caches", home + "/.gradle/wrapper/dists", home + "/.gradle/daemon"}});
    builder.add("android.studioCaches", "Android Studio caches", CleanupCategory::android,
                "Android Studio re-indexes each project the next time you open it.", Safety::safe,
                CleanupAction::Delete{std::move(studioCaches)});
    addEmulators(builder);
}

} // namespace tarno::RuleFamilies
