#include "TarnoCore/Apps/AppImages.hpp"
#include "TarnoCore/Platform/FileStatus.hpp"

#include "Support/AppBundles.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {

namespace {

using Paths = std::vector<std::string>;

// The first bytes of an ELF executable for x86-64, with the AppImage type
// `type` at bytes 8 to 10 when it is not 0.
std::string elfHeader(char type)
{
    std::string header("\x7f" "ELF\x02\x01\x01\x00", 8);
    header += type == 0 ? std::string(3, '\0') : std::string("AI") + type;
    header += std::string(53, '\0');
    return header;
}

std::string writeFile(const test::TemporaryFolder& root, const std::string& relative, std::string_view bytes)
{
    const std::string path = root.makeFile(relative);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string writeAppImage(const test::TemporaryFolder& root, const std::string& relative)
{
    const std::string path = writeFile(root, relative, elfHeader('\x02') + "runtime and squashfs");
    ::chmod(path.c_str(), 0755);
    return path;
}

Paths pathsOf(const std::vector<InstalledApp>& apps)
{
    Paths paths;
    for (const InstalledApp& app : apps)
        paths.push_back(app.path);
    return paths;
}

TEST(AppImagesTests, TheHeaderMarksAnAppImage)
{
    test::TemporaryFolder root;
    const std::vector<std::pair<std::string, std::string>> isOne = {
        {"type1", elfHeader('\x01')},
        {"type2", elfHeader('\x02')},
        {"exactly eleven bytes", elfHeader('\x02').substr(0, 11)},
    };
    const std::vector<std::pair<std::string, std::string>> isNot = {
        {"plain ELF", elfHeader(0)},
        {"type3", elfHeader('\x03')},
        {"script", "#!/bin/sh\necho AI\n"},
        {"cut short", elfHeader('\x02').substr(0, 10)},
        {"empty", ""},
        {"AppImage magic without ELF", std::string("\x7f" "ELG\x02\x01\x01\x00" "AI\x02", 11)},
    };
    for (const auto& [name, bytes] : isOne)
        EXPECT_TRUE(Platform::isAppImage(writeFile(root, name, bytes))) << name;
    for (const auto& [name, bytes] : isNot)
        EXPECT_FALSE(Platform::isAppImage(writeFile(root, name, bytes))) << name;

    EXPECT_FALSE(Platform::isAppImage(root.makeSymlink(root / "type2", "link"))) << "a link is not one";
    EXPECT_FALSE(Platform::isAppImage(root.makeFolder("Folder.AppImage")));
    EXPECT_FALSE(Platform::isAppImage(root / "missing"));
    EXPECT_FALSE(Platform::isAppImage(""));
    // A pipe with no writer must not hold the reader up.
    ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(Platform::isAppImage(root / "pipe"));
}

TEST(AppImagesTests, WithoutAnEntryTheFileNameGivesNameAndVersion)
{
    struct Case {
        std::string fileName;
        std::string name;
        std::optional<std::string> version;
    };
    const std::vector<Case> cases = {
        {"Obsidian-1.5.3.AppImage", "Obsidian", "1.5.3"},
        {"Foo_2.0_x86_64.AppImage", "Foo", "2.0"},
        {"kdenlive-24.02.1-x86_64.appimage", "kdenlive", "24.02.1"},
        {"Cursor-0.42.3-aarch64.AppImage", "Cursor", "0.42.3"},
        {"appimagetool-x86_64.AppImage", "appimagetool", std::nullopt},
        {"Krita.AppImage", "Krita", std::nullopt},
        {"nvim", "nvim", std::nullopt},
        {"2048-1.0.AppImage", "2048", "1.0"},
        {"Tool-v2.1.AppImage", "Tool-v2.1", std::nullopt},
        {"-1.0.AppImage", "-1.0", std::nullopt},
        {"My App 3.AppImage", "My App 3", std::nullopt},
    };
    test::TemporaryFolder root;
    const std::string folder = root.makeFolder("Applications");
    const std::string dataHome = root.makeFolder("data");
    for (const Case& c : cases)
        writeAppImage(root, "Applications/" + c.fileName);

    std::map<std::string, InstalledApp> found;
    for (const InstalledApp& app : AppImages::list({folder}, dataHome))
        found.emplace(app.path, app);
    ASSERT_EQ(found.size(), cases.size());
    for (const Case& c : cases) {
        const std::string path = folder + "/" + c.fileName;
        const InstalledApp expected{
            .path = path,
            .name = c.name,
            .bundleID = c.fileName,
            .version = c.version,
            .lastOpened = std::nullopt,
            .needsPassword = false, // root may write anywhere
            .kind = AppKind::appImage,
            .icon = std::nullopt,
            .ownFiles = {},
        };
        EXPECT_EQ(found.at(path), expected) << test::described({found.at(path)});
    }
}

TEST(AppImagesTests, DesktopEntriesInstalledForAnAppImageAreItsOwn)
{
    test::TemporaryFolder root;
    const std::string folder = root.makeFolder("home/Applications");
    const std::string dataHome = root.makeFolder("home/.local/share");
    const std::string obsidian = writeAppImage(root, "home/Applications/Obsidian-1.5.3.AppImage");
    const std::string terminal = writeAppImage(root, "home/Applications/Term.AppImage");
    const std::string plain = writeAppImage(root, "home/Applications/Plain-2.AppImage");
    const auto entry = [&](const std::string& id, const std::string& keys) {
        return writeFile(root, "home/.local/share/applications/" + id + ".desktop",
                         "[Desktop Entry]\nType=Application\n" + keys + "\n");
    };
    const auto icon = [&](const std::string& relative) {
        return writeFile(root, "home/.local/share/" + relative, "image");
    };

    // An integration tool's entry, and a second one that only names the file in TryExec.
    const std::string main = entry("appimagekit_5e1f-Obsidian",
                                   "Name=Obsidian Notes\nExec=\"" + obsidian + "\" %U\nIcon=appimagekit_5e1f_obsidian");
    const std::string handler = entry("obsidian-url", "Name=Open in Obsidian\nTryExec=" + obsidian
                                                          + "\nExec=xdg-open %u\nIcon=" + dataHome
                                                          + "/pixmaps/obsidian-url.png");
    const Paths mainIcons = {icon("icons/hicolor/scalable/apps/appimagekit_5e1f_obsidian.svg"),
                             icon("icons/hicolor/256x256/apps/appimagekit_5e1f_obsidian.png"),
                             icon("icons/hicolor/32x32/apps/appimagekit_5e1f_obsidian.png")};
    const std::string handlerIcon = icon("pixmaps/obsidian-url.png");
    // Not Obsidian's: another program, a longer path, icons outside the data home.
    entry("editor", "Name=Editor\nExec=/usr/bin/editor %F\nIcon=appimagekit_5e1f_obsidian");
    entry("backup", "Name=Backup\nExec=" + obsidian + ".old\nTryExec=" + obsidian + "-2");
    entry("escaped", "Name=Escaped\nExec=" + obsidian + "\nIcon=" + dataHome + "/../elsewhere.png");
    writeFile(root, "home/elsewhere.png", "image");
    icon("icons/hicolor/48x48/apps/editor.png");

    // An entry without a name, whose Exec names the file by another spelling;
    // its icon is a theme name the data home has no image for.
    const std::string termEntry = entry("term", "Exec=" + folder + "/./Term.AppImage\nIcon=utilities-terminal");

    const std::vector<InstalledApp> apps = AppImages::list({folder}, dataHome);
    ASSERT_EQ(pathsOf(apps), (Paths{obsidian, plain, terminal}));

    Paths obsidianFiles = mainIcons;
    obsidianFiles.insert(obsidianFiles.end(), {main, handler, handlerIcon, dataHome + "/applications/escaped.desktop"});
    std::sort(obsidianFiles.begin(), obsidianFiles.end());
    EXPECT_EQ(apps[0], (InstalledApp{
                           .path = obsidian,
                           .name = "Obsidian Notes",
                           .bundleID = "appimagekit_5e1f-Obsidian",
                           .version = "1.5.3",
                           .lastOpened = std::nullopt,
                           .needsPassword = false,
                           .kind = AppKind::appImage,
                           .icon = mainIcons.front(),
                           .ownFiles = obsidianFiles,
                       })) << test::described(apps);
    EXPECT_EQ(apps[1].name, "Plain");
    EXPECT_EQ(apps[1].bundleID, "Plain-2.AppImage");
    EXPECT_TRUE(apps[1].ownFiles.empty());
    EXPECT_EQ(apps[2], (InstalledApp{
                           .path = terminal,
                           .name = "Term",
                           .bundleID = "term",
                           .version = std::nullopt,
                           .lastOpened = std::nullopt,
                           .needsPassword = false,
                           .kind = AppKind::appImage,
                           .icon = "utilities-terminal",
                           .ownFiles = {termEntry},
                       })) << test::described(apps);
}

TEST(AppImagesTests, OnlyFilesDirectlyInTheFoldersAreListed)
{
    test::TemporaryFolder root;
    const std::string applications = root.makeFolder("Applications");
    const std::string bin = root.makeFolder("bin");
    const std::string top = writeAppImage(root, "Applications/Top.AppImage");
    const std::string tool = writeAppImage(root, "bin/tool");
    writeAppImage(root, "Applications/Sub/Deep.AppImage");
    writeAppImage(root, "Applications/.Hidden.AppImage");
    writeAppImage(root, "Elsewhere/Linked.AppImage");
    root.makeSymlink(root / "Elsewhere/Linked.AppImage", "bin/linked");
    root.makeSymlink(root / "Elsewhere", "Applications/Elsewhere");
    writeFile(root, "bin/script", "#!/bin/sh\n");

    EXPECT_EQ(pathsOf(AppImages::list({applications, root / "missing", bin}, root / "data")), (Paths{tool, top}));
    EXPECT_TRUE(AppImages::list({}, root / "data").empty());
}

TEST(AppImagesTests, NeedsPasswordWhenTheUserCannotWriteTheFolderThatHoldsIt)
{
    test::TemporaryFolder root;
    test::openToEveryone(root.path());
    const std::string shared = root.makeFolder("shared"); // root's, 0755
    const std::string own = root.makeFolder("own");
    const std::string sharedImage = writeAppImage(root, "shared/Shared.AppImage");
    writeAppImage(root, "own/Own.AppImage");
    // Owning the file itself is not what lets one move it.
    ASSERT_EQ(::chown(sharedImage.c_str(), test::nobodyID, test::nobodyID), 0);
    ASSERT_EQ(::chown(own.c_str(), test::nobodyID, test::nobodyID), 0);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        std::string found;
        for (const InstalledApp& app : AppImages::list({shared, own}, root / "data"))
            found += app.name + (app.needsPassword ? ":password " : ":free ");
        return found;
    });
    ASSERT_TRUE(run.ran) << run.reason;
    EXPECT_EQ(run.output, "Own:free Shared:password ");
}

} // namespace
} // namespace tarno
