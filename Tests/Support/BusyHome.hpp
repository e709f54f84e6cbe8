#pragma once

#include <array>
#include <string_view>

namespace tarno::test {

using namespace std::string_view_literals;

// The files of a busy Linux home, relative to it: something for nearly every
// rule of the catalog to offer, with the user's own files and keys beside them.
inline constexpr std::array busyLinuxHomeFiles = {
    ".npm/_cacache/x"sv, ".npm/_logs/x"sv, ".cache/yarn/x"sv, ".yarn/berry/cache/x"sv,
    ".cache/puppeteer/chrome/x"sv, ".cache/ms-playwright/x"sv, ".cache/node-gyp/x"sv, ".cache/typescript/x"sv,
    ".dartServer/x"sv, ".pub-cache/hosted/x"sv, ".shorebird/bin/cache/x"sv, "fvm/versions/3.19.0/bin/flutter"sv,
    ".cache/Homebrew/x"sv, ".cache/JetBrains/IntelliJIdea2024.3/x"sv, ".cache/pip/x"sv, ".cache/go-build/x"sv,
    ".cargo/registry/cache/x"sv, ".m2/repository/x"sv, ".docker/scout/x"sv, ".docker/config.json"sv,
    ".config/JetBrains/IntelliJIdea2024.1/x"sv, ".config/JetBrains/IntelliJIdea2024.3/x"sv,
    ".local/share/JetBrains/IntelliJIdea2024.1/x"sv, ".config/google-chrome/OptGuideOnDeviceModel/x"sv,
    ".cursor/x"sv, ".config/Cursor/x"sv, ".var/app/com.example.Gone/data/x"sv, ".config/com.example.Gone/x"sv,
    "Downloads/tool.deb"sv, "Downloads/disk.iso"sv, ".local/share/Trash/files/old"sv,
    ".local/share/Trash/info/old.trashinfo"sv, ".cache/thumbnails/x"sv, ".cache/spotify/x"sv,
    ".cache/Google/AndroidStudio2024.2/x"sv, ".gradle/caches/x"sv, ".local/share/kraftkit/runtime/oci/x"sv,
    ".local/share/keyrings/login.keyring"sv, ".ssh/id_ed25519"sv, "Documents/letter.txt"sv,
};

} // namespace tarno::test
