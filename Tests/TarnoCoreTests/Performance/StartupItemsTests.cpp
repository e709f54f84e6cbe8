#include "TarnoCore/Performance/StartupItems.hpp"

#include "TarnoCore/Platform/Locations.hpp"

#include "Support/AppBundles.hpp"
#include "Support/FileChecks.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {

void PrintTo(const StartupItem& item, std::ostream* out)
{
    *out << item.plistPath << " | " << item.label << " | " << rawValue(item.scope) << " | "
         << item.program.value_or("-") << (item.programMissing ? " (missing)" : "")
         << (item.startsAutomatically ? " | starts" : " | off");
}

namespace {

using test::TemporaryFolder;
using Scope = StartupItem::Scope;
using Items = std::vector<StartupItem>;

struct Call {
    std::string tool;
    std::vector<std::string> arguments;
    bool operator==(const Call&) const = default;
};

void PrintTo(const Call& call, std::ostream* out)
{
    *out << call.tool;
    for (const std::string& argument : call.arguments)
        *out << ' ' << argument;
}

// A runner that only notes what it was asked to run.
StartupItems::CommandRunner recorder(std::vector<Call>& calls)
{
    return [&calls](const std::string& tool, const std::vector<std::string>& arguments) {
        calls.push_back({tool, arguments});
    };
}

Items inScope(const Items& items, Scope scope)
{
    Items found;
    std::copy_if(items.begin(), items.end(), std::back_inserter(found),
                 [&](const StartupItem& item) { return item.scope == scope; });
    return found;
}

// A made-up machine in a fresh folder: the home, the system's folders beside
// it, a PATH of one folder and a GNOME session. The Trash is the home's.
class StartupItemsTest : public testing::Test {
protected:
    StartupItemsTest()
        : dataHome("XDG_DATA_HOME", root / "home/.local/share")
    {
        root.makeFolder("home");
    }

    std::string home() const { return root / "home"; }
    std::string launchAgents() const { return home() + "/Library/LaunchAgents"; }
    std::string autostart() const { return home() + "/.config/autostart"; }
    std::string units() const { return home() + "/.config/systemd/user"; }
    std::string trashed(const std::string& name) const { return home() + "/.local/share/Trash/files/" + name; }

    Platform::StartupLocations where() const
    {
        return {
            .allUsersLaunchAgents = root / "Library/LaunchAgents",
            .systemLaunchDaemons = root / "Library/LaunchDaemons",
            .systemAutostartFolders = {root / "etc/xdg-first/autostart", root / "etc/xdg/autostart"},
            .systemUnitFolder = root / "etc/systemd/user",
            .unitFolders = {root / "etc/systemd/user", root / "usr/lib/systemd/user"},
            .programSearchPath = {root / "bin"},
            .unitProgramSearchPath = {root / "usr/bin"},
            .currentDesktops = {"ubuntu", "GNOME"},
        };
    }

    Items list() const { return StartupItems::list(home(), where()); }

    // Writes `text` at the absolute `path`, parents made as needed.
    std::string write(const std::string& path, std::string_view text) const
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
        return path;
    }

    std::string program(std::string_view relative) const
    {
        const std::string path = root.makeFile(relative, 10);
        ::chmod(path.c_str(), 0755);
        return path;
    }

    std::string link(const std::string& target, const std::string& path) const
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::filesystem::create_symlink(target, path);
        return path;
    }

    StartupItemsTest(const StartupItemsTest&) = delete;
    StartupItemsTest& operator=(const StartupItemsTest&) = delete;

    TemporaryFolder root;
    test::ScopedEnvironment dataHome;
};

std::string entry(std::string_view lines)
{
    return "[Desktop Entry]\nType=Application\n" + std::string(lines) + "\n";
}

// ---- launchd ----

