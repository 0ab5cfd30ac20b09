import QtQuick
import QtQuick.Controls
import QtTest
import Tolvane
import TolvaneTest

TestCase {
    id: testCase

    name: "ClipListView"
    visible: true
    when: windowShown
    width: 700
    height: 500

    Component {
        id: listComponent

        ClipListView {
            width: 680
            driver: App.driver
        }
    }

    // The list as the scanned card view has it, with the window's sheets.
    Component {
        id: windowComponent

        Item {
            id: window

            readonly property ClipListView list: list
            readonly property SheetHost sheets: sheets

            anchors.fill: parent

            ClipListView {
                id: list

                width: 680
                driver: App.driver
                onPairingDetailsRequested: entry => sheets.openPairingDetailsAt(entry)
            }
            SheetHost {
                id: sheets

                anchors.fill: parent
            }
        }
    }

    // The views that show the list during and after a run.
    Component {
        id: progressComponent

        ConversionProgressView {
            width: 680
            driver: App.driver
        }
    }
    Component {
        id: summaryComponent

        SummaryCardView {
            width: 680
            driver: App.driver
        }
    }

    SignalSpy {
        id: detailsSpy

        signalName: "pairingDetailsRequested"
    }

    function init() {
        failOnWarning(/.?/);
        Fixture.loadListedCard();
        App.driver.chooseAll();
    }

    function makeList() {
        const view = createTemporaryObject(listComponent, testCase);
        verify(view);
        detailsSpy.target = view;
        detailsSpy.clear();
        // The rows are built in the turn after the list is shown.
        const list = findChild(view, "clipList");
        tryCompare(list, "count", 4);
        waitForItemPolished(list);
        return view;
    }

    function test_choosesWithTheButtons() {
        const view = makeList();
        const line = findChild(view, "chosenLine");
        compare(line.text, "3 of 3 clips chosen");
        const list = findChild(view, "clipList");
        tryCompare(list, "count", 4);
        mouseClick(findChild(view, "selectNoneButton"));
        compare(line.text, "0 of 3 clips chosen");
        compare(App.driver.canConvert, false);
        mouseClick(findChild(view, "selectAllButton"));
        compare(line.text, "3 of 3 clips chosen");
    }

    function test_theKeyboardMovesChoosesAndOpensDetails() {
        const view = makeList();
        const list = findChild(view, "clipList");
        tryCompare(list, "count", 4);
        list.forceActiveFocus();
        verify(list.activeFocus);
        keyClick(Qt.Key_Down);
        compare(list.currentIndex, 1);
        keyClick(Qt.Key_Space);
        compare(findChild(view, "chosenLine").text, "2 of 3 clips chosen");
        keyClick(Qt.Key_Space);
        compare(findChild(view, "chosenLine").text, "3 of 3 clips chosen");
        // The excluded clip at the end cannot be chosen.
        list.currentIndex = 3;
        keyClick(Qt.Key_Space);
        compare(findChild(view, "chosenLine").text, "3 of 3 clips chosen");
        keyClick(Qt.Key_Return);
        compare(detailsSpy.count, 1);
        compare(App.pairingDetails.rowOfEntry(detailsSpy.signalArguments[0][0]), 3);
    }

    function test_eachRowHasAnAccessibleName() {
        const view = makeList();
        const list = findChild(view, "clipList");
        tryCompare(list, "count", 4);
        list.currentIndex = 3;
        compare(list.currentItem.Accessible.name, "0009ZZ, excluded — no audio file carries the clip's UMID");
        list.currentIndex = 0;
        compare(list.currentItem.Accessible.name, "0001AB, verified");
    }

    function test_returnShowsTheClipsEntryInThePairingDetails() {
        const window = createTemporaryObject(windowComponent, testCase);
        verify(window);
        const list = findChild(window.list, "clipList");
        tryCompare(list, "count", 4);
        list.forceActiveFocus();
        list.currentIndex = 3;
        keyClick(Qt.Key_Return);
        const sheet = findChild(window.sheets, "pairingDetailsSheet");
        tryCompare(sheet, "opened", true);
        const entries = findChild(sheet, "pairingEntries");
        verify(entries);
        tryCompare(entries, "count", 4);
        // The excluded clip's entry is the last one, below the sheet's first screenful.
        tryVerify(() => entries.contentY > entries.originY);
        const entry = entries.itemAtIndex(3);
        verify(entry);
        compare(entry.clipName, "0009ZZ");
        const top = entry.mapToItem(entries, 0, 0).y;
        verify(top >= 0 && top + entry.height <= entries.height,
               "the entry lies within the sheet's list: " + top + " + " + entry.height + " in " + entries.height);
        // The first entry has gone up out of sight.
        const first = entries.itemAtIndex(0);
        verify(!first || first.mapToItem(entries, 0, first.height).y <= 0);
    }

    function test_theRunsListsOpenTheDetailsToo_data() {
        return [
            { tag: "progress", component: progressComponent },
            { tag: "summary", component: summaryComponent }
        ];
    }

    function test_theRunsListsOpenTheDetailsToo(data) {
        const view = createTemporaryObject(data.component, testCase);
        verify(view);
        detailsSpy.target = view;
        detailsSpy.clear();
        const list = findChild(view, "clipList");
        tryCompare(list, "count", 4);
        list.forceActiveFocus();
        verify(list.activeFocus);
        list.currentIndex = 3;
        keyClick(Qt.Key_Return);
        compare(detailsSpy.count, 1);
        compare(App.pairingDetails.rowOfEntry(detailsSpy.signalArguments[0][0]), 3);
        // A screen reader's press on a row asks for that row's entry.
        list.currentIndex = 1;
        list.currentItem.Accessible.pressAction();
        compare(detailsSpy.count, 2);
        compare(App.pairingDetails.rowOfEntry(detailsSpy.signalArguments[1][0]), 1);
    }
}
