#include "TarnoCore/Platform/DesktopEntries.hpp"

#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace tarno {
namespace {

using Command = std::optional<std::vector<std::string>>;
using Arguments = std::vector<std::string>;

std::string entry(std::string_view exec)
{
    return "[Desktop Entry]\nType=Application\nName=Example\n" + std::string(exec) + "\n";
}

void writeEntry(const test::TemporaryFolder& root, std::string_view dataDir, std::string_view id,
                std::string_view text)
{
    std::ofstream(root.makeFile(std::string(dataDir) + "/applications/" + std::string(id) + ".desktop")) << text;
}

TEST(DesktopEntriesTests, ExecIsSplitByItsQuotingRules)
{
    // Left: the Exec line as the file holds it, where "\\" is itself an escape.
    const std::vector<std::pair<std::string, Arguments>> cases = {
        {"Exec=/opt/docker-desktop/bin/docker-desktop", {"/opt/docker-desktop/bin/docker-desktop"}},
        {R"(Exec="/opt/My App/run" --flag)", {"/opt/My App/run", "--flag"}},
        {"Exec =  app   --a \t --b  ", {"app", "--a", "--b"}},
        {R"(Exec=app "" last)", {"app", "", "last"}},
        {R"(Exec=app --name="A B"c)", {"app", "--name=A Bc"}},
        {R"(Exec=sh -c "echo \\"hi\\" \\$HOME \\`date\\` \\\\ done")", {"sh", "-c", R"(echo "hi" $HOME `date` \ done)"}},
        {R"(Exec=sh -c "keep \n as is")", {"sh", "-c", "keep \n as is"}},
        {R"(Exec="my\sapp" x\sy)", {"my app", "x", "y"}},
        {R"(Exec=C:\\dir)", {R"(C:\dir)"}},
    };
    for (const auto& [exec, expected] : cases)
        EXPECT_EQ(Platform::desktopEntryCommand(entry(exec)), Command(expected)) << exec;

    for (const std::string exec : {R"(Exec=app "unterminated)", "Exec=", "Exec=   ", R"(Exec=app "\\")"})
        EXPECT_EQ(Platform::desktopEntryCommand(entry(exec)), std::nullopt) << exec;
}

TEST(DesktopEntriesTests, FieldCodesAreLeftOut)
{
    const std::vector<std::pair<std::string, Arguments>> cases = {
        {"Exec=app %U", {"app"}},
        {"Exec=app %f --new %i %c %k", {"app", "--new"}},
        {"Exec=app %F%u", {"app"}},
        {"Exec=app --file=%f", {"app", "--file="}},
        {"Exec=app 100%% %%", {"app", "100%", "%"}},
        {"Exec=app 50% %1", {"app", "50%", "%1"}},
        {R"(Exec=app "%%" "")", {"app", "%", ""}},
    };
    for (const auto& [exec, expected] : cases)
        EXPECT_EQ(Platform::desktopEntryCommand(entry(exec)), Command(expected)) << exec;
    EXPECT_EQ(Platform::desktopEntryCommand(entry("Exec=%U %f")), std::nullopt) << "nothing is left to run";
}

TEST(DesktopEntriesTests, OnlyTheDesktopEntryGroupDecides)
{
    EXPECT_EQ(Platform::desktopEntryCommand("# made by hand\r\n[Desktop Action new]\r\nExec=app --new\r\n"
                                            "[Desktop Entry]\r\nExec[de]=app --de\r\nExec=app\r\nExec=second\r\n"
                                            "[Desktop Action quit]\r\nExec=app --quit\r\n"),
              Command({"app"}));
    EXPECT_EQ(Platform::desktopEntryCommand("[Desktop Entry]\n#Exec=commented\nName=None\n"
                                            "[Desktop Action new]\nExec=app --new\n"),
              std::nullopt);
    EXPECT_EQ(Platform::desktopEntryCommand("Exec=outside\n[Desktop Entry]\nName=None\n"), std::nullopt);
    EXPECT_EQ(Platform::desktopEntryCommand(""), std::nullopt);
    // A hidden entry counts as deleted; NoDisplay only keeps it out of menus.
    EXPECT_EQ(Platform::desktopEntryCommand(entry("Exec=app\nHidden=true")), std::nullopt);
    EXPECT_EQ(Platform::desktopEntryCommand(entry("Exec=app\nHidden=false\nNoDisplay=true")), Command({"app"}));
}

TEST(DesktopEntriesTests, TheFirstDataFolderWithTheEntryDecides)
{
    test::TemporaryFolder root;
    writeEntry(root, "first", "other", entry("Exec=other"));
    writeEntry(root, "second", "editor", entry("Exec=second-editor %F"));
    writeEntry(root, "third", "editor", entry("Exec=third-editor"));
    writeEntry(root, "third", "viewer", entry("Exec=third-viewer"));
    root.makeFolder("first/applications/viewer.desktop"); // a folder is no entry
    const std::vector<std::string> dirs = {root / "missing", root / "first", root / "second", root / "third"};

    EXPECT_EQ(Platform::desktopApplicationCommand("editor", dirs), Command({"second-editor"}));
    EXPECT_EQ(Platform::desktopApplicationCommand("viewer", dirs), Command({"third-viewer"}));
    EXPECT_EQ(Platform::desktopApplicationCommand("absent", dirs), std::nullopt);
    EXPECT_EQ(Platform::desktopApplicationCommand("", dirs), std::nullopt);
    EXPECT_EQ(Platform::desktopApplicationCommand("../applications/editor", {root / "third"}), std::nullopt);

    // An entry the user hid, or broke, hides the ones after it.
    writeEntry(root, "first", "editor", entry("Exec=first-editor\nHidden=true"));
    EXPECT_EQ(Platform::desktopApplicationCommand("editor", dirs), std::nullopt);
    writeEntry(root, "first", "editor", entry(R"(Exec="first-editor)"));
    EXPECT_EQ(Platform::desktopApplicationCommand("editor", dirs), std::nullopt);
}

TEST(DesktopEntriesTests, TheDataHomeComesBeforeTheSharedDataFolders)
{
    test::TemporaryFolder root;
    const std::string id = "tarno-test-entry";
    writeEntry(root, "shared-a", "other", entry("Exec=other"));
    writeEntry(root, "shared-b", id, entry("Exec=shared-b"));
    writeEntry(root, "home/.local/share", id, entry("Exec=home-default"));
    const test::ScopedEnvironment home("HOME", root / "home");
    const test::ScopedEnvironment shared("XDG_DATA_DIRS", "relative:" + root / "shared-a" + ":" + root / "shared-b");

    {
        const test::ScopedEnvironment dataHome("XDG_DATA_HOME", root / "data");
        EXPECT_EQ(Platform::desktopApplicationCommand(id), Command({"shared-b"}));
        writeEntry(root, "data", id, entry("Exec=data-home"));
        EXPECT_EQ(Platform::desktopApplicationCommand(id), Command({"data-home"}));
    }
    {
        // Unset or relative, the data home is ~/.local/share.
        const test::ScopedEnvironment dataHome("XDG_DATA_HOME", std::nullopt);
        EXPECT_EQ(Platform::desktopApplicationCommand(id), Command({"home-default"}));
        const test::ScopedEnvironment relativeHome("XDG_DATA_HOME", "data");
        EXPECT_EQ(Platform::desktopApplicationCommand(id), Command({"home-default"}));
    }
}

TEST(DesktopEntriesTests, InstalledApplicationsAreFlatpakFoldersThenEntriesWithTheirSubfolders)
{
    test::TemporaryFolder root;
    root.makeFolder("system/org.gnome.Maps/current");
    root.makeFolder("system/.removed");
    root.makeFolder("user/com.acme.Tool");
    writeEntry(root, "data", "org.acme.Viewer", entry("Exec=viewer"));
    writeEntry(root, "data", "hidden", entry("Exec=hidden\nHidden=true"));
    writeEntry(root, "shared", "kde/dolphin", entry("Exec=dolphin"));
    writeEntry(root, "shared", "vim", entry("Exec=vim"));
    root.makeFile("shared/applications/mimeinfo.cache");
    root.makeFile("shared/applications/.desktop");
    root.makeSymlink(root / "shared/applications", "data/applications/linked");
    const std::vector<std::string> flatpak = {root / "system", root / "missing", root / "user"};
    const std::vector<std::string> dirs = {root / "data", root / "missing", root / "shared"};

    EXPECT_EQ(Platform::installedApplicationIDs(flatpak, dirs),
              (Arguments{"org.gnome.Maps", "com.acme.Tool", "hidden", "org.acme.Viewer", "kde-dolphin", "vim"}))
        << "a linked folder is not followed";
    EXPECT_TRUE(Platform::installedApplicationIDs({root / "missing"}, {root / "missing"}).empty());

    // The flatpak folders name the system's then the user's installation.
    EXPECT_EQ(Platform::flatpakAppFolders(root / "data"),
              (Arguments{"/var/lib/flatpak/app", root / "data/flatpak/app"}));
}

TEST(DesktopEntriesTests, AnApplicationsNameIsItsUntranslatedNameInTheFirstFolderWithTheEntry)
{
    test::TemporaryFolder root;
    writeEntry(root, "data", "org.acme.Viewer",
               "[Desktop Action new]\nName=New Window\n[Desktop Entry]\nName[de]=Betrachter\n"
               "Name = Acme\\sViewer\nName=Second\n");
    writeEntry(root, "shared", "org.acme.Viewer", entry("Exec=shadowed"));
    writeEntry(root, "shared", "nameless", "[Desktop Entry]\nExec=x\n");
    const std::vector<std::string> dirs = {root / "data", root / "shared"};

    EXPECT_EQ(Platform::desktopApplicationName("org.acme.Viewer", dirs), "Acme Viewer");
    EXPECT_EQ(Platform::desktopApplicationName("nameless", dirs), std::nullopt);
    EXPECT_EQ(Platform::desktopApplicationName("absent", dirs), std::nullopt);
    EXPECT_EQ(Platform::desktopApplicationName("../applications/nameless", {root / "shared"}), std::nullopt);
    EXPECT_EQ(Platform::desktopApplicationName("org.acme.Viewer", {root / "shared"}), "Example");
}

} // namespace
} // namespace tarno
