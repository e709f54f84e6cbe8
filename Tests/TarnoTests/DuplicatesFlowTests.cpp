#include "Tarno/DuplicatesModel.hpp"
#include "Tarno/DuplicatesScreen.hpp"

#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"
#include "TarnoTests/MadeUpFiles.hpp"
#include "TarnoTests/MadeUpMachine.hpp"

#include "TarnoCore/Platform/Locations.hpp"

#include <QLocale>
#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace tarno {
namespace {

using test::MadeUpFiles;
using test::waitUntil;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string home = "/home/alex";
constexpr std::int64_t megabytes = 1'000'000;

DuplicateFile copy(const std::string& relative, std::int64_t bytes, std::uint64_t cloneID)
{
    return DuplicateFile{home + "/" + relative, bytes, {}, {}, cloneID};
}

// A video in two places, a report in three (two of them clones of one
// another), and a small photo in two.
const DuplicateGroup video{"a1", 900 * megabytes,
                           {copy("Videos/trip.mov", 900 * megabytes, 1), copy("Downloads/trip.mov", 900 * megabytes, 2)}};
const DuplicateGroup report{"b2", 20 * megabytes,
                            {copy("Documents/report.pdf", 20 * megabytes, 3),
                             copy("Desktop/report copy.pdf", 20 * megabytes, 4),
                             copy("Downloads/report.pdf", 20 * megabytes, 4)}};
const DuplicateGroup photo{"c3", 3 * megabytes,
                           {copy("Pictures/beach.jpg", 3 * megabytes, 5), copy("Downloads/beach.jpg", 3 * megabytes, 6)}};

std::set<std::string> pathsOf(const std::vector<DuplicateFile>& files)
{
    std::set<std::string> paths;
    for (const DuplicateFile& file : files)
        paths.insert(file.path);
    return paths;
}

std::vector<std::string> hashesOf(const std::vector<DuplicateGroup>& groups)
{
    std::vector<std::string> hashes;
    for (const DuplicateGroup& group : groups)
        hashes.push_back(group.hash);
    return hashes;
}

// The section and its screen over a made-up machine that finds the three sets above.
class DuplicatesFlow : public ::testing::Test {
protected:
    DuplicatesFlow()
    {
        machine.setGroups({video, report, photo});
        model.onTrashed = [this](const CleanupRecord& record) { records.push_back(record); };
        model.onGone = [this](const std::set<std::string>& paths) { gone.push_back(paths); };
        screen.setModel(&model);
    }

    void searchToReady()
    {
        model.find();
        ASSERT_TRUE(waitUntil([&] { return model.phase() == DuplicatesModel::Phase::ready; }));
    }

    void moveAndWait()
    {
        const std::size_t before = gone.size();
        model.moveToTrash();
        ASSERT_TRUE(waitUntil([&] { return gone.size() > before; }));
    }

    MadeUpFiles machine;
    PathGuard guardian = PathGuard::forHome(home);
    DuplicatesModel model{machine.duplicatesMachine(), home, guardian};
    DuplicatesScreen screen;
    std::vector<CleanupRecord> records;
    std::vector<std::set<std::string>> gone;
};

TEST_F(DuplicatesFlow, SearchesOnceAtATimeFromTheFloorAndStartsWithNothingTicked)
{
    machine.holdSearch();
    machine.setPhotosLibrary(true);
    model.setSelection({video.files[1].path});
    model.find();
    EXPECT_THAT(model.selection(), IsEmpty());
    EXPECT_EQ(screen.content(), DuplicatesScreen::Content::Progress);
    ASSERT_TRUE(waitUntil([&] { return std::holds_alternative<DuplicateFinder::Comparing>(model.stage()); }));
    model.find();
    machine.letSearchFinish();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == DuplicatesModel::Phase::ready; }));
    EXPECT_EQ(machine.searches(), 1);
    EXPECT_EQ(machine.minimumAsked(), DuplicatesModel::floorBytes);
    EXPECT_THAT(hashesOf(model.groups()), ElementsAre("a1", "b2", "c3"));
    EXPECT_THAT(model.selection(), IsEmpty());
    EXPECT_TRUE(screen.showsPhotosLibrary());
    EXPECT_EQ(screen.footerText().toStdString(), "3 sets, 923 MB to free");
}

