import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One labelled row of a sidebar list.
AbstractButton {
    id: row

    property string symbol
    property color tint: Theme.accent
    property bool selected: false

    implicitHeight: 36
    hoverEnabled: true
    focusPolicy: Qt.NoFocus

    background: Rectangle {
        radius: Theme.radiusSmall
        color: row.selected ? Theme.selection : row.hovered ? Theme.hover : "transparent"
    }

    contentItem: RowLayout {
        spacing: Theme.spacingMedium

        IconChip {
            Layout.leftMargin: Theme.spacing
            symbol: row.symbol
            tint: row.tint
            size: 26
        }
        Label {
            Layout.fillWidth: true
            text: row.text
            elide: Text.ElideRight
            font.pixelSize: Theme.bodySize
            font.weight: row.selected ? Font.DemiBold : Font.Normal
            color: row.selected ? Theme.selectedText : Theme.text
        }
    }
}
