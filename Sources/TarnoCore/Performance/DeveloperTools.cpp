#include "TarnoCore/Performance/DeveloperTools.hpp"

#include "TarnoCore/Foundation/PropertyList.hpp"
#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/ProcessTable.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include <unistd.h>

namespace tarno::DeveloperTools {

namespace {

using Kind = DeveloperTool::Kind;

constexpr std::string_view byEditor = "Your editor starts it again when it needs it.";
constexpr std::string_view idle = "Idle, waiting for the next build.";

bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

std::string_view lastComponent(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string joined(const std::vector<std::string>& parts)
{
    std::string text;
    for (const std::string& part : parts) {
        if (&part != &parts.front())
            text += ' ';
        text += part;
    }
    return text;
}

Arguments orLive(const Arguments& arguments)
{
    if (arguments)
        return arguments;
    return [](std::int32_t pid) { return ProcessSampler::arguments(pid); };
}

WorkingDirectory orLive(const WorkingDirectory& workingDirectory)
{
    if (workingDirectory)
        return workingDirectory;
    return [](std::int32_t pid) { return ProcessSampler::workingDirectory(pid); };
}

Sockets orLive(const Sockets& sockets)
{
    if (sockets)
        return sockets;
    return [](std::int32_t pid) { return ProcessSampler::tcpSockets(pid); };
}

// Docker Desktop: the Mac's bundle, or the Linux package's folder.
bool isDockerPath(std::string_view path)
{
    return contains(path, "/Docker.app/") || path.starts_with("/opt/docker-desktop/");
}

bool isSimulator(const ProcessSnapshot& process)
{
    return process.name == "launchd_sim" || contains(process.path, "/CoreSimulator/Volumes/")
           || contains(process.path, "/Library/Developer/CoreSimulator/Devices/")
           || contains(process.path, "/Simulator.app/");
}

bool isDevProcess(const ProcessSnapshot& process)
{
    return !contains(process.path, ".app/") && (isRuntime(process.name) || contains(process.path, "/node_modules/"));
}

// The editors that start language servers on Linux, by the file name of
// their executable.
std::optional<std::string> editorName(std::string_view fileName)
{
    static constexpr std::pair<std::string_view, std::string_view> editors[] = {
        {"code", "Visual Studio Code"}, {"cursor", "Cursor"},          {"codium", "VSCodium"},
        {"zed", "Zed"},                 {"idea", "IntelliJ IDEA"},     {"studio", "Android Studio"},
        {"nvim", "Neovim"},             {"vim", "Vim"},                {"emacs", "Emacs"},
    };
    for (const auto& [file, name] : editors) {
        if (file == fileName)
            return std::string(name);
    }
    return std::nullopt;
}

// The first "gradle-" followed by digits and at least one ".digits" group.
std::optional<std::string> gradleVersion(std::string_view commandLine)
{
    constexpr std::string_view marker = "gradle-";
    const auto isDigit = [&](std::size_t at) {
        return at < commandLine.size() && std::isdigit(static_cast<unsigned char>(commandLine[at])) != 0;
    };
    for (std::size_t at = commandLine.find(marker); at != std::string_view::npos;
         at = commandLine.find(marker, at + 1)) {
        const std::size_t start = at + marker.size();
        std::size_t end = start;
        while (isDigit(end))
            ++end;
        if (end == start)
            continue;
        int groups = 0;
        while (end < commandLine.size() && commandLine[end] == '.' && isDigit(end + 1)) {
            end += 1;
            while (isDigit(end))
                ++end;
            ++groups;
        }
        if (groups > 0)
            return std::string(commandLine.substr(start, end - start));
    }
    return std::nullopt;
}

// The name after "-avd", else after the first "@", with blanks for "_".
std::optional<std::string> emulatorName(const std::vector<std::string>& arguments)
{
    std::optional<std::string> name;
    const auto avd = std::find(arguments.begin(), arguments.end(), "-avd");
    if (avd != arguments.end() && std::next(avd) != arguments.end()) {
        name = *std::next(avd);
    } else {
        const auto at = std::find_if(arguments.begin(), arguments.end(),
                                     [](const std::string& argument) { return argument.starts_with('@'); });
        if (at != arguments.end())
            name = at->substr(1);
    }
    if (!name || name->empty())
        return std::nullopt;
    std::replace(name->begin(), name->end(), '_', ' ');
    return name;
}

DeveloperTool singleProcessTool(const ProcessSnapshot& process, Kind kind, std::string title, std::string detail,
                                std::string_view consequence)
{
    DeveloperTool tool;
    tool.id = std::to_string(process.pid);
    tool.kind = kind;
    tool.title = std::move(title);
    tool.detail = std::move(detail);
    tool.consequence = std::string(consequence);
    tool.pids = {process.pid};
    tool.memoryBytes = process.memoryBytes;
    tool.cpuPercent = process.cpuPercent;
    tool.stop = DeveloperTool::Signal{{process.pid}};
    return tool;
}

// Only a real process may be signalled: 0 and negative pids name whole
// process groups, and the caller itself is never one of the tools.
bool isSignallable(std::int32_t pid)
{
    return pid > 0 && pid != ::getpid();
}

// SIGTERM to each; true when every one took it or had already gone.
bool terminateAll(const std::vector<std::int32_t>& pids)
{
    bool allDone = true;
    for (const std::int32_t pid : pids) {
        if (!isSignallable(pid) || (::kill(pid, SIGTERM) != 0 && errno != ESRCH))
            allDone = false;
    }
    return allDone;
}

// SIGTERM to each; true when at least one was running to take it.
bool askToQuit(const std::vector<std::int32_t>& pids)
{
    bool anyRunning = false;
    for (const std::int32_t pid : pids) {
        if (isSignallable(pid) && ::kill(pid, SIGTERM) == 0)
            anyRunning = true;
    }
    return anyRunning;
}

// Linux keeps no register of running applications: those running from a
// bundle with this identifier are the ones to ask.
bool quitApplication(const std::string& bundleID)
{
    const Platform::ProcessTable table;
    std::vector<std::int32_t> pids;
    std::unordered_map<std::string, bool> matches; // bundle → its identifier is bundleID
    for (const std::int32_t pid : table.allPIDs()) {
        const std::optional<std::string> bundle = ProcessSampler::bundlePath(table.executablePath(pid));
        if (!bundle)
            continue;
        auto found = matches.find(*bundle);
        if (found == matches.end()) {
            const std::optional<PropertyList::Dictionary> info =
                PropertyList::readDictionary(*bundle + "/Contents/Info.plist");
            found = matches.emplace(*bundle, info && info->string("CFBundleIdentifier") == bundleID).first;
        }
        if (found->second)
            pids.push_back(pid);
    }
    return askToQuit(pids);
}

} // namespace

bool DeveloperTool::isIdleDaemon() const
{
    return kind == Kind::buildDaemon && cpuPercent < 1.0;
}

std::string_view rawValue(DeveloperTool::Kind kind)
{
    switch (kind) {
    case Kind::buildDaemon:
        return "buildDaemon";
    case Kind::languageServer:
        return "languageServer";
    case Kind::devServer:
        return "devServer";
    case Kind::emulator:
        return "emulator";
    case Kind::simulator:
        return "simulator";
    case Kind::containers:
        return "containers";
    }
    return "buildDaemon";
}

std::optional<DeveloperTool::Kind> developerToolKind(std::string_view raw)
{
    for (const Kind kind : allKinds) {
        if (rawValue(kind) == raw)
            return kind;
    }
    return std::nullopt;
}

bool isRuntime(std::string_view name)
{
    return name == "node" || name == "bun" || name == "deno";
}

std::vector<DeveloperTool> find(const ProcessSample& sample, const std::string& home)
{
    return find(sample, {}, {}, {}, home);
}

std::vector<DeveloperTool> find(const ProcessSample& sample, const Arguments& arguments,
                                const WorkingDirectory& workingDirectory, const Sockets& sockets,
                                const std::string& home)
{
    const Arguments argumentsOf = orLive(arguments);

    std::unordered_map<std::int32_t, const ProcessSnapshot*> byPID;
    std::unordered_set<std::int32_t> dockerByPath;
    for (const ProcessSnapshot& process : sample.processes) {
        byPID.emplace(process.pid, &process);
        if (isDockerPath(process.path) || isDockerPath(process.responsiblePath))
            dockerByPath.insert(process.pid);
    }

    std::vector<const ProcessSnapshot*> docker;
    std::vector<const ProcessSnapshot*> simulators;
    std::vector<ProcessSnapshot> remainder;
    std::vector<DeveloperTool> tools;
    for (const ProcessSnapshot& process : sample.processes) {
        // On Linux Docker's virtual machine is a qemu it starts itself, which
        // names no responsible process: its parent tells it from an emulator.
        if (dockerByPath.contains(process.pid)
            || (process.name.starts_with("qemu-system") && dockerByPath.contains(process.parentPID))) {
            docker.push_back(&process);
        } else if (isSimulator(process)) {
            simulators.push_back(&process);
        } else {
            const auto parent = byPID.find(process.parentPID);
            const std::string& parentPath =
                parent == byPID.end() || parent->second == &process ? std::string() : parent->second->path;
            if (std::optional<DeveloperTool> tool = classify(process, argumentsOf, parentPath))
                tools.push_back(std::move(*tool));
            else
                remainder.push_back(process);
        }
    }

    std::vector<DeveloperTool> trees = devServers(remainder, argumentsOf, workingDirectory, sockets, home);
    tools.insert(tools.end(), std::make_move_iterator(trees.begin()), std::make_move_iterator(trees.end()));

    const auto addUp = [](DeveloperTool& tool, const std::vector<const ProcessSnapshot*>& processes) {
        for (const ProcessSnapshot* process : processes) {
            tool.pids.push_back(process->pid);
            tool.memoryBytes += process->memoryBytes;
            tool.cpuPercent += process->cpuPercent;
        }
    };

    const auto devices = std::count_if(simulators.begin(), simulators.end(),
                                       [](const ProcessSnapshot* process) { return process->name == "launchd_sim"; });
    if (devices > 0) {
        DeveloperTool simulator;
        simulator.id = "simulator";
        simulator.kind = Kind::simulator;
        simulator.title = devices == 1 ? std::string("iOS Simulator (1 device running)")
                                       : "iOS Simulator (" + std::to_string(devices) + " devices running)";
        simulator.detail = "Simulators keep running after you stop debugging.";
        simulator.consequence = "Shuts down every running simulator and quits Simulator.";
        addUp(simulator, simulators);
        simulator.stop = DeveloperTool::Command{Platform::xcrun(), {"simctl", "shutdown", "all"},
                                                "com.apple.iphonesimulator"};
        tools.push_back(std::move(simulator));
    }

    // Helpers alone are no Docker: only its backend makes one.
    if (std::any_of(docker.begin(), docker.end(),
                    [](const ProcessSnapshot* process) { return process->name == "com.docker.backend"; })) {
        DeveloperTool entry;
        entry.id = "docker";
        entry.kind = Kind::containers;
        entry.title = "Docker Desktop";
        entry.detail = "Its virtual machine keeps its memory even when no container is running.";
        entry.consequence = "Quits Docker Desktop and stops every container.";
        addUp(entry, docker);
        entry.stop = DeveloperTool::QuitApp{"com.docker.docker"};
        tools.push_back(std::move(entry));
    }

    std::stable_sort(tools.begin(), tools.end(), [](const DeveloperTool& a, const DeveloperTool& b) {
        return a.memoryBytes > b.memoryBytes;
    });
    return tools;
}

std::optional<DeveloperTool> classify(const ProcessSnapshot& process, const Arguments& arguments,
                                      const std::string& parentPath)
{
    // Asked only once a tool is made: it may read an Info.plist.
    const auto forEditor = [&] {
        std::optional<std::string> editor = appName(process.responsiblePath);
        if (!editor && !parentPath.empty()) {
            editor = appName(parentPath);
            if (!editor)
                editor = editorName(lastComponent(parentPath));
        }
        return editor ? "Runs for " + *editor + "." : std::string("Runs for your editor.");
    };
    const std::string_view name = process.name;

    if (name.starts_with("qemu-system")) {
        const std::optional<std::string> device = emulatorName(orLive(arguments)(process.pid));
        return singleProcessTool(process, Kind::emulator,
                                 device ? "Android emulator: " + *device : std::string("Android emulator"),
                                 "Emulators keep running after you stop debugging.",
                                 "Closes the emulator. Anything unsaved in it is lost.");
    }

    // Native language servers are their own executables.
    static constexpr std::pair<std::string_view, std::string_view> nativeServers[] = {
        {"rust-analyzer", "Rust analyzer"}, {"gopls", "Go language server"}, {"clangd", "C/C++ language server"}};
    for (const auto& [file, title] : nativeServers) {
        if (name == file)
            return singleProcessTool(process, Kind::languageServer, std::string(title), forEditor(), byEditor);
    }

    // The argument block is read only for these few executables.
    const bool isJava = name == "java";
    const bool isDart = name == "dart" || name == "dartaotruntime";
    if (!isRuntime(name) && !isJava && !isDart)
        return std::nullopt;

    const std::string commandLine = joined(orLive(arguments)(process.pid));
    const auto has = [&](std::string_view part) { return contains(commandLine, part); };
    const bool isIdle = process.cpuPercent < 1.0;

    if (isJava) {
        if (has("GradleDaemon")) {
            const std::optional<std::string> version = gradleVersion(commandLine);
            return singleProcessTool(
                process, Kind::buildDaemon, version ? "Gradle daemon " + *version : std::string("Gradle daemon"),
                isIdle ? std::string(idle) : std::string("Building."),
                "Gradle keeps it running to make builds faster. The next build starts it again, a few seconds "
                "slower.");
        }
        if (has("KotlinCompileDaemon"))
            return singleProcessTool(process, Kind::buildDaemon, "Kotlin compile daemon",
                                     isIdle ? std::string(idle) : std::string("Compiling."),
                                     "The next Kotlin build starts it again, a few seconds slower.");
        if (has("jdt.ls") || has("org.eclipse.jdt") || has("redhat.java"))
            return singleProcessTool(process, Kind::languageServer, "Java language server", forEditor(), byEditor);
        if (has("kotlin-language-server") || has("org.javacs.kt"))
            return singleProcessTool(process, Kind::languageServer, "Kotlin language server", forEditor(), byEditor);
        return std::nullopt;
    }
    if (isDart) {
        if (has("analysis_server") || has("language-server"))
            return singleProcessTool(process, Kind::languageServer, "Dart analysis server", forEditor(), byEditor);
        if (has("flutter_tools") && has("daemon"))
            return singleProcessTool(process, Kind::languageServer, "Flutter daemon", forEditor(), byEditor);
        return std::nullopt;
    }
    if (has("tsserver"))
        return singleProcessTool(process, Kind::languageServer, "TypeScript server", forEditor(), byEditor);
    if (name == "node" && has("pyright"))
        return singleProcessTool(process, Kind::languageServer, "Python language server", forEditor(), byEditor);
    return std::nullopt;
}

std::vector<DeveloperTool> devServers(const std::vector<ProcessSnapshot>& processes, const Arguments& arguments,
                                      const WorkingDirectory& workingDirectory, const Sockets& sockets,
                                      const std::string& home)
{
    const Arguments argumentsOf = orLive(arguments);
    const WorkingDirectory folderOf = orLive(workingDirectory);
    const Sockets socketsOf = orLive(sockets);

    std::unordered_map<std::int32_t, const ProcessSnapshot*> byPID;
    for (const ProcessSnapshot& process : processes)
        byPID.emplace(process.pid, &process);
    const auto parentOf = [&](const ProcessSnapshot& process) -> const ProcessSnapshot* {
        const auto found = byPID.find(process.parentPID);
        return found == byPID.end() ? nullptr : found->second;
    };

    // A tree is everything that descends from its topmost dev process.
    std::vector<std::int32_t> roots; // in the order first met
    std::unordered_map<std::int32_t, std::vector<const ProcessSnapshot*>> members;
    for (const ProcessSnapshot& process : processes) {
        if (process.path.empty() || ProcessSampler::isSystemService(process.path))
            continue;
        const ProcessSnapshot* root = &process;
        for (int steps = 0;; ++steps) {
            const ProcessSnapshot* parent = parentOf(*root);
            if (isDevProcess(*root) && (!parent || !isDevProcess(*parent)))
                break;
            if (steps == 64 || !parent || parent == root)
                break;
            root = parent;
        }
        const ProcessSnapshot* above = parentOf(*root);
        if (!isDevProcess(*root) || (above && isDevProcess(*above)))
            continue;
        auto [entry, isNew] = members.try_emplace(root->pid);
        if (isNew)
            roots.push_back(root->pid);
        entry->second.push_back(&process);
    }

    std::vector<DeveloperTool> tools;
    for (const std::int32_t rootPID : roots) {
        const ProcessSnapshot& root = *byPID.at(rootPID);
        const std::vector<const ProcessSnapshot*>& tree = members.at(rootPID);

        // A runtime with no real project behind it is no dev server.
        const std::optional<std::string> folder = folderOf(rootPID);
        if (!folder || !isWorkFolder(*folder, home))
            continue;
        const std::vector<std::string> rootArguments = argumentsOf(rootPID);
        const std::optional<std::string> named = devServerName(joined(rootArguments));

        std::set<std::uint16_t> ports;
        std::set<std::uint16_t> ownPorts;
        std::vector<TCPSocket> treeSockets;
        for (const ProcessSnapshot* member : tree) {
            for (const TCPSocket& socket : socketsOf(member->pid)) {
                if (socket.state == TCPSocket::State::listening)
                    ports.insert(socket.localPort);
                ownPorts.insert(socket.localPort);
                treeSockets.push_back(socket);
            }
        }
        // A connection between two processes of the tree is no client.
        const int clients = static_cast<int>(
            std::count_if(treeSockets.begin(), treeSockets.end(), [&](const TCPSocket& socket) {
                return socket.state == TCPSocket::State::established && ports.contains(socket.localPort)
                       && !ownPorts.contains(socket.remotePort);
            }));

        // A tool installed in a project, whose parent has gone.
        const bool orphaned = root.parentPID == 1 && contains(root.path, "/node_modules/");
        const bool qualifies = named || !ports.empty() || orphaned
                               || std::any_of(tree.begin(), tree.end(), [&](const ProcessSnapshot* member) {
                                      return member->pid != rootPID && devServerName(joined(argumentsOf(member->pid)));
                                  });
        if (!qualifies)
            continue;

        DeveloperTool tool;
        tool.id = "tree-" + std::to_string(rootPID);
        tool.kind = Kind::devServer;
        if (named)
            tool.title = *named;
        else if (isRuntime(root.name))
            tool.title = summary(rootArguments, *folder);
        else
            tool.title = root.name;

        const std::string shownFolder =
            !home.empty() && folder->starts_with(home + "/") ? "~" + folder->substr(home.size()) : *folder;
        tool.detail = tree.size() == 1 ? "In " + shownFolder
                                       : std::to_string(tree.size()) + " processes in " + shownFolder;
        if (ports.size() == 1)
            tool.detail += ", listening on port " + std::to_string(*ports.begin());
        else if (ports.size() > 1)
            tool.detail += ", listening on " + std::to_string(ports.size()) + " ports";
        tool.detail += ".";
        if (orphaned) {
            tool.detail += " Whatever started it has quit, so it was most likely left behind.";
        } else if (const std::optional<std::string> application = appName(root.responsiblePath)) {
            tool.detail += " Started from " + *application + ".";
        }

        if (tree.size() == 1)
            tool.consequence = "Stops it. Start it again when you need it.";
        else if (tree.size() == 2)
            tool.consequence = "Stops both processes. Start it again when you need it.";
        else
            tool.consequence =
                "Stops all " + std::to_string(tree.size()) + " processes. Start it again when you need it.";

        for (const ProcessSnapshot* member : tree) {
            tool.pids.push_back(member->pid);
            tool.memoryBytes += member->memoryBytes;
            tool.cpuPercent += member->cpuPercent;
        }
        std::sort(tool.pids.begin(), tool.pids.end());
        tool.stop = DeveloperTool::Signal{tool.pids};
        tool.started = root.started;
        tool.folder = folder;
        tool.clients = clients;
        tools.push_back(std::move(tool));
    }
    return tools;
}

bool stop(const DeveloperTool& tool)
{
    if (const auto* signal = std::get_if<DeveloperTool::Signal>(&tool.stop))
        return terminateAll(signal->pids);
    // No register of applications to ask: the tool's own processes are the application.
    if (std::holds_alternative<DeveloperTool::QuitApp>(tool.stop))
        return askToQuit(tool.pids);
    const auto& command = std::get<DeveloperTool::Command>(tool.stop);
    const std::optional<Shell::Output> output =
        Shell::run(command.tool, command.arguments, {}, std::chrono::seconds(60));
    if (command.thenQuit)
        quitApplication(*command.thenQuit);
    return output && output->status == 0;
}

bool isWorkFolder(const std::string& path, const std::string& home)
{
    return path != "/" && path != home && !contains(path, ".app/") && path != home + "/Library"
           && !path.starts_with(home + "/Library/");
}

std::optional<std::string> devServerName(std::string_view commandLine)
{
    // Specific keys before the generic "--watch" and "--hot".
    static constexpr std::pair<std::string_view, std::string_view> servers[] = {
        {"vite", "Vite dev server"},
        {"next dev", "Next.js dev server"},
        {"next-server", "Next.js dev server"},
        {"webpack serve", "webpack dev server"},
        {"webpack-dev-server", "webpack dev server"},
        {"wrangler", "Wrangler dev server"},
        {"astro dev", "Astro dev server"},
        {"nuxi dev", "Nuxt dev server"},
        {"nuxt dev", "Nuxt dev server"},
        {"remix dev", "Remix dev server"},
        {"react-scripts start", "React dev server"},
        {"nodemon", "nodemon watcher"},
        {"tsx watch", "tsx watcher"},
        {"tsc --watch", "TypeScript watcher"},
        {"tsc -w", "TypeScript watcher"},
        {"--watch", "File watcher"},
        {"--hot", "Dev server"},
    };
    for (const auto& [key, name] : servers) {
        if (contains(commandLine, key))
            return std::string(name);
    }
    return std::nullopt;
}

std::string summary(const std::vector<std::string>& arguments, const std::string& folder)
{
    if (arguments.empty())
        return {};
    constexpr std::string_view modules = "/node_modules/";
    std::vector<std::string> parts{std::string(lastComponent(arguments.front()))};
    for (auto argument = std::next(arguments.begin()); argument != arguments.end(); ++argument) {
        if (contains(*argument, "/node_modules/.bin/"))
            parts = {std::string(lastComponent(*argument))};
        else if (const std::size_t at = argument->rfind(modules); at != std::string::npos)
            parts.push_back(argument->substr(at + modules.size()));
        else if (argument->starts_with(folder + "/"))
            parts.push_back(argument->substr(folder.size() + 1));
        else if (!argument->starts_with('/'))
            parts.push_back(*argument);
        else
            parts.push_back(std::string(lastComponent(*argument)));
    }

    // Counted and cut in characters, never inside one.
    const std::string text = joined(parts);
    constexpr std::size_t longest = 80;
    std::size_t characters = 0;
    std::size_t cut = 0; // the byte where the 80th character starts
    for (std::size_t at = 0; at < text.size(); ++at) {
        if ((static_cast<unsigned char>(text[at]) & 0xC0) == 0x80)
            continue;
        if (characters == longest - 1)
            cut = at;
        ++characters;
    }
    if (characters <= longest)
        return text;
    return text.substr(0, cut) + "…";
}

std::optional<std::string> appName(std::string_view path)
{
    const std::optional<std::string> bundle = ProcessSampler::bundlePath(path);
    if (!bundle)
        return std::nullopt;
    std::string name(lastComponent(*bundle));
    name.resize(name.size() - (name.ends_with(".app.bundle") ? 11 : 4));
    if (name.empty())
        return std::nullopt;
    if (std::any_of(name.begin(), name.end(), [](char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }))
        return name;
    // A lower-case file name is often not what the application calls itself.
    const std::optional<PropertyList::Dictionary> info = PropertyList::readDictionary(*bundle + "/Contents/Info.plist");
    if (info) {
        if (std::optional<std::string> bundleName = info->string("CFBundleName"); bundleName && !bundleName->empty())
            return bundleName;
    }
    return name;
}

} // namespace tarno::DeveloperTools
