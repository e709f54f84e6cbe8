#include "Tarno/AppModel.hpp"
#include "Tarno/CleanupScreen.hpp"

#include "Support/TemporaryFolder.hpp"
#include "TarnoTests/MadeUpMachine.hpp"

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QPersistentModelIndex>
#include <QProcess>
#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarno {
namespace {

using test::MadeUpMachine;
using test::madeUpItem;
using test::needingAdministrator;
using test::sizeOf;
using test::summaryOf;
using test::TemporaryFolder;
using test::waitUntil;
using ::testing::ElementsAre;
using Phase = CleanupModel::Phase;
using Content = CleanupScreen::Content;

std::map<std::string, SizeResult> sizesOf(const std::map<std::string, std::int64_t>& bytes)
{
    std::map<std::string, SizeResult> sizes;
    for (const auto& [id, count] : bytes)
        sizes[id] = sizeOf(count);
    return sizes;
}

// The Cleanup screen over a model put in each state by hand, on a made-up
// machine so that the actions it forwards stay in a temporary folder.
class CleanupScreenTest : public ::testing::Test {
protected:
    CleanupScreenTest()
    {
        machine.catalog = items;
        for (const auto& [id, bytes] : fullSizes)
            machine.setSize(id, bytes);
        app = std::make_unique<AppModel>(machine.machine(folder / "history.json"));
        model = app->cleanup();
        screen.setModel(model);
    }

    void TearDown() override
    {
        machine.letAllMeasure();
        machine.letAllClean();
    }

    // Ready, everything measured.
    void showAll(std::set<std::string> selection)
    {
        model->setItems(items);
        model->setSizes(sizesOf(fullSizes));
        model->setSelection(std::move(selection));
        model->setPhase(Phase::ready);
    }

    const CleanupRow& row(const QString& key) const
    {
        static const CleanupRow none;
        for (const CleanupRow& candidate : screen.rows()->rows())
            if (candidate.key == key)
                return candidate;
        ADD_FAILURE() << "no row " << key.toStdString();
        return none;
    }

    QStringList rowKeys() const
    {
        QStringList keys;
        for (const CleanupRow& candidate : screen.rows()->rows())
            keys.append(candidate.key);
        return keys;
    }

    TemporaryFolder folder;
    const std::string home = folder.makeFolder("home");
    const CleanupItem derivedData = madeUpItem("xcode.derivedData", "Derived Data", CleanupCategory::xcode, Safety::safe,
        CleanupAction::DeleteContents{{home + "/Library/Developer/Xcode/DerivedData"}}, "Xcode rebuilds it.");
    const CleanupItem archives = madeUpItem("xcode.archives", "Archives", CleanupCategory::xcode, Safety::review,
        CleanupAction::Delete{{home + "/Library/Developer/Xcode/Archives/2024-01-01"}});
    const CleanupItem rootYarn = needingAdministrator(madeUpItem("javascript.rootYarn", "Root's Yarn Cache",
        CleanupCategory::javascript, Safety::safe, CleanupAction::Delete{{"/usr/local/share/Library/Caches/Yarn"}},
        "Yarn downloads packages again."));
    // Not on the build's list, with every character a shell cares about.
    const CleanupItem manual = needingAdministrator(madeUpItem("leftovers.oldApp", "Old App's data",
        CleanupCategory::leftovers, Safety::review,
        CleanupAction::Delete{{"/Library/Application Support/Old App's \"data\"", "/var/tmp/a b\\c $HOME `id`"}},
        "Its settings are lost."));
    const CleanupItem installer = madeUpItem("leftovers.installer", "Old App installer", CleanupCategory::leftovers,
        Safety::safe, CleanupAction::Trash{{home + "/Downloads/OldApp.dmg"}});
    const std::vector<CleanupItem> items{derivedData, archives, rootYarn, manual, installer};
    const std::map<std::string, std::int64_t> fullSizes{
        {derivedData.id, 5'000'000}, {archives.id, 3'000'000}, {rootYarn.id, 7'000'000},
        {manual.id, 2'000'000},      {installer.id, 1'000'000},
    };

