#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Cleanup/Cleaner.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

std::vector<CleanupItem> trashItems(const CleanupEnvironment& env) { return test::familyItems(env, RuleFamilies::trash); }

CleanupItem trashItem(Paths paths)
{
    return test::ruleItem("trash", "Everything in the Trash", CleanupCategory::trash,
                          "Erased for good. It can no longer be put back.", Safety::review,
                          CleanupAction::DeleteContents{std::move(paths)});
}

TEST(TrashRulesTests, TheMacsTrashOrTheFreedesktopTrashsTwoFolders)
{
    test::TemporaryFolder home;
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    EXPECT_TRUE(trashItems(env).empty());

    const std::string mac = home.makeFolder(".Trash");
    EXPECT_EQ(trashItems(env), (std::vector<CleanupItem>{trashItem({mac})}));

    std::filesystem::remove(mac);
    const std::string files = home.makeFolder(".local/share/Trash/files");
    EXPECT_EQ(trashItems(env), (std::vector<CleanupItem>{trashItem({files})}));
    const std::string info = home.makeFolder(".local/share/Trash/info");
    home.makeFile(".local/share/Trash/directorysizes");
    EXPECT_EQ(trashItems(env), (std::vector<CleanupItem>{trashItem({files, info})}))
        << "never the Trash folder itself, nor its size cache, a file";

    // The Trash of the environment's data folder, wherever that is.
    test::TemporaryFolder data;
    CleanupEnvironment moved = env;
    moved.folders.trash = data.makeFolder("Trash");
    const std::string movedFiles = data.makeFolder("Trash/files");
    EXPECT_EQ(trashItems(moved), (std::vector<CleanupItem>{trashItem({movedFiles})}));
}

TEST(TrashRulesTests, CleaningLeavesAnEmptyTrashThatOtherReadersStillKnow)
{
    test::TemporaryFolder home;
    home.makeFile(".local/share/Trash/files/report.pdf", 100);
    home.makeFolder(".local/share/Trash/files/photos/2024");
    home.makeFile(".local/share/Trash/info/report.pdf.trashinfo", 10);
    home.makeFile(".local/share/Trash/info/photos.trashinfo", 10);
    const std::string sizes = home.makeFile(".local/share/Trash/directorysizes", 20);
    const std::string kept = home.makeFile("Documents/kept.txt", 10);
    home.makeSymlink(kept, ".local/share/Trash/files/link-to-kept");

    const std::vector<CleanupItem> items = trashItems(CleanupEnvironment::empty(home.path()));
    ASSERT_EQ(items.size(), 1U);
    const CleanReport report = Cleaner{PathGuard(home.path(), home / "Applications", "")}.perform(items[0].action);
    EXPECT_TRUE(report.failures.empty()) << report.failures.front().reason;

    for (const char* folder : {".local/share/Trash/files", ".local/share/Trash/info"}) {
        EXPECT_TRUE(std::filesystem::is_directory(home / folder)) << folder;
        EXPECT_TRUE(std::filesystem::is_empty(home / folder)) << folder;
    }
    EXPECT_TRUE(std::filesystem::exists(sizes));
    EXPECT_EQ(std::filesystem::file_size(kept), 10U);
}

} // namespace
} // namespace tarno
