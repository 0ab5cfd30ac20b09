// The main window. What every file of the Tolvane module binds to:
//   App.driver         the one ConversionViewModel (phase, clips, run, summary, operations)
//   App.settings       the SettingsStore
//   App.recentFolders  the RecentFoldersStore
//   App.history        the ConversionHistoryStore
//   App.texts          the platform's words (PlatformTexts)
//   App.revealInFileManager(path), App.clearHistory(), App.clearRecentFolders(), App.chooseOutputFolder()
// App is a C++ singleton of this module (import Tolvane); main.cpp and the tests
// make its context current before loading. Sheets open through `sheets`
// (SheetHost.qml); commands are the Actions of `commands` (AppCommands.qml).
import QtQuick
import QtQuick.Controls
import Tolvane

ApplicationWindow {
    id: window

    width: 860
    height: 760
    minimumWidth: 640
    minimumHeight: 560
    visible: true
    title: App.session.windowTitle

    // Back where it was, when that place is still on a screen.
    Component.onCompleted: {
        const place = App.session.restoredGeometry();
        if (place.width > 0) {
            x = place.x;
            y = place.y;
            width = place.width;
            height = place.height;
        }
    }
    Component.onDestruction: App.session.saveGeometry(Qt.rect(x, y, width, height))
    // A run is never lost to a closed window: the user is asked first.
    onClosing: close => {
        close.accepted = App.session.requestQuit();
    }

    Binding {
        target: App.session
        property: "windowActive"
        value: window.active
    }

    menuBar: AppMenuBar {
        commands: commands
    }

    AppCommands {
        id: commands

        objectName: "commands"
        sheets: sheets
    }

    ContentView {
        anchors.fill: parent
        commands: commands
        sheets: sheets
    }

    SheetHost {
        id: sheets

        anchors.fill: parent
    }
}