TEST_F(StartupItemsTest, PropertyListsAreReadAsLaunchdReadsThem)
{
    const std::string there = program("opt/tool");
    const std::string folder = launchAgents();
    struct Case {
        const char* name;
        std::string keys;
        std::optional<StartupItem> expected; // plistPath filled in below; none: not listed
    };
    const auto item = [](std::string label, std::optional<std::string> run, bool starts, bool missing) {
        return StartupItem{label, Scope::user, std::move(run), starts, missing, ""};
    };
    const std::vector<Case> cases = {
        {"a-both.plist",
         "<key>Label</key><string>both</string><key>Program</key><string>/gone/daemon</string>"
         "<key>ProgramArguments</key><array><string>" + there + "</string></array>",
         item("both", "/gone/daemon", false, true)},
        {"b-empty-arguments.plist", "<key>Label</key><string>empty</string><key>ProgramArguments</key><array/>",
         item("empty", std::nullopt, false, false)},
        {"c-mixed-arguments.plist",
         "<key>ProgramArguments</key><array><string>/gone/x</string><integer>1</integer></array>",
         item("c-mixed-arguments", std::nullopt, false, false)},
        {"d-keepalive-map.plist",
         "<key>ProgramArguments</key><array><string>" + there + "</string><string>-v</string></array>"
         "<key>KeepAlive</key><dict><key>SuccessfulExit</key><false/></dict>",
         item("d-keepalive-map", there, true, false)},
        {"e-keepalive-false.plist", "<key>Program</key><string>/gone/y</string><key>KeepAlive</key><false/>",
         item("e-keepalive-false", "/gone/y", false, true)},
        {"f-runatload.plist", "<key>Program</key><string>node</string><key>RunAtLoad</key><true/>",
         item("f-runatload", "node", true, false)},
        {"g-runatload-string.plist", "<key>Program</key><string>node</string><key>RunAtLoad</key><string>YES</string>",
         item("g-runatload-string", "node", false, false)},
        {"h-keepalive-true.plist", "<key>KeepAlive</key><true/><key>RunAtLoad</key><false/>",
         item("h-keepalive-true", std::nullopt, true, false)},
        {"agent.plist", "<key>Label</key><integer>7</integer><key>Program</key><string>relative/tool</string>",
         item("agent", "relative/tool", false, false)},
        {"agent.PLIST", "<key>Label</key><string>upper</string>", std::nullopt},
        {"notes.txt", "<key>Label</key><string>notes</string>", std::nullopt},
    };
    Items expected;
    for (const Case& c : cases) {
        write(folder + "/" + c.name, test::xmlInfo(c.keys));
        if (c.expected) {
            expected.push_back(*c.expected);
            expected.back().plistPath = folder + "/" + c.name;
        }
    }
    write(folder + "/broken.plist", "<plist><dict><key>Label</key>");
    write(folder + "/array.plist", "<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>");
    std::filesystem::create_directories(folder + "/folder.plist");
    plist_t binary = plist_new_dict();
    plist_dict_set_item(binary, "Label", plist_new_string("com.example.binary"));
    plist_dict_set_item(binary, "Program", plist_new_string(there.c_str()));
    plist_dict_set_item(binary, "RunAtLoad", plist_new_bool(1));
    test::writeBinaryPlist(folder + "/binary.plist", binary);
    expected.push_back({"com.example.binary", Scope::user, there, true, false, folder + "/binary.plist"});
    std::sort(expected.begin(), expected.end(),
              [](const StartupItem& a, const StartupItem& b) { return a.plistPath < b.plistPath; });

    EXPECT_EQ(list(), expected);
}

