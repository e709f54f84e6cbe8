#include "Tarno/LaunchOptions.hpp"
#include "Tarno/Snapshotter.hpp"
#include "Tarno/SymbolIcons.hpp"
#include "Tarno/TarnoApp.hpp"

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QTimer>

#include <cstdio>

Q_IMPORT_QML_PLUGIN(TarnoPlugin)

// Exit statuses: 0 success, 1 the window or the pictures could not be made,
// 2 bad usage.
int main(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));

    QCoreApplication::setOrganizationName(QStringLiteral("Tarno"));
    QCoreApplication::setApplicationName(QStringLiteral("tarno"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TARNO_VERSION));
    const tarno::LaunchOptions options = tarno::LaunchOptions::parse(arguments);
    switch (options.request) {
    case tarno::LaunchOptions::Request::run:
        break;
    case tarno::LaunchOptions::Request::help:
        std::fputs(qPrintable(options.message), stdout);
        return 0;
    case tarno::LaunchOptions::Request::version:
        std::printf("tarno %s\n", TARNO_VERSION);
        return 0;
    case tarno::LaunchOptions::Request::usageError:
        std::fprintf(stderr, "tarno: %s\nUsage: tarno [--section NAME] [--appearance light|dark] [--demo] "
                             "[--snapshots DIR [--live]] (tarno --help for more)\n",
                     qPrintable(options.message));
        return 2;
    }

    if (options.snapshotsFolder) {
        // Snapshots need no display: render offscreen, in software, so the
        // images look the same on every machine.
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }

    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarno"));
    QApplication::setDesktopFileName(QStringLiteral("tarno"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    tarno::SymbolIcons::useTheme();

    tarno::TarnoApp app(options);
    QQmlApplicationEngine engine;
    QQuickWindow* window = app.loadMainWindow(engine);
    if (!window) {
        std::fputs("tarno: the main window could not be loaded\n", stderr);
        return 1;
    }

    if (options.snapshotsFolder) {
        tarno::Snapshotter snapshotter(window, app.model(), *options.snapshotsFolder);
        QObject::connect(&snapshotter, &tarno::Snapshotter::finished, &application,
                         [](bool succeeded, const QString& message) {
                             if (!succeeded)
                                 std::fprintf(stderr, "tarno: %s\n", qPrintable(message));
                             QCoreApplication::exit(succeeded ? 0 : 1);
                         });
        QTimer::singleShot(0, &snapshotter, &tarno::Snapshotter::start);
        return QApplication::exec();
    }

    return QApplication::exec();
}
