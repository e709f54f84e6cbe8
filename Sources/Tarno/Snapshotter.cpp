#include "Tarno/Snapshotter.hpp"

#include "Tarno/AppModel.hpp"

#include <QDir>
#include <QImage>
#include <QQuickWindow>

namespace tarno {
namespace {

// A window that is not exposed never swaps a frame; grabbing renders the
// scene anyway, so after this long the snapshot is taken regardless.
constexpr int frameTimeoutMilliseconds = 2000;

} // namespace

Snapshotter::Snapshotter(QQuickWindow* window, AppModel* model, QString folder, QObject* parent)
    : QObject(parent)
    , m_window(window)
    , m_model(model)
    , m_folder(std::move(folder))
{
    m_frameTimeout.setSingleShot(true);
    m_frameTimeout.setInterval(frameTimeoutMilliseconds);
    connect(&m_frameTimeout, &QTimer::timeout, this, &Snapshotter::capture);
    if (m_window) {
        // Queued: the frame may be swapped on the render thread, and the grab
        // belongs on this one.
        connect(m_window, &QQuickWindow::frameSwapped, this, [this] {
            if (m_waitingForFrame)
                capture();
        }, Qt::QueuedConnection);
    }
}

void Snapshotter::start()
{
    if (!m_window || !m_model) {
        finish(false, QStringLiteral("There is no main window to render."));
        return;
    }
    if (!QDir().mkpath(m_folder)) {
        finish(false, QStringLiteral("Could not make the folder %1.").arg(m_folder));
        return;
    }
    m_next = 0;
    showNext();
}

void Snapshotter::showNext()
{
    if (m_next == allSections.size()) {
        finish(true, {});
        return;
    }
    m_model->setSection(allSections[m_next]);
    m_waitingForFrame = true;
    m_frameTimeout.start();
    m_window->update();
}

void Snapshotter::capture()
{
    if (!m_waitingForFrame)
        return;
    m_waitingForFrame = false;
    m_frameTimeout.stop();
    if (!m_window) {
        finish(false, QStringLiteral("The main window went away."));
        return;
    }

    const QString path = QDir(m_folder).filePath(rawValue(allSections[m_next]) + QStringLiteral(".png"));
    const QImage image = m_window->grabWindow();
    if (image.isNull() || !image.save(path, "PNG")) {
        finish(false, QStringLiteral("Could not write %1.").arg(path));
        return;
    }
    ++m_next;
    // Leave the frame signal's delivery before the next section changes the scene.
    QTimer::singleShot(0, this, &Snapshotter::showNext);
}

void Snapshotter::finish(bool succeeded, const QString& message)
{
    Q_EMIT finished(succeeded, message);
}

} // namespace tarno
