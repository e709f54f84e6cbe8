#include "Tarno/IconImageProvider.hpp"

#include "Tarno/SymbolIcons.hpp"

#include <QColor>
#include <QIcon>
#include <QPainter>

namespace tarno {
namespace {

constexpr int defaultExtent = 32;

} // namespace

IconImageProvider::IconImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Pixmap)
{
}

QPixmap IconImageProvider::requestPixmap(const QString& id, QSize* size, const QSize& requestedSize)
{
    const QSize extent(requestedSize.width() > 0 ? requestedSize.width() : defaultExtent,
                       requestedSize.height() > 0 ? requestedSize.height() : defaultExtent);
    if (size)
        *size = extent;

    const qsizetype slash = id.indexOf(QLatin1Char('/'));
    const QStringView symbol = slash < 0 ? QStringView(id) : QStringView(id).left(slash);
    const QColor tint = slash < 0 ? QColor() : QColor(QLatin1Char('#') + id.mid(slash + 1));

    QPixmap pixmap(extent);
    pixmap.fill(Qt::transparent);
    const std::optional<QString> name = SymbolIcons::iconName(symbol);
    if (!name)
        return pixmap;

    QPainter painter(&pixmap);
    QIcon::fromTheme(*name).paint(&painter, pixmap.rect());
    if (tint.isValid()) {
        // Keep the icon's shape and antialiasing, take the colour from the tint.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), tint);
    }
    return pixmap;
}

} // namespace tarno