    MadeUpMachine machine{home};
    std::unique_ptr<AppModel> app;
    CleanupModel* model = nullptr;
    CleanupScreen screen;
};

TEST_F(CleanupScreenTest, ContentAndFooterFollowThePhase)
{
    // Before the first scan: counting from nothing.
    EXPECT_EQ(screen.content(), Content::Spinner);
    EXPECT_EQ(screen.stateText(), QStringLiteral("Looking for things to clean…"));
    EXPECT_TRUE(screen.footerIsBusy());
    EXPECT_EQ(screen.footerText(), QStringLiteral("Measuring 0 of 0…"));
    EXPECT_TRUE(screen.rescanEnabled());
    EXPECT_FALSE(screen.cleanEnabled());

    model->setPhase(Phase::scanning);
    model->setItems(items);
    EXPECT_EQ(screen.footerText(), QStringLiteral("Measuring 0 of 5…"));
    EXPECT_EQ(screen.content(), Content::Spinner);
    EXPECT_FALSE(screen.rescanEnabled());
    model->setSizes(sizesOf({{archives.id, 3'000'000}}));
    EXPECT_EQ(screen.footerText(), QStringLiteral("Measuring 1 of 5…"));
    EXPECT_EQ(screen.content(), Content::List);

    // Ready with nothing worth listing, unless a summary has something to say.
    model->setSizes(sizesOf({{archives.id, 0}}));
    model->setPhase(Phase::ready);
    EXPECT_EQ(screen.content(), Content::Empty);
    EXPECT_EQ(screen.stateTitle(), QStringLiteral("Nothing to clean"));
    EXPECT_EQ(screen.stateSymbol(), QStringLiteral("checkmark.circle"));
    EXPECT_EQ(screen.stateText(), QStringLiteral("Tarno found no caches or leftovers worth removing."));
    EXPECT_EQ(screen.footerText(), QStringLiteral("0 items selected"));
    EXPECT_TRUE(screen.rescanEnabled());
    model->setCleanSummary(summaryOf(3'000'000));
    EXPECT_EQ(screen.content(), Content::List);
    model->setCleanSummary(std::nullopt);

    // Only what is visible and needs no administrator counts as selected.
    showAll({derivedData.id});
    EXPECT_FALSE(screen.footerIsBusy());
    EXPECT_EQ(screen.footerText(), QStringLiteral("1 item selected"));
    EXPECT_EQ(screen.selectedBytesText(), QStringLiteral("5 MB"));
    EXPECT_TRUE(screen.cleanEnabled());
    model->setSelection({derivedData.id, archives.id, installer.id, rootYarn.id});
    EXPECT_EQ(screen.footerText(), QStringLiteral("3 items selected"));
    EXPECT_EQ(screen.selectedBytesText(), QStringLiteral("9 MB"));

    model->setPhase(Phase::cleaning);
    model->setCleaningTitle(QStringLiteral("Derived Data"));
    EXPECT_TRUE(screen.footerIsBusy());
    EXPECT_EQ(screen.footerText(), QStringLiteral("Cleaning Derived Data…"));
    EXPECT_FALSE(screen.cleanEnabled());
    EXPECT_FALSE(screen.rescanEnabled());
    model->setCleaningTitle(std::nullopt);
    EXPECT_EQ(screen.footerText(), QStringLiteral("Cleaning …"));

    // A selection that weighs nothing can be cleaned, but shows no sum.
    CleanupItem weightless = derivedData;
    weightless.minimumBytesToShow = 0;
    model->setPhase(Phase::ready);
    model->setItems({weightless});
    model->setSizes(sizesOf({{weightless.id, 0}}));
    model->setSelection({weightless.id});
    EXPECT_EQ(screen.footerText(), QStringLiteral("1 item selected"));
    EXPECT_EQ(screen.selectedBytesText(), QString());
    EXPECT_TRUE(screen.cleanEnabled());

    // The screen tells QML only of changes to what it shows.
    QSignalSpy changed(&screen, &CleanupScreen::changed);
    model->setDockerStatus(DockerStatus::running("/usr/local/bin/docker", DockerUsage{}));
    EXPECT_EQ(changed.count(), 0);
    model->setSelection({});
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(CleanupScreenTest, BannersSayWhatTheCleanGaveAndWhatIsHidden)
{
    showAll({});
    EXPECT_FALSE(screen.showsSummary());
    EXPECT_FALSE(screen.showsFullDiskAccessBanner());
    EXPECT_FALSE(screen.showsDockerBanner());

    struct Case {
        CleanSummary summary;
        QString title;
        QString detail;
    };
    const QString trashSentence = QStringLiteral("Another 4 MB is in the Trash. Empty it to get that space back.");
    const QString dockerSentence =
        QStringLiteral("1.5 GB of it was inside Docker, which hands the space back to macOS over the next few minutes.");
    const std::vector<Case> cases{
        {summaryOf(2'000'000'000), QStringLiteral("Freed 2 GB"), {}},
        {summaryOf(0, 4'000'000), QStringLiteral("Moved 4 MB to the Trash"), {}},
        {summaryOf(1'000'000, 4'000'000), QStringLiteral("Freed 1 MB"), trashSentence},
        {summaryOf(1'500'000'000, 0, 1'500'000'000), QStringLiteral("Freed 1.5 GB"), dockerSentence},
        {summaryOf(2'000'000'000, 4'000'000, 1'500'000'000), QStringLiteral("Freed 2 GB"),
         trashSentence + QLatin1Char(' ') + dockerSentence},
        // Nothing gained at all still says so, in the formatter's own zero.
        {summaryOf(0), QStringLiteral("Freed 0 bytes"), {}},
    };
    for (const Case& example : cases) {
        SCOPED_TRACE(example.title.toStdString());
        model->setCleanSummary(example.summary);
        EXPECT_TRUE(screen.showsSummary());
        EXPECT_EQ(screen.summaryTitle(), example.title);
        EXPECT_EQ(screen.summaryDetail(), example.detail);
        EXPECT_EQ(screen.summarySymbol(), QStringLiteral("checkmark.circle.fill"));
        EXPECT_FALSE(screen.summaryHasFailures());
    }

    // Failures in the report's order, the home folder as a tilde and only
    // the home folder: a sibling that starts with its name stays as it is.
    model->setCleanSummary(summaryOf(0, 0, 0,
                                     {
                                         {home + "/Library/Caches/com.apple.Safari", "permission denied"},
                                         {"/usr/local/bin/docker", "exited with status 1"},
                                         {home + "-old/cache", "busy"},
                                         {home, "top-level folder in the home folder"},
                                     }));
    EXPECT_EQ(screen.summarySymbol(), QStringLiteral("exclamationmark.triangle.fill"));
    EXPECT_TRUE(screen.summaryHasFailures());
    EXPECT_EQ(screen.failuresTitle(), QStringLiteral("4 could not be removed"));
    EXPECT_EQ(screen.failureLines(),
              (QStringList{QStringLiteral("~/Library/Caches/com.apple.Safari: permission denied"),
                           QStringLiteral("/usr/local/bin/docker: exited with status 1"),
                           QString::fromStdString(home + "-old/cache: busy"),
                           QStringLiteral("~: top-level folder in the home folder")}));
    screen.dismissSummary();
    EXPECT_FALSE(screen.showsSummary());
    EXPECT_EQ(model->cleanSummary(), std::nullopt);

    model->setHasFullDiskAccess(false);
    EXPECT_TRUE(screen.showsFullDiskAccessBanner());
    model->setDockerStatus(DockerStatus::notRunning());
    EXPECT_TRUE(screen.showsDockerBanner());
    model->setDockerStatus(DockerStatus::running("/usr/local/bin/docker", DockerUsage{}));
    EXPECT_FALSE(screen.showsDockerBanner());
}

TEST_F(CleanupScreenTest, ConfirmationNamesTheCostAndStartsTheClean)
{
    showAll({installer.id});
    EXPECT_EQ(screen.confirmationTitle(), QStringLiteral("Clean 1 MB?"));
    EXPECT_EQ(screen.confirmationText(), QStringLiteral("These items are moved to the Trash."));

    model->setSelection({derivedData.id, installer.id});
    EXPECT_EQ(screen.confirmationTitle(), QStringLiteral("Clean 6 MB?"));
    EXPECT_EQ(screen.confirmationText(), QStringLiteral("These items are deleted for good and cannot be restored. "
                                                        "Here is what each one costs you."));
    const QVariantList listed = screen.confirmationItems();
    ASSERT_EQ(listed.size(), 2);
    const QVariantMap first = listed[0].toMap();
    EXPECT_EQ(first[QStringLiteral("title")].toString(), QStringLiteral("Derived Data"));
    EXPECT_EQ(first[QStringLiteral("consequence")].toString(), QStringLiteral("Xcode rebuilds it."));
    EXPECT_EQ(first[QStringLiteral("sizeText")].toString(), QStringLiteral("5 MB"));
    EXPECT_EQ(listed[1].toMap()[QStringLiteral("title")].toString(), QStringLiteral("Old App installer"));

    // Cancel leaves everything as it was; Clean closes the sheet and cleans.
    screen.askToClean();
    EXPECT_TRUE(model->isConfirmingClean());
    screen.cancelClean();
    EXPECT_FALSE(model->isConfirmingClean());
    EXPECT_EQ(model->phase(), Phase::ready);
    screen.askToClean();
    machine.holdCleaning();
    screen.confirmClean();
    EXPECT_FALSE(model->isConfirmingClean());
    EXPECT_EQ(model->phase(), Phase::cleaning);
    machine.letAllClean();
    ASSERT_TRUE(waitUntil([&] { return model->phase() == Phase::ready; }));
    EXPECT_THAT(machine.performed(), ElementsAre(derivedData.id, installer.id));

    // Nothing left selected: the sheet cannot be asked for.
    model->setSelection({});
    screen.askToClean();
    EXPECT_FALSE(model->isConfirmingClean());
}

TEST_F(CleanupScreenTest, RowsOfferWhatEachItemAllows)
{
    showAll({derivedData.id});
    EXPECT_EQ(rowKeys(), (QStringList{QStringLiteral("header:xcode"), QStringLiteral("item:xcode.derivedData"),
                                      QStringLiteral("item:xcode.archives"), QStringLiteral("header:javascript"),
                                      QStringLiteral("item:javascript.rootYarn"), QStringLiteral("header:leftovers"),
                                      QStringLiteral("item:leftovers.oldApp"),
                                      QStringLiteral("item:leftovers.installer")}));

    const CleanupRow& xcode = row(QStringLiteral("header:xcode"));
    EXPECT_EQ(xcode.title, QStringLiteral("Xcode"));
    EXPECT_EQ(xcode.symbol, QStringLiteral("hammer"));
    EXPECT_EQ(xcode.sizeText, QStringLiteral("8 MB"));
    EXPECT_EQ(xcode.selectionButton, QStringLiteral("Select All"));
    // Nothing in it can be picked, so nothing to pick all of.
    EXPECT_EQ(row(QStringLiteral("header:javascript")).selectionButton, QString());

    const CleanupRow& picked = row(QStringLiteral("item:xcode.derivedData"));
    EXPECT_TRUE(picked.hasCheckbox);
    EXPECT_TRUE(picked.isChecked);
    EXPECT_TRUE(picked.checkboxEnabled);
    EXPECT_EQ(picked.detail, QStringLiteral("Xcode rebuilds it."));
    EXPECT_EQ(picked.sizeText, QStringLiteral("5 MB"));
    EXPECT_TRUE(picked.badges.isEmpty());
    EXPECT_EQ(picked.adminButton, QString());
    EXPECT_EQ(row(QStringLiteral("item:xcode.archives")).badges, QStringList{QStringLiteral("Your call")});
    EXPECT_EQ(row(QStringLiteral("item:leftovers.installer")).badges, QStringList{QStringLiteral("To Trash")});

    const CleanupRow& password = row(QStringLiteral("item:javascript.rootYarn"));
    EXPECT_FALSE(password.hasCheckbox);
    EXPECT_EQ(password.symbol, QStringLiteral("lock"));
    EXPECT_EQ(password.detail,
              QStringLiteral("Belongs to the system, so macOS asks for your password. Yarn downloads packages again."));
    EXPECT_EQ(password.adminButton, QStringLiteral("Clean with Password…"));
    EXPECT_TRUE(password.adminButtonEnabled);
    const CleanupRow& copy = row(QStringLiteral("item:leftovers.oldApp"));
    EXPECT_FALSE(copy.hasCheckbox);
    EXPECT_EQ(copy.symbol, QStringLiteral("lock"));
    EXPECT_EQ(copy.detail, QStringLiteral("Needs an administrator: paste the command into Terminal. Its settings are lost."));
    EXPECT_EQ(copy.adminButton, QStringLiteral("Copy Command"));
    EXPECT_EQ(copy.badges, QStringList{QStringLiteral("Your call")});

    // Select All, then Deselect All; an administrator's item is never picked.
    screen.toggleCategory(QStringLiteral("xcode"));
    EXPECT_EQ(model->selection(), (std::set{derivedData.id, archives.id}));
    EXPECT_EQ(row(QStringLiteral("header:xcode")).selectionButton, QStringLiteral("Deselect All"));
    screen.toggleCategory(QStringLiteral("xcode"));
    EXPECT_TRUE(model->selection().empty());
    screen.toggleCategory(QStringLiteral("leftovers"));
    EXPECT_EQ(model->selection(), (std::set{installer.id}));
    EXPECT_EQ(row(QStringLiteral("header:leftovers")).selectionButton, QStringLiteral("Deselect All"));
    screen.setItemSelected(QString::fromStdString(manual.id), true);
    screen.setItemSelected(QString::fromStdString(archives.id), true);
    EXPECT_EQ(model->selection(), (std::set{archives.id, installer.id}));

    // Busy phases lock the checkboxes and the password road, not the copying.
    model->setPhase(Phase::cleaning);
    EXPECT_FALSE(row(QStringLiteral("item:xcode.derivedData")).checkboxEnabled);
    EXPECT_FALSE(row(QStringLiteral("item:javascript.rootYarn")).adminButtonEnabled);
    EXPECT_TRUE(row(QStringLiteral("item:leftovers.oldApp")).adminButtonEnabled);
    screen.setItemSelected(QString::fromStdString(derivedData.id), true);
    EXPECT_EQ(model->selection(), (std::set{archives.id, installer.id}));
    model->setPhase(Phase::scanning);
    EXPECT_FALSE(row(QStringLiteral("item:javascript.rootYarn")).adminButtonEnabled);
}

TEST_F(CleanupScreenTest, CopiedCommandRemovesExactlyTheItemsPaths)
{
    showAll({});
    const QString command = screen.commandToCopy(QString::fromStdString(manual.id));
    ASSERT_TRUE(command.startsWith(QStringLiteral("sudo rm -rf '")));

    // The shell hands printf exactly the words rm would get.
    QString echoed = command;
    echoed.replace(QStringLiteral("sudo rm -rf"), QStringLiteral("printf '%s\\n'"));
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), echoed});
    ASSERT_TRUE(shell.waitForFinished(10'000));
    EXPECT_EQ(shell.exitCode(), 0);
    const std::vector<std::string> paths = manual.action.paths();
    EXPECT_EQ(shell.readAllStandardOutput().toStdString(), paths[0] + "\n" + paths[1] + "\n");

    // The button puts the text on the clipboard and does nothing else.
    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    screen.adminAction(QString::fromStdString(manual.id));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), command);
    EXPECT_EQ(model->phase(), Phase::ready);
    EXPECT_TRUE(machine.administratorCalls().empty());

    // An item on the build's list takes the password road instead.
    machine.holdCleaning();
    screen.adminAction(QString::fromStdString(rootYarn.id));
    EXPECT_EQ(model->phase(), Phase::cleaning);
    machine.letAllClean();
    ASSERT_TRUE(waitUntil([&] { return model->phase() == Phase::ready; }));
    ASSERT_EQ(machine.administratorCalls().size(), 1u);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), command);
}

