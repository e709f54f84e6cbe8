import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A notice across the top of a screen: a symbol in its tint, a title, an
// optional detail, buttons at the right and, below, anything more it holds.
Rectangle {
    id: banner

    property string symbol
    property color tint: Theme.accent
    property string title
    property string detail
    // Buttons, at the right of the title.
    property alias actions: actionRow.data
    // Anything shown under the text, such as a list that can be opened.
    default property alias content: extra.data

    implicitHeight: column.implicitHeight + 2 * Theme.spacingMedium
    radius: Theme.radius
    color: Theme.wash(tint, 0.08)
    border.color: Theme.wash(tint, 0.28)
    border.width: 1

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: Theme.spacingMedium
        spacing: Theme.spacing

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.spacingMedium

            IconChip {
                Layout.alignment: Qt.AlignTop
                symbol: banner.symbol
                tint: banner.tint
                size: 32
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Label {
                    Layout.fillWidth: true
                    text: banner.title
                    wrapMode: Text.Wrap
                    font.pixelSize: Theme.headlineSize
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    Layout.fillWidth: true
                    visible: banner.detail.length > 0
                    text: banner.detail
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                }
            }
            RowLayout {
                id: actionRow
                Layout.alignment: Qt.AlignTop
                spacing: Theme.spacing
            }
        }
        ColumnLayout {
            id: extra
            Layout.fillWidth: true
            Layout.leftMargin: 32 + Theme.spacingMedium
            visible: children.length > 0
            spacing: Theme.spacingSmall
        }
    }
}
