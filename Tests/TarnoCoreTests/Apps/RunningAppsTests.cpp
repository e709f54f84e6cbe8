#include "TarnoCore/Apps/RunningApps.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace tarno {
namespace {

using Platform::ProcessTable;
using PIDs = std::vector<std::int32_t>;

// A made-up procfs tree with the files that say which app a process is of.
struct FakeProcfs {
    ProcessTable table() const { return ProcessTable(folder.path(), 100); }

    void write(const std::string& relative, std::string_view contents) const
    {
        std::ofstream(folder.makeFile(relative), std::ios::binary) << contents;
    }

    // A process in state `state` ('S' sleeping, 'Z' zombie) with an executable.
    void addProcess(std::int32_t pid, const std::string& executable, char state = 'S') const
    {
        const std::string number = std::to_string(pid);
        write(number + "/stat", number + " (proc) " + state
                                    + " 1 1 1 0 -1 4194560 10 0 0 0 5 5 0 0 20 0 1 0 4242 41803776 2941 0 0 0\n");
        folder.makeSymlink(executable, number + "/exe");
    }

    // A process in the sandbox of a Flatpak app, whose .flatpak-info is `info`.
    void addSandboxed(std::int32_t pid, std::string_view info) const
    {
        addProcess(pid, "/app/bin/run");
        write(std::to_string(pid) + "/root/.flatpak-info", info);
    }

    // A process with the NUL-separated `environment`.
    void addWithEnvironment(std::int32_t pid, std::string_view environment, char state = 'S') const
    {
        addProcess(pid, "/tmp/.mount_Tool/usr/bin/tool", state);
        write(std::to_string(pid) + "/environ", environment);
    }

