import QtQuick
import QtQuick.Controls
import QtTest
import Tolvane

TestCase {
    id: testCase

    name: "InfoSheet"
    when: windowShown
    width: 700
    height: 700

    Component {
        id: sheetComponent

        InfoSheet {
            guide: App.help.troubleshooting
        }
    }
    Component {
        id: pasteTarget

        TextEdit {}
    }

    function init() {
        failOnWarning(/.?/);
    }

    function openSheet() {
        const sheet = createTemporaryObject(sheetComponent, testCase);
        verify(sheet);
        sheet.open();
        tryCompare(sheet, "opened", true);
        return sheet;
    }

    function test_showsTheGuidesTitleAndSections() {
        const sheet = openSheet();
        compare(findChild(sheet.header, "sheetTitle").text, "Troubleshooting");
        compare(findChild(sheet.header, "sheetSubtitle").text, "Common issues and how to resolve them");
        compare(findChild(sheet, "sections").count, 6);
    }

    function test_bodyTextsAreSelectableAndCopyable() {
        const sheet = openSheet();
        const body = findChild(sheet.contentItem, "sectionBody");
        verify(body);
        verify(body.readOnly);
        verify(body.text.startsWith("Tolvane needs ffmpeg and ffprobe"));

        // Dragging across the first line selects part of it.
        waitForRendering(sheet.contentItem);
        mousePress(body, 2, 5);
        mouseMove(body, body.width / 4, 5);
        mouseMove(body, body.width / 2, 5);
        mouseRelease(body, body.width / 2, 5);
        verify(body.selectedText.length > 0, "dragging selects text");
        verify(body.text.startsWith(body.selectedText));

        body.selectAll();
        body.copy();
        const target = createTemporaryObject(pasteTarget, testCase);
        target.paste();
        compare(target.text, body.text);
    }
}
