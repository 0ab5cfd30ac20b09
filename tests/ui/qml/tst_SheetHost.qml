import QtQuick
import QtQuick.Controls
import QtTest
import Tolvane

TestCase {
    id: testCase

    name: "SheetHost"
    when: windowShown
    width: 800
    height: 600

    Component {
        id: hostComponent

        SheetHost {
            anchors.fill: parent
        }
    }

    function init() {
        failOnWarning(/.?/);
    }

    function test_eachFunctionOpensItsSheet_data() {
        return [
            { tag: "pairing details", open: "openPairingDetails", sheet: "pairingDetailsSheet" },
            { tag: "history", open: "openHistory", sheet: "historySheet" },
            { tag: "settings", open: "openSettings", sheet: "settingsSheet" },
            { tag: "help", open: "openHelp", sheet: "helpSheet" },
            { tag: "how to", open: "openHowTo", sheet: "howToSheet" },
            { tag: "troubleshooting", open: "openTroubleshooting", sheet: "troubleshootingSheet" },
            { tag: "about", open: "openAbout", sheet: "aboutSheet" }
        ];
    }

    function test_eachFunctionOpensItsSheet(data) {
        const host = createTemporaryObject(hostComponent, testCase);
        verify(host);
        host[data.open]();
        const sheet = findChild(host, data.sheet);
        verify(sheet);
        tryCompare(sheet, "opened", true);
        keyClick(Qt.Key_Escape);
        tryCompare(sheet, "visible", false);
    }
}
