import QtQuick
import QtQuick.Controls

// A short word on a pill washed with its colour.
Item {
    id: badge

    property string text
    property color color: Theme.accent

    implicitWidth: label.implicitWidth + 2 * Theme.spacing
    implicitHeight: label.implicitHeight + 4

    Rectangle {
        anchors.fill: parent
        radius: height / 2
        color: Theme.wash(badge.color, 0.16)
    }
    Label {
        id: label
        anchors.centerIn: parent
        text: badge.text
        font.pixelSize: Theme.captionSize
        font.weight: Font.DemiBold
        color: badge.color
    }
}
