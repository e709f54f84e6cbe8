import QtQuick
import QtQuick.Layouts

// The bar at the foot of a screen: status at the left, actions at the right.
Rectangle {
    id: bar

    default property alias content: row.data

    implicitHeight: 56
    color: Theme.surface

    Rectangle {
        anchors.top: parent.top
        width: parent.width
        height: 1
        color: Theme.separator
    }

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: Theme.spacingLarge
        anchors.rightMargin: Theme.spacingLarge
        spacing: Theme.spacingMedium
    }
}
