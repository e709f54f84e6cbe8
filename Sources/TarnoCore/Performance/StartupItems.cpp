#include "TarnoCore/Performance/StartupItems.hpp"

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Platform/Text.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>

#include <dirent.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno {

namespace {

using Scope = StartupItem::Scope;
using Platform::StartupLocations;

// Far more than any property list, entry or unit file holds; a file this
// large is no startup item and is not read whole.
constexpr std::uintmax_t largestFile = 4 * 1024 * 1024;

constexpr std::string_view plistSuffix = ".plist";
constexpr std::string_view entrySuffix = ".desktop";

// Every name in the folder, hidden ones too, in ascending byte order; none
// when it cannot be listed.
std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    DIR* listing = ::opendir(folder.c_str());
    if (listing == nullptr)
        return names;
    while (const dirent* entry = ::readdir(listing)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    ::closedir(listing);
    std::sort(names.begin(), names.end());
    return names;
}

// The text of a regular file, a link to one included; a pipe in its place
// would never end.
std::optional<std::string> fileText(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || size > largestFile)
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Something is there, a link followed to its end.
bool exists(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

bool isExecutableFile(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

bool onSearchPath(const std::string& name, const std::vector<std::string>& folders)
{
    return std::any_of(folders.begin(), folders.end(),
                       [&](const std::string& folder) { return isExecutableFile(folder + "/" + name); });
}

bool hasSuffix(std::string_view name, std::string_view suffix)
{
    return name.size() > suffix.size() && name.ends_with(suffix);
}

// ---- launchd property lists ----

using PlistNode = plist_t;

std::shared_ptr<void> readPlistDictionary(const std::string& path)
{
    const std::optional<std::string> data = fileText(path);
    if (!data || data->empty())
        return nullptr;
    plist_t root = nullptr;
    plist_from_memory(data->data(), static_cast<std::uint32_t>(data->size()), &root);
    if (root == nullptr)
        return nullptr;
    std::shared_ptr<void> owned(root, plist_free);
    if (plist_get_node_type(root) != PLIST_DICT)
        return nullptr;
    return owned;
}

std::optional<std::string> stringValue(PlistNode node)
{
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING)
        return std::nullopt;
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return text == nullptr ? std::string() : std::string(text, length);
}

std::optional<bool> boolValue(PlistNode node)
{
    if (node == nullptr || plist_get_node_type(node) != PLIST_BOOLEAN)
        return std::nullopt;
    std::uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

// `Program` when it is a string, however it looks; else the first of
// `ProgramArguments` when that is a non-empty array of strings.
std::optional<std::string> launchdProgram(PlistNode root)
{
    if (std::optional<std::string> program = stringValue(plist_dict_get_item(root, "Program")))
        return program;
    PlistNode arguments = plist_dict_get_item(root, "ProgramArguments");
    if (arguments == nullptr || plist_get_node_type(arguments) != PLIST_ARRAY)
        return std::nullopt;
    const std::uint32_t count = plist_array_get_size(arguments);
    if (count == 0)
        return std::nullopt;
    for (std::uint32_t index = 0; index < count; ++index) {
        if (plist_get_node_type(plist_array_get_item(arguments, index)) != PLIST_STRING)
            return std::nullopt;
    }
    return stringValue(plist_array_get_item(arguments, 0));
}

// KeepAlive: absent is false, a bool is its value, and anything else (the
// conditions map launchd accepts there) means launchd keeps it running.
bool keepsAlive(PlistNode root)
{
    PlistNode keepAlive = plist_dict_get_item(root, "KeepAlive");
    if (keepAlive == nullptr)
        return false;
    return boolValue(keepAlive).value_or(true);
}

void addLaunchdItems(std::vector<StartupItem>& items, const std::string& folder, Scope scope)
{
    for (const std::string& name : namesIn(folder)) {
        if (!name.ends_with(plistSuffix))
            continue;
        const std::string path = folder + "/" + name;
        const std::shared_ptr<void> dictionary = readPlistDictionary(path);
        if (!dictionary)
            continue;
        PlistNode root = dictionary.get();
        std::optional<std::string> program = launchdProgram(root);
        // launchd searches for a bare name itself, so only an absolute path
        // can be seen to be missing.
        const bool missing = program && program->starts_with('/') && !exists(*program);
        items.push_back(StartupItem{
            .label = stringValue(plist_dict_get_item(root, "Label"))
                         .value_or(name.substr(0, name.size() - plistSuffix.size())),
            .scope = scope,
            .program = std::move(program),
            .startsAutomatically = keepsAlive(root) || boolValue(plist_dict_get_item(root, "RunAtLoad")) == true,
            .programMissing = missing,
            .plistPath = path,
        });
    }
}

// ---- XDG autostart entries ----

// OnlyShowIn and NotShowIn against the desktops in use: an OnlyShowIn entry
// starts only where one of its desktops runs, a NotShowIn one everywhere else.
bool shownOnDesktop(std::string_view text, const std::vector<std::string>& desktops)
{
    const auto runs = [&](const std::vector<std::string>& listed) {
        return std::any_of(listed.begin(), listed.end(), [&](const std::string& desktop) {
            return std::find(desktops.begin(), desktops.end(), desktop) != desktops.end();
        });
    };
    if (const std::vector<std::string> only = Platform::desktopEntryList(text, "OnlyShowIn"); !only.empty()
        && !runs(only))
        return false;
    return !runs(Platform::desktopEntryList(text, "NotShowIn"));
}

StartupItem autostartItem(const std::string& path, const std::string& name, std::string_view text, Scope scope,
                          const StartupLocations& where)
{
    std::optional<std::string> program;
    if (const auto command = Platform::desktopEntryExec(text); command && !command->front().empty())
        program = command->front();
    else
        program = Platform::desktopEntryTryExec(text);

    // The session starts Exec through a PATH lookup, so a bare name that is
    // in no folder of PATH can only fail (launchd, by contrast, has search
    // rules of its own). A relative path with a "/" depends on the session's
    // folder and is not judged.
    bool missing = false;
    if (program && program->starts_with('/'))
        missing = !exists(*program);
    else if (program && program->find('/') == std::string::npos)
        missing = !onSearchPath(*program, where.programSearchPath);

    const std::optional<std::string> enabled = Platform::desktopEntryValue(text, "X-GNOME-Autostart-enabled");
    const bool switchedOff = enabled && (*enabled == "false" || *enabled == "0");
    return StartupItem{
        .label = Platform::desktopEntryName(text).value_or(name.substr(0, name.size() - entrySuffix.size())),
        .scope = scope,
        .program = std::move(program),
        .startsAutomatically = !Platform::desktopEntryHidden(text) && !switchedOff
            && shownOnDesktop(text, where.currentDesktops),
        .programMissing = missing,
        .plistPath = path,
    };
}

// The entries of `folders`, sorted by name; a name seen before, in an
// earlier folder or scope, is hidden by that one.
void addAutostartItems(std::vector<StartupItem>& items, const std::vector<std::string>& folders, Scope scope,
                       const StartupLocations& where, std::set<std::string>& seen)
{
    std::map<std::string, std::string> entries; // name → path
    for (const std::string& folder : folders) {
        for (const std::string& name : namesIn(folder)) {
            if (hasSuffix(name, entrySuffix) && !seen.contains(name))
                entries.emplace(name, folder + "/" + name);
        }
    }
    for (const auto& [name, path] : entries) {
        seen.insert(name);
        if (const std::optional<std::string> text = fileText(path))
            items.push_back(autostartItem(path, name, *text, scope, where));
    }
}

// ---- systemd user units ----

// The kinds of unit that start a program, by themselves or through their
// service; targets, slices and mounts run nothing of their own.
constexpr std::array<std::string_view, 4> unitKinds = {".service", ".timer", ".socket", ".path"};

std::optional<std::string_view> unitKind(std::string_view name)
{
    for (const std::string_view kind : unitKinds) {
        if (hasSuffix(name, kind))
            return kind;
    }
    return std::nullopt;
}

bool isEnablingFolder(std::string_view name)
{
    return hasSuffix(name, ".wants") || hasSuffix(name, ".requires");
}

// Empty or a link to /dev/null: systemd loads nothing from it.
bool isMasked(const std::string& path)
{
    std::error_code error;
    if (std::filesystem::canonical(path, error) == "/dev/null")
        return true;
    return std::filesystem::is_regular_file(path, error) && std::filesystem::file_size(path, error) == 0 && !error;
}

struct UnitFile {
    std::string path;
    bool masked = false;
};

// The file systemd would load for the unit `name`: the first of `folders`
// that holds the name, then the same for an instance's template
// ("a@x.service" → "a@.service"). None when no folder has it.
std::optional<UnitFile> findUnit(const std::string& name, const std::vector<std::string>& folders)
{
    std::vector<std::string> candidates{name};
    if (const std::size_t at = name.find('@'), dot = name.rfind('.');
        at != std::string::npos && dot != std::string::npos && dot > at + 1)
        candidates.push_back(name.substr(0, at + 1) + name.substr(dot));
    for (const std::string& candidate : candidates) {
        for (const std::string& folder : folders) {
            const std::string path = folder + "/" + candidate;
            struct stat status {};
            if (::lstat(path.c_str(), &status) != 0)
                continue;
            if (isMasked(path))
                return UnitFile{path, true};
            std::error_code error;
            if (std::filesystem::is_regular_file(path, error))
                return UnitFile{path, false};
        }
    }
    return std::nullopt;
}

// Every value of `key` in `[section]`, in order, with continued lines joined.
std::vector<std::string> unitValues(std::string_view text, std::string_view section, std::string_view key)
{
    std::vector<std::string> values;
    const std::string header = "[" + std::string(section) + "]";
    bool inSection = false;
    std::string line;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view piece = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (piece.ends_with('\r'))
            piece.remove_suffix(1);
        // A backslash at the end of a line continues it on the next, as one blank.
        if (piece.ends_with('\\') && !text.empty()) {
            line.append(piece.substr(0, piece.size() - 1)).append(" ");
            continue;
        }
        line.append(piece);
        const std::string_view trimmed = Text::trimmed(line);
        if (trimmed.starts_with('[')) {
            inSection = trimmed == header;
        } else if (inSection && !trimmed.starts_with('#') && !trimmed.starts_with(';')) {
            if (const std::size_t equals = trimmed.find('=');
                equals != std::string_view::npos && Text::trimmed(trimmed.substr(0, equals)) == key)
                values.emplace_back(Text::trimmed(trimmed.substr(equals + 1)));
        }
        line.clear();
    }
    return values;
}

std::optional<std::string> lastNonEmpty(const std::vector<std::string>& values)
{
    for (auto it = values.rbegin(); it != values.rend(); ++it) {
        if (!it->empty())
            return *it;
    }
    return std::nullopt;
}

struct UnitProgram {
    std::string program;
    bool hasPlaceholder = false; // a "%" systemd fills in that is not resolved here
};

// The program of the service's first command: ExecStart without its prefixes
// ("-", "@", "+", "!", "!!", ":"), its first word, quotes taken off, with %h
// for the home. An empty ExecStart= clears those before it.
std::optional<UnitProgram> serviceProgram(std::string_view unitText, const std::string& home)
{
    std::vector<std::string> commands;
    for (std::string& value : unitValues(unitText, "Service", "ExecStart")) {
        if (value.empty())
            commands.clear();
        else
            commands.push_back(std::move(value));
    }
    if (commands.empty())
        return std::nullopt;
    std::string_view command = commands.front();
    command.remove_prefix(std::min(command.find_first_not_of("-@+!:"), command.size()));
    command = Text::trimmed(command);

    std::string_view word;
    if (!command.empty() && (command.front() == '"' || command.front() == '\'')) {
        const std::size_t close = command.find(command.front(), 1);
        word = command.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1);
    } else {
        word = command.substr(0, command.find_first_of(Text::whiteSpace));
    }
    UnitProgram found;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] == '%' && i + 1 < word.size() && (word[i + 1] == 'h' || word[i + 1] == '%')) {
            found.program += word[i + 1] == 'h' ? home : "%";
            ++i;
        } else {
            found.hasPlaceholder = found.hasPlaceholder || word[i] == '%';
            found.program += word[i];
        }
    }
    if (found.program.empty())
        return std::nullopt;
    return found;
}

