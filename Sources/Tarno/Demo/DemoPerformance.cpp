#include "Tarno/Demo/DemoPerformance.hpp"

#include "Tarno/Demo/DemoMachine.hpp"

#include <memory>
#include <mutex>
#include <set>

namespace tarno::Demo {
namespace {

using Clock = std::chrono::system_clock;
using Kind = DeveloperTool::Kind;
constexpr std::int64_t mebibytes = 1024 * 1024;

std::string inHome(const std::string& relative)
{
    return std::string(home) + "/" + relative;
}

ProcessGroup group(const char* name, std::int64_t megabytes, double cpu, std::vector<std::int32_t> pids,
                   bool isSystem = false)
{
    return ProcessGroup{.id = name,
                        .name = name,
                        .bundlePath = std::nullopt,
                        .pids = pids,
                        .mainPID = pids.front(),
                        .memoryBytes = megabytes * mebibytes,
                        .cpuPercent = cpu,
                        .isSystemService = isSystem};
}

std::vector<ProcessGroup> groups()
{
    return {
        group("Android Studio", 3'412, 4.2, {2101, 2140, 2141}),
        group("java", 2'960, 0.4, {2310, 2388}),
        group("firefox", 2'480, 7.9, {1801, 1822, 1823, 1824, 1830, 1831}),
        group("qemu-system-x86_64", 2'048, 11.5, {2601}),
        group("code", 1'620, 2.1, {1901, 1902, 1903, 1904}),
        group("com.docker.backend", 1'210, 1.3, {2701, 2702}),
        group("node", 1'105, 0.6, {3001, 3002, 3010, 3011}),
        group("slack", 690, 0.8, {1701, 1702}),
        group("rust-analyzer", 612, 0.2, {3101}),
        group("gnome-shell", 540, 3.4, {1201}, true),
        group("Xwayland", 128, 0.7, {1210}, true),
        group("System (kernel)", 0, 1.1, {2, 3, 4}, true),
    };
}

DeveloperTool tool(Kind kind, std::string id, std::string title, std::string detail, std::string consequence,
                   std::vector<std::int32_t> pids, std::int64_t megabytes, double cpu)
{
    return DeveloperTool{.id = std::move(id),
                         .kind = kind,
                         .title = std::move(title),
                         .detail = std::move(detail),
                         .consequence = std::move(consequence),
                         .pids = pids,
                         .memoryBytes = megabytes * mebibytes,
                         .cpuPercent = cpu,
                         .stop = DeveloperTool::Signal{pids},
                         .started = std::nullopt,
                         .folder = std::nullopt,
                         .clients = 0};
}

std::vector<DeveloperTool> tools()
{
    const auto now = Clock::now();
    const std::string editor = "Your editor starts it again when it needs it.";
    DeveloperTool vite = tool(Kind::devServer, "tree-3001", "Vite dev server",
                              "2 processes in ~/code/storefront, listening on port 5173.",
                              "Stops both processes. Start it again when you need it.", {3001, 3002}, 412, 0.1);
    vite.started = now - std::chrono::hours(26);
    vite.folder = inHome("code/storefront");
    DeveloperTool next = tool(Kind::devServer, "tree-3010", "Next.js dev server",
                              "2 processes in ~/code/dashboard, listening on port 3000.",
                              "Stops both processes. Start it again when you need it.", {3010, 3011}, 693, 0.5);
    next.started = now - std::chrono::minutes(40);
    next.folder = inHome("code/dashboard");
    next.clients = 2;
    DeveloperTool docker = tool(Kind::containers, "docker", "Docker Desktop",
                                "Its virtual machine keeps its memory even when no container is running.",
                                "Quits Docker Desktop and stops every container.", {2701, 2702}, 1'210, 1.3);
    docker.stop = DeveloperTool::QuitApp{"com.docker.docker"};
    return {
        tool(Kind::emulator, "2601", "Android emulator: Pixel 8 API 35",
             "Emulators keep running after you stop debugging.", "Closes the emulator. Anything unsaved in it is lost.",
             {2601}, 2'048, 11.5),
        tool(Kind::buildDaemon, "2310", "Gradle daemon 8.9", "Idle, waiting for the next build.",
             "Gradle keeps it running to make builds faster. The next build starts it again, a few seconds slower.",
             {2310}, 2'214, 0.3),
        docker,
        tool(Kind::buildDaemon, "2388", "Kotlin compile daemon", "Idle, waiting for the next build.",
             "The next Kotlin build starts it again, a few seconds slower.", {2388}, 746, 0.1),
        next,
        tool(Kind::languageServer, "3101", "Rust analyzer", "Runs for Visual Studio Code.", editor, {3101}, 612, 0.2),
        vite,
        tool(Kind::languageServer, "1903", "TypeScript server", "Runs for Visual Studio Code.", editor, {1903}, 388,
             0.4),
    };
}

StartupItem startupItem(StartupItem::Scope scope, std::string label, std::optional<std::string> program,
                        bool automatic, bool missing, std::string path)
{
    return StartupItem{.label = std::move(label),
                       .scope = scope,
                       .program = std::move(program),
                       .startsAutomatically = automatic,
                       .programMissing = missing,
                       .plistPath = std::move(path)};
}

std::vector<StartupItem> startupItems()
{
    using Scope = StartupItem::Scope;
    return {
        startupItem(Scope::userAutostart, "Slack", "/usr/bin/slack", true, false,
                    inHome(".config/autostart/slack.desktop")),
        startupItem(Scope::userAutostart, "Insomnia", inHome("Applications/Insomnia-9.2.0.AppImage"), true, true,
                    inHome(".config/autostart/insomnia.desktop")),
        startupItem(Scope::systemAutostart, "Tracker File System Miner", "/usr/libexec/tracker-miner-fs-3", true, false,
                    "/etc/xdg/autostart/tracker-miner-fs-3.desktop"),
        startupItem(Scope::systemAutostart, "Orca screen reader", "/usr/bin/orca", false, false,
                    "/etc/xdg/autostart/orca-autostart.desktop"),
        startupItem(Scope::userUnit, "Syncthing - Open Source Continuous File Synchronization", "/usr/bin/syncthing",
                    true, false, inHome(".config/systemd/user/syncthing.service")),
        startupItem(Scope::userUnit, "ollama server", inHome(".local/bin/ollama"), true, true,
                    inHome(".config/systemd/user/ollama.service")),
        startupItem(Scope::systemUnit, "PipeWire Multimedia Service", "/usr/bin/pipewire", true, false,
                    "/usr/lib/systemd/user/pipewire.service"),
    };
}

// What the user stopped, quit and removed, in memory.
struct Changes {
    std::mutex mutex;
    std::set<std::string> gone;
    int readings = 0;
};

} // namespace

PerformanceMachine performanceMachine()
{
    auto changes = std::make_shared<Changes>();
    return PerformanceMachine{
        .memory = [] {
            return MemorySnapshot{.total = 32'768 * mebibytes,
                                  .app = 16'920 * mebibytes,
                                  .wired = 3'410 * mebibytes,
                                  .compressed = 2'150 * mebibytes,
                                  .cached = 7'240 * mebibytes,
                                  .swapUsed = 512 * mebibytes,
                                  .freePercent = 31,
                                  .pressure = MemorySnapshot::Pressure::normal};
        },
        .sample = [changes] {
            const std::lock_guard lock(changes->mutex);
            ProcessSample sample;
            for (ProcessGroup& each : groups()) {
                if (!changes->gone.contains(each.id))
                    sample.groups.push_back(std::move(each));
            }
            return sample;
        },
        .findTools = [changes](const ProcessSample&, const std::string&) {
            const std::lock_guard lock(changes->mutex);
            std::vector<DeveloperTool> found;
            for (DeveloperTool& each : tools()) {
                if (!changes->gone.contains(each.id))
                    found.push_back(std::move(each));
            }
            return found;
        },
        .stopTool = [changes](const DeveloperTool& stopped) {
            const std::lock_guard lock(changes->mutex);
            changes->gone.insert(stopped.id);
            return true;
        },
        .quitGroup = [changes](const ProcessGroup& quitted, bool) {
            const std::lock_guard lock(changes->mutex);
            changes->gone.insert(quitted.id);
        },
        .startupItems = [changes](const std::string&) {
            const std::lock_guard lock(changes->mutex);
            std::vector<StartupItem> items;
            for (StartupItem& item : startupItems()) {
                if (!changes->gone.contains(item.plistPath))
                    items.push_back(std::move(item));
            }
            return items;
        },
        .removeLeftover = [changes](const StartupItem& item, const std::string&) -> std::optional<std::string> {
            const std::lock_guard lock(changes->mutex);
            changes->gone.insert(item.plistPath);
            return std::nullopt;
        },
        .watchFolders = [](const std::set<std::string>&) {},
        .folderChanges = [] { return std::map<std::string, Clock::time_point>{}; },
        .polledFolders = [] { return std::set<std::string>{}; },
        // After the first reading the demo's clock jumps five hours, so that
        // the dev server nobody uses shows how long it has sat idle.
        .now = [changes] {
            const std::lock_guard lock(changes->mutex);
            const auto now = Clock::now();
            return changes->readings++ == 0 ? now : now + std::chrono::hours(5);
        },
        .ownPID = 0,
        .reveal = [](const std::vector<std::string>&) {},
    };
}

} // namespace tarno::Demo
