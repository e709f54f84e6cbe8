import QtQuick

// A symbol drawn from the icon theme in one colour.
Image {
    id: icon

    property string symbol
    property color tint: Theme.text
    property int size: 16

    width: size
    height: size
    sourceSize: Qt.size(size, size)
    fillMode: Image.PreserveAspectFit
    smooth: true
    source: symbol.length > 0 ? "image://icon/" + symbol + "/" + tint.toString().substring(1) : ""
}
