#pragma once

#include "TarnoCore/Performance/ProcessSampler.hpp"
#include "TarnoCore/Platform/TCPSocket.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// What developers leave running: build daemons, language servers, dev
// servers, emulators, simulators, Docker. Recognised in a process sample,
// described in plain words, and stopped on request. Stateless: it reads the
// sample and the three lookups it is given, so it runs the same on the real
// machine and on made-up processes.
namespace tarno::DeveloperTools {

struct DeveloperTool {
    // In the order the screens list them.
    enum class Kind {
        buildDaemon,
        languageServer,
        devServer,
        emulator,
        simulator,
        containers,
    };

    struct Signal {   // SIGTERM to each process
        std::vector<std::int32_t> pids;
        bool operator==(const Signal&) const = default;
    };
    struct QuitApp {  // ask an application to quit
        std::string bundleID;
        bool operator==(const QuitApp&) const = default;
    };
    struct Command {  // run a tool, then ask an application to quit
        std::string tool;
        std::vector<std::string> arguments;
        std::optional<std::string> thenQuit; // a bundle identifier
        bool operator==(const Command&) const = default;
    };
    using Stop = std::variant<Signal, QuitApp, Command>;

    std::string id; // the pid, "tree-" + the root pid, "simulator" or "docker"
    Kind kind = Kind::buildDaemon;
    std::string title;
    std::string detail;      // what it is doing now
    std::string consequence; // what stopping it does, shown before the user confirms
    std::vector<std::int32_t> pids;
    std::int64_t memoryBytes = 0;
    double cpuPercent = 0;
    Stop stop;
    std::optional<std::chrono::system_clock::time_point> started; // dev servers only
    std::optional<std::string> folder;                              // dev servers only
    int clients = 0; // connections from outside the tree on its listening ports; dev servers only

    // A build daemon using less than 1 % of a core.
    bool isIdleDaemon() const;

    bool operator==(const DeveloperTool&) const = default;
};

inline constexpr std::array allKinds = {
    DeveloperTool::Kind::buildDaemon, DeveloperTool::Kind::languageServer, DeveloperTool::Kind::devServer,
    DeveloperTool::Kind::emulator,    DeveloperTool::Kind::simulator,      DeveloperTool::Kind::containers,
};

// The case's name: "buildDaemon", "languageServer", …
std::string_view rawValue(DeveloperTool::Kind kind);
std::optional<DeveloperTool::Kind> developerToolKind(std::string_view raw);

// The JavaScript runtimes a dev server runs on: "node", "bun", "deno".
bool isRuntime(std::string_view name);

// The lookups about one process. An empty one asks the real machine through
// ProcessSampler's static operation of the same name.
using Arguments = std::function<std::vector<std::string>(std::int32_t pid)>;
using WorkingDirectory = std::function<std::optional<std::string>(std::int32_t pid)>;
using Sockets = std::function<std::vector<TCPSocket>(std::int32_t pid)>;

// Every tool in the sample, largest memory first. Arguments are read only for
// the few executables that need them, sockets only for dev-server trees.
std::vector<DeveloperTool> find(const ProcessSample& sample, const Arguments& arguments,
                                const WorkingDirectory& workingDirectory, const Sockets& sockets,
                                const std::string& home);
// The same with the real machine's lookups.
std::vector<DeveloperTool> find(const ProcessSample& sample, const std::string& home);

// One single-process tool, or none. `parentPath` is the executable of the
// process's parent when known: Linux names no responsible process, so the
// editor a language server works for is its parent.
std::optional<DeveloperTool> classify(const ProcessSnapshot& process, const Arguments& arguments = {},
                                      const std::string& parentPath = {});

// The trees of processes rooted in a JavaScript runtime, or in a tool
// installed under node_modules, that run in a project folder.
std::vector<DeveloperTool> devServers(const std::vector<ProcessSnapshot>& processes, const Arguments& arguments,
                                      const WorkingDirectory& workingDirectory, const Sockets& sockets,
                                      const std::string& home);

// Runs `tool.stop`; whether stopping worked. Blocks for up to a minute for a
// command; keep it off the interface thread.
bool stop(const DeveloperTool& tool);

// False for "/", the home itself, its Library and anything inside an
// application bundle: a runtime there has no project behind it.
bool isWorkFolder(const std::string& path, const std::string& home);

// The well-known dev server or watcher a command line runs, by its own name.
std::optional<std::string> devServerName(std::string_view commandLine);

// A long command line as a short title: "node ./node_modules/.bin/vite" reads "vite".
std::string summary(const std::vector<std::string>& arguments, const std::string& folder);

// The name of the application bundle `path` lies in; a lower-case bundle
// file name gives way to the bundle's CFBundleName.
std::optional<std::string> appName(std::string_view path);

} // namespace tarno::DeveloperTools
