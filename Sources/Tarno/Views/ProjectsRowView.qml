import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// One row of the Projects list: a section's header, the label over the
// worktrees that stay, a worktree or an artifact folder.
Item {
    id: row

    required property ProjectsScreen screen
    required property string key
    required property string kind
    required property string path
    required property string title
    required property string symbol
    required property string detail
    required property string extra
    required property string sizeText
    required property string finderText
    required property string selectionButton
    required property bool hasCheckbox
    required property bool isChecked
    required property bool checkboxEnabled
    required property var badges
    required property var badgeTones

    readonly property bool isHeading: kind === "header" || kind === "label"

    implicitHeight: isHeading ? headingRow.implicitHeight + Theme.spacingLarge + Theme.spacingSmall
                              : itemRow.implicitHeight + 2 * Theme.spacingMedium

    RowLayout {
        id: headingRow
        visible: row.isHeading
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.leftMargin: Theme.spacingLarge
        anchors.rightMargin: Theme.spacingLarge + Theme.spacingMedium
        anchors.bottomMargin: Theme.spacingSmall
        spacing: Theme.spacingMedium

        IconChip {
            symbol: row.symbol
            tint: row.kind === "label" ? Theme.secondaryText : Theme.sectionTint(2)
            size: 28
        }
        ColumnLayout {
            spacing: 0
            Label {
                text: row.title
                font.pixelSize: Theme.headlineSize
                font.weight: Font.Bold
                color: Theme.text
            }
            Label {
                visible: row.detail.length > 0
                text: row.detail
                font.pixelSize: Theme.captionSize
                color: Theme.secondaryText
            }
        }
        ActionButton {
            visible: row.selectionButton.length > 0
            style: ActionButton.Link
            text: row.selectionButton
            onClicked: row.screen.toggleSection(row.key)
        }
        Item { Layout.fillWidth: true }
        Label {
            visible: row.kind === "header"
            text: row.sizeText
            font.weight: Font.DemiBold
            color: Theme.secondaryText
        }
    }

    Rectangle {
        visible: !row.isHeading
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
            acceptedButtons: Qt.RightButton
            onClicked: contextMenu.popup()
        }

        Menu {
            id: contextMenu
            MenuItem {
                text: "Show in Finder"
                onTriggered: row.screen.reveal(row.path)
            }
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
                        if (row.kind === "worktree")
                            row.screen.setWorktreeSelected(row.path, checked)
                        else
                            row.screen.setArtifactSelected(row.path, checked)
                        // The model decides; the box shows its answer.
                        checked = Qt.binding(() => row.isChecked)
                    }
                }
                SymbolIcon {
                    anchors.centerIn: parent
                    visible: !row.hasCheckbox
                    symbol: row.symbol
                    tint: Theme.secondaryText
                    size: 16
                }
            }

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                RowLayout {
                    Layout.fillWidth: true
                    spacing: Theme.spacing
                    Label {
                        Layout.fillWidth: implicitWidth > parent.width / 2
                        text: row.title
                        elide: Text.ElideMiddle
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
                    Item { Layout.fillWidth: true }
                }
                Label {
                    Layout.fillWidth: true
                    text: row.detail
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                    font.pixelSize: Theme.bodySize - 1
                }
                Label {
                    Layout.fillWidth: true
                    visible: row.extra.length > 0
                    text: row.extra
                    wrapMode: Text.Wrap
                    color: Theme.warning
                    font.pixelSize: Theme.bodySize - 1
                }
            }

            ColumnLayout {
                Layout.alignment: Qt.AlignTop
                spacing: 0
                Label {
                    Layout.alignment: Qt.AlignRight
                    Layout.minimumWidth: 72
                    horizontalAlignment: Text.AlignRight
                    text: row.sizeText
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    Layout.alignment: Qt.AlignRight
                    visible: row.finderText.length > 0
                    text: row.finderText
                    font.pixelSize: Theme.captionSize
                    color: Theme.secondaryText
                }
            }
        }
    }
}
