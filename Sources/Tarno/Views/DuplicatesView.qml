import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The Duplicates section: sets of files with the same content in the
// user's folders, and a move of the extra copies to the Trash.
Item {
    id: view

    required property DuplicatesModel model
    // The section's title, symbol and hue, as the sidebar shows them.
    property string title
    property string symbol
    property color tint: Theme.accent

    DuplicatesScreen {
        id: duplicatesScreen
        model: view.model
    }

    Component.onCompleted: duplicatesScreen.appeared()

    Shortcut {
        sequence: "Ctrl+R"
        enabled: duplicatesScreen.searchAgainEnabled
        onActivated: duplicatesScreen.searchAgain()
    }
    Shortcut {
        sequences: ["Delete", "Ctrl+Backspace"]
        enabled: duplicatesScreen.selectedText.length > 0 && !view.model.isConfirming
        onActivated: duplicatesScreen.askToTrash()
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
                text: duplicatesScreen.thresholdLabel
                color: Theme.secondaryText
            }
            SegmentedPicker {
                objectName: "thresholdPicker"
                names: duplicatesScreen.thresholdNames
                currentIndex: duplicatesScreen.thresholdIndex
                toolTip: duplicatesScreen.thresholdToolTip
                onActivated: index => duplicatesScreen.thresholdIndex = index
            }
            ActionButton {
                objectName: "searchAgainButton"
                text: duplicatesScreen.searchAgainLabel
                symbol: "arrow.clockwise"
                enabled: duplicatesScreen.searchAgainEnabled
                onClicked: duplicatesScreen.searchAgain()
                ToolTip.visible: hovered
                ToolTip.text: duplicatesScreen.searchAgainLabel + " (Ctrl+R)"
            }
        }

        // Content
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            ColumnLayout {
                anchors.centerIn: parent
                visible: duplicatesScreen.content === DuplicatesScreen.Progress
                spacing: Theme.spacingMedium
                Spinner {
                    Layout.alignment: Qt.AlignHCenter
                    size: 32
                    running: parent.visible
                }
                Label {
                    objectName: "progressText"
                    Layout.alignment: Qt.AlignHCenter
                    text: duplicatesScreen.progressText
                    color: Theme.secondaryText
                }
            }

            ColumnLayout {
                anchors.fill: parent
                visible: duplicatesScreen.content !== DuplicatesScreen.Progress
                spacing: Theme.spacingMedium

                Banner {
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge
                    Layout.rightMargin: Theme.spacingLarge
                    visible: duplicatesScreen.showsFailures
                    symbol: "exclamationmark.triangle.fill"
                    tint: Theme.warning
                    title: duplicatesScreen.failuresTitle
                    detail: duplicatesScreen.failuresDetail
                    actions: ActionButton {
                        style: ActionButton.Link
                        text: duplicatesScreen.dismissLabel
                        onClicked: duplicatesScreen.dismissFailures()
                    }
                }
                Banner {
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge
                    Layout.rightMargin: Theme.spacingLarge
                    visible: duplicatesScreen.showsPhotosLibrary
                    symbol: "photo.on.rectangle"
                    tint: Theme.blue
                    title: duplicatesScreen.photosLibraryTitle
                    detail: duplicatesScreen.photosLibraryText
                    actions: ActionButton {
                        visible: duplicatesScreen.canOpenPhotos
                        text: duplicatesScreen.openPhotosLabel
                        onClicked: duplicatesScreen.openPhotos()
                    }
                }

                Item {
                    Layout.fillWidth: true
                    Layout.fillHeight: true

                    ColumnLayout {
                        anchors.centerIn: parent
                        width: Math.min(parent.width - 2 * Theme.spacingLarge, 420)
                        visible: duplicatesScreen.content === DuplicatesScreen.Empty
                        spacing: Theme.spacingMedium
                        IconChip {
                            Layout.alignment: Qt.AlignHCenter
                            symbol: duplicatesScreen.emptySymbol
                            tint: view.tint
                            size: 64
                        }
                        Label {
                            Layout.alignment: Qt.AlignHCenter
                            text: duplicatesScreen.emptyTitle
                            font.pixelSize: Theme.headlineSize + 3
                            font.weight: Font.DemiBold
                            color: Theme.text
                        }
                        Label {
                            Layout.fillWidth: true
                            horizontalAlignment: Text.AlignHCenter
                            text: duplicatesScreen.emptyText
                            wrapMode: Text.Wrap
                            color: Theme.secondaryText
                        }
                    }

                    ListView {
                        id: list
                        objectName: "duplicatesList"
                        anchors.fill: parent
                        visible: duplicatesScreen.content === DuplicatesScreen.List
                        clip: true
                        model: duplicatesScreen.rows
                        boundsBehavior: Flickable.StopAtBounds
                        ScrollBar.vertical: ScrollBar {}
                        footer: Item { width: list.width; height: Theme.spacingLarge }

                        delegate: DuplicatesRowView {
                            width: list.width
                            screen: duplicatesScreen
                        }
                    }
                }
            }
        }

        ActionBar {
            Layout.fillWidth: true
            visible: duplicatesScreen.showsFooter

            Label {
                objectName: "footerText"
                text: duplicatesScreen.footerText
                color: Theme.secondaryText
                ToolTip.visible: footerHover.hovered
                ToolTip.text: duplicatesScreen.footerToolTip
                HoverHandler { id: footerHover }
            }
            ActionButton {
                objectName: "selectExtraButton"
                text: duplicatesScreen.selectExtraLabel
                onClicked: duplicatesScreen.selectExtraCopies()
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: duplicatesScreen.selectExtraToolTip
            }
            Item { Layout.fillWidth: true }
            Label {
                objectName: "selectedText"
                visible: duplicatesScreen.selectedText.length > 0
                text: duplicatesScreen.selectedText
                font.weight: Font.Bold
                color: Theme.text
            }
            ActionButton {
                objectName: "moveButton"
                visible: duplicatesScreen.selectedText.length > 0
                style: ActionButton.Prominent
                text: duplicatesScreen.moveLabel
                onClicked: duplicatesScreen.askToTrash()
            }
        }
    }

    ConfirmationSheet {
        shown: view.model.isConfirming
        title: duplicatesScreen.confirmationTitle
        message: duplicatesScreen.confirmationText
        cancelLabel: duplicatesScreen.cancelLabel
        confirmLabel: duplicatesScreen.confirmLabel
        onConfirmed: duplicatesScreen.confirmTrash()
        onCancelled: duplicatesScreen.cancelTrash()
    }
}
