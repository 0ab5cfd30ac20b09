// The modal sheets over the main window, each opened by one function.
import QtQuick
import QtQuick.Controls

Item {
    id: host

    function openPairingDetails() {
        pairingDetails.open();
    }
    function openHistory() {
        history.open();
    }
    function openSettings() {
        settings.open();
    }
    function openHelp() {
        help.open();
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

    component Sheet: Dialog {
        anchors.centerIn: parent
        modal: true
        standardButtons: Dialog.Close
        width: Math.min(parent.width - 48, 480)
    }

    Sheet {
        id: pairingDetails

        objectName: "pairingDetailsSheet"
        title: "Pairing Details"
    }
    Sheet {
        id: history

        objectName: "historySheet"
        title: "Recent Conversions"
    }
    Sheet {
        id: settings

        objectName: "settingsSheet"
        title: "Settings"
    }
    Sheet {
        id: help

        objectName: "helpSheet"
        title: "Tolvane Help"
    }
    Sheet {
        id: howTo

        objectName: "howToSheet"
        title: "How to Use Tolvane"
    }
    Sheet {
        id: troubleshooting

        objectName: "troubleshootingSheet"
        title: "Troubleshooting"
    }
    Sheet {
        id: about

        objectName: "aboutSheet"
        title: "About Tolvane"
    }
}
