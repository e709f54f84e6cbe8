#include "TarnoCore/Foundation/PathGuard.hpp"

#include "TarnoCore/Platform/Locations.hpp"

#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>

#include <unistd.h>

namespace tarno {
namespace {

using test::ScopedEnvironment;
using test::TemporaryFolder;

std::string describe(const PathGuard::Verdict& verdict)
{
    if (const auto* refusal = std::get_if<PathGuard::Refused>(&verdict))
        return "refused: " + refusal->reason;
    return "allowed";
}

std::string deleting(const PathGuard& guard, std::string_view path) { return describe(guard.checkDelete(path)); }
std::string trashing(const PathGuard& guard, std::string_view path) { return describe(guard.checkTrash(path)); }

constexpr const char* allowed = "allowed";
constexpr const char* outside = "refused: outside the home folder";
constexpr const char* topLevel = "refused: top-level folder in the home folder";

// A made-up home in a fresh folder, with the Trash inside it and an Applications folder beside it.
class PathGuardTest : public ::testing::Test {
protected:
    PathGuardTest()
        : dataHome("XDG_DATA_HOME", root / "home/.local/share")
    {
        root.makeFolder("home/Library/Caches/com.example");
        root.makeFolder("home/Library/Developer/Xcode/DerivedData");
        root.makeFolder("home/Documents");
        root.makeFolder("home/.ssh");
        root.makeFolder("home/.cursor");
        root.makeFile("home/notes.txt");
        root.makeFile("home/.ssh/config");
        root.makeFolder("Applications");
    }

    std::string home() const { return root / "home"; }
    PathGuard guard() const { return PathGuard(home(), root / "Applications", root / "bin/tarno"); }

