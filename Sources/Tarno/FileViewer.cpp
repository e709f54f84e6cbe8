#include "Tarno/FileViewer.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QStringList>
#include <QUrl>

namespace tarno::FileViewer {

void reveal(const std::string& path)
{
    reveal(std::vector<std::string>{path});
}

void reveal(const std::vector<std::string>& paths)
{
    if (paths.empty())
        return;
    QStringList urls;
    for (const std::string& path : paths)
        urls.append(QUrl::fromLocalFile(QString::fromStdString(path)).toString());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << urls << QString();
    // A short wait: a desktop without the service answers at once with an error.
    const QDBusMessage answer = QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
    if (answer.type() == QDBusMessage::ReplyMessage)
        return;
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(QString::fromStdString(paths.front())).absolutePath()));
}

void open(const std::string& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(path)));
}

} // namespace tarno::FileViewer
