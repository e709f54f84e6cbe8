#include "Tarno/LaunchOptions.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using Section = AppModel::Section;
using Appearance = LaunchOptions::Appearance;
using Request = LaunchOptions::Request;

LaunchOptions parse(const std::vector<const char*>& arguments)
{
    QStringList list{QStringLiteral("tarno")};
    for (const char* argument : arguments)
        list.append(QString::fromUtf8(argument));
    return LaunchOptions::parse(list);
}

TEST(LaunchOptions, EachOptionAsTheCommandLineGivesIt)
{
    struct Case {
        std::vector<const char*> arguments;
        Request request;
        std::optional<Section> section;
        std::optional<Appearance> appearance;
        std::optional<QString> snapshots;
        bool demo;
    };
    const QString folder = QStringLiteral("/tmp/pictures");
    const std::vector<Case> cases = {
        {{}, Request::run, std::nullopt, std::nullopt, std::nullopt, false},
        {{"--section", "largeFiles"}, Request::run, Section::largeFiles, std::nullopt, std::nullopt, false},
        {{"--section=cleanup"}, Request::run, Section::cleanup, std::nullopt, std::nullopt, false},
        // A value that names no section, or none at all, is ignored.
        {{"--section", "Cleanup"}, Request::run, std::nullopt, std::nullopt, std::nullopt, false},
        {{"--appearance", "light", "--section"}, Request::run, std::nullopt, Appearance::light, std::nullopt, false},
        {{"--appearance", "Light"}, Request::run, std::nullopt, Appearance::dark, std::nullopt, false},
        {{"--appearance"}, Request::run, std::nullopt, std::nullopt, std::nullopt, false},
        {{"--demo"}, Request::run, std::nullopt, std::nullopt, std::nullopt, true},
        // Pictures are of the made-up machine unless asked otherwise.
        {{"--snapshots", "/tmp/pictures"}, Request::run, std::nullopt, std::nullopt, folder, true},
        {{"--snapshots", "/tmp/pictures", "--live"}, Request::run, std::nullopt, std::nullopt, folder, false},
        {{"--snapshots", ""}, Request::usageError, std::nullopt, std::nullopt, QString(), false},
        {{"--snapshots"}, Request::usageError, std::nullopt, std::nullopt, std::nullopt, false},
        {{"--frobnicate"}, Request::usageError, std::nullopt, std::nullopt, std::nullopt, false},
        {{"cleanup"}, Request::usageError, std::nullopt, std::nullopt, std::nullopt, false},
        {{"--version"}, Request::version, std::nullopt, std::nullopt, std::nullopt, false},
        {{"--help", "--demo"}, Request::help, std::nullopt, std::nullopt, std::nullopt, false},
    };
    for (const Case& each : cases) {
        QStringList shown;
        for (const char* argument : each.arguments)
            shown.append(QString::fromUtf8(argument));
        SCOPED_TRACE(shown.join(QLatin1Char(' ')).toStdString());
        const LaunchOptions options = parse(each.arguments);
        EXPECT_EQ(options.request, each.request);
        if (each.request == Request::usageError) {
            EXPECT_FALSE(options.message.isEmpty());
            continue;
        }
        EXPECT_EQ(options.section, each.section);
        EXPECT_EQ(options.appearance, each.appearance);
        EXPECT_EQ(options.snapshotsFolder, each.snapshots);
        EXPECT_EQ(options.demo, each.demo);
    }
}

TEST(LaunchOptions, HelpNamesTheProgramAndEveryOption)
{
    const QString help = parse({"--help"}).message;
    for (const char* expected : {"Usage: tarno", "--section", "--appearance", "--demo", "--snapshots", "--live",
                                 "--version", "--help"})
        EXPECT_TRUE(help.contains(QString::fromUtf8(expected))) << expected;
}

} // namespace
} // namespace tarno
