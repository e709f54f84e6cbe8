import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A title that opens and closes a list of lines beneath it.
ColumnLayout {
    id: disclosure

    property string title
    property var lines: []
    property bool expanded: false

    spacing: Theme.spacingSmall

    AbstractButton {
        id: toggle
        Layout.fillWidth: true
        implicitHeight: 24
        onClicked: disclosure.expanded = !disclosure.expanded
        Keys.onSpacePressed: disclosure.expanded = !disclosure.expanded

        contentItem: RowLayout {
            spacing: Theme.spacingSmall
            Label {
                text: disclosure.expanded ? "▾" : "▸"
                color: Theme.secondaryText
            }
            Label {
                Layout.fillWidth: true
                text: disclosure.title
                font.weight: Font.DemiBold
                color: Theme.text
            }
        }
    }

    Repeater {
        model: disclosure.expanded ? disclosure.lines : []
        delegate: Label {
            required property string modelData
            Layout.fillWidth: true
            Layout.leftMargin: Theme.spacingLarge
            text: modelData
            wrapMode: Text.WrapAnywhere
            font.family: "monospace"
            font.pixelSize: Theme.captionSize + 1
            color: Theme.secondaryText
        }
    }
}