// Every scope in the order of the enumeration, each sorted by file name,
// with the labels the screen shows.
TEST_F(StartupItemsTest, ScopesFollowTheEnumerationAndEachIsSortedByName)
{
    const auto plist = [](const char* label) {
        return test::xmlInfo(std::string("<key>Label</key><string>") + label + "</string>");
    };
    write(root / "Library/LaunchDaemons/a.plist", plist("daemon"));
    write(root / "Library/LaunchAgents/b.plist", plist("shared agent"));
    write(launchAgents() + "/z.plist", plist("own z"));
    write(launchAgents() + "/c.plist", plist("own c"));
    write(root / "etc/xdg/autostart/a.desktop", entry("Name=System entry\nExec=tool"));
    write(autostart() + "/b.desktop", entry("Name=Own entry\nExec=tool"));
    write(root / "usr/lib/systemd/user/a.service", "[Service]\nExecStart=/x\n");
    link("../../../../usr/lib/systemd/user/a.service", root / "etc/systemd/user/default.target.wants/a.service");
    write(units() + "/b.service", "[Service]\nExecStart=/x\n");
    link("../b.service", units() + "/default.target.wants/b.service");

    std::vector<std::pair<std::string, std::string>> seen;
    for (const StartupItem& item : list())
        seen.emplace_back(rawValue(item.scope), item.label);
    EXPECT_EQ(seen, (std::vector<std::pair<std::string, std::string>>{
                        {"Your account", "own c"},
                        {"Your account", "own z"},
                        {"All users", "shared agent"},
                        {"System-wide service", "daemon"},
                        {"Your autostart entries", "Own entry"},
                        {"Autostart for all users", "System entry"},
                        {"Your services", "b.service"},
                        {"Services for all users", "a.service"},
                    }));
    for (const Scope scope : allStartupItemScopes)
        EXPECT_EQ(startupItemScope(rawValue(scope)), scope);
    EXPECT_EQ(startupItemScope("Login Items"), std::nullopt);
}

TEST_F(StartupItemsTest, FoldersThatCannotBeReadGiveNothing)
{
    EXPECT_EQ(list(), Items{});
    write(root / "Library/LaunchAgents", "a file where a folder belongs");
    write(units() + "/default.target.wants", "a file where a folder belongs");
    EXPECT_EQ(list(), Items{});
}

// ---- XDG autostart ----

TEST_F(StartupItemsTest, AutostartEntriesSayWhetherAndWhatTheyStart)
{
    const std::string tool = program("bin/tool");
    program("bin/other-tool");
    root.makeFile("bin/not-executable", 10);
    struct Case {
        const char* name;
        std::string lines;
        std::string label;
        std::optional<std::string> program;
        bool starts;
        bool missing;
    };
    const std::vector<Case> cases = {
        {"plain", "Name=Plain\nExec=" + tool + " --start %U", "Plain", tool, true, false},
        {"hidden", "Name=Hidden\nHidden=true\nExec=tool", "Hidden", "tool", false, false},
        {"gnome-off", "Name=Off\nX-GNOME-Autostart-enabled=false\nExec=tool", "Off", "tool", false, false},
        {"gnome-on", "Name=On\nX-GNOME-Autostart-enabled=true\nExec=tool", "On", "tool", true, false},
        {"only-elsewhere", "Name=A\nOnlyShowIn=KDE;XFCE;\nExec=tool", "A", "tool", false, false},
        {"only-here", "Name=B\nOnlyShowIn=KDE;GNOME;\nExec=tool", "B", "tool", true, false},
        {"only-escaped", "Name=B2\nOnlyShowIn=KDE\\;GNOME;\nExec=tool", "B2", "tool", false, false},
        {"not-here", "Name=C\nNotShowIn=GNOME;\nExec=tool", "C", "tool", false, false},
        {"not-elsewhere", "Name=D\nNotShowIn=KDE;\nExec=tool", "D", "tool", true, false},
        {"gone", "Name=Gone\nExec=" + (root / "opt/gone/run") + " --tray", "Gone", root / "opt/gone/run", true, true},
        {"bare-gone", "Name=E\nExec=no-such-tool", "E", "no-such-tool", true, true},
        {"env-not-on-path", "Name=F\nExec=env other-tool", "F", "env", true, true},
        {"bare-found", "Name=G\nExec=other-tool --x", "G", "other-tool", true, false},
        {"not-executable", "Name=H\nExec=not-executable", "H", "not-executable", true, true},
        {"try-exec", "Name=I\nTryExec=" + tool, "I", tool, true, false},
        {"quoted", "Name=J\nExec=\"" + (root / "opt/My App/run") + "\" %f", "J", root / "opt/My App/run", true, true},
        {"unnamed", "Exec=tool\nName[de]=Unbenannt", "unnamed", "tool", true, false},
        {"translated", "Name[fr]=Traduit\nName=Translated\nExec=tool", "Translated", "tool", true, false},
        {"no-command", "Name=K", "K", std::nullopt, true, false},
    };
    Items expected;
    for (const Case& c : cases) {
        const std::string path = write(autostart() + "/" + c.name + ".desktop", entry(c.lines));
        expected.push_back({c.label, Scope::userAutostart, c.program, c.starts, c.missing, path});
    }
    write(autostart() + "/readme.txt", entry("Name=Not an entry\nExec=tool"));
    write(autostart() + "/.desktop", entry("Name=Only a suffix\nExec=tool"));
    std::sort(expected.begin(), expected.end(),
              [](const StartupItem& a, const StartupItem& b) { return a.plistPath < b.plistPath; });

    const Items items = list();
    EXPECT_EQ(items, expected);
    const auto leftover = std::find_if(items.begin(), items.end(), [](const StartupItem& i) { return i.label == "Gone"; });
    ASSERT_NE(leftover, items.end());
    EXPECT_TRUE(leftover->isLeftover());
}

