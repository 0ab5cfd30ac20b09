import QtQuick
import QtQuick.Controls
import QtTest
import Tolvane

TestCase {
    id: testCase

    name: "SettingsSheet"
    when: windowShown
    width: 600
    height: 900

    Component {
        id: sheetComponent

        SettingsSheet {
            settings: App.settings
            presenter: App.settingsPresenter
        }
    }

    function init() {
        failOnWarning(/.?/);
        App.settingsPresenter.syncModeIndex = 0;
        App.settings.audioOffsetSeconds = 0;
        App.settings.allowUnsafeFallbackPairing = false;
    }

    function openSheet() {
        const sheet = createTemporaryObject(sheetComponent, testCase);
        verify(sheet);
        sheet.open();
        tryCompare(sheet, "opened", true);
        return sheet;
    }

    function control(sheet, name) {
        const found = findChild(sheet.contentItem, name) || findChild(sheet.footer, name);
        verify(found, name);
        return found;
    }

    // Scrolls the sheet's form until `item` is in view, as a user would before clicking it.
    function reveal(sheet, item) {
        const flickable = sheet.contentItem.contentItem;
        const top = item.mapToItem(flickable.contentItem, 0, 0).y;
        flickable.contentY = Math.max(0, Math.min(top - 16, flickable.contentHeight - flickable.height));
    }

    function test_autoHidesTheSliderAndKeepsTheOffset() {
        const sheet = openSheet();
        const block = control(sheet, "manualOffsetBlock");
        compare(block.visible, false);
        const picker = control(sheet, "syncModePicker");
        picker.forceActiveFocus();
        keyClick(Qt.Key_Down);
        tryCompare(block, "visible", true);
        App.settings.audioOffsetSeconds = 0.35;
        compare(control(sheet, "offsetText").text, "0.35 s");

        keyClick(Qt.Key_Up);
        compare(App.settingsPresenter.syncModeIndex, 0);
        tryCompare(block, "visible", false);
        compare(App.settings.audioOffsetSeconds, 0.35);

        keyClick(Qt.Key_Down);
        tryCompare(block, "visible", true);
        compare(control(sheet, "offsetText").text, "0.35 s");
        compare(control(sheet, "offsetSlider").value, 0.35);
    }

    function test_presetMinusHalfShowsMinusHalf() {
        const sheet = openSheet();
        App.settingsPresenter.syncModeIndex = 1;
        const preset = control(sheet, "preset0");
        compare(preset.text, "-0.5");
        tryCompare(control(sheet, "manualOffsetBlock"), "opacity", 1);
        mouseClick(preset);
        compare(App.settings.audioOffsetSeconds, -0.5);
        compare(control(sheet, "offsetText").text, "-0.50 s");

        const reset = control(sheet, "resetOffsetButton");
        compare(reset.text, "Reset to Default (0.0)");
        mouseClick(reset);
        compare(App.settings.audioOffsetSeconds, 0);
        compare(control(sheet, "offsetText").text, "0.00 s");
    }

    function test_sliderStopsAtItsLimits() {
        const sheet = openSheet();
        App.settingsPresenter.syncModeIndex = 1;
        const slider = control(sheet, "offsetSlider");
        tryCompare(control(sheet, "manualOffsetBlock"), "opacity", 1);
        mouseDrag(slider, slider.width / 2, slider.height / 2, -slider.width * 3, 0);
        compare(App.settings.audioOffsetSeconds, -2);
        compare(control(sheet, "offsetText").text, "-2.00 s");
        mouseDrag(slider, slider.width / 2, slider.height / 2, slider.width * 3, 0);
        compare(App.settings.audioOffsetSeconds, 2);

        // The store takes any value; the slider shows as far as it reaches.
        App.settings.audioOffsetSeconds = 5;
        compare(App.settings.audioOffsetSeconds, 5);
        compare(control(sheet, "offsetText").text, "5.00 s");
        compare(slider.value, 2);
    }

    function test_arrowKeysMoveTheSliderByItsStep() {
        const sheet = openSheet();
        App.settingsPresenter.syncModeIndex = 1;
        const slider = control(sheet, "offsetSlider");
        tryCompare(control(sheet, "manualOffsetBlock"), "opacity", 1);
        slider.forceActiveFocus();
        keyClick(Qt.Key_Right);
        compare(App.settings.audioOffsetSeconds, 0.05);
        keyClick(Qt.Key_Left);
        keyClick(Qt.Key_Left);
        compare(App.settings.audioOffsetSeconds, -0.05);
        compare(control(sheet, "offsetText").text, "-0.05 s");
    }

    function test_tabReachesEveryControl() {
        const sheet = openSheet();
        App.settingsPresenter.syncModeIndex = 1;
        tryCompare(control(sheet, "manualOffsetBlock"), "opacity", 1);
        const expected = ["chooseOutputButton", "profilePicker", "syncModePicker", "offsetSlider", "preset0",
                          "preset1", "preset2", "preset3", "preset4", "resetOffsetButton",
                          "unsafeFallbackCheckBox", "numberingCheckBox", "openFolderCheckBox",
                          "skipExistingCheckBox", "joinSpannedCheckBox", "clipMetadataCheckBox",
                          "doneButton"];
        control(sheet, expected[0]).forceActiveFocus();
        const reached = [];
        for (let step = 0; step < expected.length * 2; ++step) {
            const focused = testCase.Window.activeFocusItem;
            if (focused && reached.indexOf(focused.objectName) < 0)
                reached.push(focused.objectName);
            keyClick(Qt.Key_Tab);
        }
        for (const name of expected)
            verify(reached.indexOf(name) >= 0, name + " is reached with Tab (reached: " + reached + ")");
    }

    function test_fallbackWarningOnlyWhileAllowed() {
        const sheet = openSheet();
        const warning = control(sheet, "fallbackWarning");
        const checkBox = control(sheet, "unsafeFallbackCheckBox");
        compare(warning.visible, false);
        mouseClick(checkBox);
        compare(App.settings.allowUnsafeFallbackPairing, true);
        compare(warning.visible, true);
        mouseClick(checkBox);
        compare(App.settings.allowUnsafeFallbackPairing, false);
        compare(warning.visible, false);
    }

    function test_checkBoxesStoreAtOnce() {
        const sheet = openSheet();
        for (const [name, property] of [["numberingCheckBox", "prefixExportsWithOrderNumber"],
                                        ["openFolderCheckBox", "openOutputFolderWhenFinished"],
                                        ["skipExistingCheckBox", "skipExistingFiles"],
                                        ["joinSpannedCheckBox", "joinSpannedRecordings"],
                                        ["clipMetadataCheckBox", "writeClipMetadata"]]) {
            const box = control(sheet, name);
            reveal(sheet, box);
            compare(box.checked, App.settings[property]);
            const before = App.settings[property];
            mouseClick(box);
            compare(App.settings[property], !before, property);
            mouseClick(box);
            compare(App.settings[property], before, property);
        }
    }

    function test_profilePickerFollowsTheStore() {
        const sheet = openSheet();
        const picker = control(sheet, "profilePicker");
        compare(picker.currentText, "ProRes 422 HQ");
        picker.forceActiveFocus();
        keyClick(Qt.Key_Up);
        compare(App.settingsPresenter.profileIndex, 1);
        compare(picker.currentText, "ProRes 422");
        App.settingsPresenter.profileIndex = 2;
        compare(picker.currentText, "ProRes 422 HQ");
    }
}
