// Every command of the menus, defined once; menus and buttons use them with
// `action:`. Only "Open P2 Folder…" and "Convert" carry shortcuts of their own;
// Settings and Quit keep the desktop's usual keys. (The qmllint of Qt 6.4 does
// not know StandardKey's scope, hence its markers on those lines.)
import QtQuick
import QtQuick.Controls
import Tolvane

QtObject {
    id: commands

    required property SheetHost sheets
    readonly property ConversionViewModel driver: App.driver
    readonly property PlatformTexts texts: App.texts

    readonly property Action openFolder: Action {
        text: "Open P2 Folder…"
        icon.name: "document-open-folder"
        shortcut: StandardKey.Open // qmllint disable unqualified
        enabled: !commands.driver.isConverting
        onTriggered: commands.driver.chooseFolder()
    }
    readonly property Action clearRecent: Action {
        text: "Clear Recent"
        enabled: App.recentFoldersModel.count > 0
        onTriggered: App.clearRecentFolders()
    }
    readonly property Action convert: Action {
        objectName: "convertCommand"
        text: "Convert"
        icon.name: "media-playback-start"
        shortcut: "Ctrl+Return"
        enabled: commands.driver.canConvert && !App.backupFirst.isBackingUp
        onTriggered: App.backupFirst.convert()
    }
    readonly property Action revealOutput: Action {
        text: commands.texts.revealOutputTitle
        onTriggered: commands.driver.revealOutputFolder()
    }
    readonly property Action convertAnother: Action {
        text: "Convert Another P2 Card"
        enabled: !commands.driver.isConverting && commands.driver.phase !== ConversionViewModel.Phase.idle
        onTriggered: commands.driver.resetToIdle()
    }
    readonly property Action chooseOutputFolder: Action {
        text: "Choose Output Folder…"
        enabled: !commands.driver.isConverting
        onTriggered: App.chooseOutputFolder()
    }
    readonly property Action settings: Action {
        text: "Settings…"
        icon.name: "configure"
        shortcut: "Ctrl+,"
        onTriggered: commands.sheets.openSettings()
    }
    readonly property Action quit: Action {
        text: "Quit"
        icon.name: "application-exit"
        shortcut: StandardKey.Quit // qmllint disable unqualified
        onTriggered: App.session.requestQuit()
    }
    readonly property Action verify: Action {
        text: "Verify P2 Card"
        enabled: !commands.driver.isConverting
        onTriggered: commands.driver.verifyCurrentCard()
    }
    readonly property Action exportPairingReport: Action {
        text: "Export Pairing Report…"
        onTriggered: commands.driver.exportPairingReportOnly()
    }
    readonly property Action exportDebugReport: Action {
        text: "Export Debug Report…"
        enabled: commands.driver.canExportDebugReport
        onTriggered: commands.driver.exportDebugReportOnly()
    }
    readonly property Action checkFFmpegInstall: Action {
        text: "Check FFmpeg Install"
        onTriggered: App.maintenance.checkFFmpegInstall()
    }
    readonly property Action openLogsFolder: Action {
        text: "Open Logs Folder"
        onTriggered: commands.driver.revealMostRecentLogsFolder()
    }
    readonly property Action resetPreferences: Action {
        text: "Reset Preferences"
        onTriggered: App.maintenance.resetPreferences()
    }
    readonly property Action showHistory: Action {
        text: "Show Recent Conversions"
        onTriggered: commands.sheets.openHistory()
    }
    readonly property Action clearHistory: Action {
        text: "Clear History"
        onTriggered: App.clearHistory()
    }
    readonly property Action help: Action {
        text: "Tolvane Help"
        icon.name: "help-contents"
        onTriggered: commands.sheets.openHelp()
    }
    readonly property Action howTo: Action {
        text: "How to Use Tolvane"
        onTriggered: commands.sheets.openHowTo()
    }
    readonly property Action troubleshooting: Action {
        text: "Troubleshooting"
        onTriggered: commands.sheets.openTroubleshooting()
    }
    readonly property Action about: Action {
        text: commands.texts.aboutTitle
        icon.name: "help-about"
        onTriggered: commands.sheets.openAbout()
    }
    readonly property Action pairingDetails: Action {
        text: "View Pairing Details…"
        onTriggered: commands.sheets.openPairingDetails()
    }
}
