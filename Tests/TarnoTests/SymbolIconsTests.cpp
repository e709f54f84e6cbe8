#include "Tarno/AppModel.hpp"
#include "Tarno/IconImageProvider.hpp"
#include "Tarno/SymbolIcons.hpp"

#include "TarnoCore/Cleanup/CleanupCategory.hpp"

#include <QDirIterator>
#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <QSet>

#include <gtest/gtest.h>

namespace tarno {
namespace {

// Whether the theme holds a file of exactly this name. QIcon alone would
// accept a misspelt "a-b-c" by falling back to "a-b".
bool themeHasFileNamed(const QString& iconName)
{
    for (const QString& root : QIcon::themeSearchPaths()) {
        QDirIterator files(root + QLatin1Char('/') + SymbolIcons::themeName,
                           {iconName + QStringLiteral(".png"), iconName + QStringLiteral(".svg")},
                           QDir::Files, QDirIterator::Subdirectories);
        if (files.hasNext())
            return true;
    }
    return false;
}

TEST(SymbolIcons, EverySymbolTheScreensUseIsMapped)
{
    QStringList symbols;
    for (AppModel::Section section : allSections)
        symbols.append(symbol(section));
    for (CleanupCategory category : allCleanupCategories)
        symbols.append(QString::fromUtf8(symbol(category)));
    for (const char* other : {"arrow.clockwise", "lock", "checkmark.circle", "checkmark.circle.fill",
                              "exclamationmark.triangle.fill", "eye.slash", "trash", "folder",
                              "arrow.triangle.branch", "ellipsis.circle", "info.circle"})
        symbols.append(QString::fromUtf8(other));

    for (const QString& symbol : symbols)
        EXPECT_TRUE(SymbolIcons::iconName(symbol).has_value()) << symbol.toStdString();
    EXPECT_EQ(SymbolIcons::iconName(u"no.such.symbol"), std::nullopt);

    QStringList mapped;
    for (const SymbolIcons::Entry& entry : SymbolIcons::table())
        mapped.append(entry.symbol);
    EXPECT_EQ(QSet<QString>(mapped.begin(), mapped.end()).size(), mapped.size());
}

TEST(SymbolIcons, EveryMappedIconIsInTheInstalledTheme)
{
    ASSERT_EQ(QIcon::themeName(), SymbolIcons::themeName);
    for (const SymbolIcons::Entry& entry : SymbolIcons::table()) {
        const QString name = entry.iconName;
        EXPECT_TRUE(QIcon::hasThemeIcon(name) && themeHasFileNamed(name)) << entry.iconName.data();
    }
}

TEST(IconImageProvider, PaintsTheSymbolInItsTint)
{
    IconImageProvider provider;
    QSize size;
    const auto paintedPixels = [](const QImage& image) {
        QList<QColor> painted;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (image.pixelColor(x, y).alpha() != 0)
                    painted.append(image.pixelColor(x, y));
        return painted;
    };
    const QImage red = provider.requestPixmap(QStringLiteral("trash/ff0000"), &size, QSize(32, 32)).toImage();
    EXPECT_EQ(size, QSize(32, 32));
    ASSERT_EQ(red.size(), QSize(32, 32));
    const QList<QColor> painted = paintedPixels(red);
    EXPECT_GT(painted.size(), 32);
    for (const QColor& pixel : painted)
        EXPECT_TRUE(pixel.green() == 0 && pixel.blue() == 0) << pixel.name().toStdString();

    // An unknown symbol is nothing to see, at the size asked for.
    EXPECT_TRUE(paintedPixels(provider.requestPixmap(QStringLiteral("no.such.symbol"), &size, QSize(20, 20)).toImage())
                    .isEmpty());
    EXPECT_EQ(size, QSize(20, 20));
}

} // namespace
} // namespace tarno
