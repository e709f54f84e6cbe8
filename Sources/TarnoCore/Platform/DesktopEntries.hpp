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

// The name the application entry `desktopID` shows (its untranslated Name),
// from the first of "<dir>/applications" of `dataDirs` that has the entry;
// nothing when none has it or it has no name.
std::optional<std::string> desktopApplicationName(std::string_view desktopID, const std::vector<std::string>& dataDirs);

// The [Desktop Entry] group's Name of an entry's text.
std::optional<std::string> desktopEntryName(std::string_view entryText);

// The [Desktop Entry] group's Icon of an entry's text: an image file's
// absolute path, or a name to look up in the icon theme.
std::optional<std::string> desktopEntryIcon(std::string_view entryText);

// The [Desktop Entry] group's TryExec of an entry's text: the program that
// must be there for the entry to be shown.
std::optional<std::string> desktopEntryTryExec(std::string_view entryText);

// The [Desktop Entry] group's Exec split as desktopEntryCommand splits it,
// whether the entry is hidden or not: what a hidden entry would have run.
std::optional<std::vector<std::string>> desktopEntryExec(std::string_view entryText);

// Whether the [Desktop Entry] group says Hidden=true: the entry counts as deleted.
bool desktopEntryHidden(std::string_view entryText);

// The untranslated value of `key` in the [Desktop Entry] group, escapes
// decoded; the first one when the key is there twice.
std::optional<std::string> desktopEntryValue(std::string_view entryText, std::string_view key);

// The same for a list value ("GNOME;KDE;"): the items split at each ";"
// that is not escaped as "\;", empty ones left out.
std::vector<std::string> desktopEntryList(std::string_view entryText, std::string_view key);

// The image files of the application icon `iconName` in the hicolor theme of
// a data folder ("<dataDir>/icons/hicolor/<size>/apps/<name>.svg" or ".png"):
// scalable first, then the largest size down. None when the name is empty or
// holds a "/".
std::vector<std::string> hicolorIconFiles(const std::string& dataDir, std::string_view iconName);

// The data folders shared by all users: $XDG_DATA_DIRS, or its defaults.
std::vector<std::string> sharedDataFolders();

// The folders where Flatpak installs applications, one folder per app id:
// the system's, then the user's below `dataHome`.
std::vector<std::string> flatpakAppFolders(const std::string& dataHome);

// The folders of Flatpak's exported entries (…/exports/share), in the order
// of `flatpakAppFolders`; they hold the installed apps' desktop entries.
std::vector<std::string> flatpakExportFolders(const std::string& dataHome);

// The ids of the applications installed here: every folder name in
// `flatpakFolders`, then the id of every desktop entry ("org.gnome.Maps" for
// org.gnome.Maps.desktop, "kde-dolphin" for kde/dolphin.desktop) in
// "<dir>/applications" of each of `dataDirs`. In that order, duplicates kept.
// A hidden entry counts: it may hide the same id in a later folder.
std::vector<std::string> installedApplicationIDs(const std::vector<std::string>& flatpakFolders,
                                                 const std::vector<std::string>& dataDirs);

} // namespace tarno::Platform
