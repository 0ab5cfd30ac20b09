pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// One pairing entry: a box outlined and tinted by its status, its badge and
// its eight detail lines, the values selectable.
Rectangle {
    id: row

    required property string clipName
    required property int status
    required property int tone
    required property int noteTone
    required property string statusText
    required property string statusSymbol
    required property var detailValues
    required property string note
    required property bool hasNote
    required property var labels
    required property bool dark

    readonly property color toneColor: ToneColors.color(tone, dark)

    implicitHeight: content.implicitHeight + 24
    radius: 8
    border.width: 1
    border.color: toneColor
    color: ToneColors.tinted(toneColor, dark ? 0.12 : 0.06)

    ColumnLayout {
        id: content
        anchors.fill: parent
        anchors.margins: 12
        spacing: 4

        RowLayout {
            Layout.fillWidth: true
            spacing: 6

            Label {
                Layout.fillWidth: true
                text: row.clipName
                font.bold: true
                elide: Text.ElideRight
            }
            Label {
                objectName: "statusBadge"
                text: row.statusText
                color: row.toneColor
                font.bold: true
                font.pixelSize: Theme.captionSize
            }
            Label {
                text: row.statusSymbol
                color: row.toneColor
                font.pixelSize: Theme.captionSize
            }
        }
        Repeater {
            model: row.labels
            delegate: RowLayout {
                id: line
                required property string modelData
                required property int index
                Layout.fillWidth: true
                spacing: 0

                Label {
                    Layout.preferredWidth: 150
                    Layout.alignment: Qt.AlignTop
                    text: line.modelData
                    font.family: Theme.monospaceFamily
                    font.bold: true
                    opacity: 0.7
                }
                SelectableText {
                    objectName: "detailValue"
                    Layout.fillWidth: true
                    text: row.detailValues[line.index]
                    font.family: Theme.monospaceFamily
                }
            }
        }
        Label {
            objectName: "entryNote"
            Layout.fillWidth: true
            visible: row.hasNote
            text: row.note
            color: ToneColors.color(row.noteTone, row.dark, palette.windowText)
            font.pixelSize: Theme.captionSize
            wrapMode: Text.Wrap
        }
    }
}
