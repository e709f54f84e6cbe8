#include "Tarno/AppModel.hpp"
#include "Tarno/LargeFilesModel.hpp"
#include "Tarno/LargeFilesScreen.hpp"

#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include "TarnoTests/MadeUpFiles.hpp"
#include "TarnoTests/MadeUpMachine.hpp"

#include <QLocale>

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace tarno {
namespace {

using test::MadeUpFiles;
using test::waitUntil;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string home = "/home/alex";
constexpr std::int64_t megabytes = 1'000'000;

LargeFile file(const std::string& relative, std::int64_t bytes)
{
    return LargeFile{home + "/" + relative, bytes, std::chrono::sys_days{std::chrono::year{2026} / 3 / 4}};
}

const LargeFile disk = file("VMs/disk.vdi", 9'000 * megabytes);
const LargeFile iso = file("Downloads/os.iso", 2'000 * megabytes);
const LargeFile cache = file(".config/app/cache.bin", 700 * megabytes);
const LargeFile dump = file("Documents/dump.sql", 150 * megabytes);

std::vector<std::string> pathsOf(const std::vector<LargeFile>& files)
{
    std::vector<std::string> paths;
    for (const LargeFile& each : files)
        paths.push_back(each.path);
    return paths;
}

// The section and its screen over a made-up machine that finds the four files above.
class LargeFilesFlow : public ::testing::Test {
protected:
    LargeFilesFlow()
    {
        machine.setLargeFiles({disk, iso, cache, dump});
        model.onTrashed = [this](const CleanupRecord& record) { records.push_back(record); };
        screen.setModel(&model);
    }

    void searchToReady()
    {
        model.findLargeFiles();
        ASSERT_TRUE(waitUntil([&] { return model.phase() == LargeFilesModel::Phase::ready; }));
    }

    void moveAndWait(const std::vector<LargeFile>& files)
    {
        const std::size_t before = records.size();
        model.moveToTrash(files);
        ASSERT_TRUE(waitUntil([&] { return records.size() > before; }));
    }

    MadeUpFiles machine;
    PathGuard guardian = PathGuard::forHome(home);
    LargeFilesModel model{machine.largeFilesMachine(), home, guardian};
    LargeFilesScreen screen;
    std::vector<CleanupRecord> records;
};

TEST_F(LargeFilesFlow, SearchesFromTheFloorOnceAtATimeAndTheThresholdOnlyFilters)
{
    machine.holdSearch();
    model.findLargeFiles();
    EXPECT_EQ(model.phase(), LargeFilesModel::Phase::searching);
    EXPECT_EQ(screen.progressText().toStdString(), "Searching your home folder…");
    ASSERT_TRUE(waitUntil([&] { return model.filesExamined() == 1'234; }));
    EXPECT_EQ(screen.progressText().toStdString(),
              "Searching your home folder… " + QLocale().toString(1'234).toStdString() + " files so far");
    model.findLargeFiles();
    machine.letSearchFinish();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == LargeFilesModel::Phase::ready; }));
    EXPECT_EQ(machine.searches(), 1);
    EXPECT_EQ(machine.minimumAsked(), LargeFilesModel::floorBytes);
    EXPECT_THAT(machine.excluded(), IsEmpty());

    // 500 MB by default: the 150 MB dump is found but hidden, and shown at
    // once by the smallest entry, with no new search.
    EXPECT_EQ(pathsOf(model.visibleFiles()), pathsOf({disk, iso, cache}));
    EXPECT_EQ(screen.footerText().toStdString(), "3 files, 11.7 GB in total");
    screen.setThresholdIndex(0);
    EXPECT_EQ(pathsOf(model.visibleFiles()), pathsOf({disk, iso, cache, dump}));
    screen.setThresholdIndex(2);
    EXPECT_EQ(pathsOf(model.visibleFiles()), pathsOf({disk, iso}));
    EXPECT_EQ(machine.searches(), 1);

    // Without the access, the private folders are left out and the footer says so.
    machine.setFullDiskAccess(false);
    searchToReady();
    EXPECT_THAT(machine.excluded(), ElementsAre(home + "/Library/Containers"));
    EXPECT_EQ(screen.accessNote().toStdString(), "Other apps' private data is not searched without Full Disk Access.");
}

TEST_F(LargeFilesFlow, AMoveDropsWhatWentKeepsWhatWasRefusedAndRecordsIt)
{
    searchToReady();
    machine.setFailure(iso.path, "Permission denied");
    bool diskRefreshed = false;
    model.onDiskChanged = [&] { diskRefreshed = true; };
    moveAndWait({disk, iso});
    EXPECT_EQ(pathsOf(model.files()), pathsOf({iso, cache, dump}));
    EXPECT_TRUE(diskRefreshed);
    EXPECT_EQ(records.back().source, "Large Files");
    EXPECT_EQ(records.back().freedBytes, disk.bytes);
    EXPECT_THAT(records.back().items, ElementsAre("disk.vdi"));
    EXPECT_EQ(records.back().failures, 1);
    EXPECT_EQ(screen.failuresTitle().toStdString(), "1 could not be moved to the Trash");
    EXPECT_EQ(screen.failuresDetail().toStdString(), "~/Downloads/os.iso: Permission denied");

    // Every file refused, and an empty move: both still recorded, with nothing freed.
    moveAndWait({iso});
    EXPECT_EQ((std::tuple{records.back().freedBytes, records.back().items.size(), records.back().failures}),
              (std::tuple{std::int64_t{0}, std::size_t{0}, 1}));
    moveAndWait({});
    EXPECT_EQ((std::tuple{records.back().freedBytes, records.back().items.size(), records.back().failures}),
              (std::tuple{std::int64_t{0}, std::size_t{0}, 0}));
    EXPECT_EQ(pathsOf(model.files()), pathsOf({iso, cache, dump}));
    screen.dismissFailures();
    EXPECT_FALSE(screen.showsFailures());

    // A new search starts without the last move's failures.
    moveAndWait({iso});
    model.findLargeFiles();
    EXPECT_THAT(model.failures(), IsEmpty());
}

TEST_F(LargeFilesFlow, TheScreenMovesOnlyTheTickedFilesItShows)
{
    EXPECT_EQ(screen.content(), LargeFilesScreen::Content::Progress);
    searchToReady();
    EXPECT_EQ(screen.content(), LargeFilesScreen::Content::List);
    ASSERT_EQ(screen.rows()->rows().size(), 3u);
    EXPECT_TRUE(screen.rows()->rows()[2].belongsToApp);
    EXPECT_FALSE(screen.rows()->rows()[0].belongsToApp);
    EXPECT_EQ(screen.rows()->rows()[1].folderText.toStdString(), "~/Downloads");

    // Clicks: alone, with Control, with Shift from the last one clicked.
    const auto path = [](const LargeFile& each) { return QString::fromStdString(each.path); };
    screen.click(path(disk), Qt::NoModifier);
    screen.click(path(cache), Qt::ControlModifier);
    EXPECT_EQ(pathsOf(screen.selectedFiles()), pathsOf({disk, cache}));
    screen.click(path(iso), Qt::NoModifier);
    screen.click(path(disk), Qt::ShiftModifier);
    EXPECT_EQ(pathsOf(screen.selectedFiles()), pathsOf({disk, iso}));
    screen.rightClick(path(iso));
    EXPECT_EQ(pathsOf(screen.selectedFiles()), pathsOf({disk, iso}));
    screen.rightClick(path(cache));
    EXPECT_EQ(pathsOf(screen.selectedFiles()), pathsOf({cache}));

    // One file is named in the title, several are counted.
    screen.askToTrashSelection();
    EXPECT_TRUE(screen.isConfirming());
    EXPECT_EQ(screen.confirmationTitle().toStdString(), "Move \"cache.bin\" (700 MB) to the Trash?");
    screen.cancelTrash();
    screen.selectAll();
    EXPECT_EQ(screen.confirmationTitle().toStdString(), "Move 3 files (11.7 GB) to the Trash?");
    EXPECT_EQ(screen.selectedText().toStdString(), "3 selected, 11.7 GB");

    // A ticked file hidden by the picker is not selected and not moved;
    // with only hidden files ticked, there is nothing to move.
    screen.setThresholdIndex(0);
    screen.click(path(dump), Qt::NoModifier);
    screen.setThresholdIndex(1);
    EXPECT_THAT(screen.selectedFiles(), IsEmpty());
    EXPECT_FALSE(screen.trashEnabled());
    screen.askToTrashSelection();
    EXPECT_FALSE(screen.isConfirming());
    screen.click(path(iso), Qt::ControlModifier);
    screen.askToTrashSelection();
    screen.confirmTrash();
    EXPECT_FALSE(screen.isConfirming());
    ASSERT_TRUE(waitUntil([&] { return !records.empty(); }));
    EXPECT_THAT(machine.moves(), ElementsAre(ElementsAre(iso.path)));
    EXPECT_THAT(screen.selection(), IsEmpty());

    // Nothing at or above the minimum: the empty panel.
    model.setFiles({dump});
    EXPECT_EQ(screen.content(), LargeFilesScreen::Content::Empty);
}

// The application on a made-up home with the live section: the real
// search, the real Trash, the history file.
TEST(LargeFilesOnDisk, AFileFoundGoesToTheHomesTrashAndIntoTheHistory)
{
    test::TemporaryFolder root;
    const std::string madeUpHome = root / "home";
    test::ScopedEnvironment dataHome("XDG_DATA_HOME", madeUpHome + "/.local/share");
    ASSERT_EQ(Platform::trashFolder(madeUpHome), madeUpHome + "/.local/share/Trash");
    const std::string movie = root.makeFile("home/Videos/film.mkv");
    std::filesystem::resize_file(movie, 0);
    {
        // Allocated, not sparse: the floor counts what the disk holds.
        std::ofstream out(movie, std::ios::binary);
        const std::string block(1 << 20, 'f');
        for (int written = 0; written < 101; ++written)
            out << block;
    }

    test::MadeUpMachine madeUp(madeUpHome);
    AppMachine machine = madeUp.machine(root / "history.json");
    machine.largeFiles = LargeFilesMachine::live();
    AppModel app(std::move(machine));
    LargeFilesModel& model = *app.largeFiles();
    model.setThreshold(LargeFilesModel::floorBytes);
    model.findLargeFiles();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == LargeFilesModel::Phase::ready; }));
    ASSERT_EQ(model.files().size(), 1u);
    EXPECT_EQ(model.files()[0].path, movie);

    model.moveToTrash(model.files());
    ASSERT_TRUE(waitUntil([&] { return !app.records().empty() && app.records().front().source == "Large Files"; }));
    EXPECT_FALSE(std::filesystem::exists(movie));
    EXPECT_TRUE(std::filesystem::exists(madeUpHome + "/.local/share/Trash/files/film.mkv"));
    EXPECT_TRUE(std::filesystem::exists(madeUpHome + "/.local/share/Trash/info/film.mkv.trashinfo"));
    EXPECT_THAT(model.files(), IsEmpty());
    EXPECT_THAT(app.records().front().items, ElementsAre("film.mkv"));
    EXPECT_GE(app.records().front().freedBytes, 101 << 20);
}

} // namespace
} // namespace tarno
