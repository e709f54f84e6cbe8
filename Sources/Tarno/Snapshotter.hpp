#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <QString>
#include <QTimer>

#include <cstddef>


namespace tarno {

class AppModel;

// Renders the main window once per section into <folder>/<section raw value>.png:
// selects the section, waits for the frame, grabs the window and saves it.
class Snapshotter : public QObject {
    Q_OBJECT

public:
    Snapshotter(QQuickWindow* window, AppModel* model, QString folder, QObject* parent = nullptr);

    // Makes the folder if needed and works through the sections; finished follows.
    void start();

Q_SIGNALS:
    // message says what went wrong when succeeded is false.
    void finished(bool succeeded, const QString& message);

private:
    void showNext();
    void capture();
    void finish(bool succeeded, const QString& message);

    QPointer<QQuickWindow> m_window;
    QPointer<AppModel> m_model;
    QString m_folder;
    std::size_t m_next = 0;
    bool m_waitingForFrame = false;
    QTimer m_frameTimeout;
};

} // namespace tarno
