import QtQuick

// Read-only text the user can select with the mouse or keyboard and copy.
TextEdit {
    readOnly: true
    selectByMouse: true
    selectByKeyboard: true
    persistentSelection: false
    wrapMode: TextEdit.Wrap
    textFormat: TextEdit.PlainText
    color: systemPalette.windowText
    selectionColor: systemPalette.highlight
    selectedTextColor: systemPalette.highlightedText

    readonly property SystemPalette systemPalette: SystemPalette {}
}
