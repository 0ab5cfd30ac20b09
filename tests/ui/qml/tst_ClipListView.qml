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
        waitForItemPolished(view);
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
}
