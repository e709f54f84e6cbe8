import QtQuick

// Work under way: a ring of dots that turns while running.
Item {
    id: spinner

    property bool running: visible
    property color tint: Theme.secondaryText
    property int size: 20

    implicitWidth: size
    implicitHeight: size

    Item {
        id: ring
        anchors.fill: parent

        Repeater {
            model: 8
            delegate: Rectangle {
                required property int index
                readonly property real angle: index * Math.PI / 4
                width: spinner.size * 0.18
                height: width
                radius: width / 2
                color: spinner.tint
                opacity: 0.25 + 0.75 * index / 7
                x: spinner.size / 2 + Math.cos(angle) * spinner.size * 0.38 - width / 2
                y: spinner.size / 2 + Math.sin(angle) * spinner.size * 0.38 - height / 2
            }
        }

        RotationAnimation on rotation {
            // Still in pictures of the screen, so that two renderings agree.
            running: spinner.running && !Theme.still
            from: 0
            to: 360
            duration: 1000
            loops: Animation.Infinite
        }
    }
}
