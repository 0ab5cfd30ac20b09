import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One titled group of the settings form.
GroupBox {
    id: section

    default property alias rows: column.data

    Layout.fillWidth: true
    Layout.leftMargin: 20
    Layout.rightMargin: 20
    Layout.topMargin: 4

    ColumnLayout {
        id: column
        anchors.left: parent.left
        anchors.right: parent.right
        spacing: 8
    }
}
