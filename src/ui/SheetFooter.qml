import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A sheet's bottom row: whatever the sheet puts on the left, then "Done".
Pane {
    id: footer

    default property alias leading: leadingRow.data

    signal doneRequested()

    padding: 12
    leftPadding: 16
    rightPadding: 16

    RowLayout {
        anchors.fill: parent
        spacing: 12

        RowLayout {
            id: leadingRow
            Layout.fillWidth: true
            spacing: 12
        }
        Button {
            objectName: "doneButton"
            text: "Done"
            highlighted: true
            onClicked: footer.doneRequested()
        }
    }
}
