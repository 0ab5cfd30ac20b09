// A borderless button that reads as a link, with optional hover help.
import QtQuick
import QtQuick.Controls

Button {
    id: link

    property string help

    flat: true
    padding: 2
    font.pixelSize: Theme.captionSize
    hoverEnabled: true
    ToolTip.visible: help.length > 0 && hovered
    ToolTip.text: help
    ToolTip.delay: 600

    contentItem: Label {
        text: link.text
        font: link.font
        color: link.enabled ? link.palette.link : link.palette.placeholderText
    }
}