TEST_F(DuplicatesFlow, ExtraCopiesAndWhatAMoveTouchesFollowTheShownSets)
{
    searchToReady();
    model.selectExtraCopies();
    EXPECT_EQ(model.selection(), (std::set<std::string>{video.files[1].path, report.files[1].path,
                                                       report.files[2].path, photo.files[1].path}));
    EXPECT_EQ(model.setsLosingEveryCopy(), 0);
    // The two clones of the report count once.
    EXPECT_EQ(model.selectedBytes(), 923 * megabytes);

    // Ticking the last copy of a set by hand: the set would lose everything.
    screen.setSelected(QString::fromStdString(photo.files[0].path), true);
    EXPECT_EQ(model.setsLosingEveryCopy(), 1);

    // Raised above the photo and the report, the picker hides their ticks:
    // they are not selected, and a move leaves them alone.
    screen.setThresholdIndex(2);
    EXPECT_EQ(pathsOf(model.selectedFiles()), (std::set<std::string>{video.files[1].path}));
    EXPECT_EQ(model.setsLosingEveryCopy(), 0);
    // Extra copies of what is shown replace every tick, hidden ones too.
    model.selectExtraCopies();
    EXPECT_EQ(model.selection(), (std::set<std::string>{video.files[1].path}));
    moveAndWait();
    EXPECT_THAT(machine.moves(), ElementsAre(ElementsAre(video.files[1].path)));

    // Moving one file of a set of two ends the set; the other file stays, unticked.
    EXPECT_THAT(hashesOf(model.groups()), ElementsAre("b2", "c3"));
    EXPECT_THAT(model.selection(), IsEmpty());
    EXPECT_EQ(records.back().source, "Duplicates");
    EXPECT_EQ(records.back().freedBytes, 900 * megabytes);
    EXPECT_THAT(records.back().items, ElementsAre("trip.mov"));

    // Nothing selected: nothing moves, nothing is recorded.
    const std::size_t moves = machine.moves().size();
    model.moveToTrash();
    QTest::qWait(20);
    EXPECT_EQ(machine.moves().size(), moves);
    EXPECT_EQ(records.size(), 1u);
}

TEST_F(DuplicatesFlow, AMoveThatFailsEverywhereRecordsNothingAndKeepsTheTicks)
{
    searchToReady();
    machine.setFailure(photo.files[1].path, "Operation not permitted");
    model.setSelection({photo.files[1].path});
    moveAndWait();
    EXPECT_THAT(records, IsEmpty());
    EXPECT_THAT(gone.back(), IsEmpty());
    EXPECT_THAT(model.selection(), ElementsAre(photo.files[1].path));
    EXPECT_EQ(screen.failuresTitle().toStdString(), "1 could not be moved to the Trash");
    EXPECT_EQ(screen.failuresDetail().toStdString(), "~/Downloads/beach.jpg: Operation not permitted");

    // Part of a set moved, the rest refused: the clone pair frees its data
    // once, and only the copy that went is named.
    machine.setFailure(report.files[1].path, "Operation not permitted");
    model.setSelection({report.files[1].path, report.files[2].path});
    moveAndWait();
    EXPECT_EQ(records.back().freedBytes, 0);
    EXPECT_THAT(records.back().items, ElementsAre("report.pdf"));
    EXPECT_EQ(records.back().failures, 1);
    EXPECT_EQ(model.groups()[1].files.size(), 2u);
}

TEST_F(DuplicatesFlow, ForgettingDropsPathsAndSetsLeftWithOneFile)
{
    searchToReady();
    model.setSelection({report.files[2].path, photo.files[0].path});
    model.forget({report.files[0].path, photo.files[1].path});
    EXPECT_THAT(hashesOf(model.groups()), ElementsAre("a1", "b2"));
    EXPECT_EQ(model.groups()[1].files.size(), 2u);
    // A tick on a file of a dropped set stays, but no shown set holds it.
    EXPECT_THAT(model.selection(), ElementsAre(report.files[2].path, photo.files[0].path));
    EXPECT_EQ(pathsOf(model.selectedFiles()), (std::set<std::string>{report.files[2].path}));
}

TEST_F(DuplicatesFlow, ThumbnailsArePicturesOrTheIconOfTheTypeAndStay)
{
    for (const std::string& path : {photo.files[0].path, report.files[0].path}) {
        QSignalSpy loaded(&model, &DuplicatesModel::thumbnailLoaded);
        model.loadThumbnail(path);
        model.loadThumbnail(path);
        ASSERT_TRUE(waitUntil([&] { return loaded.count() >= 1; }));
        QTest::qWait(20);
        EXPECT_EQ(loaded.count(), 1) << path;
    }
    EXPECT_EQ(model.thumbnail(photo.files[0].path).pixelColor(0, 0), QColor(Qt::darkCyan));
    EXPECT_EQ(model.thumbnail(report.files[0].path).pixelColor(0, 0), QColor(Qt::gray));
    searchToReady();
    EXPECT_TRUE(screen.hasThumbnail(QString::fromStdString(photo.files[0].path)));
}

