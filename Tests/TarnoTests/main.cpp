#include "Tarno/SymbolIcons.hpp"

#include <QApplication>
#include <QQmlExtensionPlugin>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSGRendererInterface>

#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(TarnoPlugin)

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
