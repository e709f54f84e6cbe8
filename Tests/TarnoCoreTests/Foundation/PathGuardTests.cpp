#include "TarnoCore/Foundation/PathGuard.hpp"

#include "TarnoCore/Platform/Locations.hpp"

#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
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

constexpr const char* allowed = "allowed";

// A made-up home in a fresh folder, with the Trash inside it and an
// Applications folder beside it.
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
        std::string forTrash;
    };
    const Case cases[] = {
        {"", "refused: outside the home folder", "refused: outside the home folder"},
        {".ssh/config", "refused: protected folder .ssh", "refused: protected folder .ssh"},
        {".ssh", "refused: top-level folder in the home folder", "refused: top-level folder in the home folder"},
        {".sshx/key", allowed, allowed},
        {".gnupg/private-keys-v1.d", "refused: protected folder .gnupg", "refused: protected folder .gnupg"},
        {"Library/Keychains", "refused: protected folder Library/Keychains",
         "refused: protected folder Library/Keychains"},
        {"Library/Keychains/login.keychain-db", "refused: protected folder Library/Keychains",
         "refused: protected folder Library/Keychains"},
        {"Documents/a.txt", "refused: protected folder Documents", allowed},
        {"Documents", "refused: top-level folder in the home folder", "refused: top-level folder in the home folder"},
        // Not there, so checkTrash judges it by its text alone.
        {"Movies", "refused: top-level folder in the home folder", "refused: would remove Movies itself"},
        {"documents/a.txt", allowed, allowed},
        {"Library", "refused: top-level folder in the home folder", "refused: top-level folder in the home folder"},
        {"Library/Mobile Documents", "refused: protected folder Library/Mobile Documents",
         "refused: would remove Library/Mobile Documents itself"},
        {"Library/Mobile Documents/com~apple~CloudDocs/a", "refused: protected folder Library/Mobile Documents",
         allowed},
        {"Library/Preferences/com.example.plist", "refused: protected folder Library/Preferences", allowed},
        {"Library/Caches", "refused: would remove Library/Caches itself",
         "refused: would remove Library/Caches itself"},
        {"Library/Caches/com.example", allowed, allowed},
        {"Library/Developer", "refused: would remove Library/Developer/Xcode itself",
         "refused: would remove Library/Developer/Xcode itself"},
        {"Library/Developer/CoreSimulator", "refused: would remove Library/Developer/CoreSimulator/Devices itself",
         "refused: would remove Library/Developer/CoreSimulator/Devices itself"},
        {"Library/Developer/Xcode/DerivedData", allowed, allowed},
        {"Library/Other", allowed, allowed},
        {"notes.txt", "refused: top-level folder in the home folder", allowed},
        {".cursor", allowed, "refused: top-level folder in the home folder"},
        {".vscode", allowed, allowed},
        {".Trash", "refused: top-level folder in the home folder", "refused: would remove .Trash itself"},
        {".Trash/old.txt", allowed, allowed},
        {".gradle/wrapper", "refused: would remove .gradle/wrapper itself",
         "refused: would remove .gradle/wrapper itself"},
        {".gradle/wrapper/dists", allowed, allowed},
        // This platform's Trash is kept too.
        {".local/share/Trash", "refused: would remove .local/share/Trash itself",
         "refused: would remove .local/share/Trash itself"},
        {".local/share", "refused: would remove .local/share/Trash itself",
         "refused: would remove .local/share/Trash itself"},
        {".local/share/Trash/files/old.txt", allowed, allowed},
    };
    const PathGuard guardian = guard();
    for (const Case& c : cases) {
        const std::string path = c.relative.empty() ? home() : home() + "/" + c.relative;
        EXPECT_EQ(describe(guardian.checkDelete(path)), c.forDelete) << "checkDelete " << c.relative;
        EXPECT_EQ(describe(guardian.checkTrash(path)), c.forTrash) << "checkTrash " << c.relative;
    }
}

