#include "TarnoCore/Performance/DeveloperTools.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

#include "Support/AppBundles.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarno {
namespace {

using namespace std::chrono_literals;
using namespace DeveloperTools;
using Kind = DeveloperTool::Kind;
using Pids = std::vector<std::int32_t>;
using Strings = std::vector<std::string>;

constexpr const char* home = "/home/ada";
constexpr const char* byEditor = "Your editor starts it again when it needs it.";

ProcessSnapshot process(std::int32_t pid, std::int32_t parent, std::string path, std::int64_t memory = 0,
                        double cpu = 0)
{
    ProcessSnapshot snapshot;
    snapshot.pid = pid;
    snapshot.parentPID = parent;
    snapshot.path = std::move(path);
    snapshot.name = snapshot.path.substr(snapshot.path.rfind('/') + 1);
    snapshot.memoryBytes = memory;
    snapshot.cpuPercent = cpu;
    return snapshot;
}

TCPSocket listening(std::uint16_t port) { return {TCPSocket::State::listening, port, 0}; }
TCPSocket connected(std::uint16_t local, std::uint16_t remote)
{
    return {TCPSocket::State::established, local, remote};
}

// What the lookups answer about made-up processes, and whom they were asked about.
struct Machine {
    std::map<std::int32_t, Strings> arguments;
    std::map<std::int32_t, std::string> folders;
    std::map<std::int32_t, std::vector<TCPSocket>> sockets;
    std::shared_ptr<std::set<std::int32_t>> askedArguments = std::make_shared<std::set<std::int32_t>>();
    std::shared_ptr<std::set<std::int32_t>> askedSockets = std::make_shared<std::set<std::int32_t>>();

    Arguments argumentsLookup() const
    {
        return [answers = arguments, asked = askedArguments](std::int32_t pid) {
            asked->insert(pid);
            const auto found = answers.find(pid);
            return found == answers.end() ? Strings() : found->second;
        };
    }
    WorkingDirectory folderLookup() const
    {
        return [answers = folders](std::int32_t pid) -> std::optional<std::string> {
            const auto found = answers.find(pid);
            return found == answers.end() ? std::nullopt : std::optional(found->second);
        };
    }
    Sockets socketsLookup() const
    {
        return [answers = sockets, asked = askedSockets](std::int32_t pid) {
            asked->insert(pid);
            const auto found = answers.find(pid);
            return found == answers.end() ? std::vector<TCPSocket>() : found->second;
        };
    }

