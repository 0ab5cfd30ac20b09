import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// One recorded run: its mark, card, date, output folder, statistics and backup, and "Reveal".
Pane {
    id: row

    required property int index
    required property string cardName
    required property string dateText
    required property string outputFolder
    required property string statsLine
    required property string statusMark
    required property string backupLine
    required property string backupCopies
    required property int tone
    required property bool dark

    signal revealRequested()

    padding: 10
    background: Rectangle {
        radius: 6
        color: row.palette.base
        border.width: 1
        border.color: row.palette.mid
    }

    RowLayout {
        anchors.fill: parent
        spacing: 12

        Label {
            objectName: "statusMark"
            Layout.alignment: Qt.AlignTop
            text: row.statusMark
            color: ToneColors.color(row.tone, row.dark)
            font.pixelSize: Theme.headlineSize
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            Label {
                Layout.fillWidth: true
                text: row.cardName
                font.bold: true
                elide: Text.ElideRight
            }
            Label {
                text: row.dateText
                font.pixelSize: Theme.captionSize
                opacity: 0.7
            }
            Label {
                Layout.fillWidth: true
                text: row.outputFolder
                font.family: Theme.monospaceFamily
                opacity: 0.7
                elide: Text.ElideMiddle
            }
            Label {
                objectName: "statsLine"
                text: row.statsLine
                font.pixelSize: Theme.captionSize
                opacity: 0.7
            }
            Label {
                objectName: "backupLine"
                visible: row.backupLine !== ""
                text: row.backupLine
                font.pixelSize: Theme.captionSize
                opacity: 0.7
            }
            Label {
                objectName: "backupCopies"
                Layout.fillWidth: true
                visible: row.backupCopies !== ""
                text: row.backupCopies
                font.family: Theme.monospaceFamily
                opacity: 0.7
                elide: Text.ElideMiddle
            }
        }
        Button {
            objectName: "revealButton"
            Layout.alignment: Qt.AlignVCenter
            text: "Reveal"
            onClicked: row.revealRequested()
        }
    }
}
