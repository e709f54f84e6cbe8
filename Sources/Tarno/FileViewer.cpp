#include "Tarno/FileViewer.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace tarno::FileViewer {

void reveal(const std::string& path)
{
    const QString file = QString::fromStdString(path);
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(file).toString()} << QString();
    // A short wait: a desktop without the service answers at once with an error.
    const QDBusMessage answer = QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
    if (answer.type() == QDBusMessage::ReplyMessage)
        return;
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath()));
}

} // namespace tarno::FileViewer