TEST_F(PathGuardTest, RefusesWhatLiesOutsideTheHome)
{
    const PathGuard guardian = guard();
    for (const std::string& path : {std::string("/etc/passwd"), root / "homework/Library/Caches/x",
                                    home() + "/../elsewhere/x", std::string("/"), std::string()}) {
        EXPECT_EQ(describe(guardian.checkDelete(path)), "refused: outside the home folder") << path;
        EXPECT_EQ(describe(guardian.checkTrash(path)), "refused: outside the home folder") << path;
    }
    // No file name holds a NUL; the system would stop reading the path there.
    const std::string cut = home() + "/Library/Caches/x" + std::string(1, '\0') + "/../../..";
    EXPECT_EQ(describe(guardian.checkDelete(cut)), "refused: outside the home folder");

    // A guard without a home folder has nothing to allow.
    const PathGuard homeless("", root / "Applications", "");
    EXPECT_EQ(describe(homeless.checkDelete(home() + "/Library/Caches/x")), "refused: outside the home folder");
    const PathGuard rootHome("/", root / "Applications", "");
    EXPECT_EQ(describe(rootHome.checkDelete(home() + "/Library/Caches/x")), "refused: outside the home folder");
}

TEST_F(PathGuardTest, JudgesAHomeReachedThroughALinkAtItsRealPlace)
{
    const std::string linkedHome = root.makeSymlink("home", "linked-home");
    const PathGuard guardian(linkedHome, root / "Applications", root / "bin/tarno");
    EXPECT_EQ(describe(guardian.checkDelete(linkedHome + "/Library/Caches/com.example")), allowed);
    EXPECT_EQ(describe(guardian.checkDelete(home() + "/Library/Caches/com.example")), allowed);
    EXPECT_EQ(describe(guardian.checkDelete(linkedHome + "/.ssh/config")), "refused: protected folder .ssh");
    EXPECT_EQ(describe(guardian.checkDelete(linkedHome)), "refused: outside the home folder");
}

TEST_F(PathGuardTest, StandardisesPathsBeforeJudging)
{
    const PathGuard guardian = guard();
    const std::string h = home();
    EXPECT_EQ(describe(guardian.checkDelete(h + "//Library///Caches/./x/../y")), allowed);
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/../../.ssh/id_ed25519")),
              "refused: protected folder .ssh");
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/")), "refused: would remove Library/Caches itself");
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches//")), "refused: would remove Library/Caches itself");
    EXPECT_EQ(describe(guardian.checkTrash(h + "/Documents/")), "refused: top-level folder in the home folder");
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/com.example/..")),
              "refused: would remove Library/Caches itself");

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
    EXPECT_EQ(PathGuard::normalize("/.."), "/");
    EXPECT_EQ(PathGuard::normalize("/"), "/");
    EXPECT_EQ(PathGuard::normalize("//x"), "/x");
    EXPECT_EQ(PathGuard::normalize(""), "");

    // A relative path is taken from the current folder.
    const std::string before = std::filesystem::current_path().string();
    ASSERT_EQ(::chdir((r + "/link").c_str()), 0);
    const std::string relative = PathGuard::normalize("inner/file");
    const std::string upward = PathGuard::normalize("../x");
    ASSERT_EQ(::chdir(before.c_str()), 0);
    EXPECT_EQ(relative, r + "/real/inner/file");
    EXPECT_EQ(upward, r + "/x");
}

TEST_F(PathGuardTest, JudgesPathsThroughLinksWhereTheyLead)
{
    const std::string h = home();
    root.makeSymlink(h + "/Documents", "home/Library/Caches/evil");
    root.makeSymlink("../../.ssh", "home/Library/Caches/keys");
    root.makeSymlink(h + "/Library", "home/Library/Caches/library");
    root.makeFolder("outside");
    root.makeSymlink(root / "outside", "home/Library/Caches/out");
    root.makeSymlink(h, "alias");
    const PathGuard guardian = guard();

    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/evil/x")), "refused: protected folder Documents");
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/evil/missing/x")),
              "refused: protected folder Documents");
    EXPECT_EQ(describe(guardian.checkTrash(h + "/Library/Caches/keys/id_rsa")), "refused: protected folder .ssh");
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/library/Caches")),
              "refused: would remove Library/Caches itself");
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/out/x")), "refused: outside the home folder");
    // The link itself is judged where it is: removing it leaves its target.
    EXPECT_EQ(describe(guardian.checkDelete(h + "/Library/Caches/evil")), allowed);
    // The home reached by another name is the home.
    EXPECT_EQ(describe(guardian.checkDelete(root / "alias/Library/Caches/x")), allowed);
    EXPECT_EQ(describe(guardian.checkDelete(root / "alias/.ssh/config")), "refused: protected folder .ssh");
    // A top-level link to a folder is a top-level folder for the Trash.
    root.makeSymlink(h + "/Documents", "home/docs");
    EXPECT_EQ(describe(guardian.checkTrash(h + "/docs")), "refused: top-level folder in the home folder");
}

