#include "TarnoCore/Platform/Locations.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

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

TEST(PlatformLocationsTests, TheFixedPlacesOfThisPlatform)
{
    EXPECT_EQ(Platform::privacyProbeFolder("/home/ana"), "/home/ana");
    EXPECT_EQ(Platform::globalNpmConfigFiles(),
              (std::vector<std::string>{"/opt/homebrew/etc/npmrc", "/usr/local/etc/npmrc", "/etc/npmrc"}));
    EXPECT_EQ(Platform::rootYarnCache(), std::optional<std::string>("/usr/local/share/.cache/yarn"));
}

} // namespace
} // namespace tarno