    std::vector<DeveloperTool> find(const std::vector<ProcessSnapshot>& processes) const
    {
        return DeveloperTools::find(ProcessSample{processes, {}}, argumentsLookup(), folderLookup(), socketsLookup(),
                                    home);
    }
};

const DeveloperTool* toolWithID(const std::vector<DeveloperTool>& tools, std::string_view id)
{
    const auto found = std::ranges::find(tools, id, &DeveloperTool::id);
    return found == tools.end() ? nullptr : &*found;
}

std::string ids(const std::vector<DeveloperTool>& tools)
{
    std::string text;
    for (const DeveloperTool& tool : tools)
        text += tool.id + " ";
    return text;
}

TEST(DeveloperToolKinds, RawValuesInOrderAndTheIdleBound)
{
    Strings names;
    for (const Kind kind : allKinds) {
        names.emplace_back(rawValue(kind));
        EXPECT_EQ(developerToolKind(rawValue(kind)), kind);
    }
    EXPECT_EQ(names, (Strings{"buildDaemon", "languageServer", "devServer", "emulator", "simulator", "containers"}));
    EXPECT_EQ(developerToolKind("daemon"), std::nullopt);

    DeveloperTool daemon;
    daemon.kind = Kind::buildDaemon;
    daemon.cpuPercent = 0.99;
    EXPECT_TRUE(daemon.isIdleDaemon());
    daemon.cpuPercent = 1.0;
    EXPECT_FALSE(daemon.isIdleDaemon()) << "the bound is exclusive";
    daemon.kind = Kind::languageServer;
    daemon.cpuPercent = 0;
    EXPECT_FALSE(daemon.isIdleDaemon());
}

TEST(DeveloperToolsClassify, RecognisesSingleProcessToolsByTheirCommandLine)
{
    const std::string gradle = "Gradle keeps it running to make builds faster. The next build starts it again, a few "
                               "seconds slower.";
    const std::string kotlin = "The next Kotlin build starts it again, a few seconds slower.";
    struct Case {
        std::string path;
        Strings arguments;
        double cpu;
        Kind kind;
        std::string title;
        std::string detail;
        std::string consequence;
    };
    const std::vector<Case> cases = {
        {"/usr/lib/jvm/java-17/bin/java",
         {"java", "-Xmx2g", "-cp",
          "/home/ada/.gradle/wrapper/dists/gradle-8.7-bin/x/gradle-8.7/lib/gradle-launcher-8.7.jar",
          "org.gradle.launcher.daemon.bootstrap.GradleDaemon", "8.7"},
         0.5, Kind::buildDaemon, "Gradle daemon 8.7", "Idle, waiting for the next build.", gradle},
        {"/usr/bin/java",
         {"java", "-cp", "/opt/gradle-8/lib/gradle-x.jar:/opt/gradle-8.10.2/lib/launcher.jar",
          "org.gradle.launcher.daemon.bootstrap.GradleDaemon"},
         1.0, Kind::buildDaemon, "Gradle daemon 8.10.2", "Building.", gradle},
        {"/usr/bin/java", {"java", "-cp", "/opt/gradle-8/lib/x.jar", "GradleDaemon"}, 0, Kind::buildDaemon,
         "Gradle daemon", "Idle, waiting for the next build.", gradle},
        {"/usr/bin/java", {"java", "-cp", "kotlin-daemon.jar", "org.jetbrains.kotlin.daemon.KotlinCompileDaemon"}, 0.2,
         Kind::buildDaemon, "Kotlin compile daemon", "Idle, waiting for the next build.", kotlin},
        {"/usr/bin/java", {"java", "org.jetbrains.kotlin.daemon.KotlinCompileDaemon"}, 12, Kind::buildDaemon,
         "Kotlin compile daemon", "Compiling.", kotlin},
        {"/usr/bin/java",
         {"java", "-jar",
          "/home/ada/.vscode/extensions/redhat.java-1.30.0/server/plugins/org.eclipse.equinox.launcher.jar",
          "-configuration", "/home/ada/.config/Code/User/globalStorage/redhat.java/config_linux"},
         0, Kind::languageServer, "Java language server", "Runs for your editor.", byEditor},
        {"/usr/bin/java", {"java", "-cp", "/opt/kls/lib/*", "org.javacs.kt.MainKt"}, 0, Kind::languageServer,
         "Kotlin language server", "Runs for your editor.", byEditor},
        {"/opt/flutter/bin/cache/dart-sdk/bin/dart", {"dart", "language-server", "--protocol=lsp"}, 0,
         Kind::languageServer, "Dart analysis server", "Runs for your editor.", byEditor},
        {"/opt/dart-sdk/bin/dartaotruntime",
         {"dartaotruntime", "/opt/dart-sdk/bin/snapshots/analysis_server.dart.snapshot", "--lsp"}, 0,
         Kind::languageServer, "Dart analysis server", "Runs for your editor.", byEditor},
        {"/opt/flutter/bin/cache/dart-sdk/bin/dart",
         {"dart", "/opt/flutter/bin/cache/flutter_tools.snapshot", "daemon"}, 0, Kind::languageServer,
         "Flutter daemon", "Runs for your editor.", byEditor},
        {"/usr/bin/node",
         {"/usr/share/code/code", "/usr/share/code/resources/app/extensions/node_modules/typescript/lib/tsserver.js",
          "--useInferredProjectPerProjectRoot"},
         0, Kind::languageServer, "TypeScript server", "Runs for your editor.", byEditor},
        {"/home/ada/.bun/bin/bun", {"bun", "node_modules/typescript/lib/tsserver.js"}, 0, Kind::languageServer,
         "TypeScript server", "Runs for your editor.", byEditor},
        {"/usr/bin/node", {"node", "/home/ada/.local/bin/pyright-langserver", "--stdio"}, 0, Kind::languageServer,
         "Python language server", "Runs for your editor.", byEditor},
        {"/home/ada/.cargo/bin/rust-analyzer", {}, 3, Kind::languageServer, "Rust analyzer", "Runs for your editor.",
         byEditor},
        {"/home/ada/go/bin/gopls", {}, 0, Kind::languageServer, "Go language server", "Runs for your editor.",
         byEditor},
        {"/usr/lib/llvm-14/bin/clangd", {}, 0, Kind::languageServer, "C/C++ language server", "Runs for your editor.",
         byEditor},
    };
    std::int32_t pid = 400;
    for (const Case& test : cases) {
        ++pid;
        const ProcessSnapshot snapshot = process(pid, 1, test.path, 1000 + pid, test.cpu);
        const std::optional<DeveloperTool> tool =
            classify(snapshot, [&](std::int32_t asked) { return asked == pid ? test.arguments : Strings{}; });
        ASSERT_TRUE(tool) << test.title;
        EXPECT_EQ(*tool, (DeveloperTool{std::to_string(pid), test.kind, test.title, test.detail, test.consequence,
                                        {pid}, 1000 + pid, test.cpu, DeveloperTool::Signal{{pid}}, std::nullopt,
                                        std::nullopt, 0}))
            << test.title;
    }
}

TEST(DeveloperToolsClassify, LeavesOtherProcessesAndReadsArgumentsOnlyForRuntimes)
{
    const std::vector<std::pair<std::string, Strings>> others = {
        {"/usr/bin/java", {"java", "-jar", "app.jar"}},                // a java that matches no row
        {"/usr/bin/dart", {"dart", "run", "bin/server.dart"}},
        {"/usr/bin/node", {"node", "server.js"}},
        {"/home/ada/.deno/bin/deno", {"deno", "run", "pyright.ts"}},   // pyright is for node only
        {"/usr/bin/python3.11", {"python3", "-m", "pylsp", "tsserver"}}, // no runtime: never read
        {"/bin/bash", {"bash", "-c", "tsserver GradleDaemon"}},
        {"/home/ada/.cargo/bin/rust-analyzer-proc-macro-srv", {}},
    };
    Machine machine;
    std::int32_t pid = 10;
    for (const auto& [path, arguments] : others) {
        machine.arguments[++pid] = arguments;
        EXPECT_EQ(classify(process(pid, 1, path), machine.argumentsLookup()), std::nullopt) << path;
    }
    EXPECT_EQ(*machine.askedArguments, (std::set<std::int32_t>{11, 12, 13, 14}));

    // The native servers need no arguments either.
    machine.askedArguments->clear();
    EXPECT_TRUE(classify(process(30, 1, "/usr/bin/gopls"), machine.argumentsLookup()));
    EXPECT_TRUE(machine.askedArguments->empty());
}

TEST(DeveloperToolsClassify, NamesTheEditorFromTheResponsibleProcessOrTheParent)
{
    const test::TemporaryFolder folder;
    const std::string zed = test::makeBundleWithInfo(
        folder, "Apps/zed.app", test::xmlInfo("<key>CFBundleName</key><string>Zed Preview</string>"));
    struct Case {
        std::string responsible;
        std::string parent;
        std::string detail;
    };
    const std::vector<Case> cases = {
        {"/Applications/Visual Studio Code.app/Contents/MacOS/Electron", "/usr/share/code/code",
         "Runs for Visual Studio Code."},
        {"", "/usr/share/code/code", "Runs for Visual Studio Code."},
        {"", "/opt/cursor/cursor", "Runs for Cursor."},
        {"", "/usr/share/codium/codium", "Runs for VSCodium."},
        {"", "/home/ada/.local/bin/zed", "Runs for Zed."},
        {"", "/opt/idea-IU-241/bin/idea", "Runs for IntelliJ IDEA."},
        {"", "/opt/android-studio/bin/studio", "Runs for Android Studio."},
        {"", "/usr/bin/nvim", "Runs for Neovim."},
        {"", "/usr/bin/vim", "Runs for Vim."},
        {"", "/usr/bin/emacs", "Runs for Emacs."},
        // A bundle's own name comes before the table; a lower-case one gives way to its CFBundleName.
        {"", zed + "/Contents/MacOS/zed", "Runs for Zed Preview."},
        {"", "/home/ada/Apps/Neovide.app/Contents/MacOS/nvim", "Runs for Neovide."},
        {"", "/bin/bash", "Runs for your editor."},
        {"", "/usr/bin/codex", "Runs for your editor."},
        {"", "", "Runs for your editor."},
    };
    for (const Case& test : cases) {
        ProcessSnapshot server = process(7, 6, "/home/ada/.cargo/bin/rust-analyzer");
        server.responsiblePath = test.responsible;
        const std::optional<DeveloperTool> tool = classify(server, {}, test.parent);
        ASSERT_TRUE(tool);
        EXPECT_EQ(tool->detail, test.detail) << test.parent;
    }
}

TEST(DeveloperToolsClassify, AppNameOfABundleInAPath)
{
    const test::TemporaryFolder folder;
    const std::string named = test::makeBundleWithInfo(
        folder, "zoom.app", test::xmlInfo("<key>CFBundleName</key><string>zoom.us</string>"));
    const std::string unnamed = test::makeBundleWithInfo(folder, "iterm.app", test::xmlInfo(""));
    struct Case {
        std::string path;
        std::optional<std::string> name;
    };
    const std::vector<Case> cases = {
        {"/Applications/Xcode.app/Contents/MacOS/Xcode", "Xcode"},
        {"/Applications/Xcode.app/Contents/Developer/Applications/Simulator.app/Contents/MacOS/Simulator", "Xcode"},
        {"/Users/a/Build/Tool.app.bundle/Contents/MacOS/tool", "Tool"},
        {"/Users/a/Build/Tool.app.bundle/Inner.app/Contents/MacOS/x", "Tool"},
        {named + "/Contents/MacOS/zoom", "zoom.us"},
        {unnamed + "/Contents/MacOS/iterm", "iterm"},
        {"/usr/bin/node", std::nullopt},
        {"", std::nullopt},
        {"/Applications/X.appx/Contents/MacOS/X", std::nullopt},
    };
    for (const Case& test : cases)
        EXPECT_EQ(appName(test.path), test.name) << test.path;
}

TEST(DeveloperToolsClassify, AndroidEmulatorAndItsDeviceName)
{
    const std::vector<std::pair<Strings, std::string>> cases = {
        {{"qemu-system-aarch64", "-netdelay", "none", "-avd", "Pixel_7_API_34"}, "Android emulator: Pixel 7 API 34"},
        {{"qemu-system-x86_64", "@Pixel_7", "-no-snapshot"}, "Android emulator: Pixel 7"},
        {{"qemu-system-x86_64", "-netdelay", "none"}, "Android emulator"},
        {{"qemu-system-x86_64", "@Tablet_XL", "-avd"}, "Android emulator: Tablet XL"},
        {{}, "Android emulator"},
    };
    for (const auto& [arguments, title] : cases) {
        const ProcessSnapshot emulator =
            process(90, 80, "/home/ada/Android/Sdk/emulator/qemu/linux-x86_64/qemu-system-aarch64", 2048, 40);
        const std::optional<DeveloperTool> tool = classify(emulator, [&](std::int32_t) { return arguments; });
        ASSERT_TRUE(tool) << title;
        EXPECT_EQ(*tool, (DeveloperTool{"90", Kind::emulator, title, "Emulators keep running after you stop debugging.",
                                        "Closes the emulator. Anything unsaved in it is lost.", {90}, 2048, 40,
                                        DeveloperTool::Signal{{90}}, std::nullopt, std::nullopt, 0}));
    }
}

TEST(DeveloperToolsFind, SimulatorsAreOneEntryForAllDevices)
{
    const std::string devices = "/Users/ada/Library/Developer/CoreSimulator/Devices/";
    const std::string launchd =
        "/Library/Developer/PrivateFrameworks/CoreSimulator.framework/Resources/bin/launchd_sim";
    Machine machine;
    machine.folders[13] = "/Users/ada/app";
    machine.sockets[13] = {listening(8081)};
    const std::vector<ProcessSnapshot> processes = {
        process(10, 1, launchd, 100, 1),
        process(11, 1, "/Applications/Xcode.app/Contents/Developer/Applications/Simulator.app/Contents/MacOS/Simulator",
                400, 2),
        process(12, 1, launchd, 100, 1),
        process(13, 12, devices + "ABC/data/Containers/Bundle/node", 50, 0.5), // claimed, so no dev server
        process(14, 12, "/Library/Developer/CoreSimulator/Volumes/iOS_21A/SpringBoard", 70, 0),
    };
    const std::vector<DeveloperTool> tools = machine.find(processes);
    ASSERT_EQ(tools.size(), 1u) << ids(tools);
    EXPECT_EQ(tools[0], (DeveloperTool{"simulator", Kind::simulator, "iOS Simulator (2 devices running)",
                                       "Simulators keep running after you stop debugging.",
                                       "Shuts down every running simulator and quits Simulator.",
                                       {10, 11, 12, 13, 14}, 720, 4.5,
                                       DeveloperTool::Command{Platform::xcrun(), {"simctl", "shutdown", "all"},
                                                              "com.apple.iphonesimulator"},
                                       std::nullopt, std::nullopt, 0}));
    EXPECT_TRUE(machine.askedSockets->empty());

    const std::vector<ProcessSnapshot> one = {processes[0], processes[1]};
    ASSERT_EQ(machine.find(one).size(), 1u);
    EXPECT_EQ(machine.find(one)[0].title, "iOS Simulator (1 device running)");

    // Helpers without a device make no entry, and still reach no other search.
    EXPECT_TRUE(machine.find({processes[1], processes[3], processes[4]}).empty());
}

TEST(DeveloperToolsFind, DockerDesktopOnBothPlatformsNeedsItsBackend)
{
    Machine machine;
    machine.folders[54] = "/home/ada/site";
    machine.sockets[54] = {listening(3000)};
    machine.arguments[51] = {"qemu-system-x86_64", "-avd", "Pixel"};
    machine.arguments[61] = {"qemu-system-x86_64", "-avd", "Pixel_8"};
    const std::vector<ProcessSnapshot> linux = {
        process(50, 1, "/opt/docker-desktop/bin/com.docker.backend", 300, 1),
        process(51, 50, "/usr/bin/qemu-system-x86_64", 4000, 3),       // Docker's virtual machine
        process(52, 1, "/opt/docker-desktop/Docker Desktop", 200, 0.5),
        process(54, 52, "/opt/docker-desktop/resources/node", 10, 0),  // no dev server, whatever its port
        process(60, 1, "/home/ada/Android/Sdk/emulator/emulator", 50, 0),
        process(61, 60, "/home/ada/Android/Sdk/emulator/qemu/linux-x86_64/qemu-system-x86_64", 3000, 8),
    };
    const std::vector<DeveloperTool> tools = machine.find(linux);
    ASSERT_EQ(tools.size(), 2u) << ids(tools);
    EXPECT_EQ(tools[0], (DeveloperTool{"docker", Kind::containers, "Docker Desktop",
                                       "Its virtual machine keeps its memory even when no container is running.",
                                       "Quits Docker Desktop and stops every container.", {50, 51, 52, 54}, 4510, 4.5,
                                       DeveloperTool::QuitApp{"com.docker.docker"}, std::nullopt, std::nullopt, 0}));
    EXPECT_EQ(tools[1].id, "61");
    EXPECT_EQ(tools[1].title, "Android emulator: Pixel 8");
    EXPECT_EQ(*machine.askedArguments, (std::set<std::int32_t>{61}));

    // Without the backend: no entry, and its processes are still claimed.
    const std::vector<DeveloperTool> helpersOnly =
        machine.find({linux[2], linux[3], process(53, 52, "/usr/bin/qemu-system-x86_64", 4000)});
    EXPECT_TRUE(helpersOnly.empty()) << ids(helpersOnly);

    // The Mac's bundle, with the virtual machine counted through its responsible process.
    ProcessSnapshot virtualMachine = process(72, 1, "/System/Library/Frameworks/Virtualization.framework/VM", 5000);
    virtualMachine.responsiblePath = "/Applications/Docker.app/Contents/MacOS/Docker Desktop";
    const std::vector<DeveloperTool> mac = machine.find({
        process(70, 1, "/Applications/Docker.app/Contents/MacOS/com.docker.backend", 100),
        virtualMachine,
    });
    ASSERT_EQ(mac.size(), 1u);
    EXPECT_EQ(mac[0].pids, (Pids{70, 72}));
    EXPECT_EQ(mac[0].memoryBytes, 5100);
}

TEST(DeveloperToolsFind, ListsEveryToolLargestFirst)
{
    Machine machine;
    machine.arguments[5] = {"java", "GradleDaemon"};
    machine.arguments[6] = {"java", "KotlinCompileDaemon"};
    machine.arguments[8] = {"node", "node_modules/.bin/vite"};
    machine.folders[8] = "/home/ada/shop";
    const std::vector<DeveloperTool> tools = machine.find({
        process(4, 1, "/home/ada/go/bin/gopls", 20),
        process(5, 1, "/usr/bin/java", 500),
        process(6, 1, "/usr/bin/java", 20),
        process(7, 1, "/bin/zsh", 900),
        process(8, 7, "/usr/bin/node", 300),
    });
    EXPECT_EQ(ids(tools), "5 tree-8 4 6 ") << "stable among equals";
}

TEST(DeveloperToolsDevServers, TreesUnderAShell)
{
    const auto started = std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000));
    Machine machine;
    // vite: node with its esbuild service.
    machine.arguments[101] = {"node", "/home/ada/shop/node_modules/.bin/vite", "--port", "5173"};
    machine.folders[101] = "/home/ada/shop";
    machine.sockets[101] = {listening(5173), listening(24678)};
    // next dev: node, its server, and a shell the server started.
    machine.arguments[201] = {"node", "/home/ada/blog/node_modules/.bin/next", "dev"};
    machine.folders[201] = "/home/ada/blog";
    machine.sockets[202] = {listening(3000)};
    // webpack serve outside the home.
    machine.arguments[301] = {"/usr/local/bin/node", "/srv/app/node_modules/.bin/webpack", "serve"};
    machine.folders[301] = "/srv/app";
    machine.sockets[301] = {listening(8080)};

    std::vector<ProcessSnapshot> processes = {
        process(100, 1, "/bin/bash", 1),
        process(101, 100, "/usr/bin/node", 300, 2),
        process(102, 101, "/home/ada/shop/node_modules/@esbuild/linux-x64/bin/esbuild", 30, 1),
        process(200, 1, "/usr/bin/zsh", 1),
        process(201, 200, "/usr/bin/node", 100),
        process(202, 201, "/usr/bin/node", 200),
        process(203, 202, "/bin/sh", 5),
        process(300, 1, "/usr/bin/fish", 1),
        process(301, 300, "/usr/local/bin/node", 50),
    };
    processes[1].started = started;
    const std::vector<DeveloperTool> tools =
        devServers(processes, machine.argumentsLookup(), machine.folderLookup(), machine.socketsLookup(), home);
    ASSERT_EQ(tools.size(), 3u) << ids(tools);
    EXPECT_EQ(tools[0], (DeveloperTool{"tree-101", Kind::devServer, "Vite dev server",
                                       "2 processes in ~/shop, listening on 2 ports.",
                                       "Stops both processes. Start it again when you need it.", {101, 102}, 330, 3,
                                       DeveloperTool::Signal{{101, 102}}, started, "/home/ada/shop", 0}));
    EXPECT_EQ(tools[1], (DeveloperTool{"tree-201", Kind::devServer, "Next.js dev server",
                                       "3 processes in ~/blog, listening on port 3000.",
                                       "Stops all 3 processes. Start it again when you need it.", {201, 202, 203},
                                       305, 0, DeveloperTool::Signal{{201, 202, 203}}, std::nullopt,
                                       "/home/ada/blog", 0}));
    EXPECT_EQ(tools[2].title, "webpack dev server");
    EXPECT_EQ(tools[2].detail, "In /srv/app, listening on port 8080.");
    EXPECT_EQ(tools[2].consequence, "Stops it. Start it again when you need it.");

    // Sockets are asked of tree members only, arguments of roots only.
    EXPECT_EQ(*machine.askedSockets, (std::set<std::int32_t>{101, 102, 201, 202, 203, 301}));
    EXPECT_EQ(*machine.askedArguments, (std::set<std::int32_t>{101, 201, 301}));
}

