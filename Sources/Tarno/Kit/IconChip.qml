import QtQuick

// A symbol on a rounded square washed with its tint.
Rectangle {
    id: chip

    property string symbol
    property color tint: Theme.accent
    property int size: 28

    implicitWidth: size
    implicitHeight: size
    radius: Math.round(size * 0.28)
    color: Theme.wash(tint, 0.14)

    SymbolIcon {
        anchors.centerIn: parent
        symbol: chip.symbol
        tint: chip.tint
        size: Math.round(chip.size * 0.6)
    }
}
