// A caption above a time.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ColumnLayout {
    id: timing

    required property string title
    required property string value

    spacing: 2

    Label {
        text: timing.title
        font.pixelSize: Theme.captionSize
        color: palette.placeholderText
    }
    Label {
        objectName: timing.objectName + "Value"
        text: timing.value
        font.pixelSize: Theme.calloutSize
    }
}
