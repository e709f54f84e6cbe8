import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The detail area of a section whose screen is not there yet: its title and
// an empty state that says so.
Item {
    id: titleView

    property string title
    property string symbol
    property color tint: Theme.accent

    ColumnLayout {
        anchors.centerIn: parent
        spacing: Theme.spacingLarge

        IconChip {
            Layout.alignment: Qt.AlignHCenter
            symbol: titleView.symbol
            tint: titleView.tint
            size: 72
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: titleView.title
            font.pixelSize: Theme.titleSize
            font.weight: Font.DemiBold
            color: Theme.text
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: "This section comes in a later version of Tarno."
            color: Theme.secondaryText
        }
    }
}
