#include "Tarno/LaunchOptions.hpp"

#include <gtest/gtest.h>

#include <initializer_list>

namespace tarno {
namespace {

using Appearance = LaunchOptions::Appearance;
using Section = AppModel::Section;

LaunchOptions parse(std::initializer_list<const char*> arguments)
{
    QStringList list{QStringLiteral("tarno")};
    for (const char* argument : arguments)
        list.append(QString::fromUtf8(argument));
    return LaunchOptions::parse(list);
}

TEST(LaunchOptions, SectionTakesARawStringRightBehindTheOption)
{
    EXPECT_EQ(parse({}), LaunchOptions{});
    EXPECT_EQ(parse({"--section", "largeFiles"}).section, Section::largeFiles);
    EXPECT_EQ(parse({"--section", "overview"}).section, Section::overview);
    // Titles, other cases, stray words and the option last with nothing behind it are no sections.
    for (const auto& arguments : {std::initializer_list<const char*>{"--section", "Large Files"}, {"--section", "Cleanup"},
                                  {"--section", ""}, {"cleanup"}, {"--appearance", "light", "--section"}})
        EXPECT_EQ(parse(arguments).section, std::nullopt) << *std::prev(arguments.end());
    // Another option behind it is its value, not a section.
    EXPECT_EQ(parse({"--section", "--appearance", "light"}),
              (LaunchOptions{.section = std::nullopt, .appearance = Appearance::light, .snapshotsFolder = std::nullopt}));
    // The first occurrence decides.
    EXPECT_EQ(parse({"--section", "nowhere", "--section", "cleanup"}).section, std::nullopt);
    // The program's own name is no option.
    EXPECT_EQ(LaunchOptions::parse({QStringLiteral("--section"), QStringLiteral("cleanup")}).section, std::nullopt);
}

TEST(LaunchOptions, AppearanceIsLightOnlyForLight)
{
    EXPECT_EQ(parse({"--appearance", "light"}).appearance, Appearance::light);
    for (const char* value : {"dark", "Light", "LIGHT", ""})
        EXPECT_EQ(parse({"--appearance", value}).appearance, Appearance::dark) << value;

    // Without a value the system's palette stays in charge.
    EXPECT_EQ(parse({"--appearance"}).appearance, std::nullopt);
    EXPECT_EQ(parse({"--section", "cleanup"}).appearance, std::nullopt);

    // Whatever follows is the value, even another option.
    const LaunchOptions options = parse({"--appearance", "--section", "cleanup"});
    EXPECT_EQ(options.appearance, Appearance::dark);
    EXPECT_EQ(options.section, Section::cleanup);
}

TEST(LaunchOptions, SnapshotsFolder)
{
    EXPECT_EQ(parse({"--snapshots", "/tmp/snaps"}).snapshotsFolder, QStringLiteral("/tmp/snaps"));
    EXPECT_EQ(parse({"--section", "projects"}).snapshotsFolder, std::nullopt);

    // Asked for without a folder: present, and empty so the caller can refuse.
    const LaunchOptions missing = parse({"--appearance", "dark", "--snapshots"});
    ASSERT_TRUE(missing.snapshotsFolder.has_value());
    EXPECT_TRUE(missing.snapshotsFolder->isEmpty());
    EXPECT_EQ(missing.appearance, Appearance::dark);
}

} // namespace
} // namespace tarno
