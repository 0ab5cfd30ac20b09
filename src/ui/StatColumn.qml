// One figure of the run with its caption.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ColumnLayout {
    id: column

    required property string title
    required property int value
    required property color tint

    spacing: 2

    Label {
        text: column.value
        color: column.tint
        font.pixelSize: Theme.titleSize
        font.weight: Font.DemiBold
        Layout.alignment: Qt.AlignHCenter
    }
    Label {
        text: column.title
        font.pixelSize: Theme.captionSize
        color: palette.placeholderText
        Layout.alignment: Qt.AlignHCenter
    }
}