// A user's entry hides the system's of the same name (a copy with Hidden=true
// is how a user turns one off), and an earlier system folder hides a later one.
TEST_F(StartupItemsTest, AutostartEntriesOfTheSameNameHideLaterOnes)
{
    const std::string first = root / "etc/xdg-first/autostart";
    const std::string last = root / "etc/xdg/autostart";
    const std::string gone = root / "opt/gone";
    write(last + "/turned-off.desktop", entry("Name=Turned off\nExec=tool"));
    const std::string own = write(autostart() + "/turned-off.desktop", entry("Name=Turned off\nExec=tool\nHidden=true"));
    write(last + "/vendor.desktop", entry("Name=Older\nExec=tool"));
    const std::string vendor = write(first + "/vendor.desktop", entry("Name=Vendor\nExec=" + gone));
    const std::string system = write(last + "/system.desktop", entry("Name=System\nExec=" + gone));

    const Items expected = {
        {"Turned off", Scope::userAutostart, "tool", false, true, own},
        {"System", Scope::systemAutostart, gone, true, true, system},
        {"Vendor", Scope::systemAutostart, gone, true, true, vendor},
    };
    EXPECT_EQ(list(), expected);
    for (const StartupItem& item : inScope(list(), Scope::systemAutostart))
        EXPECT_FALSE(item.isLeftover()) << item.label;
}

// ---- systemd user units ----

