import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The kit's button: plain, prominent (filled with its tint) or a link.
AbstractButton {
    id: button

    enum Style { Plain, Prominent, Link }

    property int style: ActionButton.Plain
    property color tint: Theme.accent
    property string symbol

    readonly property color foreground: !enabled ? Theme.tertiaryText
                                     : style === ActionButton.Prominent ? "white"
                                     : style === ActionButton.Link ? tint : Theme.text

    implicitHeight: style === ActionButton.Link ? 24 : 30
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    leftPadding: style === ActionButton.Link ? 0 : Theme.spacingMedium
    rightPadding: leftPadding
    topPadding: 0
    bottomPadding: 0
    hoverEnabled: true
    opacity: enabled ? 1.0 : 0.75

    background: Rectangle {
        visible: button.style !== ActionButton.Link
        radius: Theme.radiusSmall
        color: button.style === ActionButton.Prominent
               ? (button.enabled ? (button.down ? Qt.darker(button.tint, 1.15) : button.tint) : Theme.separator)
               : (button.down ? Theme.hover : Theme.surface)
        border.width: button.style === ActionButton.Prominent ? 0 : 1
        border.color: button.hovered && button.enabled ? Theme.wash(button.tint, 0.5) : Theme.separator
    }

    contentItem: RowLayout {
        spacing: Theme.spacingSmall
        Item { Layout.fillWidth: true }
        SymbolIcon {
            visible: button.symbol.length > 0
            symbol: button.symbol
            tint: button.foreground
            size: 14
        }
        Label {
            text: button.text
            font.pixelSize: Theme.bodySize
            font.weight: button.style === ActionButton.Prominent ? Font.DemiBold : Font.Medium
            font.underline: button.style === ActionButton.Link && button.hovered
            color: button.foreground
        }
        Item { Layout.fillWidth: true }
    }
}
