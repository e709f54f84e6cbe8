#include "TarnoCore/Apps/AppFootprint.hpp"

#include "TarnoCore/Platform/FolderListing.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>

namespace tarno::AppFootprint {

namespace {

struct IdentifierFolder {
    std::string path; // absolute
    std::vector<std::string_view> suffixes;
};

// Folders a Mac keeps by identifier, below the home, with what macOS puts after the identifier.
const std::array<std::pair<std::string_view, std::vector<std::string_view>>, 10> identifierFolders = {{
    {"Library/Application Support", {}},
    {"Library/Caches", {}},
    {"Library/Preferences", {".plist"}},
    {"Library/Preferences/ByHost", {".plist"}},
    {"Library/Saved Application State", {".savedState"}},
    {"Library/HTTPStorages", {".binarycookies"}},
    {"Library/WebKit", {}},
    {"Library/Cookies", {".binarycookies"}},
    {"Library/Logs", {}},
    {"Library/Application Scripts", {}},
}};

constexpr std::array<std::string_view, 3> nameFolders = {"Library/Application Support", "Library/Caches",
                                                         "Library/Logs"};

// Identifiers from which no name can be guessed.
const std::map<std::string, std::string, std::less<>> knownNames = {
    {"com.tinyspeck.slackmacgap", "Slack"},
    {"com.openai.chat", "ChatGPT"},
    {"us.zoom.xos", "Zoom"},
    {"com.microsoft.teams", "Microsoft Teams"},
    {"com.microsoft.teams2", "Microsoft Teams"},
    {"com.postmanlabs.mac", "Postman"},
    {"com.proxyman.nsproxy", "Proxyman"},
    {"com.bittorrent.utweb", "\u00B5Torrent Web"},
    {"com.dynamodb.workbench", "NoSQL Workbench"},
};

// Parts that say nothing of an application's name, and parts that name a helper's role.
const std::set<std::string, std::less<>> genericParts = {"app",  "mac",      "macos",       "osx",  "desktop", "client",
                                                         "browser", "application", "main", "electron", "xos"};
const std::set<std::string, std::less<>> roleParts = {"agent", "helper", "updater", "launcher", "daemon"};

std::string lowercased(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return isUpper(c) || isLower(c); }

std::vector<std::string> split(std::string_view text, bool keepEmpty)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t dot = text.find('.', start);
        const std::string_view part = text.substr(start, dot == std::string_view::npos ? dot : dot - start);
        if (keepEmpty || !part.empty())
            parts.emplace_back(part);
        if (dot == std::string_view::npos)
            return parts;
        start = dot + 1;
    }
}

// The folder's entry names, hidden ones left out; nothing when it cannot be listed.
std::vector<std::string> entries(const std::string& folder)
{
    return Platform::visibleNames(folder);
}

// A group container's name without the team identifier (ten upper-case
// letters or digits and a dot) and then without "group.", each when present.
std::string groupStem(std::string_view name)
{
    const std::size_t dot = name.find('.');
    if (dot == 10 && std::all_of(name.begin(), name.begin() + 10, [](char c) { return isUpper(c) || isDigit(c); }))
        name.remove_prefix(11);
    if (name.starts_with("group."))
        name.remove_prefix(6);
    return std::string(name);
}

bool isIdentifierOrBelow(std::string_view stem, std::string_view id)
{
    return stem == id || (stem.size() > id.size() && stem.starts_with(id) && stem[id.size()] == '.');
}

std::string withoutFirstSuffix(const std::string& name, const std::vector<std::string_view>& suffixes)
{
    for (const std::string_view suffix : suffixes) {
        if (name.ends_with(suffix))
            return name.substr(0, name.size() - suffix.size());
    }
    return name;
}

} // namespace

