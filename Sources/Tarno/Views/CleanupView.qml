import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The Cleanup section: what can go, measured, picked and cleaned.
Item {
    id: view

    required property CleanupModel model
    // The section's title, symbol and hue, as the sidebar shows them.
    property string title
    property string symbol
    property color tint: Theme.accent

    CleanupScreen {
        id: cleanupScreen
        model: view.model
    }

    Component.onCompleted: cleanupScreen.appeared()

    Shortcut {
        sequence: "Ctrl+R"
        enabled: cleanupScreen.rescanEnabled
        onActivated: cleanupScreen.rescan()
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
                Layout.fillWidth: true
                text: view.title
                font.pixelSize: Theme.titleSize
                font.weight: Font.Bold
                color: Theme.text
            }
            ActionButton {
                objectName: "rescanButton"
                text: cleanupScreen.rescanLabel
                symbol: "arrow.clockwise"
                enabled: cleanupScreen.rescanEnabled
                onClicked: cleanupScreen.rescan()
                ToolTip.visible: hovered
                ToolTip.text: cleanupScreen.rescanLabel + " (Ctrl+R)"
            }
        }

        // Content
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            ColumnLayout {
                anchors.centerIn: parent
                visible: cleanupScreen.content === CleanupScreen.Spinner
                spacing: Theme.spacingMedium
                Spinner {
                    Layout.alignment: Qt.AlignHCenter
                    size: 32
                    running: parent.visible
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: cleanupScreen.stateText
                    color: Theme.secondaryText
                }
            }

            ColumnLayout {
                anchors.centerIn: parent
                visible: cleanupScreen.content === CleanupScreen.Empty
                spacing: Theme.spacingMedium
                IconChip {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: cleanupScreen.stateSymbol
                    tint: Theme.positive
                    size: 64
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: cleanupScreen.stateTitle
                    font.pixelSize: Theme.headlineSize + 3
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: cleanupScreen.stateText
                    color: Theme.secondaryText
                }
            }

            ListView {
                id: list
                objectName: "cleanupList"
                anchors.fill: parent
                visible: cleanupScreen.content === CleanupScreen.List
                clip: true
                model: cleanupScreen.rows
                spacing: 0
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}

                header: ColumnLayout {
                    width: list.width
                    spacing: Theme.spacingMedium
                    // A banner that comes or goes is news: show it.
                    onImplicitHeightChanged: Qt.callLater(list.positionViewAtBeginning)

                    Banner {
                        Layout.fillWidth: true
                        Layout.leftMargin: Theme.spacingLarge
                        Layout.rightMargin: Theme.spacingLarge
                        visible: cleanupScreen.showsSummary
                        symbol: cleanupScreen.summarySymbol
                        tint: cleanupScreen.summaryHasFailures ? Theme.warning : Theme.positive
                        title: cleanupScreen.summaryTitle
                        detail: cleanupScreen.summaryDetail
                        actions: ActionButton {
                            style: ActionButton.Link
                            text: cleanupScreen.dismissLabel
                            onClicked: cleanupScreen.dismissSummary()
                        }

                        DisclosureList {
                            Layout.fillWidth: true
                            visible: cleanupScreen.summaryHasFailures
                            title: cleanupScreen.failuresTitle
                            lines: cleanupScreen.failureLines
                        }
                    }

                    Banner {
                        Layout.fillWidth: true
                        Layout.leftMargin: Theme.spacingLarge
                        Layout.rightMargin: Theme.spacingLarge
                        visible: cleanupScreen.showsFullDiskAccessBanner
                        symbol: "eye.slash"
                        tint: Theme.warning
                        title: cleanupScreen.fullDiskAccessTitle
                        detail: cleanupScreen.fullDiskAccessDetail
                    }

                    Banner {
                        Layout.fillWidth: true
                        Layout.leftMargin: Theme.spacingLarge
                        Layout.rightMargin: Theme.spacingLarge
                        visible: cleanupScreen.showsDockerBanner
                        symbol: "shippingbox"
                        tint: Theme.blue
                        title: cleanupScreen.dockerTitle
                        detail: cleanupScreen.dockerDetail
                        actions: ActionButton {
                            visible: cleanupScreen.openDockerLabel.length > 0
                            text: cleanupScreen.openDockerLabel
                            onClicked: cleanupScreen.openDocker()
                        }
                    }

                    Item { implicitHeight: Theme.spacingSmall }
                }

                footer: Item { width: list.width; height: Theme.spacingLarge }

                delegate: CleanupRowView {
                    width: list.width
                    screen: cleanupScreen
                }
            }
        }

        ActionBar {
            Layout.fillWidth: true

            Spinner {
                visible: cleanupScreen.footerIsBusy
            }
            Label {
                objectName: "footerText"
                Layout.fillWidth: true
                text: cleanupScreen.footerText
                elide: Text.ElideRight
                color: Theme.secondaryText
            }
            Label {
                visible: cleanupScreen.selectedBytesText.length > 0
                text: cleanupScreen.selectedBytesText
                font.weight: Font.DemiBold
                color: Theme.text
            }
            ActionButton {
                objectName: "cleanButton"
                style: ActionButton.Prominent
                text: cleanupScreen.cleanLabel
                enabled: cleanupScreen.cleanEnabled
                onClicked: cleanupScreen.askToClean()
            }
        }
    }

    CleanConfirmation {
        screen: cleanupScreen
        model: view.model
    }
}
