import QtQuick

// A one-pixel line across its container.
Rectangle {
    implicitHeight: 1
    color: systemPalette.mid

    readonly property SystemPalette systemPalette: SystemPalette {}
}
