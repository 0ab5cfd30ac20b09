// Tells that ffmpeg is missing and how to install it, the command selectable.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

Rectangle {
    id: banner

    readonly property bool dark: palette.window.hslLightness < 0.5

    implicitHeight: row.implicitHeight + 24
    color: ToneColors.tinted(ToneColors.color(Tone.Value.notice, dark), 0.22)

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: Theme.pagePadding
        anchors.rightMargin: Theme.pagePadding
        anchors.topMargin: 12
        anchors.bottomMargin: 12
        spacing: 12

        Symbol {
            name: "utilities-terminal"
            size: 24
            Layout.alignment: Qt.AlignTop
        }
        ColumnLayout {
            spacing: 4
            Layout.fillWidth: true

            Label {
                text: "ffmpeg not found"
                font.pixelSize: Theme.calloutSize
                font.weight: Font.DemiBold
            }
            Label {
                text: App.texts.ffmpegMissingDetail
                font.pixelSize: Theme.captionSize
                color: palette.placeholderText
                wrapMode: Text.Wrap
                Layout.fillWidth: true
            }
            TextEdit {
                objectName: "ffmpegInstallCommand"
                text: App.texts.ffmpegInstallCommand
                readOnly: true
                selectByMouse: true
                font.family: Theme.monospaceFamily
                font.pixelSize: Theme.calloutSize
                color: palette.text
                selectionColor: palette.highlight
                selectedTextColor: palette.highlightedText
                leftPadding: 6
                rightPadding: 6
                topPadding: 3
                bottomPadding: 3

                Rectangle {
                    anchors.fill: parent
                    z: -1
                    radius: 4
                    color: palette.base
                }
            }
        }
    }
}
