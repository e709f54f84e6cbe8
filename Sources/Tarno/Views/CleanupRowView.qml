import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// One row of the Cleanup list: a category's header or one of its items.
Item {
    id: row

    required property CleanupScreen screen
    required property string kind
    required property string rowId
    required property string title
    required property string symbol
    required property int categoryIndex
    required property string detail
    required property string sizeText
    required property string selectionButton
    required property bool hasCheckbox
    required property bool isChecked
    required property bool checkboxEnabled
    required property var badges
    required property var badgeTones
    required property string adminButton
    required property bool adminButtonEnabled

    readonly property bool isHeader: kind === "header"

    implicitHeight: isHeader ? headerRow.implicitHeight + Theme.spacingLarge + Theme.spacingSmall
                             : itemRow.implicitHeight + 2 * Theme.spacingMedium

    RowLayout {
        id: headerRow
        visible: row.isHeader
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.leftMargin: Theme.spacingLarge
        anchors.rightMargin: Theme.spacingLarge + Theme.spacingMedium
        anchors.bottomMargin: Theme.spacingSmall
        spacing: Theme.spacingMedium

        IconChip {
            symbol: row.symbol
            tint: Theme.categoryTint(row.categoryIndex)
            size: 28
        }
        Label {
            text: row.title
            font.pixelSize: Theme.headlineSize
            font.weight: Font.Bold
            color: Theme.text
        }
        ActionButton {
            visible: row.selectionButton.length > 0
            style: ActionButton.Link
            text: row.selectionButton
            onClicked: row.screen.toggleCategory(row.rowId)
        }
        Item { Layout.fillWidth: true }
        Label {
            text: row.sizeText
            font.weight: Font.DemiBold
            color: Theme.secondaryText
        }
    }

    Rectangle {
        visible: !row.isHeader
        anchors.fill: parent
        anchors.leftMargin: Theme.spacingLarge
        anchors.rightMargin: Theme.spacingLarge
        color: mouse.containsMouse ? Theme.hover : "transparent"
        radius: Theme.radiusSmall

        Rectangle {
            anchors.bottom: parent.bottom
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.leftMargin: 48
            height: 1
            color: Theme.separator
            opacity: 0.6
        }

        MouseArea {
            id: mouse
            anchors.fill: parent
            hoverEnabled: true
            acceptedButtons: Qt.NoButton
        }

        RowLayout {
            id: itemRow
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            anchors.leftMargin: Theme.spacing
            anchors.rightMargin: Theme.spacingMedium
            spacing: Theme.spacingMedium

            Item {
                Layout.preferredWidth: 28
                Layout.preferredHeight: 28
                Layout.alignment: Qt.AlignTop

                TickBox {
                    anchors.centerIn: parent
                    visible: row.hasCheckbox
                    checked: row.isChecked
                    enabled: row.checkboxEnabled
                    onToggled: {
                        row.screen.setItemSelected(row.rowId, checked)
                        // The model decides; the box shows its answer.
                        checked = Qt.binding(() => row.isChecked)
                    }
                }
                SymbolIcon {
                    anchors.centerIn: parent
                    visible: !row.hasCheckbox
                    symbol: "lock"
                    tint: Theme.secondaryText
                    size: 16
                }
            }

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                RowLayout {
                    spacing: Theme.spacing
                    Label {
                        text: row.title
                        font.weight: Font.Medium
                        color: Theme.text
                    }
                    Repeater {
                        model: row.badges
                        delegate: Badge {
                            required property string modelData
                            required property int index
                            text: modelData
                            color: Theme.tone(row.badgeTones[index])
                        }
                    }
                }
                Label {
                    Layout.fillWidth: true
                    text: row.detail
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                    font.pixelSize: Theme.bodySize - 1
                }
            }

            ActionButton {
                visible: row.adminButton.length > 0
                text: row.adminButton
                enabled: row.adminButtonEnabled
                onClicked: row.screen.adminAction(row.rowId)
            }

            Label {
                Layout.minimumWidth: 72
                horizontalAlignment: Text.AlignRight
                text: row.sizeText
                font.weight: Font.DemiBold
                color: Theme.text
            }
        }
    }
}
