#include "Tarno/AppModel.hpp"
#include "Tarno/ApplicationsModel.hpp"
#include "Tarno/ApplicationsScreen.hpp"

#include "TarnoCore/Apps/AppInventory.hpp"
#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"

#include "Support/AppBundles.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include "TarnoTests/MadeUpApps.hpp"
#include "TarnoTests/MadeUpMachine.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tarno {
namespace {

using test::MadeUpApps;
using test::waitUntil;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Failure = CleanReport::Failure;
using Phase = ApplicationsModel::Phase;
using Order = ApplicationsModel::Order;

const std::string home = "/home/alex";
constexpr std::int64_t megabytes = 1'000'000;

InstalledApp app(const std::string& name, AppKind kind, std::optional<int> daysAgo = std::nullopt,
                 bool needsPassword = false)
{
    const std::string path = kind == AppKind::flatpak ? home + "/.local/share/flatpak/app/org.example." + name
                             : kind == AppKind::appImage ? home + "/Applications/" + name + ".AppImage"
                                                         : "/Applications/" + name + ".app";
    const auto date = daysAgo ? std::optional(std::chrono::system_clock::now() - std::chrono::days{*daysAgo})
                              : std::nullopt;
    return InstalledApp{.path = path,
                        .name = name,
                        .bundleID = "org.example." + name,
                        .version = "1.0",
                        .lastOpened = date,
                        .needsPassword = needsPassword,
                        .kind = kind,
                        .icon = std::nullopt,
                        .ownFiles = {}};
}

const InstalledApp editor = app("Editor", AppKind::bundle, 3);
const InstalledApp chat = app("Chat", AppKind::flatpak, std::nullopt, true);
const InstalledApp notes = app("Notes", AppKind::appImage, 40);

std::vector<std::string> namesOf(const std::vector<InstalledApp>& apps)
{
    std::vector<std::string> names;
    for (const InstalledApp& each : apps)
        names.push_back(each.name);
    return names;
}

// The section and its screen over a made-up machine with the three apps
// above: Editor 300 MB with 200 MB of settings and a 50 MB cache, Chat 100 MB
// with 900 MB of data, Notes 40 MB alone.
class ApplicationsFlow : public ::testing::Test {
protected:
    ApplicationsFlow()
    {
        machine.setApps({chat, editor, notes});
        machine.setOwnBundleID("dev.tarno.Tarno");
        machine.setParts(editor.path, {settings, editorCache});
        machine.setParts(chat.path, {chatData});
        for (const auto& [path, size] : std::vector<std::pair<std::string, std::int64_t>>{
                 {editor.path, 300}, {settings, 200}, {editorCache, 50}, {chat.path, 100}, {chatData, 900},
                 {notes.path, 40}})
            machine.setSize(path, size * megabytes);
        model.onRemoved = [this](const CleanupRecord& record) { records.push_back(record); };
        screen.setModel(&model);
    }

    void scanToReady()
    {
        model.scan();
        ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    }

    void uninstallAndWait(const std::set<std::string>& selection)
    {
        model.setSelection(selection);
        model.uninstall();
        ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    }

