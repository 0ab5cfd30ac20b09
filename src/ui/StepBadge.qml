// The number of a step of the flow in a tinted circle.
import QtQuick
import QtQuick.Controls
import Tolvane

Rectangle {
    id: badge

    required property int number

    implicitWidth: 28
    implicitHeight: 28
    radius: 14
    color: ToneColors.tinted(palette.highlight, 0.18)

    Label {
        anchors.centerIn: parent
        text: badge.number
        font.pixelSize: Theme.calloutSize
        font.weight: Font.DemiBold
        color: palette.highlight
    }
}
