import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The sheet before a removal: every worktree and folder that goes, what it
// frees, and what bringing it back takes.
Popup {
    id: sheet

    required property ProjectsScreen screen
    required property ProjectsModel model

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(560, parent ? parent.width - 80 : 560)
    height: Math.min(implicitHeight, parent ? parent.height - 80 : implicitHeight)
    modal: true
    focus: true
    padding: Theme.spacingLarge
    closePolicy: Popup.CloseOnEscape
    // Escape, or anything else that closes the sheet, is a cancel.
    onClosed: screen.cancelRemove()

    Component.onCompleted: if (model.isConfirming) open()
    Connections {
        target: sheet.model
        function onIsConfirmingChanged() {
            if (sheet.model.isConfirming)
                sheet.open()
            else
                sheet.close()
        }
    }

    Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, Theme.dark ? 0.5 : 0.3) }

    background: Rectangle {
        radius: Theme.radiusLarge
        color: Theme.surface
        border.color: Theme.separator
    }

    contentItem: ColumnLayout {
        spacing: Theme.spacingMedium

        Label {
            Layout.fillWidth: true
            text: sheet.screen.confirmationTitle
            font.pixelSize: Theme.titleSize - 6
            font.weight: Font.Bold
            color: Theme.text
        }
        Label {
            Layout.fillWidth: true
            text: sheet.screen.confirmationText
            wrapMode: Text.Wrap
            color: Theme.secondaryText
        }

        ListView {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.preferredHeight: Math.min(contentHeight, 300)
            clip: true
            model: sheet.screen.confirmationItems
            spacing: Theme.spacing
            ScrollBar.vertical: ScrollBar {}
            delegate: RowLayout {
                required property var modelData
                width: ListView.view.width
                spacing: Theme.spacingMedium
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 1
                    Label {
                        Layout.fillWidth: true
                        text: modelData.title
                        elide: Text.ElideMiddle
                        font.weight: Font.Medium
                        color: Theme.text
                    }
                    Label {
                        Layout.fillWidth: true
                        text: modelData.detail
                        wrapMode: Text.Wrap
                        font.pixelSize: Theme.bodySize - 1
                        color: Theme.secondaryText
                    }
                }
                Label {
                    Layout.alignment: Qt.AlignTop
                    text: modelData.sizeText
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing
            spacing: Theme.spacing
            Item { Layout.fillWidth: true }
            ActionButton {
                objectName: "cancelButton"
                text: sheet.screen.cancelLabel
                onClicked: sheet.screen.cancelRemove()
            }
            ActionButton {
                objectName: "confirmButton"
                style: ActionButton.Prominent
                tint: Theme.danger
                text: sheet.screen.confirmLabel
                onClicked: sheet.screen.confirmRemove()
            }
        }
    }
}
