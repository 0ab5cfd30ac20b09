// The modal sheets over the main window, each opened by one function.
import QtQuick
import Tolvane

Item {
    id: host

    objectName: "sheetHost"

    function openPairingDetails() {
        openPairingDetailsAt("");
    }
    // Opens the pairing details at the entry whose id is `entry`.
    function openPairingDetailsAt(entry: string) {
        pairingDetails.focusedEntry = entry;
        pairingDetails.open();
    }
    function openHistory() {
        history.open();
    }
    function openSettings() {
        settings.open();
    }
    // The help command opens the how-to guide: it is the product's help.
    function openHelp() {
        howTo.open();
    }
    function openHowTo() {
        howTo.open();
    }
    function openTroubleshooting() {
        troubleshooting.open();
    }
    function openAbout() {
        about.open();
    }

    PairingDetailsSheet {
        id: pairingDetails

        presenter: App.pairingDetails
    }
    HistorySheet {
        id: history

        presenter: App.historyPresenter
    }
    SettingsSheet {
        id: settings

        settings: App.settings
        presenter: App.settingsPresenter
    }
    InfoSheet {
        id: howTo

        objectName: "howToSheet"
        guide: App.help.howToUse
    }
    InfoSheet {
        id: troubleshooting

        objectName: "troubleshootingSheet"
        guide: App.help.troubleshooting
    }
    AboutSheet {
        id: about

        help: App.help
    }
}