// The service a timer, socket or path unit starts: the one its section
// names (Unit=, a socket's Service=), else the service of the same name.
std::string activatedService(const std::string& unitName, std::string_view kind, std::string_view unitText)
{
    std::string section(kind.substr(1));
    section.front() = static_cast<char>(section.front() - 'a' + 'A');
    if (std::optional<std::string> unit =
            lastNonEmpty(unitValues(unitText, section, kind == ".socket" ? "Service" : "Unit")))
        return *unit;
    return unitName.substr(0, unitName.size() - kind.size()) + ".service";
}

std::optional<StartupItem> unitItem(const std::string& unitName, const std::string& link, Scope scope,
                                    const std::vector<std::string>& lookup, const std::string& home,
                                    const StartupLocations& where)
{
    std::optional<UnitFile> unit = findUnit(unitName, lookup);
    if (!unit) {
        // A unit outside every unit folder, enabled by a link straight to its file.
        std::error_code error;
        const std::filesystem::path target = std::filesystem::canonical(link, error);
        if (error || !std::filesystem::is_regular_file(target, error))
            return std::nullopt;
        unit = UnitFile{target.string(), isMasked(target.string())};
    }
    if (unit->masked)
        return std::nullopt;
    const std::optional<std::string> text = fileText(unit->path);
    if (!text)
        return std::nullopt;

    const std::string_view kind = *unitKind(unitName);
    std::optional<UnitProgram> program;
    if (kind == ".service") {
        program = serviceProgram(*text, home);
    } else if (const std::optional<UnitFile> service = findUnit(activatedService(unitName, kind, *text), lookup);
               service && !service->masked) {
        if (const std::optional<std::string> serviceText = fileText(service->path))
            program = serviceProgram(*serviceText, home);
    }

    // systemd resolves a bare ExecStart in fixed folders of its own, never along PATH.
    bool missing = false;
    if (program && !program->hasPlaceholder) {
        if (program->program.starts_with('/'))
            missing = !exists(program->program);
        else if (program->program.find('/') == std::string::npos)
            missing = !onSearchPath(program->program, where.unitProgramSearchPath);
    }
    return StartupItem{
        .label = lastNonEmpty(unitValues(*text, "Unit", "Description")).value_or(unitName),
        .scope = scope,
        .program = program ? std::optional<std::string>(program->program) : std::nullopt,
        .startsAutomatically = true,
        .programMissing = missing,
        .plistPath = unit->path,
    };
}

