#include "TarnoCore/Platform/Locations.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>

#include <pwd.h>
#include <unistd.h>

namespace tarno {
namespace {

// Sets an environment variable for one test and puts the old value back.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const char* value)
        : m_name(name)
    {
        if (const char* old = std::getenv(name))
            m_old = old;
        if (value)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~ScopedVariable()
    {
        if (m_old)
            ::setenv(m_name, m_old->c_str(), 1);
        else
            ::unsetenv(m_name);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

TEST(PlatformLocationsTests, HomeComesFromTheEnvironmentWhenAbsoluteElseFromTheUserDatabase)
{
    {
        const ScopedVariable home("HOME", "/srv/people/ana//");
        EXPECT_EQ(Platform::homeFolder(), "/srv/people/ana");
    }
    const passwd* user = ::getpwuid(::getuid());
    ASSERT_NE(user, nullptr);
    for (const char* unusable : {"relative/home", "", static_cast<const char*>(nullptr)}) {
        const ScopedVariable home("HOME", unusable);
        EXPECT_EQ(Platform::homeFolder(), std::string(user->pw_dir)) << (unusable ? unusable : "(unset)");
    }
}

TEST(PlatformLocationsTests, TrashFollowsTheXdgDataHomeOnlyWhenItIsAbsolute)
{
    EXPECT_EQ(Platform::trashFolder("/home/ana", std::nullopt), "/home/ana/.local/share/Trash");
    EXPECT_EQ(Platform::trashFolder("/home/ana", ""), "/home/ana/.local/share/Trash");
    EXPECT_EQ(Platform::trashFolder("/home/ana", "data"), "/home/ana/.local/share/Trash");
    EXPECT_EQ(Platform::trashFolder("/home/ana", "/data/ana/"), "/data/ana/Trash");

    {
        const ScopedVariable dataHome("XDG_DATA_HOME", "/elsewhere");
        EXPECT_EQ(Platform::trashFolder("/home/ana"), "/elsewhere/Trash");
    }
    const ScopedVariable dataHome("XDG_DATA_HOME", nullptr);
    EXPECT_EQ(Platform::trashFolder("/home/ana"), "/home/ana/.local/share/Trash");
}

TEST(PlatformLocationsTests, UserFoldersFollowTheVariablesOnlyForTheUsersOwnHome)
{
    using Variables = std::map<std::string_view, std::string>;
    const auto lookup = [](Variables variables) -> Platform::EnvironmentLookup {
        return [variables](std::string_view name) -> std::optional<std::string> {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional<std::string>(found->second);
        };
    };
    const std::string home = "/nowhere/ana";
    const Platform::UserFolders defaults{home + "/.cache", home + "/.config", home + "/.local/share",
                                         home + "/Downloads", home + "/.local/share/Trash"};
    const Variables moved{{"XDG_CACHE_HOME", "/fast/cache/"}, {"XDG_CONFIG_HOME", "/etc/ana"},
                          {"XDG_DATA_HOME", "/data/ana"}};
    struct Case {
        const char* what;
        bool isOwnHome;
        Variables variables;
        Platform::UserFolders expected;
    };
    const Case cases[] = {
        {"nothing set", true, {}, defaults},
        {"absolute values move the folders, the Trash with the data",
         true,
         moved,
         {"/fast/cache", "/etc/ana", "/data/ana", home + "/Downloads", "/data/ana/Trash"}},
        {"empty and relative values are ignored",
         true,
         {{"XDG_CACHE_HOME", ""}, {"XDG_CONFIG_HOME", "config"}, {"XDG_DATA_HOME", "./data"}},
         defaults},
        {"another home never follows this user's variables", false, moved, defaults},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Platform::userFolders(home, c.isOwnHome, lookup(c.variables)), c.expected) << c.what;
}

TEST(PlatformLocationsTests, TheDownloadsFolderComesFromUserDirs)
{
    const std::string home = "/home/ana";
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"XDG_DOWNLOAD_DIR=\"$HOME/Téléchargements\"\n", home + "/Téléchargements"},
        {"# written by xdg-user-dirs-update\nXDG_DESKTOP_DIR=\"$HOME/Desktop\"\n  XDG_DOWNLOAD_DIR = $HOME/dl/\n",
         home + "/dl"},
        {"XDG_DOWNLOAD_DIR=\"/srv/downloads\"", std::string("/srv/downloads")},
        {"XDG_DOWNLOAD_DIR=\"$HOME\"", home},
        {"XDG_DOWNLOAD_DIR=\"$HOME/a\"\nXDG_DOWNLOAD_DIR=\"$HOME/b\"", home + "/b"},
        {"XDG_DOWNLOAD_DIR=\"Downloads\"", std::nullopt},
        {"XDG_DOWNLOAD_DIR=\"$HOMEWORK/x\"", std::nullopt},
        {"#XDG_DOWNLOAD_DIR=\"$HOME/x\"\nXDG_MUSIC_DIR=\"$HOME/Music\"", std::nullopt},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(Platform::downloadFolderIn(text, home), expected) << text;

    // Read from the home's configuration folder, for a named home as for one's own.
    const test::TemporaryFolder folder;
    const std::string named = folder.makeFolder("home");
    folder.makeFolder("home/.config");
    std::ofstream(folder / "home/.config/user-dirs.dirs") << "XDG_DOWNLOAD_DIR=\"$HOME/Incoming\"\n";
    EXPECT_EQ(Platform::userFolders(named, false, {}).downloads, named + "/Incoming");
}

TEST(PlatformLocationsTests, TheFixedPlacesOfThisPlatform)
{
    EXPECT_EQ(Platform::privacyProbeFolder("/home/ana"), "/home/ana");
    EXPECT_EQ(Platform::globalNpmConfigFiles(),
              (std::vector<std::string>{"/opt/homebrew/etc/npmrc", "/usr/local/etc/npmrc", "/etc/npmrc", "/usr/etc/npmrc"}));
    EXPECT_EQ(Platform::rootYarnCache(), std::optional<std::string>("/usr/local/share/.cache/yarn"));
    EXPECT_EQ(Platform::aptArchivesFolder(), std::optional<std::string>("/var/cache/apt/archives"));
}

} // namespace
} // namespace tarno
