import QtQuick

// A thin bar filled to `fraction` (0 to 1) of its width.
Item {
    id: meter

    property real fraction: 0
    property color tint: Theme.accent

    implicitWidth: 80
    implicitHeight: 5

    Rectangle {
        anchors.fill: parent
        radius: height / 2
        color: Theme.wash(meter.tint, 0.14)
    }
    Rectangle {
        width: parent.width * Math.max(0, Math.min(1, meter.fraction))
        height: parent.height
        radius: height / 2
        color: meter.tint
    }
}
