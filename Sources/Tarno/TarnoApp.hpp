#pragma once

#include "Tarno/AppModel.hpp"
#include "Tarno/LaunchOptions.hpp"
#include "Tarno/Preferences.hpp"


#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

class QMenu;
class QQmlApplicationEngine;
class QSettings;
class QSystemTrayIcon;

namespace tarno {

// The application: preferences, the model, the main window and the menu bar
// item (a tray icon here). Needs a QApplication, for the tray icon's menu.
class TarnoApp : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("main() makes the application")
    Q_PROPERTY(tarno::AppModel* model READ model CONSTANT)
    Q_PROPERTY(tarno::Preferences* preferences READ preferences CONSTANT)
    // The kit's palette: dark or light.
    Q_PROPERTY(bool darkAppearance READ darkAppearance WRITE setDarkAppearance NOTIFY darkAppearanceChanged)
    // Pictures of the screens: nothing moves.
    Q_PROPERTY(bool still READ still CONSTANT)

public:
    // The user's own preference store, and this machine or, as the options
    // say, the demo machine.
    explicit TarnoApp(LaunchOptions options, QObject* parent = nullptr);
    // makeMachine runs after the preferences are registered.
    TarnoApp(LaunchOptions options,
             std::unique_ptr<QSettings> store,
             const std::function<AppMachine()>& makeMachine,
             QObject* parent = nullptr);
    ~TarnoApp() override;

    AppModel* model() const { return m_model; }
    Preferences* preferences() const { return m_preferences; }
    const LaunchOptions& launchOptions() const { return m_options; }

    bool still() const { return m_options.snapshotsFolder.has_value(); }
    bool darkAppearance() const { return m_darkAppearance; }
    void setDarkAppearance(bool dark);

    // Loads the main window into the engine; nullptr when its root fails to load.
    QQuickWindow* loadMainWindow(QQmlApplicationEngine& engine);
    QQuickWindow* mainWindow() const { return m_mainWindow; }

    // The main window's content calls this when it first appears: the launch
    // options, a disk reading and the first scan. Later calls do nothing.
    Q_INVOKABLE void mainContentAppeared();
    // Brings the main window forward, open again if it was closed.
    Q_INVOKABLE void showMainWindow();

    // Whether the menu bar item is on screen, which keeps the process alive without a window.
    bool isMenuBarItemShown() const;

Q_SIGNALS:
    void darkAppearanceChanged();

private:
    void updateMenuBarItem();

    LaunchOptions m_options;
    Preferences* m_preferences = nullptr;
    AppModel* m_model = nullptr;
    bool m_darkAppearance = false;
    bool m_contentHasAppeared = false;
    QPointer<QQuickWindow> m_mainWindow;
    std::unique_ptr<QMenu> m_trayMenu;
    std::unique_ptr<QSystemTrayIcon> m_trayIcon;
};

} // namespace tarno
