import QtQuick
import QtQuick.Controls
import QtTest
import Tolvane

TestCase {
    id: testCase

    name: "ClipRowState"
    visible: true
    when: windowShown
    width: 300
    height: 200

    Component {
        id: stateComponent

        ClipRowState {
            width: 220
            status: "converting 40 %"
            showsStatus: true
        }
    }

    SignalSpy {
        id: showSpy

        signalName: "showInFolderRequested"
    }

    function init() {
        failOnWarning(/.?/);
    }

    function barOf(rowState) {
        for (let i = 0; i < rowState.children.length; ++i) {
            const loaded = rowState.children[i].item;
            if (loaded && loaded instanceof ProgressBar)
                return loaded;
        }
        return null;
    }

    function test_theBarIsThereWhileTheMovieIsConverted() {
        const rowState = createTemporaryObject(stateComponent, testCase);
        verify(rowState);
        compare(barOf(rowState), null);
        rowState.progress = 0.4;
        const bar = barOf(rowState);
        verify(bar);
        verify(bar.visible);
        compare(bar.value, 0.4);
        rowState.progress = 0.75;
        compare(bar.value, 0.75);
        rowState.progress = -1;
        compare(barOf(rowState), null);
        compare(findChild(rowState, "statusLabel").text, "converting 40 %");
    }

    function test_showInFolderIsThereOnceTheMovieIs() {
        const rowState = createTemporaryObject(stateComponent, testCase);
        verify(rowState);
        showSpy.target = rowState;
        showSpy.clear();
        compare(findChild(rowState, "showInFolderButton"), null);
        rowState.canOpen = true;
        const button = findChild(rowState, "showInFolderButton");
        verify(button);
        compare(button.text, "Show in Folder");
        waitForItemPolished(rowState);
        mouseClick(button);
        compare(showSpy.count, 1);
        rowState.canOpen = false;
        tryVerify(() => findChild(rowState, "showInFolderButton") === null);
    }
}
