import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The Large Files section: the largest files in the home folder, a table to
// pick from, and a move of the picked ones to the Trash.
Item {
    id: view

    required property LargeFilesModel model
    // The section's title, symbol and hue, as the sidebar shows them.
    property string title
    property string symbol
    property color tint: Theme.accent

    LargeFilesScreen {
        id: screen
        model: view.model
    }

    Component.onCompleted: screen.appeared()

    Shortcut {
        sequence: "Ctrl+R"
        enabled: screen.searchAgainEnabled
        onActivated: screen.searchAgain()
    }
    Shortcut {
        sequences: ["Delete", "Ctrl+Backspace"]
        enabled: screen.trashEnabled && !screen.isConfirming
        onActivated: screen.askToTrashSelection()
    }
    Shortcut {
        sequence: "Ctrl+A"
        enabled: screen.content === LargeFilesScreen.List
        onActivated: screen.selectAll()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        // Toolbar
        RowLayout {
            Layout.fillWidth: true
            Layout.margins: Theme.spacingLarge
            Layout.bottomMargin: Theme.spacingMedium
            spacing: Theme.spacingMedium

            IconChip {
                symbol: view.symbol
                tint: view.tint
                size: 36
            }
            Label {
                text: view.title
                font.pixelSize: Theme.titleSize
                font.weight: Font.Bold
                color: Theme.text
            }
            Item { Layout.fillWidth: true }
            Label {
                // The picker's tooltip says the same where the toolbar is short of room.
                visible: view.width > 940
                text: screen.thresholdLabel
                color: Theme.secondaryText
            }
            SegmentedPicker {
                objectName: "thresholdPicker"
                names: screen.thresholdNames
                currentIndex: screen.thresholdIndex
                toolTip: screen.thresholdToolTip
                onActivated: index => screen.thresholdIndex = index
            }
            ActionButton {
                objectName: "trashButton"
                text: screen.trashLabel
                symbol: "trash"
                enabled: screen.trashEnabled
                onClicked: screen.askToTrashSelection()
                ToolTip.visible: hovered
                ToolTip.text: screen.trashLabel + " (Delete)"
            }
            ActionButton {
                objectName: "searchAgainButton"
                text: screen.searchAgainLabel
                symbol: "arrow.clockwise"
                enabled: screen.searchAgainEnabled
                onClicked: screen.searchAgain()
                ToolTip.visible: hovered
                ToolTip.text: screen.searchAgainLabel + " (Ctrl+R)"
            }
        }

        // Content
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            ColumnLayout {
                anchors.centerIn: parent
                visible: screen.content === LargeFilesScreen.Progress
                spacing: Theme.spacingMedium
                Spinner {
                    Layout.alignment: Qt.AlignHCenter
                    size: 32
                    running: parent.visible
                }
                Label {
                    objectName: "progressText"
                    Layout.alignment: Qt.AlignHCenter
                    text: screen.progressText
                    color: Theme.secondaryText
                }
            }

            ColumnLayout {
                anchors.centerIn: parent
                width: Math.min(parent.width - 2 * Theme.spacingLarge, 420)
                visible: screen.content === LargeFilesScreen.Empty
                spacing: Theme.spacingMedium
                IconChip {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: screen.emptySymbol
                    tint: view.tint
                    size: 64
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: screen.emptyTitle
                    font.pixelSize: Theme.headlineSize + 3
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    text: screen.emptyText
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                }
            }

            ColumnLayout {
                anchors.fill: parent
                visible: screen.content === LargeFilesScreen.List
                spacing: Theme.spacingMedium

                Banner {
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge
                    Layout.rightMargin: Theme.spacingLarge
                    visible: screen.showsFailures
                    symbol: "exclamationmark.triangle.fill"
                    tint: Theme.warning
                    title: screen.failuresTitle
                    detail: screen.failuresDetail
                    actions: ActionButton {
                        style: ActionButton.Link
                        text: screen.dismissLabel
                        onClicked: screen.dismissFailures()
                    }
                }

                // Column titles; the widths are shared with the rows.
                RowLayout {
                    id: columns
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge + Theme.spacingMedium
                    Layout.rightMargin: Theme.spacingLarge + Theme.spacingMedium
                    spacing: Theme.spacingMedium
                    readonly property int sizeWidth: 90
                    readonly property int dateWidth: 110
                    readonly property real folderWidth: Math.max(160, width * 0.3)

                    Repeater {
                        model: screen.columnTitles
                        delegate: Label {
                            required property int index
                            required property string modelData
                            Layout.fillWidth: index === 0
                            Layout.preferredWidth: index === 1 ? columns.sizeWidth
                                                 : index === 2 ? columns.dateWidth
                                                 : index === 3 ? columns.folderWidth : -1
                            horizontalAlignment: index === 1 ? Text.AlignRight : Text.AlignLeft
                            text: modelData
                            font.pixelSize: Theme.captionSize
                            font.weight: Font.DemiBold
                            color: Theme.tertiaryText
                        }
                    }
                }

                ListView {
                    id: table
                    objectName: "largeFilesTable"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    clip: true
                    model: screen.rows
                    boundsBehavior: Flickable.StopAtBounds
                    ScrollBar.vertical: ScrollBar {}

                    delegate: Rectangle {
                        id: row
                        required property string path
                        required property string name
                        required property string iconSource
                        required property bool belongsToApp
                        required property string sizeText
                        required property string modifiedText
                        required property string folderText
                        required property string folderToolTip
                        required property bool isSelected

                        width: table.width - 2 * Theme.spacingLarge
                        x: Theme.spacingLarge
                        implicitHeight: 34
                        radius: Theme.radiusSmall
                        color: isSelected ? Theme.selection : (rowMouse.containsMouse ? Theme.hover : "transparent")

                        MouseArea {
                            id: rowMouse
                            anchors.fill: parent
                            hoverEnabled: true
                            acceptedButtons: Qt.LeftButton | Qt.RightButton
                            onClicked: mouse => {
                                if (mouse.button === Qt.RightButton) {
                                    screen.rightClick(row.path)
                                    contextMenu.popup()
                                } else {
                                    screen.click(row.path, mouse.modifiers)
                                }
                            }
                            onDoubleClicked: screen.revealSelection()
                        }

                        RowLayout {
                            anchors.fill: parent
                            anchors.leftMargin: Theme.spacingMedium
                            anchors.rightMargin: Theme.spacingMedium
                            spacing: Theme.spacingMedium

                            Image {
                                Layout.preferredWidth: 20
                                Layout.preferredHeight: 20
                                source: row.iconSource
                                sourceSize: Qt.size(40, 40)
                            }
                            Label {
                                Layout.fillWidth: true
                                text: row.name
                                elide: Text.ElideMiddle
                                color: Theme.text
                            }
                            SymbolIcon {
                                visible: row.belongsToApp
                                symbol: "exclamationmark.triangle"
                                tint: Theme.warning
                                size: 14
                                ToolTip.visible: appHover.hovered
                                ToolTip.text: screen.appDataToolTip
                                HoverHandler { id: appHover }
                            }
                            Label {
                                Layout.preferredWidth: columns.sizeWidth
                                horizontalAlignment: Text.AlignRight
                                text: row.sizeText
                                font.weight: Font.DemiBold
                                color: Theme.text
                            }
                            Label {
                                Layout.preferredWidth: columns.dateWidth
                                text: row.modifiedText
                                color: Theme.secondaryText
                            }
                            Label {
                                Layout.preferredWidth: columns.folderWidth
                                text: row.folderText
                                elide: Text.ElideMiddle
                                color: Theme.secondaryText
                                ToolTip.visible: folderHover.hovered
                                ToolTip.text: row.folderToolTip
                                HoverHandler { id: folderHover }
                            }
                        }
                    }

                    Menu {
                        id: contextMenu
                        MenuItem {
                            text: screen.revealLabel
                            onTriggered: screen.revealSelection()
                        }
                        MenuItem {
                            text: screen.trashLabel
                            onTriggered: screen.askToTrashSelection()
                        }
                    }
                }
            }
        }

        ActionBar {
            Layout.fillWidth: true
            visible: screen.showsFooter

            Label {
                objectName: "footerText"
                text: screen.footerText
                color: Theme.secondaryText
            }
            Label {
                Layout.fillWidth: true
                visible: screen.accessNote.length > 0
                text: screen.accessNote
                elide: Text.ElideRight
                font.pixelSize: Theme.captionSize
                color: Theme.tertiaryText
            }
            Item {
                Layout.fillWidth: true
                visible: screen.accessNote.length === 0
            }
            Label {
                objectName: "selectedText"
                visible: screen.selectedText.length > 0
                text: screen.selectedText
                font.weight: Font.Bold
                color: Theme.text
            }
            ActionButton {
                objectName: "moveButton"
                visible: screen.selectedText.length > 0
                style: ActionButton.Prominent
                text: screen.moveLabel
                onClicked: screen.askToTrashSelection()
            }
        }
    }

    ConfirmationSheet {
        shown: screen.isConfirming
        title: screen.confirmationTitle
        message: screen.confirmationText
        cancelLabel: screen.cancelLabel
        confirmLabel: screen.confirmLabel
        onConfirmed: screen.confirmTrash()
        onCancelled: screen.cancelTrash()
    }
}
