pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// How every clip the scan considered was paired, and whether it will convert.
Sheet {
    id: sheet

    required property PairingDetailsPresenter presenter
    // The entry to show first when the sheet opens; empty for the top.
    property string focusedEntry

    onOpened: {
        const row = presenter.rowOfEntry(focusedEntry);
        if (row < 0)
            return;
        const entries = sheet.contentItem as ListView;
        // Placed once, the rows around the entry are made and take their true
        // heights; placed again, the entry sits where it was meant to.
        entries.positionViewAtIndex(row, ListView.Beginning);
        entries.forceLayout();
        entries.positionViewAtIndex(row, ListView.Beginning);
    }

    objectName: "pairingDetailsSheet"
    width: Math.min(720, parent ? parent.width - 32 : 720)
    height: Math.min(620, parent ? parent.height - 32 : 620)

    header: ColumnLayout {
        spacing: 0

        SheetHeader {
            Layout.fillWidth: true
            title: "Pairing Details"
            subtitle: sheet.presenter.headerLine
            showsDone: true
            onDoneRequested: sheet.close()
        }
        Divider { Layout.fillWidth: true }
        Rectangle {
            objectName: "summaryBlock"
            Layout.fillWidth: true
            visible: sheet.presenter.summaryLines.length > 0
            implicitHeight: summaryColumn.implicitHeight + 20
            color: ToneColors.tinted(summaryTone, 0.12)

            readonly property color summaryTone: ToneColors.color(Tone.Value.caution, sheet.dark)

            ColumnLayout {
                id: summaryColumn
                anchors.fill: parent
                anchors.margins: 10
                anchors.leftMargin: 16
                spacing: 2

                Repeater {
                    model: sheet.presenter.summaryLines
                    delegate: Label {
                        required property string modelData
                        Layout.fillWidth: true
                        text: modelData
                        font.pixelSize: Theme.captionSize
                        opacity: 0.8
                        wrapMode: Text.Wrap
                    }
                }
            }
        }
    }

    contentItem: ListView {
        objectName: "pairingEntries"
        clip: true
        spacing: 12
        topMargin: 14
        bottomMargin: 14
        leftMargin: 14
        rightMargin: 14
        // Rows exist only while the sheet shows: a closed sheet would otherwise
        // rebuild a screenful of rows on the event loop at every scan.
        model: sheet.visible ? sheet.presenter.entries : null
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}
        delegate: PairingEntryRow {
            width: ListView.view.width - 28
            labels: sheet.presenter.detailLabels
            dark: sheet.dark
        }
    }
}