TEST(DeveloperToolsDevServers, NoToolWithoutAProjectFolder)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/usr/bin/node", "/home/ada"},
        {"/usr/bin/node", "/"},
        {"/usr/bin/node", "/home/ada/Library"},
        {"/usr/bin/node", "/home/ada/Library/Application Support/Code"},
        {"/usr/bin/node", "/Applications/Tool.app/Contents/Resources"},
        {"/Applications/Tool.app/Contents/Resources/node", "/home/ada/shop"}, // no dev process
    };
    for (const auto& [path, folder] : cases) {
        Machine machine;
        machine.arguments[20] = {"node", "node_modules/.bin/vite"};
        machine.folders[20] = folder;
        machine.sockets[20] = {listening(5173)};
        EXPECT_TRUE(machine.find({process(20, 1, path)}).empty()) << path << " in " << folder;
    }
    Machine unknown; // a folder that cannot be read
    unknown.sockets[20] = {listening(5173)};
    EXPECT_TRUE(unknown.find({process(20, 1, "/usr/bin/node")}).empty());
}

TEST(DeveloperToolsDevServers, WhatQualifiesATreeAndWhatNamesIt)
{
    const std::string orphan = "/home/ada/shop/node_modules/@esbuild/linux-x64/bin/esbuild";
    struct Case {
        std::string what;
        std::vector<ProcessSnapshot> processes;
        std::map<std::int32_t, Strings> arguments;
        std::map<std::int32_t, std::vector<TCPSocket>> sockets;
        std::optional<std::string> title; // none: no tool
        std::string detail;
    };
    const std::vector<Case> cases = {
        {"orphaned tool from node_modules",
         {process(40, 1, orphan)}, {{40, {orphan, "--service=0.19.0", "--ping"}}}, {}, "esbuild",
         "In ~/shop. Whatever started it has quit, so it was most likely left behind."},
        {"plain orphaned node", {process(40, 1, "/usr/bin/node")}, {{40, {"node", "server.js"}}}, {}, std::nullopt, ""},
        {"node_modules tool with a live parent", {process(40, 39, orphan)}, {}, {}, std::nullopt, ""},
        {"runtime root titled by its command line",
         {process(40, 39, "/usr/bin/node")}, {{40, {"node", "/home/ada/shop/server.js", "--port", "4000"}}},
         {{40, {listening(4000)}}}, "node server.js --port 4000", "In ~/shop, listening on port 4000."},
        {"a name found only on a member",
         {process(40, 39, "/usr/bin/node"), process(41, 40, "/usr/bin/node")},
         {{40, {"node", "/home/ada/shop/scripts/dev.js"}},
          {41, {"node", "/home/ada/shop/node_modules/.bin/tsc", "--watch"}}},
         {}, "node scripts/dev.js", "2 processes in ~/shop."},
        {"no name, no port, no orphan",
         {process(40, 39, "/usr/bin/node"), process(41, 40, "/usr/bin/node")},
         {{40, {"node", "index.js"}}, {41, {"node", "worker.js"}}}, {}, std::nullopt, ""},
        {"a root that is no runtime keeps its own name",
         {process(40, 39, "/home/ada/shop/node_modules/.bin/serve")}, {{40, {"serve", "dist"}}},
         {{40, {listening(3000)}}}, "serve", "In ~/shop, listening on port 3000."},
    };
    for (const Case& test : cases) {
        Machine machine;
        machine.arguments = test.arguments;
        machine.sockets = test.sockets;
        machine.folders[40] = "/home/ada/shop";
        const std::vector<DeveloperTool> tools = machine.find(test.processes);
        if (!test.title) {
            EXPECT_TRUE(tools.empty()) << test.what << ": " << ids(tools);
            continue;
        }
        ASSERT_EQ(tools.size(), 1u) << test.what;
        EXPECT_EQ(tools[0].title, *test.title) << test.what;
        EXPECT_EQ(tools[0].detail, test.detail) << test.what;
    }

    // The application that started it, where one is known.
    Machine machine;
    machine.folders[40] = "/home/ada/shop";
    machine.sockets[40] = {listening(5173)};
    ProcessSnapshot started = process(40, 39, "/usr/bin/node");
    started.responsiblePath = "/Applications/Visual Studio Code.app/Contents/MacOS/Electron";
    ASSERT_EQ(machine.find({started}).size(), 1u);
    EXPECT_EQ(machine.find({started})[0].detail, "In ~/shop, listening on port 5173. Started from Visual Studio Code.");
}

