#include "Tarno/FileIcons.hpp"

#include <QIcon>
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
