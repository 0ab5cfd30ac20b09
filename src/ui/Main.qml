import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ApplicationWindow {
    id: window
    width: 900
    height: 640
    minimumWidth: 720
    minimumHeight: 520
    visible: true
    title: "Tolvane"

    ColumnLayout {
        anchors.centerIn: parent
        spacing: 12

        Label {
            Layout.alignment: Qt.AlignHCenter
            text: "Tolvane"
            font.pixelSize: 28
            font.bold: true
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: "P2 card to Apple ProRes"
            opacity: 0.7
        }
    }
}
