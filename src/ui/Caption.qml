import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// A secondary explanation under a control.
Label {
    Layout.fillWidth: true
    font.pixelSize: Theme.captionSize
    opacity: 0.7
    wrapMode: Text.Wrap
}
