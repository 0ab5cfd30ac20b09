// An icon of the desktop's theme by its standard name, at a fixed size.
import QtQuick
import QtQuick.Controls.impl

IconImage {
    property int size: 16

    asynchronous: true
    sourceSize.width: size
    sourceSize.height: size
    width: size
    height: size
}
