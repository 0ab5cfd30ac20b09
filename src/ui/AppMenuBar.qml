// The menu bar: the commands grouped as the desktop expects, in a fixed order.
import QtQuick.Controls
import QtQml.Models
import Tolvane

MenuBar {
    id: bar

    required property AppCommands commands

    Menu {
        objectName: "fileMenu"
        title: "File"

        MenuItem {
            action: bar.commands.openFolder
        }
        Menu {
            id: recentMenu

            objectName: "openRecentMenu"
            title: "Open Recent"
            enabled: bar.commands.openFolder.enabled

            Instantiator {
                model: App.recentFoldersModel
                delegate: MenuItem {
                    required property string path
                    required property string pathText
                    text: pathText
                    onTriggered: App.driver.scan(path)
                }
                onObjectAdded: (index, object) => recentMenu.insertItem(index, object)
                onObjectRemoved: (index, object) => recentMenu.removeItem(object)
            }
            MenuItem {
                text: "No Recent P2 Folders"
                enabled: false
                visible: App.recentFoldersModel.count === 0
                height: visible ? implicitHeight : 0
            }
            MenuSeparator {}
            MenuItem {
                action: bar.commands.clearRecent
            }
        }
        MenuItem {
            action: bar.commands.convert
        }
        MenuItem {
            action: bar.commands.revealOutput
        }
        MenuSeparator {}
        MenuItem {
            action: bar.commands.convertAnother
        }
        MenuItem {
            action: bar.commands.chooseOutputFolder
        }
        MenuSeparator {}
        MenuItem {
            action: bar.commands.settings
        }
        MenuSeparator {}
        MenuItem {
            action: bar.commands.quit
        }
    }
    Menu {
        objectName: "toolsMenu"
        title: "Tools"

        MenuItem {
            action: bar.commands.verify
        }
        MenuItem {
            action: bar.commands.exportPairingReport
        }
        MenuItem {
            action: bar.commands.exportDebugReport
        }
        MenuItem {
            action: bar.commands.checkFFmpegInstall
        }
        MenuItem {
            action: bar.commands.openLogsFolder
        }
        MenuItem {
            action: bar.commands.resetPreferences
        }
    }
    Menu {
        objectName: "historyMenu"
        title: "History"

        MenuItem {
            action: bar.commands.showHistory
        }
        MenuItem {
            action: bar.commands.clearHistory
        }
    }
    Menu {
        objectName: "helpMenu"
        title: "Help"

        MenuItem {
            action: bar.commands.help
        }
        MenuItem {
            action: bar.commands.howTo
        }
        MenuItem {
            action: bar.commands.troubleshooting
        }
        MenuSeparator {}
        // The project's own places: its issue tracker for problems, its home page.
        MenuItem {
            objectName: "reportProblemItem"
            text: "Report a Problem…"
            onTriggered: Qt.openUrlExternally(App.help.contactUrl)
        }
        MenuItem {
            objectName: "websiteItem"
            text: "Tolvane Website"
            onTriggered: Qt.openUrlExternally(App.help.websiteUrl)
        }
        MenuSeparator {}
        MenuItem {
            action: bar.commands.about
        }
    }
}