    TemporaryFolder root;
    ScopedEnvironment dataHome;
};

TEST_F(PathGuardTest, JudgesPathsByTheTables)
{
    struct Case {
        std::string relative; // to the home folder
        std::string forDelete;
        std::string forTrash = {}; // empty: as for delete
    };
    const Case cases[] = {
        {"", outside},
        {".ssh/config", "refused: protected folder .ssh"},
        {".ssh", topLevel},
        {".sshx/key", allowed},
        {".gnupg/private-keys-v1.d", "refused: protected folder .gnupg"},
        {"Library/Keychains", "refused: protected folder Library/Keychains"},
        {"Library/Keychains/login.keychain-db", "refused: protected folder Library/Keychains"},
        {"Documents/a.txt", "refused: protected folder Documents", allowed},
        {"Documents", topLevel},
        // Not there, so checkTrash judges it by its text alone.
        {"Movies", topLevel, "refused: would remove Movies itself"},
        {"documents/a.txt", allowed},
        {"Library", topLevel},
        {"Library/Mobile Documents", "refused: protected folder Library/Mobile Documents",
         "refused: would remove Library/Mobile Documents itself"},
        {"Library/Mobile Documents/com~apple~CloudDocs/a", "refused: protected folder Library/Mobile Documents",
         allowed},
        {"Library/Preferences/com.example.plist", "refused: protected folder Library/Preferences", allowed},
        {"Library/Caches", "refused: would remove Library/Caches itself"},
        {"Library/Caches/com.example", allowed},
        {"Library/Developer", "refused: would remove Library/Developer/Xcode itself"},
        {"Library/Developer/CoreSimulator", "refused: would remove Library/Developer/CoreSimulator/Devices itself"},
        {"Library/Developer/Xcode/DerivedData", allowed},
        {"Library/Other", allowed},
        {"notes.txt", topLevel, allowed},
        {".cursor", allowed, topLevel},
        {".vscode", allowed},
        {".Trash", topLevel, "refused: would remove .Trash itself"},
        {".Trash/old.txt", allowed},
        {".gradle/wrapper", "refused: would remove .gradle/wrapper itself"},
        {".gradle/wrapper/dists", allowed},
    };
    const PathGuard guardian = guard();
    for (const Case& c : cases) {
        const std::string path = c.relative.empty() ? home() : home() + "/" + c.relative;
        EXPECT_EQ(deleting(guardian, path), c.forDelete) << "checkDelete " << c.relative;
        EXPECT_EQ(trashing(guardian, path), c.forTrash.empty() ? c.forDelete : c.forTrash)
            << "checkTrash " << c.relative;
    }
}

TEST_F(PathGuardTest, RefusesWhatLiesOutsideTheHome)
{
    const PathGuard guardian = guard();
    for (const std::string& path : {std::string("/etc/passwd"), root / "homework/Library/Caches/x",
                                    home() + "/../elsewhere/x", std::string("/"), std::string()}) {
        EXPECT_EQ(deleting(guardian, path), outside) << path;
        EXPECT_EQ(trashing(guardian, path), outside) << path;
    }
    // No file name holds a NUL; the system would stop reading the path there.
    EXPECT_EQ(deleting(guardian, home() + "/Library/Caches/x" + std::string(1, '\0') + "/../../.."), outside);
    // A guard without a home folder has nothing to allow.
    for (const char* noHome : {"", "/"})
        EXPECT_EQ(deleting(PathGuard(noHome, root / "Applications", ""), home() + "/Library/Caches/x"), outside);
}

TEST_F(PathGuardTest, StandardisesPathsBeforeJudging)
{
    const PathGuard guardian = guard();
    const std::string h = home(), cachesItself = "refused: would remove Library/Caches itself";
    EXPECT_EQ(deleting(guardian, h + "//Library///Caches/./x/../y"), allowed);
    EXPECT_EQ(deleting(guardian, h + "/Library/Caches/../../.ssh/id_ed25519"), "refused: protected folder .ssh");
    EXPECT_EQ(deleting(guardian, h + "/Library/Caches/"), cachesItself);
    EXPECT_EQ(deleting(guardian, h + "/Library/Caches//"), cachesItself);
    EXPECT_EQ(deleting(guardian, h + "/Library/Caches/com.example/.."), cachesItself);
    EXPECT_EQ(trashing(guardian, h + "/Documents/"), topLevel);

    // The home is normalised on the way in.
    EXPECT_EQ(PathGuard(h + "/", root / "Applications//").home(), h);
    EXPECT_EQ(PathGuard(root / "./home/../home", root / "Applications").home(), h);
    EXPECT_EQ(PathGuard(h + "/", root / "Applications//").systemApplications(), root / "Applications");
}

TEST_F(PathGuardTest, NormalizeResolvesLinksInParentsOnly)
{
    root.makeFolder("real/inner");
    root.makeSymlink(root / "real", "link");
    const std::string r = root.path();

    EXPECT_EQ(PathGuard::normalize(r + "/link/inner/file"), r + "/real/inner/file");
    EXPECT_EQ(PathGuard::normalize(r + "/link"), r + "/link");
    EXPECT_EQ(PathGuard::normalize(r + "/link/"), r + "/link");
    // Resolved as far as the parent exists, the rest as written.
    EXPECT_EQ(PathGuard::normalize(r + "/link/missing/deeper/file"), r + "/real/missing/deeper/file");
    EXPECT_EQ(PathGuard::normalize(r + "/a//b/./c/../d/"), r + "/a/b/d");
    for (const auto& [path, normal] : {std::pair{"/..", "/"}, {"/", "/"}, {"//x", "/x"}, {"", ""}})
        EXPECT_EQ(PathGuard::normalize(path), normal) << path;

    // A relative path is taken from the current folder.
    const std::string before = std::filesystem::current_path().string();
    ASSERT_EQ(::chdir((r + "/link").c_str()), 0);
    const std::string relative = PathGuard::normalize("inner/file");
    const std::string upward = PathGuard::normalize("../x");
    ASSERT_EQ(::chdir(before.c_str()), 0);
    EXPECT_EQ(relative, r + "/real/inner/file");
    EXPECT_EQ(upward, r + "/x");
}

TEST_F(PathGuardTest, JudgesPathsAndHomesThroughLinksWhereTheyLead)
{
    const std::string h = home(), caches = h + "/Library/Caches";
    root.makeSymlink(h + "/Documents", "home/Library/Caches/evil");
    root.makeSymlink("../../.ssh", "home/Library/Caches/keys");
    root.makeSymlink(h + "/Library", "home/Library/Caches/library");
    root.makeSymlink(root.makeFolder("outside"), "home/Library/Caches/out");
    root.makeSymlink(h, "alias");
    root.makeSymlink(h + "/Documents", "home/docs");
    const PathGuard guardian = guard();

    EXPECT_EQ(deleting(guardian, caches + "/evil/x"), "refused: protected folder Documents");
    EXPECT_EQ(deleting(guardian, caches + "/evil/missing/x"), "refused: protected folder Documents");
    EXPECT_EQ(trashing(guardian, caches + "/keys/id_rsa"), "refused: protected folder .ssh");
    EXPECT_EQ(deleting(guardian, caches + "/library/Caches"), "refused: would remove Library/Caches itself");
    EXPECT_EQ(deleting(guardian, caches + "/out/x"), outside);
    // The link itself is judged where it is: removing it leaves its target.
    EXPECT_EQ(deleting(guardian, caches + "/evil"), allowed);
    // The home reached by another name is the home.
    EXPECT_EQ(deleting(guardian, root / "alias/Library/Caches/x"), allowed);
    EXPECT_EQ(deleting(guardian, root / "alias/.ssh/config"), "refused: protected folder .ssh");
    // A top-level link to a folder is a top-level folder for the Trash.
    EXPECT_EQ(trashing(guardian, h + "/docs"), topLevel);

    // A home given through a link is judged at its real place.
    const PathGuard linked(root / "alias", root / "Applications", root / "bin/tarno");
    EXPECT_EQ(deleting(linked, root / "alias/Library/Caches/com.example"), allowed);
    EXPECT_EQ(deleting(linked, caches + "/com.example"), allowed);
    EXPECT_EQ(deleting(linked, root / "alias/.ssh/config"), "refused: protected folder .ssh");
    EXPECT_EQ(deleting(linked, root / "alias"), outside);
}

TEST_F(PathGuardTest, KeepsThisPlatformsTrashWhereverItIs)
{
    {
        ScopedEnvironment unset("XDG_DATA_HOME", std::nullopt);
        const PathGuard guardian(home(), root / "Applications", "");
        EXPECT_TRUE(std::ranges::count(guardian.keptFolderEntries(), ".local/share/Trash"));
    }
    {
        ScopedEnvironment elsewhere("XDG_DATA_HOME", home() + "/data");
        const PathGuard guardian(home(), root / "Applications", "");
        EXPECT_TRUE(std::ranges::count(guardian.keptFolderEntries(), "data/Trash"));
        EXPECT_EQ(deleting(guardian, home() + "/data/Trash"), "refused: would remove data/Trash itself");
        EXPECT_EQ(deleting(guardian, home() + "/data/Trash/files/x"), allowed);
    }
    {
        // A Trash outside the home adds nothing: nothing there passes anyway.
        ScopedEnvironment shared("XDG_DATA_HOME", root / "shared");
        const PathGuard guardian(home(), root / "Applications", "");
        EXPECT_TRUE(std::ranges::none_of(guardian.keptFolderEntries(),
                                         [](const std::string& entry) { return entry.find("shared") != entry.npos; }));
    }
}

TEST_F(PathGuardTest, KnowsWhatALinuxHomeMustNeverLoseWhole)
{
    root.makeFolder("home/.config");
    std::ofstream(root.makeFile("home/.config/user-dirs.dirs")) << "XDG_DOWNLOAD_DIR=\"$HOME/Incoming\"\n";
    root.makeFile("home/Incoming/tool.deb", 10);
    root.makeFile("home/.local/share/Trash/files/old.txt", 10);
    const PathGuard guardian = guard();
    struct Case {
        std::string relative; // to the home folder
        std::string whenDeleted;
        std::string whenTrashed = {}; // empty: as when deleted
    };
    const Case cases[] = {
        {".config", topLevel},
        {".config/Code", allowed},
        // Holding the keyrings, it is judged by them first.
        {".local/share", "refused: protected folder .local/share/keyrings"},
        {".local/share/Trash", "refused: would remove .local/share/Trash itself"},
        {".local/share/Steam", allowed},
        {".local/share/keyrings/login.keyring", "refused: protected folder .local/share/keyrings"},
        {".pki/nssdb", "refused: protected folder .pki"},
        {".docker/config.json", "refused: protected folder .docker/config.json"},
        {".var/app", "refused: would remove .var/app itself"},
        {".var/app/org.gnome.Maps", allowed},
        {".cache", topLevel, "refused: would remove .cache itself"},
        {".cache/pip", allowed},
        {".local/share/Trash/files", "refused: would remove .local/share/Trash/files itself"},
        {".local/share/Trash/info", "refused: would remove .local/share/Trash/info itself"},
        {".local/share/Trash/files/old.txt", allowed},
        {"Videos/holiday.mp4", "refused: protected folder Videos", allowed},
        // The downloads folder that user-dirs.dirs names is the user's own, as ~/Downloads is.
        {"Incoming/tool.deb", "refused: protected folder Incoming", allowed},
        {"Incoming", topLevel},
    };
    for (const Case& c : cases) {
        const std::string path = home() + "/" + c.relative;
        EXPECT_EQ(deleting(guardian, path), c.whenDeleted) << path;
        EXPECT_EQ(trashing(guardian, path), c.whenTrashed.empty() ? c.whenDeleted : c.whenTrashed) << path;
    }
}

TEST_F(PathGuardTest, AllowsOnlyWholeAppBundlesInApplicationsFolders)
{
    const std::string apps = root / "Applications";
    for (const char* bundle : {"Applications/Good.app", "Applications/Utilities/Tool.app", "Applications/Tarno.app",
                               "Applications/Good.app/Contents/Helper.app", "Applications/Outer.app/Inner.app",
                               "Applications/a/b/Deep.app", "home/Applications/Mine.app", "home/Apps/Mine.app"})
        root.makeFile(std::string(bundle) + "/Contents/Info.plist");
    root.makeFile("Applications/Plain.app");
    root.makeFolder("Applications/Bare.app/Contents");
    root.makeSymlink(apps + "/Good.app", "Applications/Link.app");
    const PathGuard guardian = guard();

    const std::pair<std::string, std::vector<std::string>> verdicts[] = {
        {allowed,
         {apps + "/Good.app", apps + "/Good.app/", apps + "/Utilities/Tool.app", home() + "/Applications/Mine.app",
          apps + "/Tarno.app"}},
        {"refused: inside another folder or app",
         {apps + "/Good.app/Contents/Helper.app", apps + "/Outer.app/Inner.app", apps + "/a/b/Deep.app"}},
        {"refused: not a folder, or a symbolic link", {apps + "/Link.app", apps + "/Plain.app", apps + "/Missing.app"}},
        {"refused: not an app bundle", {apps + "/Bare.app"}},
        {"refused: not in an Applications folder", {home() + "/Apps/Mine.app", root / "Applicationsx/Good.app"}},
        {"refused: not an app", {apps + "/Good.app/Contents/Info.plist", apps}},
    };
    for (const auto& [verdict, paths] : verdicts)
        for (const std::string& path : paths)
            EXPECT_EQ(describe(guardian.checkTrashApp(path)), verdict) << path;

    // The running program, as the bundle or inside it.
    const PathGuard inside(home(), apps, apps + "/Tarno.app/Contents/MacOS/Tarno");
    EXPECT_EQ(describe(inside.checkTrashApp(apps + "/Tarno.app")), "refused: Tarno itself");
    EXPECT_EQ(describe(inside.checkTrashApp(apps + "/Good.app")), allowed);
    const PathGuard itself(home(), apps, apps + "/Tarno.app");
    EXPECT_EQ(describe(itself.checkTrashApp(apps + "/Tarno.app/")), "refused: Tarno itself");
    const PathGuard lookalike(home(), apps, apps + "/Tarno.apps/x");
    EXPECT_EQ(describe(lookalike.checkTrashApp(apps + "/Tarno.app")), allowed);
}

TEST_F(PathGuardTest, AllowsAppImagesAndFlatpakAppsWhereTheyAreInstalled)
{
    const auto writeFile = [&](const std::string& relative, std::string_view bytes) {
        std::ofstream(root.makeFile(relative), std::ios::binary) << bytes;
        return root / relative;
    };
    const std::string_view appImage("\x7f" "ELF\x02\x01\x01\x00" "AI\x02", 11);
    const std::string mine = writeFile("home/Applications/Tool.AppImage", appImage);
    const std::string local = writeFile("home/.local/bin/tool", appImage);
    const std::string deeper = writeFile("home/Applications/sub/Tool.AppImage", appImage);
    const std::string elsewhere = writeFile("home/Downloads/Tool.AppImage", appImage);
    const std::string plainProgram = writeFile("home/.local/bin/script", "#!/bin/sh\n");
    const std::string link = root.makeSymlink(mine, "home/Applications/Link.AppImage");
    const std::string flatpak = root.makeFolder("home/.local/share/flatpak/app/org.example.App");
    const std::string shortID = root.makeFolder("home/.local/share/flatpak/app/example");
    const std::string flatpakLink = root.makeSymlink(flatpak, "home/.local/share/flatpak/app/org.example.Link");
    const std::string notFlatpak = root.makeFolder("home/.local/share/apps/org.example.App");
    const PathGuard guardian = guard();

    const std::pair<std::string, std::vector<std::string>> whenTrashed[] = {
        {allowed, {mine, local}},
        {"refused: not an app", {deeper, elsewhere, flatpak}},
        {"refused: not an AppImage", {plainProgram, link}},
    };
    for (const auto& [verdict, paths] : whenTrashed)
        for (const std::string& path : paths)
            EXPECT_EQ(describe(guardian.checkTrashApp(path)), verdict) << path;
    EXPECT_EQ(describe(PathGuard(home(), root / "Applications", mine).checkTrashApp(mine)), "refused: Tarno itself");

    const std::pair<std::string, std::vector<std::string>> whenUninstalled[] = {
        {allowed, {flatpak, flatpak + "/"}},
        {"refused: not a Flatpak app", {shortID}},
        {"refused: not a folder, or a symbolic link", {flatpakLink, flatpak + "x.y"}},
        {"refused: not in a Flatpak installation", {notFlatpak, flatpak + "/current", mine}},
    };
    for (const auto& [verdict, paths] : whenUninstalled)
        for (const std::string& path : paths)
            EXPECT_EQ(describe(guardian.checkUninstallFlatpak(path)), verdict) << path;
}

TEST(RunningExecutablePath, IsThisTestProgram)
{
    const std::string path = Platform::runningExecutablePath();
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.front(), '/');
    EXPECT_EQ(std::filesystem::path(path).filename(), "tarno_core_tests");
    EXPECT_FALSE(std::filesystem::is_symlink(path));
}

} // namespace
} // namespace tarno
