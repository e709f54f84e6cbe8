pragma Singleton
import QtQuick

// The palettes, brand colours and measures every screen shares.
QtObject {
    // The application sets this from its appearance.
    property bool dark: false
    // No animation: pictures of the screens come out the same every time.
    property bool still: false

    // Brand colours.
    readonly property color blue: "#3b82f6"
    readonly property color violet: "#8b5cf6"
    readonly property color teal: "#14b8a6"
    // Supporting hues, for tints that must tell many things apart.
    readonly property color orange: "#f59e0b"
    readonly property color pink: "#ec4899"
    readonly property color indigo: "#6366f1"
    readonly property color green: "#22c55e"
    readonly property color accent: blue

    readonly property color background: dark ? "#15161b" : "#f7f8fb"
    readonly property color sidebar: dark ? "#1c1e25" : "#eef0f5"
    readonly property color surface: dark ? "#22252e" : "#ffffff"
    readonly property color separator: dark ? "#2b2e38" : "#dde0e8"
    readonly property color text: dark ? "#eceef3" : "#1a1c23"
    readonly property color secondaryText: dark ? "#9ba1af" : "#5d6271"
    readonly property color tertiaryText: dark ? "#6d7280" : "#8a8f9c"
    readonly property color hover: dark ? Qt.rgba(1, 1, 1, 0.05) : Qt.rgba(0, 0, 0, 0.04)
    readonly property color selection: Qt.rgba(accent.r, accent.g, accent.b, dark ? 0.20 : 0.12)
    readonly property color selectedText: dark ? "#93bbff" : "#1f5fd1"

    readonly property int spacingSmall: 4
    readonly property int spacing: 8
    readonly property int spacingMedium: 12
    readonly property int spacingLarge: 20
    readonly property int spacingExtraLarge: 32

    readonly property int radiusSmall: 6
    readonly property int radius: 10
    readonly property int radiusLarge: 14

    readonly property int captionSize: 11
    readonly property int bodySize: 13
    readonly property int headlineSize: 15
    readonly property int titleSize: 26

    // A colour of a light tint laid over the current background.
    function wash(tint, strength) {
        return Qt.rgba(tint.r, tint.g, tint.b, dark ? strength * 1.6 : strength)
    }

    readonly property color positive: green
    readonly property color warning: orange
    readonly property color danger: "#ef4444"

    // A colour of the kit by its name, as models give them.
    function tone(name) {
        const tones = { "blue": blue, "violet": violet, "teal": teal, "orange": orange, "pink": pink,
                        "indigo": indigo, "green": green, "red": danger, "secondary": secondaryText,
                        "gray": "#9ca3af" }
        return tones[name] !== undefined ? tones[name] : accent
    }

    // Each cleanup category keeps its own hue, in the categories' order.
    function categoryTint(category) {
        const tints = [blue, green, orange, teal, indigo, violet, pink, blue, teal, violet, orange]
        return category >= 0 && category < tints.length ? tints[category] : accent
    }

    // Each sidebar section keeps its own hue wherever it shows.
    function sectionTint(section) {
        const tints = [blue, teal, violet, orange, pink, indigo, green]
        return section >= 0 && section < tints.length ? tints[section] : accent
    }
}
