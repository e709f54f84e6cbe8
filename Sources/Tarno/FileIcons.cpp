#include "Tarno/FileIcons.hpp"

#include <QIcon>
#include <QImageReader>
#include <QMimeDatabase>
#include <QPainter>
#include <QUrl>

namespace tarno {
namespace {

constexpr int defaultExtent = 32;

QSize extentFor(const QSize& requested)
{
    return {requested.width() > 0 ? requested.width() : defaultExtent,
            requested.height() > 0 ? requested.height() : defaultExtent};
}

} // namespace

QImage FileIcons::typeIcon(const QString& fileName, QSize size)
{
    const QMimeType type = QMimeDatabase().mimeTypeForFile(fileName, QMimeDatabase::MatchExtension);
    QIcon icon = QIcon::fromTheme(type.iconName());
    if (icon.isNull())
        icon = QIcon::fromTheme(type.genericIconName());
    if (icon.isNull())
        icon = QIcon::fromTheme(QStringLiteral("text-x-generic"));
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    icon.paint(&painter, image.rect());
    return image;
}

QImage FileIcons::appIcon(const QString& icon, QSize size)
{
    if (icon.startsWith(QLatin1Char('/'))) {
        QImageReader reader(icon);
        // An icon file may hold several sizes (an .icns does): take the
        // reader's choice and scale it, so any of them serves.
        if (reader.canRead()) {
            reader.setScaledSize(reader.size().isValid() ? reader.size().scaled(size, Qt::KeepAspectRatio) : size);
            const QImage image = reader.read();
            if (!image.isNull())
                return image;
        }
    }
    QIcon themed = icon.isEmpty() || icon.startsWith(QLatin1Char('/')) ? QIcon() : QIcon::fromTheme(icon);
    if (themed.isNull())
        themed = QIcon::fromTheme(QStringLiteral("application-x-executable"));
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    themed.paint(&painter, image.rect());
    return image;
}

AppIconImageProvider::AppIconImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{
}

QImage AppIconImageProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    const QImage image = FileIcons::appIcon(QUrl::fromPercentEncoding(id.toUtf8()), extentFor(requestedSize));
    if (size)
        *size = image.size();
    return image;
}

FileTypeImageProvider::FileTypeImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{
}

QImage FileTypeImageProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    const QSize extent = extentFor(requestedSize);
    if (size)
        *size = extent;
    return FileIcons::typeIcon(QUrl::fromPercentEncoding(id.toUtf8()), extent);
}

ThumbnailImageProvider::ThumbnailImageProvider(Lookup lookup)
    : QQuickImageProvider(QQuickImageProvider::Image)
    , m_lookup(std::move(lookup))
{
}

QImage ThumbnailImageProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    QImage image = m_lookup(QUrl::fromPercentEncoding(id.toUtf8()));
    if (!image.isNull() && requestedSize.isValid() && !requestedSize.isEmpty())
        image = image.scaled(requestedSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (size)
        *size = image.size();
    return image;
}

} // namespace tarno
