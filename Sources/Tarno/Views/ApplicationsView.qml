import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The Applications section: the installed apps with what each keeps, a table
// to pick from, and their removal after a sheet where single parts can be spared.
Item {
    id: view

    required property ApplicationsModel model
    // The section's title, symbol and hue, as the sidebar shows them.
    property string title
    property string symbol
    property color tint: Theme.accent

    // The link to the leftovers of deleted apps.
    signal cleanupRequested()

    ApplicationsScreen {
        id: applicationsScreen
        model: view.model
        onLeftoversRequested: view.cleanupRequested()
    }

    Component.onCompleted: applicationsScreen.appeared()

    Shortcut {
        sequence: "Ctrl+R"
        enabled: applicationsScreen.rescanEnabled
        onActivated: applicationsScreen.rescan()
    }
    Shortcut {
        sequences: ["Delete", "Ctrl+Backspace"]
        enabled: applicationsScreen.uninstallEnabled && !applicationsScreen.isConfirming
        onActivated: applicationsScreen.askToUninstall()
    }
    Shortcut {
        sequence: "Ctrl+A"
        enabled: applicationsScreen.content === ApplicationsScreen.List
        onActivated: applicationsScreen.selectAll()
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
                visible: view.width > 900
                text: applicationsScreen.orderLabel
                color: Theme.secondaryText
            }
            SegmentedPicker {
                objectName: "orderPicker"
                names: applicationsScreen.orderNames
                currentIndex: applicationsScreen.orderIndex
                toolTip: applicationsScreen.orderToolTip
                onActivated: index => applicationsScreen.orderIndex = index
            }
            ActionButton {
                objectName: "rescanButton"
                text: applicationsScreen.rescanLabel
                symbol: "arrow.clockwise"
                enabled: applicationsScreen.rescanEnabled
                onClicked: applicationsScreen.rescan()
                ToolTip.visible: hovered
                ToolTip.text: applicationsScreen.rescanLabel + " (Ctrl+R)"
            }
        }

        // Content
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            ColumnLayout {
                anchors.centerIn: parent
                visible: applicationsScreen.content === ApplicationsScreen.Progress
                spacing: Theme.spacingMedium
                Spinner {
                    Layout.alignment: Qt.AlignHCenter
                    size: 32
                    running: parent.visible
                }
                Label {
                    objectName: "progressText"
                    Layout.alignment: Qt.AlignHCenter
                    text: applicationsScreen.progressText
                    color: Theme.secondaryText
                }
            }

            ColumnLayout {
                anchors.centerIn: parent
                width: Math.min(parent.width - 2 * Theme.spacingLarge, 420)
                visible: applicationsScreen.content === ApplicationsScreen.Empty
                spacing: Theme.spacingMedium
                IconChip {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: applicationsScreen.emptySymbol
                    tint: view.tint
                    size: 64
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: applicationsScreen.emptyTitle
                    font.pixelSize: Theme.headlineSize + 3
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    text: applicationsScreen.emptyText
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                }
            }

            ColumnLayout {
                anchors.fill: parent
                visible: applicationsScreen.content === ApplicationsScreen.List
                spacing: Theme.spacingMedium

                Banner {
                    objectName: "summaryBanner"
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge
                    Layout.rightMargin: Theme.spacingLarge
                    visible: applicationsScreen.showsSummary
                    symbol: applicationsScreen.summarySymbol
                    tint: applicationsScreen.summaryHasFailures ? Theme.warning : Theme.positive
                    title: applicationsScreen.summaryTitle
                    detail: applicationsScreen.summaryDetail
                    actions: ActionButton {
                        style: ActionButton.Link
                        text: applicationsScreen.dismissLabel
                        onClicked: applicationsScreen.dismissSummary()
                    }

                    DisclosureList {
                        Layout.fillWidth: true
                        visible: applicationsScreen.summaryHasFailures
                        title: applicationsScreen.failuresTitle
                        lines: applicationsScreen.failureLines
                    }
                }

                Banner {
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge
                    Layout.rightMargin: Theme.spacingLarge
                    visible: applicationsScreen.showsAccessBanner
                    symbol: applicationsScreen.accessSymbol
                    tint: Theme.warning
                    title: applicationsScreen.accessTitle
                    detail: applicationsScreen.accessDetail
                }

                // Column titles; the widths are shared with the rows.
                RowLayout {
                    id: columns
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge + Theme.spacingMedium
                    Layout.rightMargin: Theme.spacingLarge + Theme.spacingMedium
                    spacing: Theme.spacingMedium
                    readonly property int sizeWidth: 100
                    readonly property int dateWidth: 130

                    Repeater {
                        model: applicationsScreen.columnTitles
                        delegate: Label {
                            required property int index
                            required property string modelData
                            Layout.fillWidth: index === 0
                            Layout.preferredWidth: index === 1 ? columns.sizeWidth
                                                 : index === 2 ? columns.dateWidth : -1
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
                    objectName: "applicationsTable"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    clip: true
                    model: applicationsScreen.rows
                    boundsBehavior: Flickable.StopAtBounds
                    ScrollBar.vertical: ScrollBar {}

                    delegate: Rectangle {
                        id: row
                        required property string key
                        required property string name
                        required property string version
                        required property string kindText
                        required property string iconSource
                        required property bool needsPassword
                        required property string passwordToolTip
                        required property bool isMeasured
                        required property string sizeText
                        required property string lastOpenedText
                        required property string lastOpenedToolTip
                        required property bool isSelected

                        width: table.width - 2 * Theme.spacingLarge
                        x: Theme.spacingLarge
                        implicitHeight: 40
                        radius: Theme.radiusSmall
                        color: isSelected ? Theme.selection : (rowMouse.containsMouse ? Theme.hover : "transparent")

                        MouseArea {
                            id: rowMouse
                            anchors.fill: parent
                            hoverEnabled: true
                            acceptedButtons: Qt.LeftButton | Qt.RightButton
                            onClicked: mouse => {
                                if (mouse.button === Qt.RightButton) {
                                    applicationsScreen.rightClick(row.key)
                                    contextMenu.popup()
                                } else {
                                    applicationsScreen.click(row.key, mouse.modifiers)
                                }
                            }
                            onDoubleClicked: applicationsScreen.revealSelection()
                        }

                        RowLayout {
                            anchors.fill: parent
                            anchors.leftMargin: Theme.spacingMedium
                            anchors.rightMargin: Theme.spacingMedium
                            spacing: Theme.spacingMedium

                            Image {
                                Layout.preferredWidth: 26
                                Layout.preferredHeight: 26
                                source: row.iconSource
                                sourceSize: Qt.size(52, 52)
                                asynchronous: true
                            }
                            Label {
                                text: row.name
                                elide: Text.ElideRight
                                Layout.maximumWidth: table.width * 0.4
                                font.weight: Font.Medium
                                color: Theme.text
                            }
                            Label {
                                visible: row.version.length > 0
                                text: row.version
                                font.pixelSize: Theme.captionSize
                                color: Theme.tertiaryText
                            }
                            Badge {
                                visible: row.kindText.length > 0
                                text: row.kindText
                                color: Theme.blue
                            }
                            SymbolIcon {
                                visible: row.needsPassword
                                symbol: "lock"
                                tint: Theme.secondaryText
                                size: 13
                                ToolTip.visible: lockHover.hovered
                                ToolTip.text: row.passwordToolTip
                                HoverHandler { id: lockHover }
                            }
                            Item { Layout.fillWidth: true }
                            Item {
                                Layout.preferredWidth: columns.sizeWidth
                                implicitHeight: sizeLabel.implicitHeight
                                Spinner {
                                    anchors.right: parent.right
                                    anchors.verticalCenter: parent.verticalCenter
                                    visible: !row.isMeasured
                                    running: visible
                                    size: 14
                                }
                                Label {
                                    id: sizeLabel
                                    anchors.right: parent.right
                                    visible: row.isMeasured
                                    text: row.sizeText
                                    font.weight: Font.DemiBold
                                    color: Theme.text
                                }
                            }
                            Label {
                                Layout.preferredWidth: columns.dateWidth
                                text: row.lastOpenedText
                                color: Theme.secondaryText
                                ToolTip.visible: dateHover.hovered && row.lastOpenedToolTip.length > 0
                                ToolTip.text: row.lastOpenedToolTip
                                HoverHandler { id: dateHover }
                            }
                        }
                    }

                    Menu {
                        id: contextMenu
                        MenuItem {
                            text: applicationsScreen.revealLabel
                            onTriggered: applicationsScreen.revealSelection()
                        }
                        MenuItem {
                            text: applicationsScreen.uninstallLabel
                            enabled: applicationsScreen.uninstallEnabled
                            onTriggered: applicationsScreen.askToUninstall()
                        }
                    }
                }
            }
        }

        ActionBar {
            Layout.fillWidth: true

            Spinner {
                visible: applicationsScreen.footerIsBusy
                running: visible
            }
            Label {
                objectName: "footerText"
                text: applicationsScreen.footerText
                elide: Text.ElideRight
                color: Theme.secondaryText
            }
            ActionButton {
                visible: applicationsScreen.showsLeftoversLink
                style: ActionButton.Link
                text: applicationsScreen.leftoversLabel
                onClicked: applicationsScreen.showLeftovers()
            }
            Item { Layout.fillWidth: true }
            Label {
                objectName: "selectedText"
                visible: applicationsScreen.selectedBytesText.length > 0
                text: applicationsScreen.selectedBytesText
                font.weight: Font.Bold
                color: Theme.text
            }
            ActionButton {
                objectName: "uninstallButton"
                style: ActionButton.Prominent
                text: applicationsScreen.uninstallLabel
                enabled: applicationsScreen.uninstallEnabled
                onClicked: applicationsScreen.askToUninstall()
            }
        }
    }

    ApplicationsConfirmation {
        screen: applicationsScreen
    }
}
