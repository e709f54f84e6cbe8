import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A row of joined buttons of which one is chosen: the kit's segmented control.
Rectangle {
    id: picker

    property var names: []
    property int currentIndex: -1
    property string toolTip

    signal activated(int index)

    implicitWidth: segments.implicitWidth + 4
    implicitHeight: 30
    radius: Theme.radiusSmall
    color: Theme.surface
    border.color: Theme.separator

    ToolTip.visible: hover.hovered && toolTip.length > 0
    ToolTip.delay: 600
    ToolTip.text: toolTip
    HoverHandler { id: hover }

    RowLayout {
        id: segments
        anchors.fill: parent
        anchors.margins: 2
        spacing: 0

        Repeater {
            model: picker.names
            delegate: AbstractButton {
                required property int index
                required property string modelData

                Layout.fillHeight: true
                implicitWidth: label.implicitWidth + 2 * Theme.spacingMedium
                checkable: false
                onClicked: if (index !== picker.currentIndex) picker.activated(index)
                Accessible.name: modelData

                background: Rectangle {
                    radius: Theme.radiusSmall - 2
                    color: index === picker.currentIndex ? Theme.selection : "transparent"
                }
                contentItem: Label {
                    id: label
                    text: modelData
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    font.weight: index === picker.currentIndex ? Font.DemiBold : Font.Normal
                    color: index === picker.currentIndex ? Theme.selectedText : Theme.secondaryText
                }
            }
        }
    }
}