TEST(DuplicatesScreenWords, ProgressAndConfirmationSayWhatWillHappen)
{
    const auto count = [](int value) { return QLocale().toString(value).toStdString(); };
    EXPECT_EQ(DuplicatesScreen::describe(DuplicateFinder::Looking{0}).toStdString(), "Looking through your folders…");
    EXPECT_EQ(DuplicatesScreen::describe(DuplicateFinder::Looking{2048}).toStdString(),
              "Looking through your folders… " + count(2048) + " files so far");
    EXPECT_EQ(DuplicatesScreen::describe(DuplicateFinder::Comparing{3, 1200}).toStdString(),
              "Comparing files that could be the same… 3 of " + count(1200));

    MadeUpFiles machine;
    machine.setGroups({video, report, photo});
    const PathGuard guardian = PathGuard::forHome(home);
    DuplicatesModel model{machine.duplicatesMachine(), home, guardian};
    DuplicatesScreen screen;
    screen.setModel(&model);
    model.find();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == DuplicatesModel::Phase::ready; }));

    const std::string frees = "That frees 900 MB once you empty the Trash, and you can put them back until then.";
    struct Case {
        std::set<std::string> ticked;
        std::string title;
        std::string message;
    };
    const Case cases[] = {
        {{video.files[1].path}, "Move \"trip.mov\" to the Trash?", frees},
        {{video.files[1].path, photo.files[1].path}, "Move 2 files to the Trash?",
         "That frees 903 MB once you empty the Trash, and you can put them back until then."},
        {{video.files[0].path, video.files[1].path}, "Move 2 files to the Trash?",
         "That frees 1.8 GB once you empty the Trash, and you can put them back until then. Every copy of one file "
         "is selected, so none would stay outside the Trash."},
        {{video.files[0].path, video.files[1].path, photo.files[0].path, photo.files[1].path},
         "Move 4 files to the Trash?",
         "That frees 1.81 GB once you empty the Trash, and you can put them back until then. Every copy of 2 files "
         "is selected, so none would stay outside the Trash."},
    };
    for (const Case& each : cases) {
        model.setSelection(each.ticked);
        EXPECT_EQ(screen.confirmationTitle().toStdString(), each.title);
        EXPECT_EQ(screen.confirmationText().toStdString(), each.message);
    }

    // Every copy may go: the screen warns and goes on when confirmed.
    screen.askToTrash();
    EXPECT_TRUE(model.isConfirming());
    screen.confirmTrash();
    EXPECT_FALSE(model.isConfirming());
    ASSERT_TRUE(waitUntil([&] { return machine.moves().size() == 1; }));

    model.setGroups({});
    EXPECT_EQ(screen.content(), DuplicatesScreen::Content::Empty);
}

// The live machine on a made-up home: the real search and the real Trash.
TEST(DuplicatesOnDisk, TheExtraCopyGoesToTheHomesTrashAndTheKeeperStays)
{
    test::TemporaryFolder root;
    const std::string madeUpHome = root / "home";
    test::ScopedEnvironment dataHome("XDG_DATA_HOME", madeUpHome + "/.local/share");
    ASSERT_EQ(Platform::trashFolder(madeUpHome), madeUpHome + "/.local/share/Trash");
    root.makeFile("home/Documents/notes.bin", 1'500'000, 'n');
    root.makeFile("home/Downloads/notes.bin", 1'500'000, 'n');
    root.makeFile("home/Documents/other.bin", 1'500'000, 'o');

    const PathGuard guardian = PathGuard::forHome(madeUpHome);
    DuplicatesModel model{DuplicatesMachine::live(), madeUpHome, guardian};
    std::vector<CleanupRecord> records;
    model.onTrashed = [&](const CleanupRecord& record) { records.push_back(record); };
    model.find();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == DuplicatesModel::Phase::ready; }));
    ASSERT_EQ(model.groups().size(), 1u);
    EXPECT_EQ(model.groups()[0].files[0].path, madeUpHome + "/Documents/notes.bin");

    model.selectExtraCopies();
    model.moveToTrash();
    ASSERT_TRUE(waitUntil([&] { return !records.empty(); }));
    EXPECT_TRUE(std::filesystem::exists(madeUpHome + "/Documents/notes.bin"));
    EXPECT_FALSE(std::filesystem::exists(madeUpHome + "/Downloads/notes.bin"));
    EXPECT_TRUE(std::filesystem::exists(madeUpHome + "/.local/share/Trash/files/notes.bin"));
    EXPECT_THAT(model.groups(), IsEmpty());
    EXPECT_GT(records[0].freedBytes, 1'000'000);
}

} // namespace
} // namespace tarno
