// The scan's error, on an orange tint.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

Rectangle {
    id: banner

    required property string message
    readonly property color orange: ToneColors.color(Tone.Value.caution, palette.window.hslLightness < 0.5)

    implicitHeight: row.implicitHeight + 20
    radius: 8
    color: ToneColors.tinted(orange, 0.14)

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.margins: 10
        spacing: 8

        Symbol {
            name: "dialog-warning"
            size: 16
            Layout.alignment: Qt.AlignTop
        }
        Label {
            objectName: "scanErrorText"
            text: banner.message
            font.pixelSize: Theme.calloutSize
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
    }
}
