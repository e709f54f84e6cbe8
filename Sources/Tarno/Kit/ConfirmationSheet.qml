import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A question before something irreversible or costly: a title, what it
// means, and a cancel and a (destructive) confirm button. It follows `shown`;
// Escape, or anything else that closes it, is a cancel.
Popup {
    id: sheet

    property bool shown: false
    property string title
    property string message
    property string cancelLabel: "Cancel"
    property string confirmLabel
    property bool destructive: true

    signal confirmed()
    signal cancelled()

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(480, parent ? parent.width - 80 : 480)
    modal: true
    focus: true
    padding: Theme.spacingLarge
    closePolicy: Popup.CloseOnEscape
    onClosed: if (shown) cancelled()

    onShownChanged: shown ? open() : close()
    Component.onCompleted: if (shown) open()

    Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, Theme.dark ? 0.5 : 0.3) }

    background: Rectangle {
        radius: Theme.radiusLarge
        color: Theme.surface
        border.color: Theme.separator
    }

    contentItem: ColumnLayout {
        spacing: Theme.spacingMedium

        Label {
            objectName: "confirmationTitle"
            Layout.fillWidth: true
            text: sheet.title
            wrapMode: Text.Wrap
            font.pixelSize: Theme.headlineSize + 2
            font.weight: Font.Bold
            color: Theme.text
        }
        Label {
            objectName: "confirmationMessage"
            Layout.fillWidth: true
            text: sheet.message
            wrapMode: Text.Wrap
            color: Theme.secondaryText
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing
            spacing: Theme.spacing
            Item { Layout.fillWidth: true }
            ActionButton {
                objectName: "cancelButton"
                text: sheet.cancelLabel
                onClicked: sheet.cancelled()
            }
            ActionButton {
                objectName: "confirmButton"
                style: ActionButton.Prominent
                tint: sheet.destructive ? Theme.danger : Theme.accent
                text: sheet.confirmLabel
                onClicked: sheet.confirmed()
            }
        }
    }
}
