#include "Tarno/Demo/DemoProjects.hpp"
#include "Tarno/ProjectsScreen.hpp"

#include "TarnoTests/MadeUpProjects.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <QLocale>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace tarno {
namespace {

using test::MadeUpProjects;
using Clock = std::chrono::system_clock;
using Content = ProjectsScreen::Content;
using namespace Qt::StringLiterals;

const std::string home = "/home/alex";

std::string inHome(const std::string& relative)
{
    return home + "/" + relative;
}

// The Projects screen over a model put in each state by hand.
class ProjectsScreenTest : public ::testing::Test {
protected:
    ProjectsScreenTest() { screen.setModel(&model); }

    const ProjectsRow& row(const QString& key) const
    {
        const auto& rows = screen.rows()->rows();
        const auto found = std::find_if(rows.begin(), rows.end(), [&](const auto& each) { return each.key == key; });
        if (found == rows.end())
            throw std::runtime_error("no row " + key.toStdString());
        return *found;
    }

    ProjectScan scan = Demo::projectScan(Clock::now());
    MadeUpProjects machine;
    PathGuard guardian = PathGuard::forHome(home);
    ProjectsModel model{machine.machine(), home, guardian};
    ProjectsScreen screen;
};

TEST_F(ProjectsScreenTest, ContentAndFooterFollowThePhase)
{
    const struct {
        ProjectsModel::Phase phase;
        bool hasScan;
        Content content;
        QString footer; // empty: no footer
        bool removeEnabled;
    } cases[] = {
        {ProjectsModel::Idle{}, false, Content::Empty, {}, false},
        {ProjectsModel::Scanning{ProjectScanner::FindingProjects{}}, false, Content::Progress, {}, false},
        {ProjectsModel::Scanning{ProjectScanner::FindingProjects{}}, true, Content::Progress, u"1 item selected"_s, false},
        {ProjectsModel::Ready{}, true, Content::List, u"1 item selected"_s, true},
        {ProjectsModel::Cleaning{"shop/node_modules"}, true, Content::List, u"Removing shop/node_modules…"_s, false},
    };
    model.setSelectedArtifacts({inHome("code/shop/node_modules")});
    for (const auto& each : cases) {
        model.setScan(each.hasScan ? std::optional(scan) : std::nullopt);
        model.setPhase(each.phase);
        EXPECT_EQ(screen.content(), each.content) << each.footer.toStdString();
        EXPECT_EQ(screen.showsFooter(), !each.footer.isEmpty());
        if (!each.footer.isEmpty()) {
            EXPECT_EQ(screen.footerText(), each.footer);
        }
        EXPECT_EQ(screen.removeEnabled(), each.removeEnabled) << each.footer.toStdString();
        EXPECT_EQ(screen.scanAgainEnabled(), each.hasScan && !model.isScanning());
        EXPECT_EQ(screen.foldersEnabled(), !model.isScanning());
    }
    // None selected: no bytes, and nothing to remove.
    model.setPhase(ProjectsModel::Ready{});
    model.setSelectedArtifacts({});
    EXPECT_EQ(screen.footerText(), u"0 items selected"_s);
    EXPECT_TRUE(screen.selectedBytesText().isEmpty());
    EXPECT_FALSE(screen.removeEnabled());
    screen.askToRemove();
    EXPECT_FALSE(model.isConfirming());
}

TEST_F(ProjectsScreenTest, WordsForStagesSizesAndFailures)
{
    EXPECT_EQ(ProjectsScreen::describe(ProjectScanner::FindingProjects{}), u"Finding projects…"_s);
    EXPECT_EQ(ProjectsScreen::describe(ProjectScanner::Measuring{12345}),
              u"Measuring "_s + QLocale().toString(12345) + u" files and folders…"_s);
    EXPECT_EQ(ProjectsScreen::describe(ProjectScanner::CheckingWorktrees{1}), u"Checking worktrees in 1 repository…"_s);
    EXPECT_EQ(ProjectsScreen::describe(ProjectScanner::CheckingWorktrees{3}), u"Checking worktrees in 3 repositories…"_s);

    // The plain size is shown only when over a fifth and over 50 MB above.
    EXPECT_EQ(ProjectsScreen::finderText(100'000'000, 150'000'001), u"Finder: 150 MB"_s);
    EXPECT_EQ(ProjectsScreen::finderText(100'000'000, 150'000'000), u""_s);
    EXPECT_EQ(ProjectsScreen::finderText(300'000'000, 360'000'000), u""_s);

    CleanSummary summary;
    for (const char* name : {"a", "b", "c", "d", "e"})
        summary.failures.push_back({inHome(name), std::string("no ") + name});
    EXPECT_EQ(ProjectsScreen::failuresText(summary, home), u"5 could not be removed. ~/a: no a ~/b: no b"_s);
}

TEST_F(ProjectsScreenTest, RowsSayWhatEachRowIsAndOffersOnlyWhatCanGo)
{
    model.setScan(scan);
    model.setPhase(ProjectsModel::Ready{});
    model.selectDefaults(Clock::now());

    const ProjectsRow& kept = row(u"worktree:"_s + QString::fromStdString(inHome("code/shop-payments")));
    EXPECT_FALSE(kept.hasCheckbox);
    EXPECT_EQ(kept.symbol, u"lock"_s);
    EXPECT_EQ(kept.badges, QStringList{u"In use"_s});
    EXPECT_EQ(kept.detail, u"stripe-webhooks · 3 uncommitted changes · changed now"_s);

    const ProjectsRow& pushed = row(u"worktree:"_s + QString::fromStdString(inHome("code/shop-search")));
    EXPECT_TRUE(pushed.hasCheckbox);
    EXPECT_EQ(pushed.badges, QStringList{u"Your call"_s});
    EXPECT_EQ(pushed.detail, u"search-experiment · Pushed, not merged · changed 3 weeks ago · its commits stay on the branch"_s);
    EXPECT_EQ(pushed.extra,
              u"Also deletes ignored files: .env.local, notes.md, fixtures/big.json, coverage/lcov.info and 1 more"_s);

    const ProjectsRow& venv = row(u"artifact:"_s + QString::fromStdString(inHome("work/notebook-tools/.venv")));
    EXPECT_EQ(venv.badges, QStringList{u"Your call"_s});
    EXPECT_FALSE(venv.isChecked);
    EXPECT_THAT(venv.detail.toStdString(), ::testing::StartsWith("Python environment. "));

    // The worktree header selects what it holds, never the kept one.
    const QString worktrees = u"worktrees"_s;
    EXPECT_EQ(row(worktrees).selectionButton, u"Select All"_s);
    screen.toggleSection(worktrees);
    EXPECT_EQ(model.selectedWorktrees(), (std::set<std::string>{inHome("code/shop-checkout-redesign"),
                                                                inHome("code/shop-fix-cart"), inHome("code/shop-search")}));
    EXPECT_EQ(row(worktrees).selectionButton, u"Deselect All"_s);
    screen.setWorktreeSelected(QString::fromStdString(inHome("code/shop-search")), false);
    EXPECT_EQ(row(worktrees).selectionButton, u"Select All"_s);

    // A project's header prices its rows together.
    const QString shop = u"project:"_s + QString::fromStdString(inHome("code/shop"));
    const std::int64_t shopBytes = scan.freed({inHome("code/shop/node_modules"), inHome("code/shop/.next")}, {});
    EXPECT_EQ(row(shop).title, u"shop"_s);
    EXPECT_EQ(row(shop).detail, u"changed 2 months ago"_s);
    EXPECT_EQ(row(shop).sizeText, QString::fromStdString(ByteFormat::string(shopBytes)));

    // Checkboxes follow the phase.
    model.setPhase(ProjectsModel::Cleaning{"x"});
    EXPECT_FALSE(row(u"artifact:"_s + QString::fromStdString(inHome("code/shop/node_modules"))).checkboxEnabled);
}

TEST_F(ProjectsScreenTest, ConfirmationNamesEverythingAndStartsTheRemoval)
{
    model.setScan(scan);
    model.setPhase(ProjectsModel::Ready{});
    model.setSelectedWorktrees({inHome("code/shop-search"), inHome("code/shop-payments")});
    model.setSelectedArtifacts({inHome("code/ledger-service/target")});

    EXPECT_EQ(screen.footerText(), u"2 items selected"_s); // the kept worktree cannot count
    EXPECT_EQ(screen.confirmationTitle(), u"Remove "_s + QString::fromStdString(ByteFormat::string(model.selectedBytes())));
    const QVariantList items = screen.confirmationItems();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items[0].toMap()[u"title"_s], u"Worktree shop-search"_s);
    EXPECT_EQ(items[0].toMap()[u"detail"_s], u"Pushed, not merged. Also deletes .env.local, notes.md, fixtures/big.json, "_s
                                          u"coverage/lcov.info, .vscode/launch.json."_s);
    EXPECT_EQ(items[1].toMap()[u"title"_s], u"ledger-service/target"_s);
    EXPECT_EQ(items[1].toMap()[u"detail"_s], u"Rebuilt by the next cargo build."_s);

    screen.askToRemove();
    EXPECT_TRUE(model.isConfirming());
    screen.confirmRemove();
    EXPECT_FALSE(model.isConfirming());
    EXPECT_TRUE(std::holds_alternative<ProjectsModel::Cleaning>(model.phase()));
    EXPECT_EQ(screen.footerText(), u"Removing shop-search…"_s);
}

} // namespace
} // namespace tarno
