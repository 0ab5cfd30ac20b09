import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A secondary explanation under a control.
Label {
    Layout.fillWidth: true
    font.pointSize: Qt.application.font.pointSize * 0.88
    opacity: 0.7
    wrapMode: Text.Wrap
}
