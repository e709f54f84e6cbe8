#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Cleanup/Rules/RuleSupport.hpp"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

constexpr std::string_view backupSuffix = "-backup";

// The product word of a settings folder's name and the name the user knows.
const std::map<std::string, std::string, std::less<>>& ideNames()
{
    static const std::map<std::string, std::string, std::less<>> names{
        {"AndroidStudio", "Android Studio"}, {"IdeaIC", "IntelliJ IDEA CE"}, {"IntelliJIdea", "IntelliJ IDEA"},
        {"PyCharmCE", "PyCharm CE"},         {"PyCharm", "PyCharm"},         {"WebStorm", "WebStorm"},
        {"GoLand", "GoLand"},                {"CLion", "CLion"},             {"Rider", "Rider"},
        {"RubyMine", "RubyMine"},            {"DataGrip", "DataGrip"},       {"PhpStorm", "PhpStorm"},
        {"RustRover", "RustRover"},          {"Fleet", "Fleet"},
    };
    return names;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

// A whole decimal integer with an optional sign, as a version part is written.
std::optional<std::int64_t> decimalInteger(std::string_view text)
{
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.empty() || !isDigit(text.front()))
            return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::string joinedVersion(const std::vector<std::int64_t>& version)
{
    std::string text;
    for (const std::int64_t part : version) {
        if (!text.empty())
            text += '.';
        text += std::to_string(part);
    }
    return text;
}

struct Entry {
    std::vector<std::int64_t> version;
    std::string name;
    bool isBackup = false;
};

// Where a vendor keeps an IDE's settings and what else belongs to one version:
// the Mac's settings and logs, Linux's configuration and data (plugins).
struct VendorPlaces {
    std::vector<std::string> settingsFolders;
    std::vector<std::string> allFolders;
};

VendorPlaces placesOf(const CleanupEnvironment& env, const std::string& vendor)
{
    const std::string macSettings = env.home + "/Library/Application Support/" + vendor;
    const std::string linuxSettings = env.folders.config + "/" + vendor;
    return {RuleSupport::withoutRepeats({macSettings, linuxSettings}),
            RuleSupport::withoutRepeats(
                {macSettings, env.home + "/Library/Logs/" + vendor, linuxSettings, env.folders.data + "/" + vendor})};
}

void addLeftBehind(Builder& builder, const std::string& vendor)
{
    const VendorPlaces places = placesOf(builder.env(), vendor);
    // One entry for each name: the same version's folders in every place are one item.
    std::set<std::string> names;
    for (const std::string& folder : places.settingsFolders) {
        for (const std::string& path : RuleSupport::childrenOfRealFolder(folder))
            names.insert(path.substr(folder.size() + 1));
    }
    std::map<std::string, std::vector<Entry>> groups;
    for (const std::string& name : names) {
        std::optional<IdeVersion> parsed = ideVersion(name);
        if (parsed && ideNames().contains(parsed->product))
            groups[parsed->product].push_back({std::move(parsed->version), name, name.ends_with(backupSuffix)});
    }

    for (const auto& [product, entries] : groups) {
        // The newest version that is not a backup is the one in use.
        std::optional<std::vector<std::int64_t>> newest;
        for (const Entry& entry : entries) {
            if (!entry.isBackup && (!newest || *newest < entry.version))
                newest = entry.version;
        }
        for (const Entry& entry : entries) {
            if (!entry.isBackup && entry.version == newest)
                continue;
            std::vector<std::string> paths;
            for (const std::string& folder : places.allFolders)
                paths.push_back(folder + "/" + entry.name);
            builder.add("ide." + entry.name,
                        ideNames().find(product)->second + " " + joinedVersion(entry.version)
                            + (entry.isBackup ? " backup" : "") + " settings and logs",
                        CleanupCategory::developerTools,
                        "Left behind by an update; the newer version copied what it needed. "
                        "If you still run this version, it starts fresh.",
                        Safety::review, CleanupAction::Delete{std::move(paths)}, 1000000);
        }
    }
}

} // namespace

std::optional<IdeVersion> ideVersion(const std::string& folder)
{
    std::string_view name = folder;
    if (name.ends_with(backupSuffix))
        name.remove_suffix(backupSuffix.size());
    if (name.empty())
        return std::nullopt;
    const auto number = std::find_if(name.begin(), name.end(), isDigit);
    if (number == name.end() || number == name.begin())
        return std::nullopt;
    const std::size_t start = static_cast<std::size_t>(number - name.begin());
    IdeVersion result{std::string(name.substr(0, start)), {}};
    std::string_view rest = name.substr(start);
    while (!rest.empty()) {
        const std::size_t dot = std::min(rest.find('.'), rest.size());
        if (const std::optional<std::int64_t> part = decimalInteger(rest.substr(0, dot)))
            result.version.push_back(*part);
        rest.remove_prefix(std::min(dot + 1, rest.size()));
    }
    if (result.version.empty())
        return std::nullopt;
    return result;
}

void oldSettings(Builder& builder)
{
    for (const std::string vendor : {"Google", "JetBrains"})
        addLeftBehind(builder, vendor);
}

} // namespace tarno::RuleFamilies