    test::TemporaryFolder folder;
};

InstalledApp app(AppKind kind, std::string path, std::string id)
{
    return InstalledApp{
        .path = std::move(path),
        .name = "App",
        .bundleID = std::move(id),
        .version = std::nullopt,
        .lastOpened = std::nullopt,
        .needsPassword = false,
        .kind = kind,
        .icon = std::nullopt,
        .ownFiles = {},
    };
}

std::string flatpakInfo(std::string_view id)
{
    return "[Application]\nname=" + std::string(id) + "\nruntime=runtime/org.example.Platform/x86_64/46\n\n"
           + "[Instance]\ninstance-id=1234\n";
}

std::string environment(std::initializer_list<std::string_view> variables)
{
    std::string text;
    for (const std::string_view variable : variables)
        text.append(variable).push_back('\0');
    return text;
}

TEST(RunningAppsTests, ABundlesProcessesAreThoseRunningFromInsideIt)
{
    FakeProcfs procfs;
    const std::string bundle = "/Applications/Editor.app";
    procfs.addProcess(300, bundle + "/Contents/MacOS/Editor");
    procfs.addProcess(120, bundle + "/Contents/Frameworks/Editor Helper.app/Contents/MacOS/Editor Helper");
    procfs.addProcess(301, "/Applications/Editor.app.old/Contents/MacOS/Editor"); // another bundle
    procfs.addProcess(302, "/Applications/Other.app/Contents/MacOS/Other");
    procfs.addProcess(303, bundle + "/Contents/MacOS/Editor", 'Z');               // ended, not reaped
    procfs.addProcess(::getpid(), bundle + "/Contents/MacOS/Editor");             // ourselves
    procfs.folder.makeSymlink(bundle + "/Contents/MacOS/Editor", "304/exe");      // gone: no stat
    procfs.write("305/stat", "305 (kworker/0:1) I 2 0 0 0 -1 69238880 0 0 0 0 0 0 0 0 20 0 1 0 9 0 0 0 0 0\n");

    EXPECT_EQ(RunningApps::pids(app(AppKind::bundle, bundle, "com.example.editor"), procfs.table()), (PIDs{120, 300}));
    EXPECT_EQ(RunningApps::pids(app(AppKind::bundle, "/Applications/Other.app", "com.example.other"), procfs.table()),
              (PIDs{302}));
    EXPECT_TRUE(RunningApps::pids(app(AppKind::bundle, "", "com.example.none"), procfs.table()).empty());
    // The kind decides what is compared: a Flatpak app's folder holds no executable the kernel reports.
    EXPECT_TRUE(RunningApps::pids(app(AppKind::flatpak, bundle, "com.example.editor"), procfs.table()).empty());
}

TEST(RunningAppsTests, AFlatpakAppsProcessesAreThoseInItsSandbox)
{
    FakeProcfs procfs;
    procfs.addSandboxed(400, flatpakInfo("org.example.App"));
    procfs.addSandboxed(401, flatpakInfo("org.example.App"));
    procfs.addSandboxed(402, flatpakInfo("org.example.App.Plugin"));
    // A runtime run on its own names no app, and other groups' names do not count.
    procfs.addSandboxed(403, "[Runtime]\nname=org.example.App\n");
    procfs.addSandboxed(404, "[Instance]\nname=org.example.App\n[Application]\n# name=org.example.App\nname=other\n");
    procfs.addProcess(405, "/usr/bin/flatpak"); // outside any sandbox
    procfs.addSandboxed(406, flatpakInfo("org.example.App"));
    procfs.write("406/stat", "406 (run) Z 1 1 1 0 -1 4194560 10 0 0 0 5 5 0 0 20 0 1 0 4242 0 0 0 0 0\n");

    const ProcessTable table = procfs.table();
    EXPECT_EQ(RunningApps::pids(app(AppKind::flatpak, "/var/lib/flatpak/app/org.example.App", "org.example.App"), table),
              (PIDs{400, 401}));
    EXPECT_EQ(RunningApps::pids(app(AppKind::flatpak, "/x/org.example.App.Plugin", "org.example.App.Plugin"), table),
              (PIDs{402}));
    EXPECT_EQ(RunningApps::pids(app(AppKind::flatpak, "/x/other", "other"), table), (PIDs{404}));

    EXPECT_EQ(table.flatpakApplication(400), "org.example.App");
    EXPECT_EQ(table.flatpakApplication(403), std::nullopt);
    EXPECT_EQ(table.flatpakApplication(405), std::nullopt);
    EXPECT_EQ(table.flatpakApplication(999), std::nullopt);
    EXPECT_EQ(ProcessTable::parseFlatpakApplication("[Application]\r\n  name = org.example.Spaced  \r\n"),
              "org.example.Spaced");
    EXPECT_EQ(ProcessTable::parseFlatpakApplication("[Application]\nname=\n"), std::nullopt);
    EXPECT_EQ(ProcessTable::parseFlatpakApplication("name=org.example.NoGroup\n"), std::nullopt);
    EXPECT_EQ(ProcessTable::parseFlatpakApplication("[Application]\nname=org.example.Last"), "org.example.Last");
}

TEST(RunningAppsTests, AnAppImagesProcessesAreThoseItsRuntimeStarted)
{
    test::TemporaryFolder home;
    const std::string image = std::filesystem::canonical(home.makeFile("real/Applications/Tool.AppImage")).string();
    home.makeSymlink(home / "real", "linked");
    FakeProcfs procfs;
    procfs.addWithEnvironment(500, environment({"HOME=/home/u", "APPIMAGE=" + image, "APPDIR=/tmp/.mount_Tool"}));
    procfs.addWithEnvironment(501, environment({"APPIMAGE=" + image}));
    procfs.addWithEnvironment(502, environment({"APPIMAGE=" + image + ".zsync", "XAPPIMAGE=" + image}));
    procfs.addWithEnvironment(503, environment({"APPIMAGE=" + home / "real/Applications/Other.AppImage"}));
    procfs.addWithEnvironment(504, environment({"APPIMAGE=" + image}), 'Z');
    procfs.addProcess(505, image); // no environment to read
    // Only the first definition counts, as getenv sees it.
    procfs.addWithEnvironment(506, environment({"APPIMAGE=/elsewhere", "APPIMAGE=" + image}));
    procfs.addWithEnvironment(507, std::string("LANG=C\0APPIMAGE=", 16) + image); // unterminated last

    const ProcessTable table = procfs.table();
    EXPECT_EQ(RunningApps::pids(app(AppKind::appImage, image, "Tool.AppImage"), table), (PIDs{500, 501, 507}));
    // The runtime reports the file with its links resolved.
    EXPECT_EQ(RunningApps::pids(app(AppKind::appImage, home / "linked/Applications/Tool.AppImage", "Tool.AppImage"),
                                table),
              (PIDs{500, 501, 507}));

    EXPECT_EQ(table.environmentVariable(500, "APPDIR"), "/tmp/.mount_Tool");
    EXPECT_EQ(table.environmentVariable(500, "HOME"), "/home/u");
    EXPECT_EQ(table.environmentVariable(500, "HOM"), std::nullopt);
    EXPECT_EQ(table.environmentVariable(500, ""), std::nullopt);
    EXPECT_EQ(table.environmentVariable(505, "APPIMAGE"), std::nullopt);
    EXPECT_EQ(ProcessTable::parseEnvironmentVariable(environment({"EMPTY=", "A=b=c"}), "EMPTY"), "");
    EXPECT_EQ(ProcessTable::parseEnvironmentVariable(environment({"EMPTY=", "A=b=c"}), "A"), "b=c");
    EXPECT_EQ(ProcessTable::parseEnvironmentVariable(environment({"A=b"}), "A=b"), std::nullopt);
}

} // namespace
} // namespace tarno
