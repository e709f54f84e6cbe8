#pragma once

#include <QImage>
#include <QQuickImageProvider>
#include <QSize>
#include <QString>

#include <functional>

namespace tarno {

namespace FileIcons {

// The desktop's icon for the type of a file of this name, told by its
// extension alone, the generic document icon when the theme has none for it.
// Uses the icon theme: call it on the main thread.
QImage typeIcon(const QString& fileName, QSize size);

// An application's icon: `icon` is an image file or a name in the desktop's
// icon theme; the theme's generic program icon when neither gives one.
QImage appIcon(const QString& icon, QSize size);

} // namespace FileIcons

// Serves "image://filetype/<file name>": the icon of that file name's type.
class FileTypeImageProvider : public QQuickImageProvider {
public:
    FileTypeImageProvider();
    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

// Serves "image://appicon/<icon>": an application's icon (see FileIcons::appIcon).
class AppIconImageProvider : public QQuickImageProvider {
public:
    AppIconImageProvider();
    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

// Serves "image://thumbnail/<path>" from pictures a model has already made;
// a path without one gives an empty image. The lookup runs where the image
// is requested: keep those images synchronous, on the main thread.
class ThumbnailImageProvider : public QQuickImageProvider {
public:
    using Lookup = std::function<QImage(const QString& path)>;
    explicit ThumbnailImageProvider(Lookup lookup);
    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;

private:
    Lookup m_lookup;
};

} // namespace tarno