TEST_F(CleanupScreenTest, RowsAreInsertedAsAScanMeasuresAndRemovedAsACleanEmptiesThem)
{
    QAbstractItemModelTester tester(screen.rows(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy resets(screen.rows(), &QAbstractItemModel::modelReset);
    QSignalSpy removed(screen.rows(), &QAbstractItemModel::rowsRemoved);
    machine.holdMeasuring();
    screen.appeared();
    ASSERT_TRUE(waitUntil([&] { return machine.measuringNow().size() == 4; }));
    EXPECT_EQ(screen.rows()->rowCount(), 0);

    machine.letThrough(archives.id);
    ASSERT_TRUE(waitUntil([&] { return screen.rows()->rowCount() == 2; }));
    const QPersistentModelIndex archivesRow(screen.rows()->index(1));
    EXPECT_EQ(archivesRow.data(screen.rows()->roleNames().key("key")).toString(), QStringLiteral("item:xcode.archives"));

    // An earlier item goes in above it; the row the view holds moves down.
    machine.letThrough(derivedData.id);
    ASSERT_TRUE(waitUntil([&] { return screen.rows()->rowCount() == 3; }));
    EXPECT_EQ(archivesRow.row(), 2);
    EXPECT_EQ(archivesRow.data(screen.rows()->roleNames().key("key")).toString(), QStringLiteral("item:xcode.archives"));

    machine.letAllMeasure();
    ASSERT_TRUE(waitUntil([&] { return model->phase() == Phase::ready; }));
    EXPECT_EQ(screen.rows()->rowCount(), 8);
    // A second appearance keeps the list.
    screen.appeared();
    EXPECT_EQ(model->phase(), Phase::ready);

    // Cleaned items drop out; their headers too when nothing is left under them.
    QSignalSpy changedRows(screen.rows(), &QAbstractItemModel::dataChanged);
    model->setSelection({derivedData.id, archives.id});
    EXPECT_FALSE(changedRows.isEmpty());
    screen.confirmClean();
    ASSERT_TRUE(waitUntil([&] { return model->phase() == Phase::ready; }));
    EXPECT_FALSE(archivesRow.isValid());
    EXPECT_EQ(rowKeys(), (QStringList{QStringLiteral("header:javascript"), QStringLiteral("item:javascript.rootYarn"),
                                      QStringLiteral("header:leftovers"), QStringLiteral("item:leftovers.oldApp"),
                                      QStringLiteral("item:leftovers.installer")}));
    EXPECT_GT(removed.count(), 0);
    EXPECT_EQ(resets.count(), 0);
}

} // namespace
} // namespace tarno