TEST(DeveloperToolsDevServers, ClientsComeFromOutsideTheTree)
{
    Machine machine;
    machine.arguments[60] = {"node", "node_modules/.bin/vite"};
    machine.folders[60] = "/home/ada/shop";
    machine.sockets[60] = {
        listening(5173),
        connected(5173, 41000), // from its own worker
        connected(5173, 52000), // a browser
        connected(5173, 52001), // a second browser tab
        connected(39000, 443),  // its own way out: no client
    };
    machine.sockets[61] = {connected(41000, 5173)};
    machine.sockets[70] = {connected(52000, 5173)}; // the browser's side, outside the tree
    const std::vector<DeveloperTool> tools = machine.find({
        process(60, 59, "/usr/bin/node"),
        process(61, 60, "/usr/bin/node"),
        process(70, 1, "/usr/lib/firefox/firefox"),
    });
    ASSERT_EQ(tools.size(), 1u) << ids(tools);
    EXPECT_EQ(tools[0].clients, 2);
    EXPECT_FALSE(machine.askedSockets->contains(70));
}

TEST(DeveloperToolsDevServers, RootSearchEndsOnLongChainsAndLoops)
{
    Machine machine;
    std::vector<ProcessSnapshot> processes;
    for (std::int32_t pid = 1000; pid < 1070; ++pid)
        processes.push_back(process(pid, pid == 1000 ? 999 : pid - 1, "/usr/bin/node"));
    machine.folders[1000] = "/home/ada/deep";
    machine.sockets[1000] = {listening(9000)};
    // Two nodes that name each other as parent, and one its own parent.
    processes.push_back(process(2001, 2002, "/usr/bin/node"));
    processes.push_back(process(2002, 2001, "/usr/bin/node"));
    processes.push_back(process(2003, 2003, "/usr/bin/node"));
    for (const std::int32_t pid : {2001, 2002, 2003}) {
        machine.folders[pid] = "/home/ada/loop";
        machine.sockets[pid] = {listening(static_cast<std::uint16_t>(pid))};
    }
    const std::vector<DeveloperTool> tools = machine.find(processes);
    ASSERT_EQ(tools.size(), 1u) << ids(tools);
    // A member 64 steps down still finds its root; one further does not.
    EXPECT_EQ(tools[0].pids.size(), 65u);
    EXPECT_EQ(tools[0].pids.back(), 1064);
}

