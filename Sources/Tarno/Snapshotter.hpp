#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <QString>
#include <QTimer>

#include <cstddef>
#include <functional>
#include <vector>

namespace tarno {

class AppModel;

// Renders the main window to PNG files once the first scan is ready: each
// section as <section raw value>.png, then the Cleanup screen in its other
// states (cleanup-confirmation, -cleaning, -summary, -banners, -empty,
// -scanning), then the Projects screen in its states after the empty one
// (projects-scanning, -list, -confirmation, -cleaning, -summary,
// -rescanning), the Large Files screen's (largeFiles-searching,
// -confirmation, -failures, -empty) and the Duplicates screen's
// (duplicates-searching, -selected, -confirmation, -failures, -empty).
// Those states are staged for the picture: nothing is removed.
class Snapshotter : public QObject {
    Q_OBJECT

public:
    Snapshotter(QQuickWindow* window, AppModel* model, QString folder, QObject* parent = nullptr);

    // Makes the folder if needed, waits for the scan and works through the
    // pictures; finished follows.
    void start();

    // The file names, without ".png", in the order they are written.
    static QStringList names();

Q_SIGNALS:
    // message says what went wrong when succeeded is false.
    void finished(bool succeeded, const QString& message);

private:
    struct Shot {
        QString name;
        std::function<void(AppModel&)> stage;
        // When the staging starts work: the picture waits until this holds.
        std::function<bool(const AppModel&)> isReady = nullptr;
        // For state a screen keeps itself (the Large Files selection): staged
        // on the screen object found in the window.
        std::function<void(QQuickWindow&)> stageView = nullptr;
    };
    static std::vector<Shot> shots();

    void begin();
    void showNext();
    void waitForFrames();
    void capture();
    void finish(bool succeeded, const QString& message);

    QPointer<QQuickWindow> m_window;
    QPointer<AppModel> m_model;
    QString m_folder;
    std::vector<Shot> m_shots;
    std::size_t m_next = 0;
    bool m_waitingForFrame = false;
    int m_framesToWait = 0;
    bool m_started = false;
    QTimer m_frameTimeout;
};

} // namespace tarno
