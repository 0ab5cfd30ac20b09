// Step 1 before a card is loaded: drop a card folder here or choose one.
import QtQuick
import QtQuick.Controls
import Tolvane
import QtQuick.Layouts

Item {
    id: zone

    required property bool isTargeted
    required property bool isScanning

    signal chooseFolderRequested

    implicitHeight: Math.max(320, content.implicitHeight + 48)
    implicitWidth: content.implicitWidth + 48

    Canvas {
        id: outline

        readonly property color stroke: zone.isTargeted ? palette.highlight : palette.mid
        readonly property color fill: zone.isTargeted
                                      ? ToneColors.tinted(palette.highlight, 0.06)
                                      : "transparent"

        anchors.fill: parent
        onStrokeChanged: requestPaint()
        onFillChanged: requestPaint()
        onPaint: {
            const context = getContext("2d");
            context.reset();
            context.lineWidth = 2;
            context.setLineDash([3, 2]);
            context.strokeStyle = stroke;
            context.fillStyle = fill;
            context.beginPath();
            context.roundedRect(1, 1, width - 2, height - 2, 14, 14);
            context.fill();
            context.stroke();
        }
    }

    ColumnLayout {
        id: content

        anchors.centerIn: parent
        spacing: 12

        BusyIndicator {
            objectName: "scanningIndicator"
            visible: zone.isScanning
            running: zone.isScanning
            Layout.alignment: Qt.AlignHCenter
        }
        Label {
            visible: zone.isScanning
            text: "Scanning card…"
            font.pixelSize: Theme.titleSize
            font.weight: Font.Medium
            Layout.alignment: Qt.AlignHCenter
        }
        Symbol {
            visible: !zone.isScanning
            name: "camera-video"
            size: 96
            Layout.alignment: Qt.AlignHCenter
        }
        Label {
            visible: !zone.isScanning
            text: "Drop P2 Card Here"
            font.pixelSize: Theme.titleSize
            font.weight: Font.Medium
            Layout.alignment: Qt.AlignHCenter
        }
        Label {
            visible: !zone.isScanning
            text: "A folder containing VIDEO, AUDIO, and CLIP"
            font.pixelSize: Theme.calloutSize
            color: palette.placeholderText
            Layout.alignment: Qt.AlignHCenter
        }
        Button {
            objectName: "chooseFolderButton"
            visible: !zone.isScanning
            text: "Choose Folder…"
            highlighted: true
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 4
            onClicked: zone.chooseFolderRequested()
        }
    }
}
