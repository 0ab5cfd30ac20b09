// A clip list row's state in a run: its status, a bar while its movie is
// converted and "Show in Folder" once the movie is there. The bar and the
// button are built only for the rows that show them: most rows never do, and
// every part of a row weighs on the frame that builds it.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

ColumnLayout {
    id: rowState

    property string status
    property bool showsStatus
    // 0 to 1 while the movie is converted, below 0 otherwise.
    property real progress: -1
    property bool canOpen

    signal showInFolderRequested

    spacing: 2

    Label {
        objectName: "statusLabel"
        visible: rowState.showsStatus
        text: rowState.status
        font.pixelSize: Theme.captionSize
        elide: Text.ElideRight
        Layout.fillWidth: true
    }
    // The parts are bound from out here: a component that reaches this file's
    // ids must be a bound one, and Qt 6.4's Loader cannot build those.
    Loader {
        id: bar

        active: rowState.progress >= 0
        visible: active
        Layout.fillWidth: true
        sourceComponent: ProgressBar {
        }

        Binding {
            target: bar.item
            property: "value"
            value: Math.max(0, rowState.progress)
            when: bar.item !== null
        }
    }
    Loader {
        active: rowState.canOpen
        visible: active
        sourceComponent: Button {
            objectName: "showInFolderButton"
            flat: true
            text: "Show in Folder"
        }

        onLoaded: (item as Button).clicked.connect(rowState.showInFolderRequested)
    }
}