TEST_F(StartupItemsTest, EnabledUserUnitsAreReadFromTheirFiles)
{
    const std::string tool = program("usr/bin/tool");
    const std::string shipped = root / "usr/lib/systemd/user";
    const std::string shared = root / "etc/systemd/user";
    const auto service = [](std::string_view lines) { return "[Unit]\nDescription=\n[Service]\n" + std::string(lines) + "\n"; };
    const auto enable = [&](const std::string& folder, const std::string& target, const std::string& name,
                            const char* wants = "default.target.wants") {
        link(target, folder + "/" + wants + "/" + name);
    };

    // The user's own, enabled by links to them.
    const std::string app = write(units() + "/app.service",
                                  "# mine\n[Unit]\nDescription=My app\n[Service]\nType=simple\nExecStart=-" + tool
                                      + " --serve\n[Install]\nWantedBy=default.target\n");
    enable(units(), "../app.service", "app.service");
    write(units() + "/idle.service", service("ExecStart=" + tool));
    const std::string gone = write(units() + "/gone.service", service("ExecStart=" + (root / "opt/gone") + " run"));
    enable(units(), units() + "/gone.service", "gone.service", "graphical-session.target.requires");
    const std::string worker = write(units() + "/worker@.service", service("ExecStart=" + tool + " %i"));
    enable(units(), "../worker@.service", "worker@mail.service");
    const std::string timer = write(units() + "/backup.timer", "[Timer]\nOnCalendar=daily\n");
    write(units() + "/backup.service", service("ExecStart=@" + tool + " backup"));
    enable(units(), "../backup.timer", "backup.timer", "timers.target.wants");
    const std::string orphan = write(units() + "/orphan.socket", "[Socket]\nListenStream=%t/orphan\n");
    enable(units(), "../orphan.socket", "orphan.socket", "sockets.target.wants");
    const std::string socket = write(units() + "/extra.socket", "[Socket]\nListenStream=%t/x\nService=app.service\n");
    enable(units(), "../extra.socket", "extra.socket", "sockets.target.wants");
    const std::string named = write(units() + "/named.path", "[Path]\nPathChanged=%h/x\nUnit=app.service\n");
    enable(units(), "../named.path", "named.path");
    enable(units(), "../app.service", "default.target", "graphical-session.target.wants");

    // Shipped with the system: listed only where a link enables them; a
    // user's link to /dev/null masks one.
    write(shipped + "/unlinked.service", service("ExecStart=" + tool));
    const std::string daemon = write(shipped + "/daemon.service", "[Unit]\nDescription=Daemon\n[Service]\nExecStart=tool\n");
    enable(shared, shipped + "/daemon.service", "daemon.service");
    enable(units(), shipped + "/daemon.service", "daemon.service");
    const std::string bare = write(shipped + "/bare.service", service("ExecStart=gone-tool"));
    enable(shared, shipped + "/bare.service", "bare.service");
    write(shipped + "/masked.service", service("ExecStart=" + tool));
    enable(shared, shipped + "/masked.service", "masked.service");
    link("/dev/null", units() + "/masked.service");
    write(shipped + "/emptied.service", "");
    enable(shared, shipped + "/emptied.service", "emptied.service");
    enable(shared, shipped + "/nowhere.service", "nowhere.service");

    const Items expected = {
        {"My app", Scope::userUnit, tool, true, false, app},
        {"backup.timer", Scope::userUnit, tool, true, false, timer},
        {"Daemon", Scope::userUnit, "tool", true, false, daemon},
        {"extra.socket", Scope::userUnit, tool, true, false, socket},
        {"gone.service", Scope::userUnit, root / "opt/gone", true, true, gone},
        {"named.path", Scope::userUnit, tool, true, false, named},
        {"orphan.socket", Scope::userUnit, std::nullopt, true, false, orphan},
        {"worker@mail.service", Scope::userUnit, tool, true, false, worker},
        {"bare.service", Scope::systemUnit, "gone-tool", true, true, bare},
    };
    const Items items = list();
    EXPECT_EQ(items, expected);
    EXPECT_EQ(std::count_if(items.begin(), items.end(), [](const StartupItem& i) { return i.isLeftover(); }), 1)
        << "gone.service; bare.service is the system's";
}

TEST_F(StartupItemsTest, ExecStartGivesItsProgramWithoutPrefixesOrQuotes)
{
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases = {
        {"ExecStart=-/x/tool --a", "/x/tool"},
        {"ExecStart=@/x/tool name --a", "/x/tool"},
        {"ExecStart=+/x/tool", "/x/tool"},
        {"ExecStart=!!/x/tool", "/x/tool"},
        {"ExecStart=:-/x/tool", "/x/tool"},
        {"ExecStart = \"/x/my tool\" --a", "/x/my tool"},
        {"ExecStart='/x/other tool'", "/x/other tool"},
        {"ExecStart=%h/bin/tool", home() + "/bin/tool"},
        {"ExecStart=/x/first\nExecStart=\nExecStart=/x/second\nExecStart=/x/third", "/x/second"},
        {"ExecStart=\\\n    /x/continued --a", "/x/continued"},
        {"ExecStartPre=/x/pre\nExecStart=/x/tool", "/x/tool"},
        {"ExecStart=/x/first\nExecStart=", std::nullopt},
        {"Type=oneshot", std::nullopt},
        {"[Unit]\nExecStart=/x/wrong/section", std::nullopt},
    };
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const std::string name = "case" + std::to_string(index) + ".service";
        write(units() + "/" + name, "[Service]\n" + cases[index].first + "\n");
        link("../" + name, units() + "/default.target.wants/" + name);
    }
    const Items items = list();
    ASSERT_EQ(items.size(), cases.size());
    for (const StartupItem& item : items) {
        const std::size_t index = std::stoul(item.label.substr(4));
        EXPECT_EQ(item.program, cases[index].second) << cases[index].first;
    }
}