    const std::string settings = home + "/.config/Editor";
    const std::string editorCache = home + "/Library/Caches/org.example.Editor";
    const std::string chatData = home + "/.var/app/org.example.Chat";
    MadeUpApps machine;
    PathGuard guardian = PathGuard::forHome(home);
    ApplicationsModel model{machine.machine(), home, guardian};
    ApplicationsScreen screen;
    std::vector<CleanupRecord> records;
};

TEST_F(ApplicationsFlow, ListsEveryKindMeasuresEachPartAndSorts)
{
    EXPECT_EQ(screen.content(), ApplicationsScreen::Content::Progress);
    model.setKeptParts({settings});
    scanToReady();

    EXPECT_THAT(machine.calls().listedExcluding, ElementsAre(std::set<std::string>{"dev.tarno.Tarno"}));
    EXPECT_THAT(machine.calls().footprintWithContainers, ElementsAre(true, true, true));
    EXPECT_EQ(model.parts().at(editor.path),
              (std::vector<AppPart>{{editor.path, 300 * megabytes}, {settings, 200 * megabytes},
                                    {editorCache, 50 * megabytes}}));
    EXPECT_EQ(model.bytes(editor), 550 * megabytes);
    EXPECT_EQ(model.keptParts(), std::set<std::string>{settings}) << "a listing keeps what the user spared";

    const std::pair<Order, std::vector<std::string>> orders[] = {
        {Order::size, {"Chat", "Editor", "Notes"}},
        {Order::lastOpened, {"Chat", "Notes", "Editor"}}, // never opened first, then the longest ago
        {Order::name, {"Chat", "Editor", "Notes"}},
    };
    for (const auto& [order, names] : orders) {
        model.setOrder(order);
        EXPECT_EQ(namesOf(model.sortedApps()), names) << ApplicationsModel::label(order).toStdString();
    }
    EXPECT_EQ(screen.footerText(), QStringLiteral("3 apps, ") + QString::fromStdString(ByteFormat::string(1'590 * megabytes))
                                       + QStringLiteral(" with their data"));
    EXPECT_TRUE(screen.showsLeftoversLink());
    EXPECT_EQ(screen.rows()->rows().at(0).kindText, QStringLiteral("Flatpak")) << "Chat, first by name";

    // Part way through measuring: the measured apps first, by size, the others in list order.
    model.setOrder(Order::size);
    model.setPhase(Phase::scanning);
    model.setParts({{notes.path, {{notes.path, 40 * megabytes}}}});
    EXPECT_EQ(namesOf(model.sortedApps()), (std::vector<std::string>{"Notes", "Chat", "Editor"}));
    EXPECT_EQ(screen.footerText(), QStringLiteral("Measuring 1 of 3…"));
    EXPECT_TRUE(screen.footerIsBusy());
    EXPECT_FALSE(screen.rows()->rows().at(1).isMeasured);
}

TEST_F(ApplicationsFlow, WithoutFullDiskAccessContainersAreLeftOutAndTheScreenSaysSo)
{
    machine.setFullDiskAccess(false);
    scanToReady();
    EXPECT_THAT(machine.calls().footprintWithContainers, ElementsAre(false, false, false));
    EXPECT_TRUE(screen.showsAccessBanner());
}

TEST_F(ApplicationsFlow, AnOpenAppIsLeftAloneAndAFailedAppKeepsItsParts)
{
    scanToReady();
    machine.setStaysOpen("Notes");
    machine.setFailure(chat.path, "not authorized");
    machine.setFailure(editorCache, "is on another disk");
    model.setKeptParts({settings});
    uninstallAndWait({editor.path, chat.path, notes.path});

    const MadeUpApps::Calls calls = machine.calls();
    EXPECT_THAT(calls.quit, ElementsAre("Chat", "Editor", "Notes")) << "one after the other, in the list's order";
    EXPECT_THAT(calls.removeApps, ElementsAre(std::vector<std::string>{chat.path, editor.path}))
        << "the apps that closed go in one batch";
    EXPECT_THAT(calls.trash, ElementsAre(std::vector<std::string>{editorCache}))
        << "only the parts of an app that went, less the spared ones";

    const UninstallSummary expected{
        .apps = {"Editor"},
        .trashed = 300 * megabytes,
        .failures = {{notes.path, "Notes is still open. Quit it, then try again.", Failure::Kind::failed},
                     {chat.path, "not authorized", Failure::Kind::failed},
                     {editorCache, "is on another disk", Failure::Kind::failed}},
    };
    EXPECT_EQ(model.summary(), expected);
    EXPECT_EQ(namesOf(model.apps()), (std::vector<std::string>{"Chat", "Notes"}));
    EXPECT_EQ(model.selection(), (std::set<std::string>{chat.path, notes.path})) << "what stayed stays selected";
    EXPECT_FALSE(model.parts().contains(editor.path));
    EXPECT_THAT(model.keptParts(), IsEmpty());
    EXPECT_FALSE(model.removingName().has_value());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].source, "Applications");
    EXPECT_EQ(records[0].freedBytes, 300 * megabytes);
    EXPECT_EQ(records[0].items, std::vector<std::string>{"Editor"});
    EXPECT_EQ(records[0].failures, 3);

    EXPECT_EQ(screen.summaryTitle(), QStringLiteral("Moved Editor to the Trash"));
    EXPECT_EQ(screen.failuresTitle(), QStringLiteral("3 items stayed"));
    EXPECT_EQ(screen.failureLines().front(), QStringLiteral("~/Applications/Notes.AppImage: Notes is still open. Quit "
                                                            "it, then try again."));

    // Nothing closes: no names, nothing trashed, no record.
    machine.setStaysOpen("Chat");
    uninstallAndWait({chat.path, notes.path});
    EXPECT_EQ(model.summary()->apps, std::vector<std::string>{});
    EXPECT_EQ(model.summary()->trashed, 0);
    EXPECT_EQ(model.summary()->failures.size(), 2u);
    EXPECT_EQ(records.size(), 1u);
    EXPECT_EQ(screen.summaryTitle(), QStringLiteral("Nothing was uninstalled"));
}

TEST_F(ApplicationsFlow, TheSheetSparesPartsButNeverTheAppItself)
{
    scanToReady();
    model.setSelection({editor.path});
    screen.askToUninstall();
    ASSERT_TRUE(screen.isConfirming());
    EXPECT_EQ(screen.confirmationTitle(), QStringLiteral("Uninstall Editor?"));
    EXPECT_TRUE(screen.passwordNote().isEmpty());
    EXPECT_EQ(screen.confirmationItems().size(), 4) << "the app's heading and its three parts";

    screen.setPartKept(QString::fromStdString(editor.path), true);
    screen.setPartKept(QString::fromStdString(settings), true);
    screen.setPartKept(QString::fromStdString(editorCache), true);
    EXPECT_EQ(model.keptParts(), (std::set<std::string>{settings, editorCache}));
    EXPECT_EQ(model.selectedBytes(), 300 * megabytes) << "with every part unticked, the app alone";
    EXPECT_TRUE(screen.confirmationText().contains(QString::fromStdString(ByteFormat::string(300 * megabytes))));

    // Cancel keeps the spared parts; asking again ticks everything.
    screen.cancelUninstall();
    EXPECT_FALSE(model.isConfirming());
    EXPECT_EQ(model.selectedBytes(), 300 * megabytes);
    model.setSelection({editor.path, chat.path});
    screen.askToUninstall();
    EXPECT_THAT(model.keptParts(), IsEmpty());
    EXPECT_EQ(screen.confirmationTitle(), QStringLiteral("Uninstall 2 apps?"));
    EXPECT_TRUE(screen.confirmationText().startsWith(QStringLiteral("Each app and what it keeps")));
    EXPECT_EQ(screen.passwordNote(),
              QStringLiteral("Finder asks for your password to move Chat: it belongs to the system."));
}

TEST_F(ApplicationsFlow, AfterTheLastAppTheBannerStaysUntilDismissed)
{
    machine.setApps({notes});
    scanToReady();
    uninstallAndWait({notes.path});
    EXPECT_THAT(model.apps(), IsEmpty());
    EXPECT_EQ(screen.content(), ApplicationsScreen::Content::List);
    EXPECT_EQ(screen.summaryDetail(),
              QString::fromStdString(ByteFormat::string(40 * megabytes)) + QStringLiteral(" comes back when you empty the Trash."));
    screen.dismissSummary();
    EXPECT_EQ(screen.content(), ApplicationsScreen::Content::Empty);
}

TEST(ApplicationsScreenText, PartsAreNamedByWhatFollowsTheirBaseFolder)
{
    const test::ScopedEnvironment config("XDG_CONFIG_HOME", std::nullopt);
    const std::pair<std::string, QString> cases[] = {
        {home + "/Library/Application Support/Editor/state", QStringLiteral("Application Support › Editor › state")},
        {home + "/.config/Editor", QStringLiteral(".config › Editor")},
        {home + "/.local/share/editor/plugins", QStringLiteral(".local › share › editor › plugins")},
        {home + "/.var/app/org.example.Chat", QStringLiteral("~/.var/app/org.example.Chat")},
        {"/opt/elsewhere", QStringLiteral("/opt/elsewhere")},
    };
    for (const auto& [path, label] : cases)
        EXPECT_EQ(ApplicationsScreen::partLabel(path, home), label) << path;
}

// Real processes inside a made-up bundle: one quits when asked, one ignores
// the request and keeps its app, its parts and its place.
TEST(ApplicationsOnDisk, OpenAppsAreAskedToQuitAndOneThatStaysKeepsEverything)
{
    const test::TemporaryFolder root;
    const test::ScopedEnvironment dataHome("XDG_DATA_HOME", std::nullopt);
    const std::string userHome = root.makeFolder("home");
    const std::string apps = root.makeFolder("Applications");
    const std::string polite = test::makeAppBundle(root, "Applications/Polite.app", "org.example.polite");
    const std::string stubborn = test::makeAppBundle(root, "Applications/Stubborn.app", "org.example.stubborn");
    const std::string politeData = root.makeFile("home/.config/org.example.polite/settings", 4096);
    const std::string stubbornData = root.makeFile("home/.config/org.example.stubborn/settings", 4096);
    std::filesystem::create_directories(polite + "/Contents/MacOS");
    std::filesystem::create_directories(stubborn + "/Contents/MacOS");
    std::filesystem::copy_file("/bin/sleep", polite + "/Contents/MacOS/Polite");
    std::filesystem::copy_file("/bin/sh", stubborn + "/Contents/MacOS/Stubborn");

    const auto start = [](std::vector<std::string> arguments) {
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        pid_t pid = 0;
        EXPECT_EQ(::posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ), 0);
        return pid;
    };
    const pid_t politePID = start({polite + "/Contents/MacOS/Polite", "30"});
    const pid_t stubbornPID =
        start({stubborn + "/Contents/MacOS/Stubborn", "-c", "trap '' TERM; while :; do /bin/sleep 0.05; done"});
    // The shell must have set its trap before it is asked.
    ::usleep(200'000);

    ApplicationsMachine machine = ApplicationsMachine::live();
    machine.list = [apps, userHome](const std::string&, const std::set<std::string>& excluding) {
        return InstalledApps::list({apps, userHome + "/Applications"}, excluding);
    };
    machine.footprint = [](const InstalledApp& listed, const std::string& where, bool, const std::vector<std::string>& others) {
        return AppInventory::parts(listed, where, false, others);
    };
    machine.quit = [](const InstalledApp& listed) {
        return AppInventory::quit(listed, 10, std::chrono::milliseconds(50));
    };
    const PathGuard guardian(userHome, apps, root / "bin/tarno");
    ApplicationsModel model(machine, userHome, guardian);
    std::vector<CleanupRecord> records;
    model.onRemoved = [&](const CleanupRecord& record) { records.push_back(record); };
    model.scan();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    ASSERT_EQ(namesOf(model.apps()), (std::vector<std::string>{"Polite", "Stubborn"}));

    model.setSelection({polite, stubborn});
    model.uninstall();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready && model.summary(); }));

    int status = 0;
    EXPECT_EQ(::waitpid(politePID, &status, WNOHANG), politePID) << "the polite one ended";
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_EQ(::waitpid(stubbornPID, &status, WNOHANG), 0) << "never killed without the user asking";
    ::kill(stubbornPID, SIGKILL);
    ::waitpid(stubbornPID, &status, 0);

    EXPECT_EQ(model.summary()->apps, std::vector<std::string>{"Polite"});
    EXPECT_EQ(model.summary()->failures,
              (std::vector<Failure>{{stubborn, "Stubborn is still open. Quit it, then try again.", Failure::Kind::failed}}));
    EXPECT_FALSE(std::filesystem::exists(polite));
    EXPECT_FALSE(std::filesystem::exists(politeData));
    EXPECT_TRUE(std::filesystem::exists(userHome + "/.local/share/Trash/files/Polite.app/Contents/Info.plist"));
    EXPECT_TRUE(std::filesystem::exists(stubborn));
    EXPECT_TRUE(std::filesystem::exists(stubbornData));
    ASSERT_EQ(records.size(), 1u);
    EXPECT_GT(records[0].freedBytes, 0);
}

} // namespace
} // namespace tarno
