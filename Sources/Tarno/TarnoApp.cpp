#include "Tarno/TarnoApp.hpp"

#include "Tarno/Demo/DemoMachine.hpp"
#include "Tarno/FileIcons.hpp"
#include "Tarno/IconImageProvider.hpp"
#include "Tarno/Preference.hpp"
#include "Tarno/SymbolIcons.hpp"

#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QPointer>
#include <QPalette>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QSystemTrayIcon>

namespace tarno {
namespace {

bool systemPaletteIsDark()
{
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

} // namespace

TarnoApp::TarnoApp(LaunchOptions options, QObject* parent)
    : TarnoApp(options, Preferences::standardStore(),
               [demo = options.demo] { return demo ? Demo::machine() : AppMachine::live(CleanupEnvironment::live()); },
               parent)
{
}

TarnoApp::TarnoApp(LaunchOptions options,
                   std::unique_ptr<QSettings> store,
                   const std::function<AppMachine()>& makeMachine,
                   QObject* parent)
    : QObject(parent)
    , m_options(std::move(options))
    , m_preferences(new Preferences(std::move(store), this))
    , m_darkAppearance(systemPaletteIsDark())
{
    connect(m_preferences, &Preferences::showInMenuBarChanged, this, &TarnoApp::updateMenuBarItem);
    updateMenuBarItem();

    Preference::registerDefaults(*m_preferences);
    Preference::showMenuBarItemIfWanted(*m_preferences);

    m_model = new AppModel(makeMachine(), this);
    // Quitting stops the work under way at once, before anything is torn down.
    if (QCoreApplication* application = QCoreApplication::instance())
        connect(application, &QCoreApplication::aboutToQuit, m_model, &AppModel::cancelAll);

    // No updater is built: Linux has no update framework for the application
    // to drive, so there is nothing to check for updates with.
}

TarnoApp::~TarnoApp() = default;

void TarnoApp::setDarkAppearance(bool dark)
{
    if (m_darkAppearance == dark)
        return;
    m_darkAppearance = dark;
    Q_EMIT darkAppearanceChanged();
}

QQuickWindow* TarnoApp::loadMainWindow(QQmlApplicationEngine& engine)
{
    engine.addImageProvider(QStringLiteral("icon"), new IconImageProvider);
    engine.addImageProvider(QStringLiteral("filetype"), new FileTypeImageProvider);
    engine.addImageProvider(QStringLiteral("appicon"), new AppIconImageProvider);
    engine.addImageProvider(QStringLiteral("thumbnail"),
                            new ThumbnailImageProvider([duplicates = QPointer(m_model->duplicates())](const QString& path) {
                                return duplicates ? duplicates->thumbnail(path.toStdString()) : QImage();
                            }));
    engine.setInitialProperties({{QStringLiteral("app"), QVariant::fromValue(this)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Tarno/Main.qml")));
    const QList<QObject*> roots = engine.rootObjects();
    m_mainWindow = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.constFirst());
    return m_mainWindow;
}

void TarnoApp::mainContentAppeared()
{
    if (m_contentHasAppeared)
        return;
    m_contentHasAppeared = true;

    if (m_options.section)
        m_model->setSection(*m_options.section);
    if (m_options.appearance)
        setDarkAppearance(*m_options.appearance == LaunchOptions::Appearance::dark);
    m_model->refreshDisk();
    // The first scan starts by itself, whichever section is shown.
    if (m_model->cleanup()->phase() == CleanupModel::Phase::idle)
        m_model->cleanup()->scan();
}

void TarnoApp::showMainWindow()
{
    if (!m_mainWindow)
        return;
    m_mainWindow->show();
    m_mainWindow->raise();
    m_mainWindow->requestActivate();
}

bool TarnoApp::isMenuBarItemShown() const
{
    return m_trayIcon && m_trayIcon->isVisible();
}

void TarnoApp::updateMenuBarItem()
{
    // Without a system tray a closed window could never be brought back, so
    // the process then ends with its last window whatever the preference says.
    const bool shown = m_preferences->showInMenuBar() && QSystemTrayIcon::isSystemTrayAvailable();

    if (shown && !m_trayIcon) {
        m_trayMenu = std::make_unique<QMenu>();
        m_trayMenu->addAction(tr("Open Tarno"), this, &TarnoApp::showMainWindow);
        m_trayMenu->addAction(tr("Quit Tarno"), qApp, &QCoreApplication::quit);

        const QIcon icon = QIcon::fromTheme(SymbolIcons::iconName(u"sparkles").value_or(QString()));
        m_trayIcon = std::make_unique<QSystemTrayIcon>(icon);
        m_trayIcon->setToolTip(QStringLiteral("Tarno"));
        m_trayIcon->setContextMenu(m_trayMenu.get());
        connect(m_trayIcon.get(), &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                        showMainWindow();
                });
    }
    if (m_trayIcon)
        m_trayIcon->setVisible(shown);
    QGuiApplication::setQuitOnLastWindowClosed(!shown);
}

} // namespace tarno
