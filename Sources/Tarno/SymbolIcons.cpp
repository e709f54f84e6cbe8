#include "Tarno/SymbolIcons.hpp"

#include <QIcon>
#include <QStandardPaths>

#include <array>

namespace tarno::SymbolIcons {
namespace {

using L = QLatin1StringView;

constexpr std::array entries = {
    // Sidebar sections.
    Entry{L("gauge.with.dots.needle.50percent"), L("power-profile-balanced-symbolic")},
    Entry{L("sparkles"), L("starred-symbolic")},
    Entry{L("folder.badge.gearshape"), L("folder-symbolic")},
    Entry{L("doc.viewfinder"), L("system-search-symbolic")},
    Entry{L("doc.on.doc"), L("edit-copy-symbolic")},
    Entry{L("square.grid.2x2"), L("view-grid-symbolic")},
    Entry{L("memorychip"), L("media-flash-symbolic")},
    // Cleanup categories.
    Entry{L("hammer"), L("applications-engineering-symbolic")},
    Entry{L("iphone.gen2"), L("phone-symbolic")},
    Entry{L("curlybraces"), L("utilities-terminal-symbolic")},
    Entry{L("bird"), L("emoji-nature-symbolic")},
    Entry{L("shippingbox"), L("package-x-generic-symbolic")},
    Entry{L("wrench.and.screwdriver"), L("preferences-system-symbolic")},
    Entry{L("square.stack.3d.up"), L("preferences-desktop-apps-symbolic")},
    Entry{L("externaldrive"), L("drive-harddisk-symbolic")},
    Entry{L("archivebox"), L("application-x-addon-symbolic")},
    Entry{L("arrow.down.circle"), L("folder-download-symbolic")},
    Entry{L("trash"), L("user-trash-symbolic")},
    // Buttons, banners and states.
    Entry{L("arrow.clockwise"), L("view-refresh-symbolic")},
    Entry{L("lock"), L("changes-prevent-symbolic")},
    Entry{L("checkmark"), L("object-select-symbolic")},
    Entry{L("checkmark.circle"), L("emblem-ok-symbolic")},
    Entry{L("checkmark.circle.fill"), L("emblem-default-symbolic")},
    Entry{L("exclamationmark.triangle.fill"), L("dialog-warning-symbolic")},
    Entry{L("eye.slash"), L("view-conceal-symbolic")},
    Entry{L("folder"), L("folder-symbolic")},
    Entry{L("arrow.triangle.branch"), L("media-playlist-shuffle-symbolic")},
    Entry{L("ellipsis.circle"), L("view-more-horizontal-symbolic")},
    Entry{L("info.circle"), L("dialog-information-symbolic")},
    Entry{L("exclamationmark.triangle"), L("dialog-warning-symbolic")},
    Entry{L("photo.on.rectangle"), L("image-x-generic-symbolic")},
    // Performance: processes, developer tools by kind, startup items.
    Entry{L("gearshape.fill"), L("system-run-symbolic")},
    Entry{L("hammer.fill"), L("applications-engineering-symbolic")},
    Entry{L("text.cursor"), L("insert-text-symbolic")},
    Entry{L("network"), L("network-wired-symbolic")},
    Entry{L("smartphone"), L("phone-symbolic")},
    Entry{L("iphone"), L("phone-apple-iphone-symbolic")},
    Entry{L("shippingbox.fill"), L("package-x-generic-symbolic")},
    Entry{L("power"), L("system-shutdown-symbolic")},
};

} // namespace

std::span<const Entry> table()
{
    return entries;
}

std::optional<QString> iconName(QStringView symbol)
{
    for (const Entry& entry : entries) {
        if (entry.symbol == symbol)
            return QString(entry.iconName);
    }
    return std::nullopt;
}

void useTheme()
{
    // Desktop platforms look in the XDG data folders; the offscreen one that
    // renders snapshots only looks in the resources, so add those folders.
    QStringList searchPaths = QIcon::themeSearchPaths();
    const QStringList dataFolders =
        QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("icons"), QStandardPaths::LocateDirectory);
    for (const QString& folder : dataFolders) {
        if (!searchPaths.contains(folder))
            searchPaths.append(folder);
    }
    QIcon::setThemeSearchPaths(searchPaths);
    QIcon::setThemeName(themeName);
}

} // namespace tarno::SymbolIcons
