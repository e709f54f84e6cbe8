#pragma once

#include "TarnoCore/Platform/StartupLocations.hpp"

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarno {

// Something the machine starts on its own: a launchd property list, an XDG
// autostart entry or an enabled systemd user unit.
struct StartupItem {
    // Which folder holds it. The order of the cases is the order of the list.
    enum class Scope {
        user,            // home + "/Library/LaunchAgents"
        allUsers,        // "/Library/LaunchAgents"
        system,          // "/Library/LaunchDaemons"
        userAutostart,   // the user's config folder + "/autostart"
        systemAutostart, // "/etc/xdg/autostart" and the other config folders'
        userUnit,        // enabled by a link in the user's config folder + "/systemd/user"
        systemUnit,      // enabled by a link in "/etc/systemd/user"
    };

    std::string label;                  // Label, Name or Description; else the file's name
    Scope scope = Scope::user;
    std::optional<std::string> program; // what the entry runs; absent when it names nothing
    bool startsAutomatically = false;
    bool programMissing = false;        // `program` can be seen not to exist
    std::string plistPath;              // the property list, desktop entry or unit file: the identity

    // An entry of the user's own whose program is gone: the one kind that may be removed.
    bool isLeftover() const;

    bool operator==(const StartupItem&) const = default;
};

inline constexpr std::array allStartupItemScopes = {
    StartupItem::Scope::user,          StartupItem::Scope::allUsers, StartupItem::Scope::system,
    StartupItem::Scope::userAutostart, StartupItem::Scope::systemAutostart, StartupItem::Scope::userUnit,
    StartupItem::Scope::systemUnit,
};

// The label on screen ("Your account").
std::string_view rawValue(StartupItem::Scope scope);
std::optional<StartupItem::Scope> startupItemScope(std::string_view raw);

// What the machine starts on its own, and the removal of leftovers. Reads
// only: nothing here runs a tool to find out.
namespace StartupItems {

// Runs a tool by its absolute path; what it says is not looked at.
using CommandRunner = std::function<void(const std::string& tool, const std::vector<std::string>& arguments)>;

// The real one: Shell::run with no additions to the environment and a
// 30-second time-out.
CommandRunner liveRunner();

// Every item, scope by scope in the order of the enumeration, each scope
// sorted by file name (units by their name). Never fails: what cannot be
// read is left out.
std::vector<StartupItem> list(const std::string& home);
std::vector<StartupItem> list(const std::string& home, const Platform::StartupLocations& where);

// Why an item is not removed, whatever it was that disqualified it.
inline constexpr std::string_view refusal = "Only leftovers in your own Login Items can be removed.";

// Takes a leftover out of its manager (launchctl bootout, systemctl --user
// disable, through `run`; a null `run` skips that step), removes a unit's
// enabling links and moves its file to the home's Trash through the cleaner.
// Nothing on success; `refusal` for anything but a leftover directly in the
// user's own folder of its kind; else the reason the Trash gave.
std::optional<std::string> removeLeftover(const StartupItem& item, const std::string& home,
                                          const CommandRunner& run);

// The same with the live runner for the running user's own home. For any
// other home nothing is run: its managers are not this session's, and
// systemctl would act on the real user's unit of the same name.
std::optional<std::string> removeLeftover(const StartupItem& item, const std::string& home);

} // namespace StartupItems

} // namespace tarno
