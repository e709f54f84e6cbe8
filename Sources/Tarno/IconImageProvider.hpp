#pragma once

#include <QQuickImageProvider>

namespace tarno {

// Serves "image://icon/<symbol>" and "image://icon/<symbol>/<rrggbb>": the
// theme icon mapped from the symbol, in the second form painted in that colour.
// An unknown symbol gives a transparent image of the requested size.
class IconImageProvider : public QQuickImageProvider {
public:
    IconImageProvider();

    QPixmap requestPixmap(const QString& id, QSize* size, const QSize& requestedSize) override;
};

} // namespace tarno