std::vector<std::string> paths(const std::string& bundleID, const std::optional<std::string>& name,
                               const std::string& home, const Platform::UserFolders& folders, bool includeContainers,
                               const std::vector<std::string>& others)
{
    const std::string id = lowercased(bundleID);
    // Installed applications of the same family whose identifiers lie below
    // this one keep their own data: removing com.acme.suite must not take
    // com.acme.suite.reader's.
    std::vector<std::string> deeper;
    for (const std::string& other : others) {
        std::string lower = lowercased(other);
        if (lower != id && isIdentifierOrBelow(lower, id))
            deeper.push_back(std::move(lower));
    }
    const auto belongs = [&](const std::string& stem) {
        const std::string lower = lowercased(stem);
        return isIdentifierOrBelow(lower, id)
            && std::none_of(deeper.begin(), deeper.end(),
                            [&](const std::string& other) { return isIdentifierOrBelow(lower, other); });
    };

    std::vector<IdentifierFolder> byIdentifier;
    for (const auto& [folder, suffixes] : identifierFolders)
        byIdentifier.push_back({home + "/" + std::string(folder), suffixes});
    if (includeContainers)
        byIdentifier.push_back({home + "/Library/Containers", {}});
    // Linux keeps an application's data by its Flatpak or desktop entry id:
    // all of a sandboxed app's in .var/app, the others' in the base folders.
    for (const std::string& folder : {home + "/.var/app", folders.config, folders.data, folders.cache})
        byIdentifier.push_back({folder, {}});

    std::set<std::string> found;
    for (const IdentifierFolder& folder : byIdentifier) {
        for (const std::string& entry : entries(folder.path)) {
            if (belongs(withoutFirstSuffix(entry, folder.suffixes)))
                found.insert(folder.path + "/" + entry);
        }
    }
    if (includeContainers) {
        const std::string groups = home + "/Library/Group Containers";
        for (const std::string& entry : entries(groups)) {
            if (belongs(groupStem(entry)))
                found.insert(groups + "/" + entry);
        }
    }
    if (name && name->size() >= 3) {
        const std::string wanted = lowercased(*name);
        for (const std::string_view folder : nameFolders) {
            const std::string path = home + "/" + std::string(folder);
            for (const std::string& entry : entries(path)) {
                if (lowercased(entry) == wanted)
                    found.insert(path + "/" + entry);
            }
        }
        // Linux's base folders also hold what all programs share, which no
        // application's name can claim.
        if (!Platform::sharedUserFolderEntries().contains(wanted)) {
            for (const std::string& folder : {folders.config, folders.data, folders.cache}) {
                for (const std::string& entry : entries(folder)) {
                    if (lowercased(entry) == wanted)
                        found.insert(folder + "/" + entry);
                }
            }
        }
    }
    return {found.begin(), found.end()};
}

bool looksLikeBundleID(const std::string& name)
{
    const std::vector<std::string> parts = split(name, true);
    if (parts.size() < 3)
        return false;
    for (const std::string& part : parts) {
        if (part.empty())
            return false;
        if (!std::all_of(part.begin(), part.end(), [](char c) { return isLetter(c) || isDigit(c) || c == '-'; }))
            return false;
    }
    return isLetter(parts.front().front());
}

std::string vendor(const std::string& bundleID)
{
    std::vector<std::string> parts = split(bundleID, false);
    if (parts.size() > 2)
        parts.resize(2);
    std::string joined;
    for (const std::string& part : parts)
        joined += (joined.empty() ? "" : ".") + part;
    return lowercased(joined);
}

std::string guessedName(const std::string& bundleID)
{
    if (const auto known = knownNames.find(lowercased(bundleID)); known != knownNames.end())
        return known->second;
    const std::vector<std::string> parts = split(bundleID, false);
    if (parts.size() < 2)
        return bundleID;
    std::string candidate = parts.size() == 2 ? parts[1] : parts[2];
    if (parts.size() > 2) {
        const std::string lower = lowercased(candidate);
        const auto digits = std::count_if(candidate.begin(), candidate.end(), isDigit);
        if (roleParts.contains(lower))
            candidate = parts[1] + "-" + candidate;
        else if (genericParts.contains(lower) || static_cast<std::ptrdiff_t>(candidate.size()) <= 2 * digits)
            candidate = parts[1];
    }
    std::replace(candidate.begin(), candidate.end(), '-', ' ');
    if (candidate != lowercased(candidate))
        return candidate;
    bool wordStart = true;
    for (char& c : candidate) {
        if (wordStart && isLower(c))
            c = static_cast<char>(c - 'a' + 'A');
        wordStart = c == ' ';
    }
    return candidate;
}

} // namespace tarno::AppFootprint
