#include "Tarno/SymbolIcons.hpp"

#include <QApplication>
#include <QQmlExtensionPlugin>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSGRendererInterface>

#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(TarnoPlugin)

#if defined(__SANITIZE_THREAD__)
// Read by the thread sanitizer before main; TSAN_OPTIONS adds to it. Qt's
// libraries are not instrumented, so their locks are invisible and what they
// touch through the allocator would show as races. QProcess forks this
// threaded program to start a shell, which only execs.
extern "C" const char* __tsan_default_options()
{
    return "ignore_noninstrumented_modules=1 die_after_fork=0";
}
#endif

// The tests need a QApplication (the tray icon's menu is a widget) but no
// display: everything renders offscreen, in software.
int main(int argc, char* argv[])
{
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    tarno::SymbolIcons::useTheme();
    return RUN_ALL_TESTS();
}
