#include "Tarno/Demo/DemoApps.hpp"

#include "Tarno/Demo/DemoMachine.hpp"

#include "TarnoCore/Foundation/NaturalOrder.hpp"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <set>

namespace tarno::Demo {
namespace {

using Clock = std::chrono::system_clock;
constexpr std::int64_t megabytes = 1'000'000;

struct MadeUpApp {
    AppKind kind;
    const char* name;
    const char* id;
    const char* version;
    int daysSinceOpened; // 0: never seen opened
    std::int64_t megabytesItself;
    std::vector<std::pair<const char*, std::int64_t>> parts; // home-relative, with their megabytes
    bool systemWide = false;
};

// The one that does not quit when asked.
constexpr const char* stubborn = "Slack";

const std::vector<MadeUpApp>& madeUpApps()
{
    static const std::vector<MadeUpApp> apps = {
        {AppKind::bundle, "Android Studio", "com.google.android.studio", "2025.1.2", 1, 2'480,
         {{".config/Google/AndroidStudio2025.1", 412}, {".cache/Google/AndroidStudio2025.1", 1'907}}},
        {AppKind::bundle, "Docker", "com.docker.docker", "4.43.1", 0, 2'140, {{".docker", 96}}, true},
        {AppKind::bundle, "Figma", "com.figma.Desktop", "125.4.9", 12, 486, {{".config/Figma", 233}}},
        {AppKind::bundle, "iTerm", "com.googlecode.iterm2", "3.5.14", 0, 92, {{".config/iterm2", 3}}},
        {AppKind::bundle, "Postman", "com.postmanlabs.mac", "11.52.0", 40, 611,
         {{".config/Postman", 880}, {".cache/postman", 142}}},
        {AppKind::bundle, "Proxyman", "com.proxyman.NSProxy", "5.20.0", 95, 138, {{".cache/com.proxyman.NSProxy", 45}}},
        {AppKind::bundle, "Rectangle", "com.knollsoft.Rectangle", "0.88", 0, 21, {}},
        {AppKind::bundle, "Sequel Ace", "com.sequel-ace.sequel-ace", "4.1.7", 210, 64,
         {{".config/Sequel Ace", 12}}},
        {AppKind::bundle, stubborn, "com.tinyspeck.slackmacgap", "4.45.64", 0, 512,
         {{".config/Slack", 1'204}, {".cache/com.tinyspeck.slackmacgap", 310}}},
        {AppKind::bundle, "TablePlus", "com.tinyapp.TablePlus", "6.6.8", 33, 88, {}},
        {AppKind::bundle, "Xcode", "com.apple.dt.Xcode", "16.4", 3, 11'870,
         {{".cache/com.apple.dt.Xcode", 2'310}}, true},
        {AppKind::bundle, "Zoom", "us.zoom.xos", "6.5.3", 18, 320, {{".config/zoomus.conf", 1}, {".zoom", 158}}},

        {AppKind::flatpak, "Blender", "org.blender.Blender", "4.4.3", 60, 1'012, {{".var/app/org.blender.Blender", 388}}},
        {AppKind::flatpak, "Bottles", "com.usebottles.bottles", "51.21", 150, 245,
         {{".var/app/com.usebottles.bottles", 6'830}}},
        {AppKind::flatpak, "DBeaver", "io.dbeaver.DBeaverCommunity", "25.1.1", 8, 512,
         {{".var/app/io.dbeaver.DBeaverCommunity", 74}}},
        {AppKind::flatpak, "Discord", "com.discordapp.Discord", "0.0.98", 2, 388,
         {{".var/app/com.discordapp.Discord", 1'120}}},
        {AppKind::flatpak, "Flatseal", "com.github.tchx84.Flatseal", "2.3.1", 300, 3, {}},
        {AppKind::flatpak, "GIMP", "org.gimp.GIMP", "3.0.4", 45, 420, {{".var/app/org.gimp.GIMP", 96}}, true},
        {AppKind::flatpak, "Inkscape", "org.inkscape.Inkscape", "1.4.2", 0, 266, {{".var/app/org.inkscape.Inkscape", 18}}},
        {AppKind::flatpak, "LibreOffice", "org.libreoffice.LibreOffice", "25.2.4", 21, 1'530,
         {{".var/app/org.libreoffice.LibreOffice", 57}}, true},
        {AppKind::flatpak, "OBS Studio", "com.obsproject.Studio", "31.0.3", 90, 498,
         {{".var/app/com.obsproject.Studio", 2'214}}},
        {AppKind::flatpak, "Podman Desktop", "io.podman_desktop.PodmanDesktop", "1.19.2", 5, 640,
         {{".var/app/io.podman_desktop.PodmanDesktop", 201}}},
        {AppKind::flatpak, "Spotify", "com.spotify.Client", "1.2.63", 1, 310, {{".var/app/com.spotify.Client", 3'480}}},
        {AppKind::flatpak, "VLC", "org.videolan.VLC", "3.0.21", 130, 208, {{".var/app/org.videolan.VLC", 2}}},

        {AppKind::appImage, "Bruno", "bruno", "2.6.1", 0, 142, {{".config/bruno", 22}}},
        {AppKind::appImage, "Cursor", "cursor", "1.2.4", 0, 218, {{".config/Cursor", 640}, {".cursor", 1'340}}},
        {AppKind::appImage, "Heroic", "heroic", "2.17.2", 0, 176, {{".config/heroic", 8}}},
        {AppKind::appImage, "Insomnia", "insomnia", "11.2.0", 0, 155, {{".config/Insomnia", 61}}},
        {AppKind::appImage, "Joplin", "joplin", "3.3.13", 0, 201, {{".config/Joplin", 410}}},
        {AppKind::appImage, "Krita", "krita", "5.2.9", 0, 295, {{".local/share/krita", 33}}},
        {AppKind::appImage, "LM Studio", "lm-studio", "0.3.16", 0, 486, {{".cache/lm-studio", 9'120}}},
        {AppKind::appImage, "Obsidian", "obsidian", "1.8.10", 0, 123, {{".config/obsidian", 29}}},
        {AppKind::appImage, "Ollama Desktop", "ollama-desktop", "0.9.6", 0, 98, {}},
        {AppKind::appImage, "Kdenlive", "kdenlive", "25.04.2", 0, 190, {{".config/kdenliverc", 1}}},
        {AppKind::appImage, "Beekeeper Studio", "beekeeper-studio", "5.2.12", 0, 167,
         {{".config/beekeeper-studio", 14}}},
        {AppKind::appImage, "Zed", "zed", "0.193.3", 0, 129, {{".config/zed", 2}, {".cache/zed", 77}}},
    };
    return apps;
}

std::string inHome(const std::string& relative)
{
    return std::string(home) + "/" + relative;
}

std::string pathOf(const MadeUpApp& app)
{
    switch (app.kind) {
    case AppKind::bundle:
        return (app.systemWide ? std::string("/Applications/") : inHome("Applications/")) + app.name + ".app";
    case AppKind::flatpak:
        return (app.systemWide ? std::string("/var/lib/flatpak/app/") : inHome(".local/share/flatpak/app/")) + app.id;
    case AppKind::appImage: {
        std::string file = app.name;
        std::replace(file.begin(), file.end(), ' ', '-');
        return inHome("Applications/") + file + "-" + app.version + "-x86_64.AppImage";
    }
    }
    return {};
}

// Icons from the desktop's theme by kind of app: the demo has no app's own.
std::string themeIcon(const std::string& name)
{
    static const std::map<std::string, const char*> icons = {
        {"Figma", "applications-graphics"},   {"Blender", "applications-graphics"},
        {"GIMP", "applications-graphics"},    {"Inkscape", "applications-graphics"},
        {"Krita", "applications-graphics"},   {"Kdenlive", "applications-graphics"},
        {"Slack", "applications-internet"},   {"Zoom", "applications-internet"},
        {"Discord", "applications-internet"}, {"LibreOffice", "applications-office"},
        {"Joplin", "accessories-text-editor"}, {"Obsidian", "accessories-text-editor"},
        {"Spotify", "multimedia-player"},     {"VLC", "multimedia-player"},
        {"OBS Studio", "multimedia-player"},  {"Bottles", "applications-games"},
        {"Heroic", "applications-games"},     {"Rectangle", "applications-utilities"},
        {"Flatseal", "applications-utilities"}, {"LM Studio", "applications-science"},
        {"Ollama Desktop", "applications-science"},
    };
    const auto found = icons.find(name);
    return found == icons.end() ? "applications-development" : found->second;
}

InstalledApp installed(const MadeUpApp& app)
{
    // Counted back from today, as the screen counts them: the pictures say the same every day.
    const Clock::time_point today = std::chrono::floor<std::chrono::days>(Clock::now());
    const bool isAppImage = app.kind == AppKind::appImage;
    return InstalledApp{
        .path = pathOf(app),
        .name = app.name,
        .bundleID = app.id,
        .version = std::string(app.version),
        .lastOpened = app.daysSinceOpened > 0 ? std::optional(today - std::chrono::days{app.daysSinceOpened})
                                              : std::nullopt,
        .needsPassword = app.systemWide,
        .kind = app.kind,
        .icon = themeIcon(app.name),
        .ownFiles = isAppImage ? std::vector<std::string>{inHome(".local/share/applications/appimage-") + app.id
                                                          + ".desktop"}
                               : std::vector<std::string>{},
    };
}

// What went, in memory, so that a second listing does not find it.
struct Removed {
    std::mutex mutex;
    std::set<std::string> paths;

    CleanReport remove(const std::vector<std::string>& gone)
    {
        const std::lock_guard lock(mutex);
        paths.insert(gone.begin(), gone.end());
        return CleanReport{.removed = static_cast<int>(gone.size()), .failures = {}, .wasCancelled = false};
    }
    bool has(const std::string& path)
    {
        const std::lock_guard lock(mutex);
        return paths.contains(path);
    }
};

} // namespace

std::vector<InstalledApp> installedApps()
{
    std::vector<InstalledApp> apps;
    for (const MadeUpApp& app : madeUpApps())
        apps.push_back(installed(app));
    std::stable_sort(apps.begin(), apps.end(),
                     [](const InstalledApp& a, const InstalledApp& b) { return NaturalOrder::less(a.name, b.name); });
    return apps;
}

ApplicationsMachine applicationsMachine()
{
    auto removed = std::make_shared<Removed>();
    auto sizes = std::make_shared<std::map<std::string, std::int64_t>>();
    for (const MadeUpApp& app : madeUpApps()) {
        const InstalledApp listed = installed(app);
        (*sizes)[listed.path] = app.megabytesItself * megabytes;
        for (const std::string& file : listed.ownFiles)
            (*sizes)[file] = 12'288;
        for (const auto& [relative, size] : app.parts)
            (*sizes)[inHome(relative)] = size * megabytes;
    }
    return ApplicationsMachine{
        .list = [removed](const std::string&, const std::set<std::string>& excluding) {
            std::vector<InstalledApp> apps;
            for (InstalledApp& app : installedApps()) {
                if (!removed->has(app.path) && !excluding.contains(app.bundleID))
                    apps.push_back(std::move(app));
            }
            return apps;
        },
        .ownBundleID = [] { return std::string("dev.tarno.Tarno"); },
        .hasFullDiskAccess = [](const std::string&) { return true; },
        .footprint = [](const InstalledApp& listed, const std::string&, bool, const std::vector<std::string>&) {
            std::vector<std::string> parts = listed.ownFiles;
            for (const MadeUpApp& app : madeUpApps()) {
                if (app.id == listed.bundleID) {
                    for (const auto& part : app.parts)
                        parts.push_back(inHome(part.first));
                }
            }
            return parts;
        },
        .measure = [sizes](const std::string& path, const ApplicationsMachine::IsCancelled&) {
            const auto found = sizes->find(path);
            return found == sizes->end() ? std::int64_t{0} : found->second;
        },
        .quit = [](const InstalledApp& app) { return app.name != stubborn; },
        .removeApps = [removed](const PathGuard&, const std::vector<std::string>& paths) {
            return removed->remove(paths);
        },
        .trash = [removed](const PathGuard&, const std::vector<std::string>& paths) { return removed->remove(paths); },
        .reveal = [](const std::vector<std::string>&) {},
    };
}

} // namespace tarno::Demo
