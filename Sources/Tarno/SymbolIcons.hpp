#pragma once

#include <QLatin1StringView>
#include <QString>
#include <QStringView>

#include <optional>
#include <span>

namespace tarno {

// The system's symbol names, as the screens use them, mapped to freedesktop
// icon names of the Adwaita theme. Symbolic icons are one colour, so the
// screens can tint them to either palette.
namespace SymbolIcons {

inline constexpr QLatin1StringView themeName{"Adwaita"};

struct Entry {
    QLatin1StringView symbol;
    QLatin1StringView iconName;
};

// Every mapping, each symbol once.
std::span<const Entry> table();

std::optional<QString> iconName(QStringView symbol);

// Makes themeName the icon theme of the process.
void useTheme();

} // namespace SymbolIcons
} // namespace tarno
