import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarno

// The main window's content: the sections in a sidebar, the selected one's screen beside it.
Item {
    id: content

    required property AppModel model

    SidebarModel {
        id: sections
    }

    // Ctrl+1 … Ctrl+7 select the sections in sidebar order.
    Repeater {
        model: sections
        delegate: Item {
            required property int index
            Shortcut {
                sequence: "Ctrl+" + (index + 1)
                onActivated: content.model.section = index
            }
        }
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        Rectangle {
            Layout.fillHeight: true
            Layout.preferredWidth: 236
            color: Theme.sidebar

            ColumnLayout {
                anchors.fill: parent
                anchors.margins: Theme.spacingMedium
                spacing: Theme.spacingSmall

                RowLayout {
                    Layout.leftMargin: Theme.spacing
                    Layout.topMargin: Theme.spacing
                    Layout.bottomMargin: Theme.spacingLarge
                    spacing: Theme.spacingMedium

                    Rectangle {
                        implicitWidth: 30
                        implicitHeight: 30
                        radius: 9
                        gradient: Gradient {
                            orientation: Gradient.Horizontal
                            GradientStop { position: 0.0; color: Theme.blue }
                            GradientStop { position: 1.0; color: Theme.violet }
                        }
                        SymbolIcon {
                            anchors.centerIn: parent
                            symbol: "sparkles"
                            tint: "white"
                            size: 16
                        }
                    }
                    Label {
                        text: "Tarno"
                        font.pixelSize: 18
                        font.weight: Font.Bold
                        color: Theme.text
                    }
                }

                Label {
                    Layout.leftMargin: Theme.spacing
                    Layout.bottomMargin: Theme.spacingSmall
                    text: "SECTIONS"
                    font.pixelSize: Theme.captionSize
                    font.weight: Font.DemiBold
                    font.letterSpacing: 0.6
                    color: Theme.tertiaryText
                }

                ListView {
                    id: sidebar
                    objectName: "sidebar"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    model: sections
                    spacing: 2
                    interactive: false
                    focus: true
                    keyNavigationEnabled: true
                    highlightFollowsCurrentItem: false
                    currentIndex: content.model.section
                    // Keyboard moves change the current row; the model follows it.
                    onCurrentIndexChanged: {
                        if (currentIndex >= 0 && currentIndex !== content.model.section)
                            content.model.section = currentIndex
                    }

                    delegate: SidebarRow {
                        required property int index
                        required property string title
                        required symbol

                        width: ListView.view.width
                        text: title
                        tint: Theme.sectionTint(index)
                        selected: ListView.isCurrentItem
                        onClicked: content.model.section = index
                    }
                }
            }
        }

        Rectangle {
            Layout.fillHeight: true
            implicitWidth: 1
            color: Theme.separator
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: Theme.background

            Loader {
                anchors.fill: parent
                sourceComponent: {
                    switch (sections.rawValue(content.model.shownSection)) {
                    case "cleanup": return cleanupScreen
                    case "projects": return projectsScreen
                    case "largeFiles": return largeFilesScreen
                    case "duplicates": return duplicatesScreen
                    case "applications": return applicationsScreen
                    case "performance": return performanceScreen
                    default: return titleScreen
                    }
                }
            }
            Component {
                id: cleanupScreen
                CleanupView {
                    model: content.model.cleanup
                    title: sections.title(content.model.shownSection)
                    symbol: sections.symbol(content.model.shownSection)
                    tint: Theme.sectionTint(content.model.shownSection)
                }
            }
            Component {
                id: projectsScreen
                ProjectsView {
                    model: content.model.projects
                    title: sections.title(content.model.shownSection)
                    symbol: sections.symbol(content.model.shownSection)
                    tint: Theme.sectionTint(content.model.shownSection)
                }
            }
            Component {
                id: largeFilesScreen
                LargeFilesView {
                    model: content.model.largeFiles
                    title: sections.title(content.model.shownSection)
                    symbol: sections.symbol(content.model.shownSection)
                    tint: Theme.sectionTint(content.model.shownSection)
                }
            }
            Component {
                id: duplicatesScreen
                DuplicatesView {
                    model: content.model.duplicates
                    title: sections.title(content.model.shownSection)
                    symbol: sections.symbol(content.model.shownSection)
                    tint: Theme.sectionTint(content.model.shownSection)
                }
            }
            Component {
                id: applicationsScreen
                ApplicationsView {
                    model: content.model.applications
                    title: sections.title(content.model.shownSection)
                    symbol: sections.symbol(content.model.shownSection)
                    tint: Theme.sectionTint(content.model.shownSection)
                    onCleanupRequested: content.model.section = sections.number("cleanup")
                }
            }
            Component {
                id: performanceScreen
                PerformanceView {
                    model: content.model.performance
                    tab: content.model.performanceTab
                    title: sections.title(content.model.shownSection)
                    symbol: sections.symbol(content.model.shownSection)
                    tint: Theme.sectionTint(content.model.shownSection)
                    onTabChosen: index => content.model.performanceTab = index
                }
            }
            Component {
                id: titleScreen
                SectionTitleView {
                    title: sections.title(content.model.shownSection)
                    symbol: sections.symbol(content.model.shownSection)
                    tint: Theme.sectionTint(content.model.shownSection)
                }
            }
        }
    }
}
