#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include <algorithm>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

// The text after the name's last dot, in lower case; a leading dot starts a
// hidden name, not an extension.
std::string lowercaseExtension(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return {};
    std::string extension(name.substr(dot + 1));
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return extension;
}

} // namespace

const std::set<std::string, std::less<>>& installerExtensions()
{
    // A Mac's disk images and packages, then Linux's packages and installers.
    static const std::set<std::string, std::less<>> extensions = {
        "dmg", "pkg", "xip", "iso", "deb", "rpm", "appimage", "flatpakref", "flatpak", "snap", "run"};
    return extensions;
}

void downloads(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    std::vector<std::string> folders{env.home + "/Downloads"};
    // user-dirs.dirs may move the folder; pointing it at the home itself switches it off.
    if (env.folders.downloads != folders.front() && env.folders.downloads != env.home)
        folders.push_back(env.folders.downloads);
    std::set<std::string> offered;
    for (const std::string& folder : folders) {
        for (const std::string& path : Builder::children(folder, [](std::string_view name) {
                 return installerExtensions().contains(lowercaseExtension(name));
             })) {
            const std::string name = path.substr(folder.size() + 1);
            // An item's id is its file's name, so a namesake in the second folder waits for the next scan.
            if (!offered.insert(name).second)
                continue;
            builder.add("download." + name, name, CleanupCategory::downloads,
                        "Moved to the Trash, so you can still put it back.", Safety::review,
                        CleanupAction::Trash{{path}}, 20000000);
        }
    }
}

} // namespace tarno::RuleFamilies
