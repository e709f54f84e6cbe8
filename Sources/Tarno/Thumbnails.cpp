#include "Tarno/Thumbnails.hpp"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QImageReader>
#include <QString>
#include <QUrl>

namespace tarno::Thumbnails {
namespace {

// A cached picture counts only while it says it was made from the file as it
// is now: its Thumb::MTime, in whole seconds.
QImage currentCachedPicture(const QString& file, const QString& cacheFolder, const std::string& name)
{
    const QFileInfo info(file);
    if (!info.exists())
        return {};
    const QString modified = QString::number(info.lastModified().toSecsSinceEpoch());
    for (const char* size : {"normal", "large", "x-large", "xx-large"}) {
        QImageReader reader(cacheFolder + QStringLiteral("/thumbnails/") + QLatin1String(size) + QLatin1Char('/')
                            + QString::fromStdString(name));
        if (!reader.canRead())
            continue;
        if (reader.text(QStringLiteral("Thumb::MTime")) != modified)
            continue;
        QImage image = reader.read();
        if (!image.isNull())
            return image;
    }
    return {};
}

QImage decodedPicture(const QString& file, QSize size)
{
    QImageReader reader(file);
    reader.setAutoTransform(true);
    if (!reader.canRead())
        return {};
    const QSize full = reader.size();
    if (full.isValid() && (full.width() > size.width() || full.height() > size.height()))
        reader.setScaledSize(full.scaled(size, Qt::KeepAspectRatio));
    return reader.read();
}

} // namespace

std::string cachedName(const std::string& path)
{
    const QByteArray uri = QUrl::fromLocalFile(QString::fromStdString(path)).toEncoded();
    return QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex().toStdString() + ".png";
}

QImage load(const std::string& path, QSize size, const std::string& cacheFolder)
{
    const QString file = QString::fromStdString(path);
    QImage image = currentCachedPicture(file, QString::fromStdString(cacheFolder), cachedName(path));
    if (image.isNull())
        image = decodedPicture(file, size);
    if (!image.isNull() && (image.width() > size.width() || image.height() > size.height()))
        image = image.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}

} // namespace tarno::Thumbnails
