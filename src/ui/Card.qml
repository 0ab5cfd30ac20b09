// A rounded panel on the control background, holding one column of content.
import QtQuick
import QtQuick.Controls

Pane {
    padding: Theme.cardPadding
    background: Rectangle {
        color: palette.base
        radius: Theme.cardRadius
        border.color: palette.mid
        border.width: 1
        opacity: 1
    }
}
