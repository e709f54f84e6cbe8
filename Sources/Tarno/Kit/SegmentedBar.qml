import QtQuick

// One bar split into coloured segments, each a fraction of the whole; what
// the segments leave is the bar's own track.
Item {
    id: bar

    // Each segment: { id, fraction, color }.
    property var segments: []
    property string accessibleText

    implicitWidth: 300
    implicitHeight: 14
    Accessible.role: Accessible.ProgressBar
    Accessible.name: bar.accessibleText

    Rectangle {
        id: track
        anchors.fill: parent
        radius: 4
        color: Theme.separator
        clip: true

        Row {
            anchors.fill: parent
            Repeater {
                model: bar.segments
                delegate: Rectangle {
                    required property var modelData
                    width: track.width * Math.max(0, Math.min(1, modelData.fraction))
                    height: track.height
                    color: modelData.color
                }
            }
        }
    }
}
