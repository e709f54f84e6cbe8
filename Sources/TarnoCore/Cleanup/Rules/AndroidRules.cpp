#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include <sys/stat.h>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

constexpr std::string_view avdExtension = ".avd";

bool isValidUtf8(std::string_view text)
{
    std::size_t index = 0;
    while (index < text.size()) {
        const auto lead = static_cast<unsigned char>(text[index]);
        std::size_t length = 0;
        char32_t value = 0;
        if (lead < 0x80) {
            ++index;
            continue;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            value = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            value = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            value = lead & 0x07;
        } else {
            return false;
        }
        if (index + length > text.size())
            return false;
        for (std::size_t next = 1; next < length; ++next) {
            const auto continuation = static_cast<unsigned char>(text[index + next]);
            if ((continuation & 0xC0) != 0x80)
                return false;
            value = (value << 6) | (continuation & 0x3F);
        }
        // Overlong forms, surrogates and values past Unicode's end.
        if ((length == 3 && value < 0x800) || (length == 4 && (value < 0x10000 || value > 0x10FFFF))
            || (value >= 0xD800 && value <= 0xDFFF))
            return false;
        index += length;
    }
    return true;
}

std::optional<std::string> readUtf8(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream contents;
    contents << in.rdbuf();
    if (in.bad())
        return std::nullopt;
    std::string text = std::move(contents).str();
    if (!isValidUtf8(text))
        return std::nullopt;
    return text;
}

std::vector<std::string_view> nonEmptyLines(std::string_view text)
{
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        if (end > start)
            lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::string_view trimmedOfBlanks(std::string_view part)
{
    const std::size_t first = part.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return part.substr(first, part.find_last_not_of(" \t") - first + 1);
}

// The line's non-empty parts around its first "=" that has text before it
// (so "=a=b" splits as "a" and "b"), each trimmed of blanks and tabs.
std::vector<std::string_view> keyAndValue(std::string_view line)
{
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    for (std::size_t index = 0; index < line.size(); ++index) {
        if (line[index] != '=')
            continue;
        if (index > start) {
            parts.push_back(line.substr(start, index - start));
            start = index + 1;
            break;
        }
        start = index + 1;
    }
    if (start < line.size())
        parts.push_back(line.substr(start));
    for (std::string_view& part : parts)
        part = trimmedOfBlanks(part);
    return parts;
}

// Whether something is at the path, following links as a user's tools would.
bool existsFollowingLinks(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

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
    if (!configuration)
        return true;
    for (const std::string_view line : nonEmptyLines(*configuration)) {
        const std::vector<std::string_view> parts = keyAndValue(line);
        if (parts.size() == 2 && parts[0] == "image.sysdir.1")
            return existsFollowingLinks(home + "/Library/Android/sdk/" + std::string(parts[1]));
    }
    return true;
}

void android(Builder& builder)
{
    const std::string& home = builder.env().home;
    builder.add("gradle.caches", "Gradle caches and downloaded Gradle versions", CleanupCategory::android,
                "The next Gradle build downloads its dependencies again.", Safety::safe,
                CleanupAction::Delete{
                    {home + "/.gradle/caches", home + "/.gradle/wrapper/dists", home + "/.gradle/daemon"}});
    builder.add("android.studioCaches", "Android Studio caches", CleanupCategory::android,
                "Android Studio re-indexes each project the next time you open it.", Safety::safe,
                CleanupAction::Delete{Builder::children(home + "/Library/Caches/Google", [](std::string_view name) {
                    return name.starts_with("AndroidStudio");
                })});
    addEmulators(builder);
}

} // namespace tarno::RuleFamilies