// The units a link in a *.wants or *.requires folder of `folder` enables,
// sorted by name; a unit seen before is listed where it was seen first.
void addUnitItems(std::vector<StartupItem>& items, const std::string& folder, Scope scope,
                  const std::vector<std::string>& lookup, const std::string& home, const StartupLocations& where,
                  std::set<std::string>& seen)
{
    std::map<std::string, std::string> enabled; // unit name → its link
    for (const std::string& dependants : namesIn(folder)) {
        if (!isEnablingFolder(dependants))
            continue;
        for (const std::string& name : namesIn(folder + "/" + dependants)) {
            if (unitKind(name) && !seen.contains(name))
                enabled.emplace(name, folder + "/" + dependants + "/" + name);
        }
    }
    for (const auto& [name, link] : enabled) {
        seen.insert(name);
        if (std::optional<StartupItem> item = unitItem(name, link, scope, lookup, home, where))
            items.push_back(std::move(*item));
    }
}

// The links in the user's *.wants and *.requires folders that enable the
// unit file at `unitPath`: by the unit's name, or by pointing at that file.
std::vector<std::string> enablingLinks(const std::string& folder, const std::string& unitName,
                                       const std::string& unitPath)
{
    std::vector<std::string> links;
    std::error_code error;
    const std::filesystem::path unitTarget = std::filesystem::weakly_canonical(unitPath, error);
    const auto pointsAtUnit = [&](const std::string& path) {
        std::error_code linkError;
        return !error && std::filesystem::is_symlink(path, linkError)
            && std::filesystem::weakly_canonical(path, linkError) == unitTarget && !linkError;
    };
    for (const std::string& dependants : namesIn(folder)) {
        if (!isEnablingFolder(dependants))
            continue;
        for (const std::string& name : namesIn(folder + "/" + dependants)) {
            const std::string path = folder + "/" + dependants + "/" + name;
            if (name == unitName || pointsAtUnit(path))
                links.push_back(path);
        }
    }
    return links;
}

} // namespace

