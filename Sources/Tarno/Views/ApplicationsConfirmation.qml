import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The sheet before apps are uninstalled: each app with every part it keeps,
// the one place where single parts can be spared.
Popup {
    id: sheet

    required property ApplicationsScreen screen

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(580, parent ? parent.width - 80 : 580)
    height: Math.min(implicitHeight, parent ? parent.height - 80 : implicitHeight)
    modal: true
    focus: true
    padding: Theme.spacingLarge
    closePolicy: Popup.CloseOnEscape
    // Escape, or anything else that closes the sheet, is a cancel.
    onClosed: screen.cancelUninstall()

    Component.onCompleted: if (screen.isConfirming) open()
    Connections {
        target: sheet.screen
        function onChanged() {
            if (sheet.screen.isConfirming && !sheet.opened)
                sheet.open()
            else if (!sheet.screen.isConfirming && sheet.opened)
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
            objectName: "confirmationTitle"
            Layout.fillWidth: true
            text: sheet.screen.confirmationTitle
            wrapMode: Text.Wrap
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
        RowLayout {
            Layout.fillWidth: true
            visible: sheet.screen.passwordNote.length > 0
            spacing: Theme.spacing
            SymbolIcon {
                Layout.alignment: Qt.AlignTop
                symbol: "lock"
                tint: Theme.secondaryText
                size: 14
            }
            Label {
                Layout.fillWidth: true
                text: sheet.screen.passwordNote
                wrapMode: Text.Wrap
                color: Theme.secondaryText
            }
        }

        ListView {
            objectName: "confirmationParts"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.preferredHeight: Math.min(contentHeight, 320)
            clip: true
            model: sheet.screen.confirmationItems
            spacing: 2
            ScrollBar.vertical: ScrollBar {}
            delegate: Loader {
                required property var modelData
                width: ListView.view.width
                sourceComponent: modelData.isHeader ? appHeader : partRow

                Component {
                    id: appHeader
                    RowLayout {
                        spacing: Theme.spacing
                        Image {
                            Layout.topMargin: Theme.spacing
                            Layout.preferredWidth: 22
                            Layout.preferredHeight: 22
                            source: modelData.iconSource
                            sourceSize: Qt.size(44, 44)
                        }
                        Label {
                            Layout.topMargin: Theme.spacing
                            Layout.fillWidth: true
                            text: modelData.name
                            font.weight: Font.DemiBold
                            color: Theme.text
                        }
                    }
                }
                Component {
                    id: partRow
                    RowLayout {
                        spacing: Theme.spacing
                        TickBox {
                            Layout.leftMargin: 30
                            checked: modelData.ticked
                            enabled: !modelData.isApp
                            onToggled: sheet.screen.setPartKept(modelData.path, !checked)
                        }
                        Label {
                            Layout.fillWidth: true
                            text: modelData.label
                            elide: Text.ElideMiddle
                            color: Theme.text
                            ToolTip.visible: partHover.hovered
                            ToolTip.text: modelData.toolTip
                            HoverHandler { id: partHover }
                        }
                        Label {
                            text: modelData.sizeText
                            color: Theme.secondaryText
                        }
                    }
                }
            }
        }

        Label {
            Layout.fillWidth: true
            text: sheet.screen.trashNote
            wrapMode: Text.Wrap
            font.pixelSize: Theme.captionSize
            color: Theme.tertiaryText
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing
            spacing: Theme.spacing
            Item { Layout.fillWidth: true }
            ActionButton {
                objectName: "cancelButton"
                text: sheet.screen.cancelLabel
                onClicked: sheet.screen.cancelUninstall()
            }
            ActionButton {
                objectName: "confirmButton"
                style: ActionButton.Prominent
                tint: Theme.danger
                text: sheet.screen.confirmLabel
                onClicked: sheet.screen.confirmUninstall()
            }
        }
    }
}
