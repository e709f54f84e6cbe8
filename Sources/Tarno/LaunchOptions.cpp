#include "Tarno/LaunchOptions.hpp"

#include <QCommandLineParser>

namespace tarno {
namespace {

const QString sectionName = QStringLiteral("section");
const QString appearanceName = QStringLiteral("appearance");

// An option that takes a value but stands last is ignored, as if it were not
// there, rather than refused: a launcher may cut the line short.
QStringList withoutDanglingValueOption(QStringList arguments)
{
    const QString last = arguments.size() > 1 ? arguments.constLast() : QString();
    if (last == QStringLiteral("--") + sectionName || last == QStringLiteral("--") + appearanceName)
        arguments.removeLast();
    return arguments;
}

} // namespace

LaunchOptions LaunchOptions::parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Finds the disk space you can safely get back and explains what slows your machine down."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption sectionOption(
        sectionName,
        QStringLiteral("Opens on a section: overview, cleanup, projects, largeFiles, duplicates, applications or "
                       "performance; any other name is ignored."),
        QStringLiteral("name"));
    const QCommandLineOption appearanceOption(
        appearanceName, QStringLiteral("light for the light palette; any other value gives the dark one."),
        QStringLiteral("value"));
    const QCommandLineOption demoOption(
        QStringLiteral("demo"),
        QStringLiteral("Runs on a made-up developer's machine with fixed data: nothing of yours is read or touched."));
    const QCommandLineOption snapshotsOption(
        QStringLiteral("snapshots"),
        QStringLiteral("Renders every section and state to <folder>/<name>.png and quits; on the made-up machine "
                       "unless --live is given."),
        QStringLiteral("folder"));
    const QCommandLineOption liveOption(QStringLiteral("live"),
                                        QStringLiteral("With --snapshots: pictures of this machine instead."));
    parser.addOptions({sectionOption, appearanceOption, demoOption, snapshotsOption, liveOption});

    LaunchOptions options;
    if (!parser.parse(withoutDanglingValueOption(arguments))) {
        options.request = Request::usageError;
        options.message = parser.errorText();
        return options;
    }
    if (parser.isSet(help)) {
        options.request = Request::help;
        // The parser names the program by however it was started; the help names it as the user types it.
        QString text = parser.helpText();
        text.replace(0, text.indexOf(QLatin1Char('\n')), QStringLiteral("Usage: tarno [options]"));
        options.message = text;
        return options;
    }
    if (parser.isSet(version)) {
        options.request = Request::version;
        return options;
    }
    if (!parser.positionalArguments().isEmpty()) {
        options.request = Request::usageError;
        options.message = QStringLiteral("Unexpected argument '%1'.").arg(parser.positionalArguments().constFirst());
        return options;
    }

    if (parser.isSet(sectionOption))
        options.section = tarno::section(parser.value(sectionOption));
    if (parser.isSet(appearanceOption))
        options.appearance =
            parser.value(appearanceOption) == QStringLiteral("light") ? Appearance::light : Appearance::dark;
    if (parser.isSet(snapshotsOption)) {
        options.snapshotsFolder = parser.value(snapshotsOption);
        if (options.snapshotsFolder->isEmpty()) {
            options.request = Request::usageError;
            options.message = QStringLiteral("--snapshots needs a folder.");
            return options;
        }
    }
    options.demo = parser.isSet(demoOption) || (options.snapshotsFolder && !parser.isSet(liveOption));
    return options;
}

} // namespace tarno
