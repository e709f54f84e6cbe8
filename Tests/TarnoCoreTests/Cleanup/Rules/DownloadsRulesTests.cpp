#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

std::vector<CleanupItem> downloadItems(const std::string& home)
{
    // The environment reads user-dirs.dirs when it is made.
    return test::familyItems(home, RuleFamilies::downloads);
}

using test::pathsOf;

TEST(DownloadsRulesTests, InstallersAreOfferedByTheirExtensionInAnyCase)
{
    test::TemporaryFolder home;
    const std::string dmg = home.makeFile("Downloads/Setup.DMG");
    const std::string appImage = home.makeFile("Downloads/tool-1.2.AppImage");
    home.makeFile("Downloads/notes.pdf");
    home.makeFile("Downloads/.iso");             // a hidden name, no extension
    home.makeFile("Downloads/archive.deb.part"); // still downloading
    home.makeFile("Downloads/README");
    home.makeFile("installer.pkg"); // not in the downloads folder
    const std::string folder = home.makeFolder("Downloads/Disk.iso");
    Paths linuxOnes;
    for (const char* name : {"a.deb", "b.rpm", "c.flatpakref", "d.flatpak", "e.snap", "f.run", "g.pkg", "h.xip"})
        linuxOnes.push_back(home.makeFile(std::string("Downloads/") + name));

    const std::vector<CleanupItem> items = downloadItems(home.path());
    ASSERT_FALSE(items.empty());
    EXPECT_EQ(items.front(), (CleanupItem{"download.Disk.iso", "Disk.iso", CleanupCategory::downloads,
                                          "Moved to the Trash, so you can still put it back.", Safety::review,
                                          CleanupAction::Trash{{folder}}, false, 20000000, std::nullopt}));
    Paths expected{folder, dmg};
    expected.insert(expected.end(), linuxOnes.begin(), linuxOnes.end());
    expected.push_back(appImage);
    EXPECT_EQ(pathsOf(items), expected) << "sorted by name, as bytes";
}

TEST(DownloadsRulesTests, TheFolderOfUserDirsIsReadTooButNeverTheHomeItself)
{
    test::TemporaryFolder home;
    const std::string macOne = home.makeFile("Downloads/Setup.dmg");
    const std::string twin = home.makeFile("Téléchargements/Setup.dmg");
    const std::string deb = home.makeFile("Téléchargements/editor.deb");
    home.makeFile("stray.iso");
    const auto userDirs = [&](std::string_view line) {
        std::ofstream(home.makeFile(".config/user-dirs.dirs")) << "# written by xdg-user-dirs-update\n" << line << "\n";
    };

    userDirs("XDG_DOWNLOAD_DIR=\"$HOME/Téléchargements\"");
    const std::vector<CleanupItem> items = downloadItems(home.path());
    EXPECT_EQ(pathsOf(items), (Paths{macOne, deb})) << "a namesake in the second folder waits: ids are names";
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[1].id, "download.editor.deb");

    userDirs("XDG_DOWNLOAD_DIR=\"$HOME/Downloads\"");
    EXPECT_EQ(pathsOf(downloadItems(home.path())), (Paths{macOne})) << "the same folder is read once";
    userDirs("XDG_DOWNLOAD_DIR=\"$HOME/\"");
    EXPECT_EQ(pathsOf(downloadItems(home.path())), (Paths{macOne})) << "the home means the folder is switched off";
    std::filesystem::remove_all(home / "Downloads");
    userDirs("XDG_DOWNLOAD_DIR=\"" + home / "Téléchargements" + "\"");
    EXPECT_EQ(pathsOf(downloadItems(home.path())), (Paths{twin, deb}));
}

} // namespace
} // namespace tarno
