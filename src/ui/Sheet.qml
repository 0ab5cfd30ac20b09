import QtQuick
import QtQuick.Controls

// A modal sheet over the main window, closed by its own "Done" and by Escape.
Dialog {
    id: sheet

    readonly property bool dark: palette.window.hslLightness < 0.5

    parent: Overlay.overlay
    anchors.centerIn: parent
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape
    padding: 0
    topPadding: 0
    bottomPadding: 0
}
