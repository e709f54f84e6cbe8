#include "Tarno/Demo/DemoMachine.hpp"

#include "Tarno/Demo/DemoApps.hpp"
#include "Tarno/Demo/DemoFiles.hpp"
#include "Tarno/Demo/DemoPerformance.hpp"
#include "Tarno/Demo/DemoProjects.hpp"

#include "TarnoCore/Cleanup/Tools/Docker.hpp"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>

namespace tarno::Demo {

namespace {

constexpr std::int64_t megabytes = 1'000'000;

std::string inHome(const std::string& relative)
{
    return std::string(home) + "/" + relative;
}

struct Offer {
    CleanupItem item;
    std::int64_t bytes;
};

CleanupItem item(std::string id, std::string title, CleanupCategory category, std::string consequence, Safety safety,
                 CleanupAction action)
{
    CleanupItem made;
    made.id = std::move(id);
    made.title = std::move(title);
    made.category = category;
    made.consequence = std::move(consequence);
    made.safety = safety;
    made.action = std::move(action);
    return made;
}

CleanupItem needingAdministrator(CleanupItem made)
{
    made.requiresAdmin = true;
    return made;
}

// A developer's home a few months into a mobile and web project: the
// catalog's items with the sizes they measure, in the catalog's order.
std::vector<Offer> cleanupOffers()
{
    using Action = CleanupAction;
    const std::string packagePrompt = "Packages download again on the next install.";
    std::vector<Offer> offers = {
        {item("gradle.caches", "Gradle caches and downloaded Gradle versions", CleanupCategory::android,
              "The next Gradle build downloads its dependencies again.", Safety::safe,
              Action::Delete{{inHome(".gradle/caches"), inHome(".gradle/wrapper/dists"), inHome(".gradle/daemon")}}),
         6'842 * megabytes},
        {item("android.studioCaches", "Android Studio caches", CleanupCategory::android,
              "Android Studio re-indexes each project the next time you open it.", Safety::safe,
              Action::Delete{{inHome(".cache/Google/AndroidStudio2024.2")}}),
         1'214 * megabytes},
        {item("android.avd.Pixel_6_API_33", "Emulator: Pixel 6 API 33", CleanupCategory::android,
              "Deletes the emulator and everything stored on it.", Safety::review,
              Action::Delete{{inHome(".android/avd/Pixel_6_API_33.avd"), inHome(".android/avd/Pixel_6_API_33.ini")}}),
         8'307 * megabytes},
        {item("npm.cache", "npm cache", CleanupCategory::javascript, packagePrompt, Safety::safe,
              Action::Delete{{inHome(".npm/_cacache"), inHome(".npm/_npx"), inHome(".npm/_logs")}}),
         3'418 * megabytes},
        {item("yarn.cache", "Yarn cache", CleanupCategory::javascript, packagePrompt, Safety::safe,
              Action::Delete{{inHome(".cache/yarn")}}),
         1'902 * megabytes},
        {needingAdministrator(item("yarn.cache.root", "Yarn cache left behind by sudo", CleanupCategory::javascript,
                                   "None. Yarn only uses it when it runs as root.", Safety::safe,
                                   Action::Delete{{"/usr/local/share/.cache/yarn"}})),
         412 * megabytes},
        {item("playwright.browsers", "Playwright browser downloads", CleanupCategory::javascript,
              "Each project needs \"npx playwright install\" before it next runs.", Safety::safe,
              Action::Delete{{inHome(".cache/ms-playwright")}}),
         1'377 * megabytes},
        {item("dart.analysis", "Dart analysis cache", CleanupCategory::flutter,
              "The first analysis after reopening a project is slower.", Safety::safe,
              Action::Delete{{inHome(".dartServer")}}),
         688 * megabytes},
        {item("pub.cache", "Pub package cache", CleanupCategory::flutter,
              "Every project needs \"flutter pub get\" again, and globally activated tools may need reactivating.",
              Safety::review, Action::Delete{{inHome(".pub-cache/hosted"), inHome(".pub-cache/git")}}),
         2'256 * megabytes},
        {item("flutter.sdk.~/fvm/versions/3.19.0", "Flutter 3.19.0 SDK in ~/fvm/versions/3.19.0",
              CleanupCategory::flutter, "fvm installs it again with \"fvm install 3.19.0\" if a project asks for it.",
              Safety::review, Action::Delete{{inHome("fvm/versions/3.19.0")}}),
         1'561 * megabytes},
        {item("pip.cache", "pip cache", CleanupCategory::developerTools, packagePrompt, Safety::safe,
              Action::Delete{{inHome(".cache/pip")}}),
         934 * megabytes},
        {item("go.buildCache", "Go build cache", CleanupCategory::developerTools,
              "The next Go build compiles everything again.", Safety::safe, Action::Delete{{inHome(".cache/go-build")}}),
         1'645 * megabytes},
        {item("cargo.cache", "Cargo download cache", CleanupCategory::developerTools,
              "Crates download again when a build needs them.", Safety::safe,
              Action::Delete{{inHome(".cargo/registry/cache")}}),
         523 * megabytes},
        {item("maven.repository", "Maven repository", CleanupCategory::developerTools,
              "Dependencies download again on the next build.", Safety::review, Action::Delete{{inHome(".m2/repository")}}),
         1'118 * megabytes},
        {needingAdministrator(item("apt.archives", "Downloaded system packages", CleanupCategory::developerTools,
                                   "None. The package manager downloads a package again if it needs it.", Safety::safe,
                                   Action::Delete{{"/var/cache/apt/archives/code_1.95.3-1731513102_amd64.deb",
                                                   "/var/cache/apt/archives/google-chrome-stable_131.0_amd64.deb"}})),
         287 * megabytes},
        {item("ide.IntelliJIdea2024.1", "IntelliJ IDEA 2024.1 settings and logs", CleanupCategory::developerTools,
              "Left behind by an update; the newer version copied what it needed. If you still run this version, it "
              "starts fresh.",
              Safety::review,
              Action::Delete{{inHome(".config/JetBrains/IntelliJIdea2024.1"),
                              inHome(".local/share/JetBrains/IntelliJIdea2024.1")}}),
         846 * megabytes},
        {item("claude.sessions", "Claude Code conversations older than a month (23)", CleanupCategory::apps,
              "They can no longer be resumed or searched.", Safety::review,
              Action::Delete{{inHome(".claude/projects/-home-alex-pocket-app/0b7e4c1a.jsonl"),
                              inHome(".claude/projects/-home-alex-pocket-app/0b7e4c1a"),
                              inHome(".claude/projects/-home-alex-web-shop/9d13f2e8.jsonl")}}),
         164 * megabytes},
        {item("cache.google-chrome", "Google Chrome cache", CleanupCategory::apps, "The app rebuilds it as needed.",
              Safety::safe, Action::Delete{{inHome(".cache/google-chrome")}}),
         1'476 * megabytes},
        {item("cache.spotify", "Spotify cache", CleanupCategory::apps, "The app rebuilds it as needed.", Safety::safe,
              Action::Delete{{inHome(".cache/spotify")}}),
         2'904 * megabytes},
        {item("leftover.Cursor", "Cursor extensions and settings", CleanupCategory::leftovers,
              "Cursor is not installed. Reinstalling it later starts with a clean slate.", Safety::review,
              Action::Delete{{inHome(".cursor"), inHome(".config/Cursor")}}),
         1'093 * megabytes},
        {item("leftover.app.com.slack.Slack", "Slack settings and data", CleanupCategory::leftovers,
              "com.slack.Slack is not installed. Reinstalling it later starts with a clean slate.", Safety::review,
              Action::Trash{{inHome(".var/app/com.slack.Slack")}}),
         612 * megabytes},
        {item("download.ubuntu-24.04.1-desktop-amd64.iso", "ubuntu-24.04.1-desktop-amd64.iso", CleanupCategory::downloads,
              "Moved to the Trash, so you can still put it back.", Safety::review,
              Action::Trash{{inHome("Downloads/ubuntu-24.04.1-desktop-amd64.iso")}}),
         6'114 * megabytes},
        {item("trash", "Everything in the Trash", CleanupCategory::trash,
              "Erased for good. It can no longer be put back.", Safety::review,
              Action::DeleteContents{{inHome(".local/share/Trash/files"), inHome(".local/share/Trash/info")}}),
         742 * megabytes},
    };
    for (Offer& offer : offers) {
        if (offer.item.id.starts_with("cache."))
            offer.item.minimumBytesToShow = 5 * megabytes;
        else if (offer.item.id.starts_with("download."))
            offer.item.minimumBytesToShow = 20 * megabytes;
        else if (offer.item.id.starts_with("ide.") || offer.item.id.starts_with("leftover.app."))
            offer.item.minimumBytesToShow = 1 * megabytes;
    }
    return offers;
}

// Docker Desktop is running, with a fortnight of images and build cache.
DockerStatus dockerStatus()
{
    return DockerStatus::running("/usr/bin/docker", DockerUsage{.containers = 1'208 * megabytes,
                                                               .images = 8'913 * megabytes,
                                                               .volumes = 2'047 * megabytes,
                                                               .buildCache = 4'431 * megabytes});
}

std::chrono::system_clock::time_point day(int daysBefore, int hour)
{
    // Fixed dates, so that every run shows the same history.
    const std::chrono::sys_days last = std::chrono::year_month_day{std::chrono::year{2026}, std::chrono::November,
                                                                   std::chrono::day{20}};
    return last - std::chrono::days{daysBefore} + std::chrono::hours{hour};
}

std::vector<CleanupRecord> pastRecords()
{
    return {
        {day(0, 17), "Cleanup", 11'283 * megabytes, {"npm cache", "Gradle caches and downloaded Gradle versions"}, 0},
        {day(6, 9), "Projects", 24'520 * megabytes, {"node_modules in web-shop", "build in pocket-app"}, 0},
        {day(13, 14), "Duplicates", 3'402 * megabytes, {"IMG_2231 copy.HEIC", "Screen Recording 2026-10-02.mov"}, 0},
        {day(27, 11), "Cleanup", 7'950 * megabytes, {"Yarn cache", "pip cache", "Go build cache"}, 1},
    };
}

// The made-up disk and what has been removed from it, shared by the
// callables, which may run on any thread.
struct Disk {
    std::mutex mutex;
    std::map<std::string, std::int64_t> bytes; // by item id
    std::vector<CleanupRecord> records = pastRecords();
    std::int64_t available = 80'760 * megabytes;
};

CleanupMachine cleanupMachineOn(const std::shared_ptr<Disk>& disk)
{
    std::vector<CleanupItem> catalog;
    for (Offer& offer : cleanupOffers()) {
        disk->bytes[offer.item.id] = offer.bytes;
        catalog.push_back(std::move(offer.item));
    }
    CleanupEnvironment environment = CleanupEnvironment::empty(home);
    environment.docker = [](const std::function<bool()>&) { return dockerStatus(); };

    return CleanupMachine{
        .environment = std::move(environment),
        .catalog = [catalog](const CleanupEnvironment&) { return catalog; },
        .measure = [disk](const CleanupItem& measured, const CleanupMachine::IsCancelled&) {
            if (measured.knownBytes)
                return measured.measure();
            const std::lock_guard lock(disk->mutex);
            SizeResult size;
            size.bytes = disk->bytes.contains(measured.id) ? disk->bytes.at(measured.id) : 0;
            size.files = size.bytes / (64 * 1024);
            return size;
        },
        // Everything goes as asked; nothing real is touched.
        .perform = [disk, catalog](const PathGuard&, const CleanupAction& action, const CleanupMachine::IsCancelled&) {
            const std::lock_guard lock(disk->mutex);
            for (const CleanupItem& each : catalog) {
                if (each.action == action) {
                    disk->available += disk->bytes[each.id];
                    disk->bytes[each.id] = 0;
                }
            }
            return CleanReport{.removed = static_cast<int>(action.paths().size()), .failures = {}, .wasCancelled = false};
        },
        .removeAsAdministrator = [disk, catalog](const std::vector<std::string>& paths, const std::string&) {
            const std::lock_guard lock(disk->mutex);
            for (const CleanupItem& each : catalog) {
                if (each.action.paths() == paths)
                    disk->bytes[each.id] = 0;
            }
            return AdminCleanup::Outcome{};
        },
        .hasFullDiskAccess = [](const std::string&) { return true; },
        .dockerApplication = std::nullopt,
        .launch = [](const std::vector<std::string>&) { return false; },
    };
}

} // namespace

CleanupMachine cleanupMachine()
{
    return cleanupMachineOn(std::make_shared<Disk>());
}

AppMachine machine()
{
    auto disk = std::make_shared<Disk>();
    return AppMachine{
        .home = home,
        .history = {
            .load = [disk] {
                const std::lock_guard lock(disk->mutex);
                return disk->records;
            },
            .append = [disk](const CleanupRecord& record) {
                const std::lock_guard lock(disk->mutex);
                disk->records.insert(disk->records.begin(), record);
            },
        },
        .disk = [disk](const std::string&) {
            const std::lock_guard lock(disk->mutex);
            return std::optional<DiskUsage>(DiskUsage{.total = 512'110 * megabytes, .available = disk->available});
        },
        .cleanup = cleanupMachineOn(disk),
        .projects = projectsMachine(),
        .largeFiles = largeFilesMachine(),
        .duplicates = duplicatesMachine(),
        .applications = applicationsMachine(),
        .performance = performanceMachine(),
    };
}

} // namespace tarno::Demo