// ---- removal ----

TEST_F(StartupItemsTest, OnlyLeftoversInTheUsersOwnFoldersAreRemoved)
{
    const std::string gone = root / "opt/gone";
    const std::string tool = program("bin/tool");
    const std::string goneKeys = "<key>Program</key><string>" + gone + "</string>";
    write(launchAgents() + "/leftover.plist", test::xmlInfo(goneKeys));
    write(launchAgents() + "/working.plist", test::xmlInfo("<key>Program</key><string>" + tool + "</string>"));
    write(root / "Library/LaunchAgents/shared.plist", test::xmlInfo(goneKeys));
    write(root / "Library/LaunchDaemons/daemon.plist", test::xmlInfo(goneKeys));
    write(autostart() + "/leftover.desktop", entry("Exec=" + gone));
    write(autostart() + "/working.desktop", entry("Exec=tool"));
    write(root / "etc/xdg/autostart/system.desktop", entry("Exec=" + gone));

    std::vector<Call> calls;
    const StartupItems::CommandRunner run = recorder(calls);
    const Items items = list();
    ASSERT_EQ(items.size(), 7u);
    const std::string refusal(StartupItems::refusal);
    for (const StartupItem& item : items) {
        SCOPED_TRACE(item.plistPath);
        const bool leftover = item.plistPath.find("/leftover.") != std::string::npos;
        EXPECT_EQ(StartupItems::removeLeftover(item, home(), run), leftover ? std::nullopt : std::optional(refusal));
        EXPECT_EQ(test::exists(item.plistPath), !leftover);
        const std::string name = std::filesystem::path(item.plistPath).filename();
        EXPECT_EQ(test::exists(trashed(name)), leftover);
        EXPECT_EQ(test::exists(home() + "/.local/share/Trash/info/" + name + ".trashinfo"), leftover);
    }
    EXPECT_EQ(calls, (std::vector<Call>{{"/bin/launchctl",
                                         {"bootout", "gui/" + std::to_string(::getuid()), launchAgents() + "/leftover.plist"}}}));

    // A record that claims more than the disk says is judged by its folder.
    const std::string outside = write(root / "elsewhere/leftover.desktop", entry("Exec=" + gone));
    const std::string nested = write(autostart() + "/nested/leftover.desktop", entry("Exec=" + gone));
    for (const auto& [scope, path] : std::vector<std::pair<Scope, std::string>>{
             {Scope::userAutostart, outside},
             {Scope::userAutostart, nested},
             {Scope::user, outside},
             {Scope::userAutostart, autostart() + "/.."},
             {Scope::userUnit, autostart() + "/leftover.desktop"},
             {Scope::systemUnit, units() + "/leftover.service"}}) {
        const StartupItem forged{"forged", scope, gone, true, true, path};
        EXPECT_EQ(StartupItems::removeLeftover(forged, home(), run), refusal) << path;
    }
    EXPECT_TRUE(test::exists(outside));
    EXPECT_TRUE(test::exists(nested));
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(StartupItemsTest, ALeftoverUserUnitIsDisabledUnlinkedAndTrashed)
{
    const std::string tool = program("usr/bin/tool");
    const std::string shipped = root / "usr/lib/systemd/user";
    const std::string goneText = "[Service]\nExecStart=" + (root / "opt/gone") + "\n";
    const std::string gone = write(units() + "/gone.service", goneText);
    const std::string wants = link("../gone.service", units() + "/default.target.wants/gone.service");
    const std::string requires_ = link(gone, units() + "/graphical-session.target.requires/gone.service");
    // A template's instances are enabled by links of their own names.
    const std::string sync = write(units() + "/sync@.service", goneText);
    const std::string instance = link("../sync@.service", units() + "/default.target.wants/sync@docs.service");
    const std::string other = write(units() + "/other.service", "[Service]\nExecStart=" + tool + "\n");
    const std::string otherLink = link("../other.service", units() + "/default.target.wants/other.service");
    // The user's link to a shipped unit whose program is gone: a leftover
    // whose file is not the user's to move.
    const std::string foreign = write(shipped + "/foreign.service", "[Service]\nExecStart=/gone/foreign\n");
    const std::string foreignLink = link(foreign, units() + "/default.target.wants/foreign.service");

    std::vector<Call> calls;
    const StartupItems::CommandRunner run = recorder(calls);
    const Items items = list();
    const auto itemAt = [&](const std::string& path) {
        const auto found = std::find_if(items.begin(), items.end(), [&](const StartupItem& i) { return i.plistPath == path; });
        return found == items.end() ? StartupItem{} : *found;
    };
    ASSERT_EQ(items.size(), 4u);
    for (const std::string& path : {gone, sync, foreign})
        ASSERT_TRUE(itemAt(path).isLeftover()) << path;

    EXPECT_EQ(StartupItems::removeLeftover(itemAt(gone), home(), run), std::nullopt);
    EXPECT_EQ(StartupItems::removeLeftover(itemAt(sync), home(), run), std::nullopt);
    EXPECT_EQ(calls, (std::vector<Call>{{"/usr/bin/systemctl", {"--user", "disable", "gone.service"}},
                                        {"/usr/bin/systemctl", {"--user", "disable", "sync@.service"}}}));
    for (const std::string& path : {gone, wants, requires_, sync, instance})
        EXPECT_FALSE(test::exists(path)) << path;
    EXPECT_EQ(test::contentsOf(trashed("gone.service")), goneText);
    EXPECT_TRUE(test::exists(trashed("gone.service.2"))) << "one of the links, as a link";
    EXPECT_EQ(test::contentsOf(trashed("sync@.service")), goneText);
    EXPECT_TRUE(test::exists(trashed("sync@docs.service")));
    for (const std::string& path : {other, otherLink, foreign, foreignLink})
        EXPECT_TRUE(test::exists(path)) << path;

    EXPECT_EQ(StartupItems::removeLeftover(itemAt(foreign), home(), run), std::string(StartupItems::refusal));
    EXPECT_EQ(calls.size(), 2u);
    EXPECT_EQ(list().size(), 2u);
}

// The Trash's refusal is the answer, and the file stays.
TEST_F(StartupItemsTest, WhatTheTrashRefusesIsReported)
{
    const std::string folder = root.makeFolder("home/.config/autostart");
    const std::string path = write(folder + "/leftover.desktop", entry("Exec=/gone/program"));
    const Items items = list();
    ASSERT_EQ(items.size(), 1u);
    write(home() + "/.local/share/Trash", "a file where the Trash's folder belongs");
    const std::optional<std::string> failure = StartupItems::removeLeftover(items[0], home(), {});
    ASSERT_TRUE(failure);
    EXPECT_NE(*failure, StartupItems::refusal);
    EXPECT_FALSE(failure->empty());
    EXPECT_TRUE(test::exists(path));
}

// ---- this machine ----

TEST(StartupItemsLive, ThisMachinesItemsAreListedWithLabels)
{
    const std::string home = Platform::homeFolder();
    ASSERT_FALSE(home.empty());
    for (const StartupItem& item : StartupItems::list(home)) {
        EXPECT_FALSE(item.label.empty()) << item.plistPath;
        EXPECT_FALSE(item.plistPath.empty()) << item.label;
    }
}

} // namespace
} // namespace tarno
