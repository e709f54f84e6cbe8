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

int main(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const tarno::LaunchOptions options = tarno::LaunchOptions::parse(arguments);

    if (options.snapshotsFolder) {
        if (options.snapshotsFolder->isEmpty()) {
            std::fputs("tarno: --snapshots needs a folder\n", stderr);
            return 2;
        }
        // Snapshots need no display: render offscreen, in software, so the
        // images look the same on every machine.
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }

    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Tarno"));
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
