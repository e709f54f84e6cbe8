import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// One line of the Duplicates list: a set's header, or one copy in it with
// its tick box and picture.
Item {
    id: row

    required property DuplicatesScreen screen
    required property string key
    required property bool isHeader
    required property string path
    required property string name
    required property string countText
    required property string sizeText
    required property string folderText
    required property string folderToolTip
    required property string modifiedText
    required property bool isChecked
    required property bool isKeeper

    // The picture arrives after the row appears; until then an empty space of its size.
    property bool hasThumbnail: !isHeader && screen.hasThumbnail(path)

    implicitHeight: isHeader ? header.implicitHeight + Theme.spacingLarge : copy.implicitHeight + Theme.spacing

    Component.onCompleted: if (!isHeader) screen.loadThumbnail(path)
    Connections {
        target: row.screen
        enabled: !row.isHeader && !row.hasThumbnail
        function onThumbnailLoaded(loaded) {
            if (loaded === row.path)
                row.hasThumbnail = true
        }
    }

    RowLayout {
        id: header
        visible: row.isHeader
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.leftMargin: Theme.spacingLarge + Theme.spacingSmall
        anchors.rightMargin: Theme.spacingLarge + Theme.spacingMedium
        anchors.bottomMargin: Theme.spacingSmall
        spacing: Theme.spacingMedium

        Label {
            Layout.fillWidth: true
            text: row.name
            elide: Text.ElideMiddle
            maximumLineCount: 1
            font.pixelSize: Theme.headlineSize
            font.weight: Font.Bold
            color: Theme.text
        }
        Label {
            text: row.countText
            color: Theme.secondaryText
        }
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
        radius: Theme.radiusSmall
        color: mouse.containsMouse ? Theme.hover : "transparent"

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
                text: row.screen.revealLabel
                onTriggered: row.screen.reveal(row.path)
            }
        }

        RowLayout {
            id: copy
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            anchors.leftMargin: Theme.spacingSmall
            anchors.rightMargin: Theme.spacingMedium
            spacing: Theme.spacingMedium

            TickBox {
                checked: row.isChecked
                onToggled: row.screen.setSelected(row.path, checked)
                Accessible.name: row.name
            }
            Item {
                implicitWidth: 40
                implicitHeight: 40
                Image {
                    anchors.fill: parent
                    visible: row.hasThumbnail
                    source: row.hasThumbnail ? row.screen.thumbnailSource(row.path) : ""
                    sourceSize: Qt.size(80, 80)
                    fillMode: Image.PreserveAspectFit
                    asynchronous: false
                    cache: false
                }
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 1
                Label {
                    Layout.fillWidth: true
                    text: row.name
                    elide: Text.ElideMiddle
                    font.weight: row.isKeeper ? Font.DemiBold : Font.Normal
                    color: Theme.text
                }
                Label {
                    Layout.fillWidth: true
                    text: row.folderText
                    elide: Text.ElideMiddle
                    font.pixelSize: Theme.captionSize
                    color: Theme.secondaryText
                    ToolTip.visible: folderHover.hovered
                    ToolTip.text: row.folderToolTip
                    HoverHandler { id: folderHover }
                }
            }
            Label {
                text: row.modifiedText
                color: Theme.secondaryText
            }
        }
    }
}
