import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// A sheet's top: its title above a secondary line, and optionally "Done" on the right.
Pane {
    id: header

    required property string title
    required property string subtitle
    property bool showsDone: false

    signal doneRequested()

    padding: 16
    bottomPadding: 12

    RowLayout {
        anchors.fill: parent
        spacing: 12

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            Label {
                objectName: "sheetTitle"
                Layout.fillWidth: true
                text: header.title
                font.bold: true
                font.pixelSize: Theme.headlineSize
                elide: Text.ElideRight
            }
            Label {
                objectName: "sheetSubtitle"
                Layout.fillWidth: true
                text: header.subtitle
                font.pixelSize: Theme.captionSize
                opacity: 0.7
                wrapMode: Text.Wrap
            }
        }
        Button {
            objectName: header.showsDone ? "doneButton" : ""
            visible: header.showsDone
            text: "Done"
            highlighted: true
            onClicked: header.doneRequested()
        }
    }
}
