import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The Performance section: how memory is used, then what uses memory and
// processor, the developer tools that are running, or what starts by itself.
Item {
    id: view

    required property PerformanceModel model
    // The chosen tab's number, as the application model keeps it.
    property int tab: 0
    property string title
    property string symbol
    property color tint: Theme.accent

    signal tabChosen(int index)

    PerformanceScreen {
        id: performanceScreen
        model: view.model
    }

    Component.onCompleted: {
        performanceScreen.appeared()
        if (view.tab === 2)
            performanceScreen.startupShown()
    }
    Component.onDestruction: performanceScreen.disappeared()
    onTabChanged: if (view.tab === 2) performanceScreen.startupShown()

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
            SegmentedPicker {
                objectName: "tabPicker"
                names: performanceScreen.tabNames
                currentIndex: view.tab
                toolTip: performanceScreen.viewLabel
                onActivated: index => view.tabChosen(index)
            }
        }

        // The memory card
        Rectangle {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.spacingLarge
            Layout.rightMargin: Theme.spacingLarge
            implicitHeight: memoryColumn.implicitHeight + 2 * Theme.spacingMedium
            radius: Theme.radius
            color: Theme.surface
            border.color: Theme.separator

            Spinner {
                anchors.centerIn: parent
                visible: !performanceScreen.hasMemory
                running: visible
                size: 18
            }
            ColumnLayout {
                id: memoryColumn
                visible: performanceScreen.hasMemory
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.top: parent.top
                anchors.margins: Theme.spacingMedium
                spacing: Theme.spacing

                Label {
                    objectName: "memoryText"
                    text: performanceScreen.memoryText
                    color: Theme.secondaryText
                }
                SegmentedBar {
                    Layout.fillWidth: true
                    accessibleText: performanceScreen.memoryAccessibleText
                    segments: performanceScreen.memorySegments.map(segment => ({
                        id: segment.id, fraction: segment.fraction, color: Theme.tone(segment.tint) }))
                }
                Flow {
                    Layout.fillWidth: true
                    spacing: Theme.spacingLarge
                    Repeater {
                        model: performanceScreen.memorySegments
                        delegate: Row {
                            required property var modelData
                            spacing: Theme.spacingSmall + 2
                            Rectangle {
                                anchors.verticalCenter: parent.verticalCenter
                                width: 10
                                height: 10
                                radius: 3
                                color: Theme.tone(modelData.tint)
                            }
                            Label {
                                text: modelData.legend + "  " + modelData.bytesText
                                font.pixelSize: Theme.captionSize
                                color: Theme.secondaryText
                            }
                        }
                    }
                }
                Label {
                    objectName: "advice"
                    Layout.fillWidth: true
                    text: performanceScreen.advice
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                }
            }
        }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.topMargin: Theme.spacingMedium
            currentIndex: view.tab

            // Apps
            ColumnLayout {
                spacing: Theme.spacing
                RowLayout {
                    id: processColumns
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge + Theme.spacingMedium
                    Layout.rightMargin: Theme.spacingLarge + Theme.spacingMedium
                    spacing: Theme.spacingMedium
                    readonly property int memoryWidth: 190
                    readonly property int cpuWidth: 60
                    readonly property int quitWidth: 70
                    Repeater {
                        model: performanceScreen.processColumns
                        delegate: Label {
                            required property int index
                            required property string modelData
                            Layout.fillWidth: index === 0
                            Layout.preferredWidth: index === 1 ? processColumns.memoryWidth
                                                 : index === 2 ? processColumns.cpuWidth : -1
                            horizontalAlignment: index === 0 ? Text.AlignLeft : Text.AlignRight
                            text: modelData
                            font.pixelSize: Theme.captionSize
                            font.weight: Font.DemiBold
                            color: Theme.tertiaryText
                        }
                    }
                    Item { Layout.preferredWidth: processColumns.quitWidth }
                }
                ListView {
                    objectName: "processList"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    clip: true
                    model: performanceScreen.processRows
                    boundsBehavior: Flickable.StopAtBounds
                    ScrollBar.vertical: ScrollBar {}
                    delegate: Rectangle {
                        id: processRow
                        required property string key
                        required property string name
                        required property string subtitle
                        required property bool isSystem
                        required property string memoryText
                        required property double fraction
                        required property string cpuText
                        required property bool canQuit
                        required property string helpText
                        required property string quitMenuLabel
                        required property string iconSource

                        width: ListView.view.width - 2 * Theme.spacingLarge
                        x: Theme.spacingLarge
                        implicitHeight: 44
                        radius: Theme.radiusSmall
                        color: rowHover.hovered ? Theme.hover : "transparent"
                        HoverHandler { id: rowHover }
                        ToolTip.visible: rowHover.hovered
                        ToolTip.delay: 800
                        ToolTip.text: helpText

                        TapHandler {
                            acceptedButtons: Qt.RightButton
                            enabled: processRow.canQuit
                            onTapped: processMenu.popup()
                        }
                        Menu {
                            id: processMenu
                            MenuItem {
                                text: processRow.quitMenuLabel
                                onTriggered: performanceScreen.askToQuit(processRow.key)
                            }
                        }

                        RowLayout {
                            anchors.fill: parent
                            anchors.leftMargin: Theme.spacingMedium
                            anchors.rightMargin: Theme.spacingMedium
                            spacing: Theme.spacingMedium
                            Item {
                                implicitWidth: 22
                                implicitHeight: 22
                                Image {
                                    anchors.fill: parent
                                    visible: processRow.iconSource.length > 0
                                    source: processRow.iconSource
                                    sourceSize: Qt.size(44, 44)
                                    asynchronous: true
                                }
                                SymbolIcon {
                                    anchors.centerIn: parent
                                    visible: processRow.iconSource.length === 0
                                    symbol: "gearshape.fill"
                                    tint: Theme.secondaryText
                                    size: 18
                                }
                            }
                            ColumnLayout {
                                Layout.fillWidth: true
                                spacing: 0
                                Label {
                                    Layout.fillWidth: true
                                    text: processRow.name
                                    elide: Text.ElideRight
                                    color: processRow.isSystem ? Theme.secondaryText : Theme.text
                                }
                                Label {
                                    text: processRow.subtitle
                                    font.pixelSize: Theme.captionSize
                                    color: Theme.tertiaryText
                                }
                            }
                            RowLayout {
                                Layout.preferredWidth: processColumns.memoryWidth
                                Layout.maximumWidth: processColumns.memoryWidth
                                Layout.minimumWidth: processColumns.memoryWidth
                                spacing: Theme.spacing
                                MeterBar {
                                    Layout.fillWidth: true
                                    fraction: processRow.fraction
                                }
                                Label {
                                    Layout.preferredWidth: 72
                                    horizontalAlignment: Text.AlignRight
                                    text: processRow.memoryText
                                    font.weight: Font.DemiBold
                                    color: Theme.text
                                }
                            }
                            Label {
                                Layout.preferredWidth: processColumns.cpuWidth
                                horizontalAlignment: Text.AlignRight
                                text: processRow.cpuText
                                color: Theme.secondaryText
                            }
                            Item {
                                Layout.preferredWidth: processColumns.quitWidth
                                implicitHeight: quitButton.implicitHeight
                                ActionButton {
                                    id: quitButton
                                    anchors.right: parent.right
                                    visible: processRow.canQuit
                                    text: performanceScreen.quitLabel
                                    onClicked: performanceScreen.askToQuit(processRow.key)
                                    Accessible.name: performanceScreen.quitLabel + " " + processRow.name
                                }
                            }
                        }
                    }
                }
            }

            // Developer tools
            Item {
                ColumnLayout {
                    anchors.centerIn: parent
                    width: Math.min(parent.width - 2 * Theme.spacingLarge, 440)
                    visible: !performanceScreen.hasTools
                    spacing: Theme.spacingMedium
                    IconChip {
                        Layout.alignment: Qt.AlignHCenter
                        symbol: performanceScreen.toolsEmptySymbol
                        tint: view.tint
                        size: 56
                    }
                    Label {
                        Layout.alignment: Qt.AlignHCenter
                        text: performanceScreen.toolsEmptyTitle
                        font.pixelSize: Theme.headlineSize + 2
                        font.weight: Font.DemiBold
                        color: Theme.text
                    }
                    Label {
                        Layout.fillWidth: true
                        horizontalAlignment: Text.AlignHCenter
                        text: performanceScreen.toolsEmptyText
                        wrapMode: Text.Wrap
                        color: Theme.secondaryText
                    }
                }
                ColumnLayout {
                    anchors.fill: parent
                    visible: performanceScreen.hasTools
                    spacing: Theme.spacing
                    RowLayout {
                        Layout.fillWidth: true
                        Layout.leftMargin: Theme.spacingLarge
                        Layout.rightMargin: Theme.spacingLarge
                        spacing: Theme.spacingMedium
                        Label {
                            Layout.fillWidth: true
                            text: performanceScreen.toolsLine
                            elide: Text.ElideRight
                            color: Theme.secondaryText
                        }
                        Label {
                            objectName: "toolsTotal"
                            text: performanceScreen.toolsTotal
                            font.weight: Font.DemiBold
                            color: Theme.text
                        }
                        ActionButton {
                            objectName: "stopIdleButton"
                            text: performanceScreen.stopIdleLabel
                            enabled: performanceScreen.stopIdleEnabled
                            onClicked: performanceScreen.stopIdleBuildDaemons()
                            ToolTip.visible: hovered
                            ToolTip.text: performanceScreen.stopIdleHelp
                        }
                    }
                    ListView {
                        objectName: "toolList"
                        Layout.fillWidth: true
                        Layout.fillHeight: true
                        clip: true
                        spacing: Theme.spacingSmall
                        model: performanceScreen.toolRows
                        boundsBehavior: Flickable.StopAtBounds
                        ScrollBar.vertical: ScrollBar {}
                        delegate: Rectangle {
                            id: toolRow
                            required property string key
                            required property string title
                            required property string symbol
                            required property string tint
                            required property string badgeText
                            required property string badgeTint
                            required property string badgeHelp
                            required property string startedText
                            required property string detailText
                            required property string memoryText
                            required property string cpuText

                            width: ListView.view.width - 2 * Theme.spacingLarge
                            x: Theme.spacingLarge
                            implicitHeight: toolLayout.implicitHeight + 2 * Theme.spacingMedium
                            radius: Theme.radius
                            color: Theme.surface
                            border.color: Theme.separator

                            RowLayout {
                                id: toolLayout
                                anchors.fill: parent
                                anchors.margins: Theme.spacingMedium
                                spacing: Theme.spacingMedium
                                IconChip {
                                    Layout.alignment: Qt.AlignTop
                                    symbol: toolRow.symbol
                                    tint: Theme.tone(toolRow.tint)
                                    size: 30
                                }
                                ColumnLayout {
                                    Layout.fillWidth: true
                                    spacing: 2
                                    RowLayout {
                                        spacing: Theme.spacing
                                        Label {
                                            text: toolRow.title
                                            font.weight: Font.DemiBold
                                            color: Theme.text
                                        }
                                        Badge {
                                            visible: toolRow.badgeText.length > 0
                                            text: toolRow.badgeText
                                            color: Theme.tone(toolRow.badgeTint)
                                            ToolTip.visible: badgeHover.hovered
                                            ToolTip.text: toolRow.badgeHelp
                                            HoverHandler { id: badgeHover }
                                        }
                                        Label {
                                            visible: toolRow.startedText.length > 0
                                            text: toolRow.startedText
                                            font.pixelSize: Theme.captionSize
                                            color: Theme.tertiaryText
                                        }
                                    }
                                    Label {
                                        Layout.fillWidth: true
                                        text: toolRow.detailText
                                        wrapMode: Text.Wrap
                                        font.pixelSize: Theme.bodySize - 1
                                        color: Theme.secondaryText
                                    }
                                }
                                Label {
                                    text: toolRow.memoryText
                                    font.weight: Font.DemiBold
                                    color: Theme.text
                                }
                                Label {
                                    Layout.preferredWidth: 70
                                    horizontalAlignment: Text.AlignRight
                                    text: toolRow.cpuText
                                    color: Theme.secondaryText
                                }
                                ActionButton {
                                    text: performanceScreen.stopLabel
                                    onClicked: performanceScreen.askToStop(toolRow.key)
                                    Accessible.name: performanceScreen.stopLabel + " " + toolRow.title
                                }
                            }
                        }
                    }
                }
            }

            // Startup
            ColumnLayout {
                spacing: Theme.spacing
                Label {
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.spacingLarge
                    Layout.rightMargin: Theme.spacingLarge
                    text: performanceScreen.startupLine
                    wrapMode: Text.Wrap
                    color: Theme.secondaryText
                }
                ListView {
                    objectName: "startupList"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    clip: true
                    model: performanceScreen.startupRows
                    boundsBehavior: Flickable.StopAtBounds
                    ScrollBar.vertical: ScrollBar {}
                    section.property: "section"
                    section.delegate: Label {
                        required property string section
                        x: Theme.spacingLarge
                        topPadding: Theme.spacingMedium
                        bottomPadding: Theme.spacingSmall
                        text: section
                        font.pixelSize: Theme.captionSize
                        font.weight: Font.DemiBold
                        color: Theme.tertiaryText
                    }
                    delegate: Rectangle {
                        id: startupRow
                        required property string key
                        required property string label
                        required property bool programMissing
                        required property bool isLeftover
                        required property string programText
                        required property string startsText

                        width: ListView.view.width - 2 * Theme.spacingLarge
                        x: Theme.spacingLarge
                        implicitHeight: 48
                        radius: Theme.radiusSmall
                        color: startupHover.hovered ? Theme.hover : "transparent"
                        HoverHandler { id: startupHover }

                        RowLayout {
                            anchors.fill: parent
                            anchors.leftMargin: Theme.spacingMedium
                            anchors.rightMargin: Theme.spacingMedium
                            spacing: Theme.spacingMedium
                            IconChip {
                                symbol: startupRow.isLeftover ? "exclamationmark.triangle.fill" : "power"
                                tint: startupRow.isLeftover ? Theme.warning : Theme.tone("gray")
                                size: 26
                            }
                            ColumnLayout {
                                Layout.fillWidth: true
                                spacing: 0
                                RowLayout {
                                    spacing: Theme.spacing
                                    Label {
                                        text: startupRow.label
                                        elide: Text.ElideRight
                                        color: Theme.text
                                    }
                                    Badge {
                                        visible: startupRow.programMissing
                                        text: performanceScreen.leftoverBadge
                                        color: Theme.warning
                                    }
                                }
                                Label {
                                    Layout.fillWidth: true
                                    text: startupRow.programText + "  ·  " + startupRow.startsText
                                    elide: Text.ElideMiddle
                                    font.pixelSize: Theme.captionSize
                                    color: Theme.secondaryText
                                }
                            }
                            ActionButton {
                                visible: startupRow.isLeftover
                                style: ActionButton.Link
                                text: performanceScreen.removeLabel
                                onClicked: performanceScreen.askToRemove(startupRow.key)
                            }
                            ActionButton {
                                style: ActionButton.Link
                                text: performanceScreen.revealLabel
                                onClicked: performanceScreen.reveal(startupRow.key)
                            }
                        }
                    }
                }
            }
        }
    }

    // The question before quitting, stopping or removing.
    Popup {
        id: question
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: Math.min(460, parent ? parent.width - 80 : 460)
        modal: true
        focus: true
        padding: Theme.spacingLarge
        closePolicy: Popup.CloseOnEscape
        visible: performanceScreen.isAsking
        onClosed: if (performanceScreen.isAsking) performanceScreen.cancel()
        Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, Theme.dark ? 0.5 : 0.3) }
        background: Rectangle {
            radius: Theme.radiusLarge
            color: Theme.surface
            border.color: Theme.separator
        }
        contentItem: ColumnLayout {
            spacing: Theme.spacingMedium
            Label {
                objectName: "questionTitle"
                Layout.fillWidth: true
                text: performanceScreen.questionTitle
                wrapMode: Text.Wrap
                font.pixelSize: Theme.headlineSize + 2
                font.weight: Font.Bold
                color: Theme.text
            }
            Label {
                Layout.fillWidth: true
                text: performanceScreen.questionText
                wrapMode: Text.Wrap
                color: Theme.secondaryText
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.spacing
                Item { Layout.fillWidth: true }
                ActionButton {
                    text: performanceScreen.cancelLabel
                    onClicked: performanceScreen.cancel()
                }
                ActionButton {
                    visible: performanceScreen.question === PerformanceScreen.Quit
                    tint: Theme.danger
                    text: performanceScreen.forceQuitLabel
                    onClicked: performanceScreen.confirm(true)
                }
                ActionButton {
                    style: ActionButton.Prominent
                    tint: Theme.danger
                    text: performanceScreen.confirmLabel
                    onClicked: performanceScreen.confirm(false)
                }
            }
        }
    }

    // A removal that failed.
    Popup {
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: Math.min(420, parent ? parent.width - 80 : 420)
        modal: true
        padding: Theme.spacingLarge
        closePolicy: Popup.CloseOnEscape
        visible: performanceScreen.hasProblem
        onClosed: if (performanceScreen.hasProblem) performanceScreen.dismissProblem()
        background: Rectangle {
            radius: Theme.radiusLarge
            color: Theme.surface
            border.color: Theme.separator
        }
        contentItem: ColumnLayout {
            spacing: Theme.spacingMedium
            Label {
                text: performanceScreen.problemTitle
                font.pixelSize: Theme.headlineSize + 2
                font.weight: Font.Bold
                color: Theme.text
            }
            Label {
                Layout.fillWidth: true
                text: performanceScreen.problemText
                wrapMode: Text.Wrap
                color: Theme.secondaryText
            }
            ActionButton {
                Layout.alignment: Qt.AlignRight
                style: ActionButton.Prominent
                text: "OK"
                onClicked: performanceScreen.dismissProblem()
            }
        }
    }
}
