import QtQuick
import QtQuick.Controls

// Read-only text the user can select with the mouse or keyboard and copy,
// drawn like a label in the sheet's palette.
TextArea {
    readOnly: true
    selectByMouse: true
    selectByKeyboard: true
    wrapMode: TextEdit.Wrap
    textFormat: TextEdit.PlainText
    padding: 0
    leftPadding: 0
    rightPadding: 0
    topPadding: 0
    bottomPadding: 0
    background: null
    color: palette.windowText
}
