import QtQuick
import QtQuick.Controls

// A one-pixel line across its container, in the palette's divider colour.
Control {
    id: divider

    implicitHeight: 1
    background: Rectangle {
        color: divider.palette.mid
    }
}