bool StartupItem::isLeftover() const
{
    return programMissing && (scope == Scope::user || scope == Scope::userAutostart || scope == Scope::userUnit);
}

std::string_view rawValue(StartupItem::Scope scope)
{
    switch (scope) {
    case Scope::user: return "Your account";
    case Scope::allUsers: return "All users";
    case Scope::system: return "System-wide service";
    case Scope::userAutostart: return "Your autostart entries";
    case Scope::systemAutostart: return "Autostart for all users";
    case Scope::userUnit: return "Your services";
    case Scope::systemUnit: return "Services for all users";
    }
    return {};
}

std::optional<StartupItem::Scope> startupItemScope(std::string_view raw)
{
    for (const Scope scope : allStartupItemScopes) {
        if (rawValue(scope) == raw)
            return scope;
    }
    return std::nullopt;
}

namespace StartupItems {

CommandRunner liveRunner()
{
    return [](const std::string& tool, const std::vector<std::string>& arguments) {
        Shell::run(tool, arguments, {}, std::chrono::seconds(30));
    };
}

std::vector<StartupItem> list(const std::string& home)
{
    return list(home, StartupLocations::live(home));
}

std::vector<StartupItem> list(const std::string& home, const StartupLocations& where)
{
    std::vector<StartupItem> items;
    addLaunchdItems(items, Platform::userLaunchAgentsFolder(home), Scope::user);
    addLaunchdItems(items, where.allUsersLaunchAgents, Scope::allUsers);
    addLaunchdItems(items, where.systemLaunchDaemons, Scope::system);

    const std::string config = Platform::userFolders(home).config;
    std::set<std::string> seenEntries;
    addAutostartItems(items, {Platform::userAutostartFolder(config)}, Scope::userAutostart, where, seenEntries);
    addAutostartItems(items, where.systemAutostartFolders, Scope::systemAutostart, where, seenEntries);

    const std::string userUnits = Platform::userUnitFolder(config);
    std::vector<std::string> lookup{userUnits};
    for (const std::string& folder : where.unitFolders) {
        if (std::find(lookup.begin(), lookup.end(), folder) == lookup.end())
            lookup.push_back(folder);
    }
    if (std::find(lookup.begin(), lookup.end(), where.systemUnitFolder) == lookup.end())
        lookup.insert(lookup.begin() + 1, where.systemUnitFolder);
    std::set<std::string> seenUnits;
    addUnitItems(items, userUnits, Scope::userUnit, lookup, home, where, seenUnits);
    addUnitItems(items, where.systemUnitFolder, Scope::systemUnit, lookup, home, where, seenUnits);
    return items;
}

std::optional<std::string> removeLeftover(const StartupItem& item, const std::string& home, const CommandRunner& run)
{
    const std::string refused(refusal);
    if (!item.isLeftover())
        return refused;
    const std::filesystem::path path(item.plistPath);
    const std::string folder = path.parent_path().string();
    const std::string name = path.filename().string();
    if (name.empty() || name == "." || name == "..")
        return refused;

    const std::string config = Platform::userFolders(home).config;
    // The file first, so that it keeps its own name in the Trash.
    std::vector<std::string> paths{item.plistPath};
    switch (item.scope) {
    case Scope::user:
        if (folder != Platform::userLaunchAgentsFolder(home))
            return refused;
        if (run)
            run(Platform::launchctl(), {"bootout", "gui/" + std::to_string(::getuid()), item.plistPath});
        break;
    case Scope::userAutostart:
        if (folder != Platform::userAutostartFolder(config) || !hasSuffix(name, entrySuffix))
            return refused;
        break;
    case Scope::userUnit:
        if (folder != Platform::userUnitFolder(config) || !unitKind(name))
            return refused;
        // systemctl removes the links itself when it can; those it left, or
        // all of them when it could not run, follow the file to the Trash.
        if (run)
            run(Platform::systemctl(), {"--user", "disable", name});
        for (std::string& link : enablingLinks(folder, name, item.plistPath))
            paths.push_back(std::move(link));
        break;
    default:
        return refused;
    }

    const CleanReport report = Cleaner{PathGuard::forHome(home)}.perform(CleanupAction::Trash{paths});
    if (!report.failures.empty())
        return report.failures.front().reason;
    return std::nullopt;
}

std::optional<std::string> removeLeftover(const StartupItem& item, const std::string& home)
{
    return removeLeftover(item, home, home == Platform::homeFolder() ? liveRunner() : CommandRunner{});
}

} // namespace StartupItems

} // namespace tarno
