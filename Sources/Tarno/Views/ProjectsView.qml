import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The Projects section: build output and worktrees that can go, priced by
// what deleting them really frees.
Item {
    id: view

    required property ProjectsModel model
    // The section's title, symbol and hue, as the sidebar shows them.
    property string title
    property string symbol
    property color tint: Theme.accent

    ProjectsScreen {
        id: projectsScreen
        model: view.model
    }

    Shortcut {
        sequence: "Ctrl+R"
        enabled: projectsScreen.scanAgainEnabled
        onActivated: projectsScreen.scan()
    }
    Shortcut {
        sequence: "Escape"
        enabled: projectsScreen.content === ProjectsScreen.Progress
        onActivated: projectsScreen.stop()
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
                objectName: "scanAgainButton"
                text: projectsScreen.scanAgainLabel
                symbol: "arrow.clockwise"
                enabled: projectsScreen.scanAgainEnabled
                onClicked: projectsScreen.scan()
                ToolTip.visible: hovered
                ToolTip.text: projectsScreen.scanAgainLabel + " (Ctrl+R)"
            }
        }

        // Folder bar
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.spacingLarge
            Layout.rightMargin: Theme.spacingLarge
            Layout.bottomMargin: Theme.spacingMedium
            spacing: Theme.spacing

            Label {
                text: projectsScreen.rootsLabel
                font.weight: Font.DemiBold
                color: Theme.secondaryText
            }
            Label {
                id: rootsLabel
                objectName: "rootsText"
                Layout.fillWidth: true
                text: projectsScreen.rootsText
                elide: Text.ElideRight
                color: Theme.text
                ToolTip.visible: rootsHover.hovered && projectsScreen.rootsToolTip.length > 0
                ToolTip.text: projectsScreen.rootsToolTip
                HoverHandler { id: rootsHover }
            }
            ActionButton {
                objectName: "changeFoldersButton"
                text: projectsScreen.changeFoldersLabel
                enabled: projectsScreen.foldersEnabled
                onClicked: projectsScreen.changeFolders()
            }
            ActionButton {
                objectName: "foldersMenuButton"
                symbol: "ellipsis.circle"
                enabled: projectsScreen.foldersEnabled
                onClicked: foldersMenu.popup()
                Menu {
                    id: foldersMenu
                    MenuItem {
                        text: projectsScreen.usualFoldersLabel
                        onTriggered: projectsScreen.useUsualFolders()
                    }
                }
            }
        }

        // Content
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            ColumnLayout {
                anchors.centerIn: parent
                visible: projectsScreen.content === ProjectsScreen.Progress
                spacing: Theme.spacingMedium
                Spinner {
                    Layout.alignment: Qt.AlignHCenter
                    size: 32
                    running: parent.visible
                }
                Label {
                    objectName: "progressText"
                    Layout.alignment: Qt.AlignHCenter
                    text: projectsScreen.progressText
                    color: Theme.secondaryText
                }
                ActionButton {
                    objectName: "stopButton"
                    Layout.alignment: Qt.AlignHCenter
                    text: projectsScreen.stopLabel
                    onClicked: projectsScreen.stop()
                }
            }

            ColumnLayout {
                anchors.centerIn: parent
                width: Math.min(parent.width - 2 * Theme.spacingLarge, 460)
                visible: projectsScreen.content === ProjectsScreen.Empty
                spacing: Theme.spacingMedium
                IconChip {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: projectsScreen.emptySymbol
                    tint: view.tint
                    size: 64
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: projectsScreen.emptyTitle
                    font.pixelSize: Theme.headlineSize + 3
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                Label {
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    text: projectsScreen.emptyText
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                }
                ActionButton {
                    objectName: "scanProjectsButton"
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: Theme.spacing
                    style: ActionButton.Prominent
                    text: projectsScreen.scanLabel
                    onClicked: projectsScreen.scan()
                }
            }

            ListView {
                id: list
                objectName: "projectsList"
                anchors.fill: parent
                visible: projectsScreen.content === ProjectsScreen.List
                clip: true
                model: projectsScreen.rows
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
                        visible: projectsScreen.showsSummary
                        symbol: projectsScreen.summarySymbol
                        tint: projectsScreen.summaryHasFailures ? Theme.warning : Theme.positive
                        title: projectsScreen.summaryTitle
                        detail: projectsScreen.summaryDetail
                        actions: ActionButton {
                            style: ActionButton.Link
                            text: projectsScreen.dismissLabel
                            onClicked: projectsScreen.dismissSummary()
                        }
                    }

                    Banner {
                        Layout.fillWidth: true
                        Layout.leftMargin: Theme.spacingLarge
                        Layout.rightMargin: Theme.spacingLarge
                        visible: projectsScreen.showsNote
                        symbol: "info.circle"
                        tint: Theme.blue
                        title: projectsScreen.noteTitle
                        detail: projectsScreen.noteText
                    }

                    Item { implicitHeight: 0 }
                }

                footer: Item { width: list.width; height: Theme.spacingLarge }

                delegate: ProjectsRowView {
                    width: list.width
                    screen: projectsScreen
                }
            }
        }

        ActionBar {
            Layout.fillWidth: true
            visible: projectsScreen.showsFooter

            Spinner {
                visible: projectsScreen.footerIsBusy
            }
            Label {
                objectName: "footerText"
                Layout.fillWidth: true
                text: projectsScreen.footerText
                elide: Text.ElideRight
                color: Theme.secondaryText
            }
            Label {
                visible: projectsScreen.selectedBytesText.length > 0
                text: projectsScreen.selectedBytesText
                font.weight: Font.Bold
                color: Theme.text
            }
            ActionButton {
                objectName: "removeButton"
                style: ActionButton.Prominent
                text: projectsScreen.removeLabel
                enabled: projectsScreen.removeEnabled
                onClicked: projectsScreen.askToRemove()
            }
        }
    }

    ProjectsConfirmation {
        screen: projectsScreen
        model: view.model
    }
}