TEST(DeveloperToolsText, DevServerNamesInTheirOrder)
{
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases = {
        {"node node_modules/.bin/vite --watch", "Vite dev server"},
        {"node node_modules/.bin/next dev", "Next.js dev server"},
        {"next-server (v14.1.0)", "Next.js dev server"},
        {"node webpack serve --hot", "webpack dev server"},
        {"node node_modules/webpack-dev-server/bin/webpack-dev-server.js", "webpack dev server"},
        {"node node_modules/.bin/wrangler dev", "Wrangler dev server"},
        {"node astro dev", "Astro dev server"},
        {"node nuxi dev", "Nuxt dev server"},
        {"node nuxt dev", "Nuxt dev server"},
        {"node remix dev", "Remix dev server"},
        {"node react-scripts start", "React dev server"},
        {"node nodemon --watch src", "nodemon watcher"},
        {"node tsx watch src/index.ts", "tsx watcher"},
        {"node tsc --watch", "TypeScript watcher"},
        {"node tsc -w", "TypeScript watcher"},
        {"node --watch server.js", "File watcher"},
        {"bun --hot index.ts", "Dev server"},
        {"node server.js", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [commandLine, name] : cases)
        EXPECT_EQ(devServerName(commandLine), name) << commandLine;
}

TEST(DeveloperToolsText, SummaryOfACommandLine)
{
    const std::string folder = "/home/ada/shop";
    const std::string eighty(75, 'a');
    std::string accented;
    for (int count = 0; count < 75; ++count)
        accented += "é";
    struct Case {
        Strings arguments;
        std::string summary;
    };
    const std::vector<Case> cases = {
        {{}, ""},
        {{"node", "./node_modules/.bin/vite"}, "vite"},
        {{"/usr/bin/node", "--inspect", "/home/ada/shop/node_modules/.bin/vite", "--port", "5173"}, "vite --port 5173"},
        {{"/usr/bin/node", "/home/ada/shop/node_modules/next/dist/bin/next", "dev"}, "node next/dist/bin/next dev"},
        {{"node", "/home/ada/shop/server/index.js", "--port", "4000"}, "node server/index.js --port 4000"},
        {{"node", "/opt/tools/run.js", "/home/ada/shopping/x.js"}, "node run.js x.js"},
        {{"/usr/local/bin/deno"}, "deno"},
        {{"node", eighty}, "node " + eighty},                                          // 80: as it is
        {{"node", eighty + "b"}, "node " + std::string(74, 'a') + "…"},                // 81: 79 and "…"
        {{"node", accented}, "node " + accented},                                        // counted in characters
        {{"node", accented + "é"}, "node " + accented.substr(0, 74 * 2) + "…"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(summary(test.arguments, folder), test.summary)
            << (test.arguments.empty() ? "" : test.arguments.back());
}

TEST(DeveloperToolsText, WorkFolders)
{
    for (const char* path : {"/", "/home/ada", "/home/ada/Library", "/home/ada/Library/Caches/x",
                             "/Applications/X.app/Contents", "/home/ada/Tools/X.app/Contents/Resources"})
        EXPECT_FALSE(isWorkFolder(path, home)) << path;
    for (const char* path : {"/home/ada/shop", "/home/ada/Libraryx", "/home", "/srv/app", "/home/ada/X.appx/y"})
        EXPECT_TRUE(isWorkFolder(path, home)) << path;
}

// A child of the test; killed and reaped at the end whatever the test did.
class Child {
public:
    explicit Child(pid_t pid) : m_pid(pid) {}
    ~Child()
    {
        if (m_pid > 0 && ::kill(m_pid, SIGKILL) == 0)
            ::waitpid(m_pid, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return m_pid; }

    // Whether it ended by SIGTERM within a second; reaps it either way it ended.
    bool endsByTerminate()
    {
        for (int pass = 0; pass < 100; ++pass) {
            int status = 0;
            if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_pid = -1;
                return WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM;
            }
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }

private:
    pid_t m_pid;
};

// A pid that was a child of the test and has gone.
std::int32_t gonePID()
{
    const pid_t pid = ::fork();
    if (pid == 0)
        ::_exit(0);
    ::waitpid(pid, nullptr, 0);
    return pid;
}

pid_t waitingChild()
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        for (;;)
            ::pause();
    }
    return pid;
}

// Starts `executable` as argv in `folder`; the child's standard output comes back through `output`.
pid_t launch(const std::string& executable, const Strings& arguments, const std::string& folder, int* output)
{
    int channel[2];
    if (::pipe(channel) != 0)
        return -1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(channel[1], 1);
        ::close(channel[0]);
        ::close(channel[1]);
        std::vector<char*> argv;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        if (::chdir(folder.c_str()) == 0)
            ::execv(executable.c_str(), argv.data());
        ::_exit(127);
    }
    ::close(channel[1]);
    *output = channel[0];
    return pid;
}

std::string readLine(int descriptor)
{
    std::string line;
    for (char character = 0; ::read(descriptor, &character, 1) == 1 && character != '\n';)
        line += character;
    return line;
}

TEST(DeveloperToolsStop, SignalsAndQuitsTheToolsOwnProcesses)
{
    DeveloperTool tool;
    // Processes that have gone are what was wanted.
    tool.stop = DeveloperTool::Signal{{gonePID(), gonePID()}};
    EXPECT_TRUE(stop(tool));
    tool.stop = DeveloperTool::Signal{{}};
    EXPECT_TRUE(stop(tool));

    Child first(waitingChild());
    Child second(waitingChild());
    tool.stop = DeveloperTool::Signal{{gonePID(), first.pid()}};
    EXPECT_TRUE(stop(tool));
    EXPECT_TRUE(first.endsByTerminate());

    // Quitting is true only when something was there to ask.
    tool.pids = {gonePID(), second.pid()};
    tool.stop = DeveloperTool::QuitApp{"com.docker.docker"};
    EXPECT_TRUE(stop(tool));
    EXPECT_TRUE(second.endsByTerminate());
    tool.pids = {gonePID()};
    EXPECT_FALSE(stop(tool));
}

TEST(DeveloperToolsStop, CommandsAndTheApplicationToQuitAfterwards)
{
    DeveloperTool tool;
    tool.stop = DeveloperTool::Command{"/bin/true", {}, std::nullopt};
    EXPECT_TRUE(stop(tool));
    tool.stop = DeveloperTool::Command{"/bin/false", {}, std::nullopt};
    EXPECT_FALSE(stop(tool));
    tool.stop = DeveloperTool::Command{Platform::xcrun(), {"simctl", "shutdown", "all"}, "com.apple.iphonesimulator"};
    EXPECT_FALSE(stop(tool)) << "no xcrun on this machine";

    // A missing tool fails, and the application is still asked to quit:
    // here a process running from a made-up bundle with that identifier.
    const test::TemporaryFolder folder;
    const std::string identifier = "org.tarno.tests.quit" + std::to_string(::getpid());
    const std::string bundle = test::makeAppBundle(folder, "Sim.app", identifier);
    const std::string executable = folder.makeFolder("Sim.app/Contents/MacOS") + "/Sim";
    std::filesystem::copy_file("/bin/sleep", executable);
    std::filesystem::permissions(executable, std::filesystem::perms::owner_all);
    int output = -1;
    Child application(launch(executable, {"Sim", "30"}, folder.path(), &output));
    ::close(output);
    ASSERT_GT(application.pid(), 0);
    // Until it has started the copy, its executable is still the test's own.
    const std::string canonical = std::filesystem::canonical(executable).string();
    for (int pass = 0; pass < 100 && ProcessSampler::path(application.pid()) != canonical; ++pass)
        std::this_thread::sleep_for(10ms);
    ASSERT_EQ(ProcessSampler::path(application.pid()), canonical);

    tool.stop = DeveloperTool::Command{folder / "missing", {"shutdown"}, identifier};
    EXPECT_FALSE(stop(tool));
    EXPECT_TRUE(application.endsByTerminate());
}

// Answers on a loopback port, prints it, and reports every connection it accepts.
constexpr const char* serverScript = "import socket\n"
                                     "s = socket.socket()\n"
                                     "s.bind(('127.0.0.1', 0))\n"
                                     "s.listen()\n"
                                     "print(s.getsockname()[1], flush=True)\n"
                                     "kept = []\n"
                                     "while True:\n"
                                     "    kept.append(s.accept()[0])\n"
                                     "    print('accepted', flush=True)\n";

TEST(DeveloperToolsLive, FindsAndStopsARealDevServer)
{
    const std::string python = "/usr/bin/python3";
    if (::access(python.c_str(), X_OK) != 0)
        GTEST_SKIP() << "no " << python;
    // The runtime is recognised by its executable's name, so the interpreter runs as a copy called node.
    const test::TemporaryFolder folder;
    const std::string node = folder.makeFolder("bin") + "/node";
    std::filesystem::copy_file(std::filesystem::canonical(python), node);
    std::filesystem::permissions(node, std::filesystem::perms::owner_all);
    const std::string fakeHome = std::filesystem::canonical(folder.makeFolder("home")).string();
    const std::string project = fakeHome + "/shop";
    std::filesystem::create_directories(project);
    std::ofstream(project + "/server.py") << serverScript;

    int output = -1;
    Child server(launch(node, {"node", project + "/server.py"}, project, &output));
    ASSERT_GT(server.pid(), 0);
    const int port = std::atoi(readLine(output).c_str());
    ASSERT_GT(port, 0);

    ProcessSampler sampler;
    const auto serverTool = [&]() -> std::optional<DeveloperTool> {
        const std::vector<DeveloperTool> tools = find(sampler.sample(), fakeHome);
        const DeveloperTool* found = toolWithID(tools, "tree-" + std::to_string(server.pid()));
        return found ? std::optional(*found) : std::nullopt;
    };
    const std::optional<DeveloperTool> alone = serverTool();
    ASSERT_TRUE(alone);
    EXPECT_EQ(alone->kind, Kind::devServer);
    EXPECT_EQ(alone->title, "node server.py");
    EXPECT_EQ(alone->detail, "In ~/shop, listening on port " + std::to_string(port) + ".");
    EXPECT_EQ(alone->folder, project);
    EXPECT_EQ(alone->pids, Pids{server.pid()});
    EXPECT_EQ(alone->clients, 0);
    EXPECT_GT(alone->memoryBytes, 0);
    EXPECT_TRUE(alone->started);

    const int client = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(client, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(readLine(output), "accepted");
    const std::optional<DeveloperTool> served = serverTool();
    ASSERT_TRUE(served);
    EXPECT_EQ(served->clients, 1);

    EXPECT_TRUE(stop(*served));
    EXPECT_TRUE(server.endsByTerminate());
    EXPECT_TRUE(stop(*served)) << "gone is what was wanted";
    ::close(client);
    ::close(output);
}

} // namespace
} // namespace tarno
