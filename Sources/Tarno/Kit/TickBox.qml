import QtQuick
import QtQuick.Controls

// A check box in the kit's colours: a rounded square that fills with the accent.
CheckBox {
    id: box

    property color tint: Theme.accent

    padding: 0
    spacing: 0
    implicitWidth: 20
    implicitHeight: 20

    indicator: Rectangle {
        implicitWidth: 20
        implicitHeight: 20
        x: box.leftPadding
        y: (box.height - height) / 2
        radius: 6
        opacity: box.enabled ? 1.0 : 0.5
        color: box.checked ? box.tint : Theme.surface
        border.width: box.checked ? 0 : 1.5
        border.color: box.hovered ? Theme.wash(box.tint, 0.9) : Theme.secondaryText

        SymbolIcon {
            anchors.centerIn: parent
            visible: box.checked
            symbol: "checkmark"
            tint: "white"
            size: 14
        }
    }
    contentItem: Item {}
}
