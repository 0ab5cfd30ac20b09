import QtQuick
import QtQuick.Controls
import QtTest
import Tolvane

TestCase {
    id: testCase

    name: "SheetHost"
    when: windowShown
    width: 800
    height: 700

    Component {
        id: hostComponent

        SheetHost {
            anchors.fill: parent
        }
    }

    function init() {
        failOnWarning(/.?/);
    }

    function sheetsData() {
        return [
            { tag: "pairing details", open: "openPairingDetails", sheet: "pairingDetailsSheet" },
            { tag: "history", open: "openHistory", sheet: "historySheet" },
            { tag: "settings", open: "openSettings", sheet: "settingsSheet" },
            { tag: "help", open: "openHelp", sheet: "howToSheet" },
            { tag: "how to", open: "openHowTo", sheet: "howToSheet" },
            { tag: "troubleshooting", open: "openTroubleshooting", sheet: "troubleshootingSheet" },
            { tag: "about", open: "openAbout", sheet: "aboutSheet" }
        ];
    }

    function openSheet(data) {
        const host = createTemporaryObject(hostComponent, testCase);
        verify(host);
        host[data.open]();
        const sheet = findChild(host, data.sheet);
        verify(sheet);
        tryCompare(sheet, "opened", true);
        return sheet;
    }

    function test_escapeClosesEachSheet_data() {
        return sheetsData();
    }

    function test_escapeClosesEachSheet(data) {
        const sheet = openSheet(data);
        keyClick(Qt.Key_Escape);
        tryCompare(sheet, "visible", false);
    }

    function test_doneClosesEachSheet_data() {
        return sheetsData();
    }

    function test_doneClosesEachSheet(data) {
        const sheet = openSheet(data);
        const done = findChild(sheet.header, "doneButton") || findChild(sheet.footer, "doneButton")
            || findChild(sheet.contentItem, "doneButton");
        verify(done, "the sheet has a Done button");
        compare(done.text, "Done");
        mouseClick(done);
        tryCompare(sheet, "visible", false);
    }

    function test_aboutShowsTheIconAndTheBuildsVersion() {
        const sheet = openSheet({ open: "openAbout", sheet: "aboutSheet" });
        tryCompare(findChild(sheet.contentItem, "appIcon"), "status", Image.Ready);
        verify(/^Version \d+\.\d+\.\d+ \(\d+\)$/.test(findChild(sheet.contentItem, "versionLine").text));
    }
}
