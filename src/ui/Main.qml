// The main window. What every file of the Tolvane module binds to:
//   App.driver         the one ConversionViewModel (phase, clips, run, summary, operations)
//   App.settings       the SettingsStore
//   App.recentFolders  the RecentFoldersStore
//   App.history        the ConversionHistoryStore
//   App.revealInFileManager(path)
// App is a C++ singleton of this module (import Tolvane); main.cpp and the tests
// make its context current before loading. Sheets open through `sheets`
// (SheetHost.qml); commands are the Actions of `commands` (AppCommands.qml).
import QtQuick
import QtQuick.Controls
import Tolvane

ApplicationWindow {
    id: window

    width: 900
    height: 640
    minimumWidth: 720
    minimumHeight: 520
    visible: true
    title: "Tolvane"

    menuBar: AppMenuBar {
        commands: commands
    }

    AppCommands {
        id: commands

        sheets: sheets
    }

    SheetHost {
        id: sheets

        anchors.fill: parent
    }
}
