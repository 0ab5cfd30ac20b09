// A titled section that opens and closes by its title.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ColumnLayout {
    id: group

    property string title
    property bool expanded: false
    default property alias content: body.data

    spacing: 8

    Button {
        objectName: group.objectName + "Toggle"
        flat: true
        padding: 2
        text: group.title
        icon.name: group.expanded ? "arrow-down" : "arrow-right"
        icon.width: 12
        icon.height: 12
        font.pixelSize: Theme.subheadlineSize
        font.weight: Font.Medium
        onClicked: group.expanded = !group.expanded
    }
    ColumnLayout {
        id: body

        visible: group.expanded
        spacing: 8
        Layout.fillWidth: true
        Layout.leftMargin: 18
    }
}
