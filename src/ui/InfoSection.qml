import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One section of a guide: its heading above its selectable body.
ColumnLayout {
    id: section

    required property string heading
    required property string body

    spacing: 4

    Label {
        Layout.fillWidth: true
        text: section.heading
        font.bold: true
        wrapMode: Text.Wrap
    }
    SelectableText {
        objectName: "sectionBody"
        Layout.fillWidth: true
        text: section.body
        opacity: 0.8
    }
}