TEST_F(PathGuardTest, KeepsThisPlatformsTrashWhereverItIs)
{
    const auto fixed = PathGuard::keptFolders();
    {
        ScopedEnvironment unset("XDG_DATA_HOME", std::nullopt);
        const PathGuard guardian(home(), root / "Applications", "");
        ASSERT_EQ(guardian.keptFolderEntries().size(), fixed.size() + 1);
        EXPECT_EQ(guardian.keptFolderEntries().back(), ".local/share/Trash");
    }
    {
        ScopedEnvironment elsewhere("XDG_DATA_HOME", home() + "/data");
        const PathGuard guardian(home(), root / "Applications", "");
        EXPECT_EQ(guardian.keptFolderEntries().back(), "data/Trash");
        EXPECT_EQ(describe(guardian.checkDelete(home() + "/data/Trash")), "refused: would remove data/Trash itself");
        EXPECT_EQ(describe(guardian.checkDelete(home() + "/data/Trash/files/x")), allowed);
    }
    {
        // A Trash outside the home adds nothing: nothing there passes anyway.
        ScopedEnvironment outside("XDG_DATA_HOME", root / "shared");
        const PathGuard guardian(home(), root / "Applications", "");
        EXPECT_EQ(guardian.keptFolderEntries().size(), fixed.size());
    }
}

TEST_F(PathGuardTest, AllowsOnlyWholeAppBundlesInApplicationsFolders)
{
    const std::string apps = root / "Applications";
    root.makeFile("Applications/Good.app/Contents/Info.plist");
    root.makeFile("Applications/Utilities/Tool.app/Contents/Info.plist");
    root.makeFile("Applications/Good.app/Contents/Helper.app/Contents/Info.plist");
    root.makeFile("Applications/Outer.app/Inner.app/Contents/Info.plist");
    root.makeFile("Applications/a/b/Deep.app/Contents/Info.plist");
    root.makeFile("Applications/Plain.app");
    root.makeFolder("Applications/Bare.app/Contents");
    root.makeSymlink(apps + "/Good.app", "Applications/Link.app");
    root.makeFile("home/Applications/Mine.app/Contents/Info.plist");
    root.makeFile("home/Apps/Mine.app/Contents/Info.plist");
    root.makeFile("Applications/Tarno.app/Contents/Info.plist");
    const PathGuard guardian = guard();

    struct Case {
        std::string path;
        std::string verdict;
    };
    const Case cases[] = {
        {apps + "/Good.app", allowed},
        {apps + "/Good.app/", allowed},
        {apps + "/Utilities/Tool.app", allowed},
        {home() + "/Applications/Mine.app", allowed},
        {apps + "/Good.app/Contents/Helper.app", "refused: inside another folder or app"},
        {apps + "/Outer.app/Inner.app", "refused: inside another folder or app"},
        {apps + "/a/b/Deep.app", "refused: inside another folder or app"},
        {apps + "/Link.app", "refused: not a folder, or a symbolic link"},
        {apps + "/Plain.app", "refused: not a folder, or a symbolic link"},
        {apps + "/Missing.app", "refused: not a folder, or a symbolic link"},
        {apps + "/Bare.app", "refused: not an app bundle"},
        {home() + "/Apps/Mine.app", "refused: not in an Applications folder"},
        {root / "Applicationsx/Good.app", "refused: not in an Applications folder"},
        {apps + "/Good.app/Contents/Info.plist", "refused: not an app"},
        {apps, "refused: not an app"},
        {apps + "/Tarno.app", allowed},
    };
    for (const Case& c : cases)
        EXPECT_EQ(describe(guardian.checkTrashApp(c.path)), c.verdict) << c.path;

    // The running program, as the bundle or inside it.
    const PathGuard inside(home(), apps, apps + "/Tarno.app/Contents/MacOS/Tarno");
    EXPECT_EQ(describe(inside.checkTrashApp(apps + "/Tarno.app")), "refused: Tarno itself");
    EXPECT_EQ(describe(inside.checkTrashApp(apps + "/Good.app")), allowed);
    const PathGuard itself(home(), apps, apps + "/Tarno.app");
    EXPECT_EQ(describe(itself.checkTrashApp(apps + "/Tarno.app/")), "refused: Tarno itself");
    const PathGuard lookalike(home(), apps, apps + "/Tarno.apps/x");
    EXPECT_EQ(describe(lookalike.checkTrashApp(apps + "/Tarno.app")), allowed);
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
