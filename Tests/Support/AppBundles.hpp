#pragma once

#include "Support/TemporaryFolder.hpp"

#include "TarnoCore/Apps/InstalledApps.hpp"

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <plist/plist.h>

namespace tarno::test {

// Installed apps as a failed comparison shows them, a line each.
inline std::string described(const std::vector<InstalledApp>& apps)
{
    std::string text;
    for (const InstalledApp& app : apps) {
        text += "\n  " + app.path + " | " + app.name + " | " + app.bundleID + " | " + app.version.value_or("-")
                + " | " + (app.needsPassword ? "password" : "free") + " | " + std::to_string(static_cast<int>(app.kind))
                + " | " + app.icon.value_or("-") + " |";
        for (const std::string& file : app.ownFiles)
            text += " " + file;
    }
    return text;
}

// Writes `root` as a binary property list, the form Xcode gives an Info.plist;
// takes ownership of `root`.
inline void writeBinaryPlist(const std::string& path, plist_t root)
{
    char* data = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(root, &data, &length);
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(data, length);
    plist_to_bin_free(data);
    plist_free(root);
}

// A bundle folder at `relative` with `infoText` as its Contents/Info.plist.
inline std::string makeBundleWithInfo(const TemporaryFolder& folder, std::string_view relative,
                                      std::string_view infoText)
{
    const std::string bundle = folder.makeFolder(relative);
    std::ofstream(folder.makeFile(std::string(relative) + "/Contents/Info.plist"), std::ios::binary)
        << infoText;
    return bundle;
}

// A bundle folder at `relative` whose Info.plist is binary and holds the
// identifier and, when given, the version.
inline std::string makeAppBundle(const TemporaryFolder& folder, std::string_view relative,
                                 const std::string& bundleID, const std::optional<std::string>& version = {})
{
    const std::string bundle = folder.makeFolder(relative);
    folder.makeFolder(std::string(relative) + "/Contents");
    plist_t info = plist_new_dict();
    plist_dict_set_item(info, "CFBundleIdentifier", plist_new_string(bundleID.c_str()));
    if (version)
        plist_dict_set_item(info, "CFBundleShortVersionString", plist_new_string(version->c_str()));
    writeBinaryPlist(bundle + "/Contents/Info.plist", info);
    return bundle;
}

// An XML Info.plist as a text editor leaves one, around the dictionary's `keys`.
inline std::string xmlInfo(std::string_view keys)
{
    return std::string(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
)") + std::string(keys) + "\n</dict>\n</plist>\n";
}

} // namespace tarno::test
