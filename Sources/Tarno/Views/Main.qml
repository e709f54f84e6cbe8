import QtQuick
import QtQuick.Controls
import Tarno

ApplicationWindow {
    id: window

    required property TarnoApp app

    objectName: "main"
    title: "Tarno"
    width: 1080
    height: 700
    minimumWidth: 820
    minimumHeight: 520
    visible: true
    color: Theme.background
    font.pixelSize: Theme.bodySize

    palette.window: Theme.background
    palette.windowText: Theme.text
    palette.base: Theme.surface
    palette.text: Theme.text
    palette.button: Theme.surface
    palette.buttonText: Theme.text
    palette.highlight: Theme.accent
    palette.highlightedText: "white"
    palette.mid: Theme.separator

    Binding {
        target: Theme
        property: "dark"
        value: window.app.darkAppearance
    }
    Binding {
        target: Theme
        property: "still"
        value: window.app.still
    }

    ContentView {
        anchors.fill: parent
        model: window.app.model
        Component.onCompleted: window.app.mainContentAppeared()
    }

    Shortcut {
        sequence: "Ctrl+Q"
        context: Qt.ApplicationShortcut
        onActivated: Qt.quit()
    }
    Shortcut {
        sequence: "Ctrl+W"
        onActivated: window.close()
    }
}
