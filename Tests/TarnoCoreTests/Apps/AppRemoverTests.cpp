#include "TarnoCore/Apps/AppRemover.hpp"

#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"
#include "TarnoCore/Platform/Trash.hpp"

#include "Support/AppBundles.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ranges>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {
namespace {

using test::TemporaryFolder;
using Failure = CleanReport::Failure;
using Outcome = Platform::TreeRemoval::Outcome;
using AdminOutcome = AdminCleanup::Outcome;

std::string contents(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

bool exists(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

class AppRemoverTest : public testing::Test {
protected:
    std::string home() const { return root / "home"; }
    std::string apps() const { return root / "Applications"; }
    PathGuard guard() const { return PathGuard(home(), apps(), root / "bin/tarno"); }

    std::string bundle(const std::string& name) const
    {
        return test::makeAppBundle(root, "Applications/" + name + ".app", "com.example." + name);
    }

    TemporaryFolder root;
    test::ScopedEnvironment dataHome{"XDG_DATA_HOME", std::nullopt};
};

// The administrator's road: every bundle the system would not let the user
// move goes in one batch, and the disk alone says what went.
TEST(AppRemover, BundlesTheUserMayNotMoveGoToTheAdministratorAsOneBatch)
{
    struct Case {
        const char* name;
        std::function<AdminOutcome(const std::vector<std::string>&)> administrator;
        int removed;
        std::vector<std::pair<std::string, Failure>> failures; // by bundle name, besides the guard's refusal
    };
    const auto moveAway = [](const std::vector<std::string>& paths) {
        for (const std::string& path : paths)
            std::filesystem::rename(path, path + ".moved");
    };
    const Failure cancelled{"", "The password prompt was cancelled.", Failure::Kind::cancelled};
    const Failure notStarted{"", "pkexec could not be started", Failure::Kind::failed};
    const Case cases[] = {
        {"all moved", [&](const std::vector<std::string>& paths) { moveAway(paths); return AdminOutcome{}; }, 3, {}},
        {"said done, moved one",
         [&](const std::vector<std::string>& paths) {
             moveAway({paths.front()});
             return AdminOutcome{};
         },
         2,
         {{"Two", {"", "pkexec did not move it to the Trash", Failure::Kind::failed}}}},
        {"said failed, moved all",
         [&](const std::vector<std::string>& paths) {
             moveAway(paths);
             return AdminOutcome{AdminOutcome::Kind::failed, "mv: something"};
         },
         3,
         {}},
        {"prompt dismissed", [](const std::vector<std::string>&) { return AdminOutcome{AdminOutcome::Kind::cancelled, {}}; },
         1, {{"One", cancelled}, {"Two", cancelled}}},
        {"no prompt tool",
         [](const std::vector<std::string>&) {
             return AdminOutcome{AdminOutcome::Kind::couldNotStart, "pkexec could not be started"};
         },
         1, {{"One", notStarted}, {"Two", notStarted}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const TemporaryFolder root;
        const std::string apps = root / "Applications";
        const auto bundle = [&](const std::string& name) {
            return test::makeAppBundle(root, "Applications/" + name + ".app", "com.example." + name);
        };
        const std::string mine = bundle("Mine");
        const std::string outside = test::makeAppBundle(root, "Elsewhere/Stray.app", "com.example.stray");
        const std::vector<std::string> systems{bundle("One"), bundle("Two")};
        std::vector<std::string> trashed;
        std::vector<std::vector<std::string>> batches;
        const AppRemover remover{
            .guardian = PathGuard(root.makeFolder("home"), apps, root / "bin/tarno"),
            .trash = [&](const std::string& path) {
                trashed.push_back(path);
                if (path != mine)
                    return Outcome{Outcome::Status::denied, "permission denied"};
                std::filesystem::remove_all(path);
                return Outcome{};
            },
            .administrator = [&](const std::vector<std::string>& paths) {
                batches.push_back(paths);
                return c.administrator(paths);
            },
            .flatpak = {},
        };
        const CleanReport report = remover.remove({outside, mine, systems[0], systems[1]});

        EXPECT_EQ(trashed, (std::vector<std::string>{mine, systems[0], systems[1]})) << "the refused path is never tried";
        EXPECT_EQ(batches, (std::vector<std::vector<std::string>>{systems}));
        EXPECT_EQ(report.removed, c.removed);
        std::vector<Failure> failures{{outside, "not in an Applications folder", Failure::Kind::refused}};
        for (Failure failure : c.failures | std::views::values)
            failures.push_back(failure);
        for (std::size_t index = 1; index < failures.size(); ++index)
            failures[index].path = apps + "/" + c.failures[index - 1].first + ".app";
        EXPECT_EQ(report.failures, failures);
    }
}

// A refusal that is not about permission is the path's failure, and nothing
// goes to the prompt.
TEST_F(AppRemoverTest, OtherRefusalsOfTheTrashAskForNoPassword)
{
    root.makeFolder("home");
    const AppRemover remover{
        .guardian = guard(),
        .trash = [](const std::string&) { return Outcome{Outcome::Status::failed, "is on another disk"}; },
        .administrator = [](const std::vector<std::string>&) {
            ADD_FAILURE() << "no prompt without a refusal";
            return AdminOutcome{};
        },
        .flatpak = {},
    };
    EXPECT_EQ(remover.remove({bundle("Other")}).failures,
              (std::vector<Failure>{{apps() + "/Other.app", "is on another disk", Failure::Kind::failed}}));
    EXPECT_EQ(remover.remove({}), CleanReport{});
}

// The script the prompt runs, run here as the user: each item lands on its
// reserved name, names are never read as commands, and the items are the
// user's afterwards.
TEST_F(AppRemoverTest, AdministratorScriptMovesItemsOntoTheirReservedNamesInTheTrash)
{
    const std::string trash = root / "home/.local/share/Trash";
    const std::string odd = test::makeAppBundle(root, "Applications/Odd \"$(touch pwned)\" 'x'.app", "com.example.odd");
    const std::string plain = bundle("Plain");
    root.makeFolder("Applications/Busy.app");
    root.makeFile("home/.local/share/Trash/files/Plain.app");

    std::vector<std::pair<std::string, std::string>> moves;
    for (const std::string& path : {odd, plain}) {
        const auto reserved = Platform::Trash::reserve(path, trash, std::chrono::system_clock::now());
        ASSERT_TRUE(std::holds_alternative<Platform::Trash::Reservation>(reserved));
        const auto& reservation = std::get<Platform::Trash::Reservation>(reserved);
        EXPECT_NE(contents(reservation.info).find("Path="), std::string::npos);
        moves.emplace_back(path, reservation.destination);
    }
    EXPECT_EQ(moves.back().second, trash + "/files/Plain.app.2") << "a name already in the Trash is not taken";
    moves.emplace_back(root / "Applications/Missing.app", trash + "/files/Missing.app");

    const std::string owner = std::to_string(::getuid()) + ":" + std::to_string(::getgid());
    const std::vector<std::string> line = AppRemover::administratorArguments(owner, moves);
    ASSERT_EQ(line.front(), "/bin/sh");
    const std::optional<Shell::Output> output =
        Shell::run(line.front(), std::vector<std::string>(line.begin() + 1, line.end()), {}, std::chrono::seconds(20));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->status, 1) << "the missing item fails, the others still move";
    for (std::size_t index = 0; index < 2; ++index) {
        EXPECT_FALSE(exists(moves[index].first));
        EXPECT_TRUE(exists(moves[index].second + "/Contents/Info.plist")) << moves[index].second;
    }
    EXPECT_FALSE(exists(root / "pwned"));
    EXPECT_FALSE(exists(root / "Applications/pwned"));
    EXPECT_TRUE(exists(root / "Applications/Busy.app"));
}

// Flatpak's own tool does the uninstalling, once per installation, and the
// folder's absence afterwards is the proof.
TEST_F(AppRemoverTest, FlatpakAppsAreUninstalledByFlatpakFoundOnThePath)
{
    const std::string bin = root.makeFolder("bin");
    const std::string log = root / "flatpak.log";
    const std::string appFolder = root.makeFolder("home/.local/share/flatpak/app/org.example.App");
    const std::string stubborn = root.makeFolder("home/.local/share/flatpak/app/org.example.Stubborn");
    const std::string plugin = root.makeFolder("home/.local/share/flatpak/app/org.example.App.Plugin");
    // Records its arguments, removes what it is asked to except the stubborn app, and complains about that.
    std::ofstream(bin + "/flatpak") << "#!/bin/sh\n"
                                       "echo \"$*\" >> '" + log + "'\n"
                                       "status=0\n"
                                       "for id in \"$@\"; do\n"
                                       "  case \"$id\" in\n"
                                       "    org.example.Stubborn) echo 'error: org.example.Stubborn is in use' >&2; status=1;;\n"
                                       "    org.*) rm -rf '" + root.path() + "/home/.local/share/flatpak/app/'\"$id\";;\n"
                                       "  esac\n"
                                       "done\n"
                                       "exit $status\n";
    ::chmod((bin + "/flatpak").c_str(), 0755);
    const test::ScopedEnvironment path("PATH", "relative:" + bin + ":/usr/bin:/bin");

    const AppRemover remover = AppRemover::live(guard());
    const CleanReport report = remover.remove({appFolder, stubborn});

    EXPECT_EQ(contents(log), "uninstall --user --assumeyes -- org.example.App org.example.Stubborn\n");
    EXPECT_EQ(report.removed, 1);
    EXPECT_EQ(report.failures, (std::vector<Failure>{{stubborn, "error: org.example.Stubborn is in use",
                                                       Failure::Kind::failed}}));
    EXPECT_FALSE(exists(appFolder));
    EXPECT_TRUE(exists(plugin)) << "an app whose id starts with another's is its own";
    EXPECT_EQ(Platform::flatpakCandidates("bin::/opt/tools/"),
              (std::vector<std::string>{"/opt/tools//flatpak", "/usr/bin/flatpak"}))
        << "a relative or empty entry is the current folder: never a place to run a tool from";
}

} // namespace
} // namespace tarno
