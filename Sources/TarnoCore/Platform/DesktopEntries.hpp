#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The desktop's application entries ("<id>.desktop" files): which applications
// the user can start, and with what command.
namespace tarno::Platform {

// The entry Docker Desktop for Linux installs.
std::string_view dockerDesktopID();

// The command of the application entry `desktopID` (the file name without
// ".desktop"), found in $XDG_DATA_HOME then each of $XDG_DATA_DIRS; nothing
// when there is no such entry or it cannot be started.
std::optional<std::vector<std::string>> desktopApplicationCommand(std::string_view desktopID);

// The same, looking in "<dir>/applications" of each of `dataDirs` in order.
// The first entry found decides, as it hides those after it.
std::optional<std::vector<std::string>> desktopApplicationCommand(std::string_view desktopID,
                                                                  const std::vector<std::string>& dataDirs);

// The command an entry's text gives: the [Desktop Entry] group's Exec split
// into arguments, with the field codes for files, URLs, icon, name and entry
// left out. Nothing when the entry is hidden, has no Exec or a malformed one.
std::optional<std::vector<std::string>> desktopEntryCommand(std::string_view entryText);

} // namespace tarno::Platform
