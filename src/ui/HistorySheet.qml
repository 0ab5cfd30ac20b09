pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// The recorded conversion runs, newest first, following the history as it changes.
Sheet {
    id: sheet

    required property HistoryPresenter presenter

    objectName: "historySheet"
    width: Math.min(560, parent ? parent.width - 32 : 560)
    height: Math.min(460, parent ? parent.height - 32 : 460)

    onAboutToShow: presenter.dismissRevealProblem()

    header: ColumnLayout {
        spacing: 0

        SheetHeader {
            Layout.fillWidth: true
            title: "Recent Conversions"
            subtitle: sheet.presenter.batchCountText
        }
        Divider { Layout.fillWidth: true }
    }

    contentItem: StackLayout {
        currentIndex: sheet.presenter.isEmpty ? 0 : 1

        ColumnLayout {
            objectName: "emptyState"
            spacing: 8

            Item { Layout.fillHeight: true }
            Label {
                Layout.alignment: Qt.AlignHCenter
                text: "↺"
                font.pixelSize: Theme.titleSize * 2
                opacity: 0.6
            }
            Label {
                objectName: "emptyText"
                Layout.alignment: Qt.AlignHCenter
                Layout.minimumHeight: implicitHeight
                text: sheet.presenter.emptyText
                opacity: 0.7
            }
            Item { Layout.fillHeight: true }
        }
        ListView {
            objectName: "historyEntries"
            clip: true
            spacing: 8
            topMargin: 12
            bottomMargin: 12
            leftMargin: 12
            rightMargin: 12
            // Rows exist only while the sheet shows, so a run's new entry
            // rebuilds nothing behind a closed sheet.
            model: sheet.visible ? sheet.presenter.entries : null
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            delegate: HistoryRow {
                width: ListView.view.width - 24
                dark: sheet.dark
                onRevealRequested: sheet.presenter.reveal(index)
            }
        }
    }

    footer: ColumnLayout {
        spacing: 0

        Divider { Layout.fillWidth: true }
        SheetFooter {
            Layout.fillWidth: true
            onDoneRequested: sheet.close()

            Button {
                objectName: "clearHistoryButton"
                text: "Clear History"
                onClicked: sheet.presenter.clearHistory()
            }
            Label {
                objectName: "revealProblem"
                Layout.fillWidth: true
                visible: sheet.presenter.revealProblem.length > 0
                text: sheet.presenter.revealProblem
                color: ToneColors.color(Tone.Value.caution, sheet.dark)
                font.pixelSize: Theme.captionSize
                wrapMode: Text.Wrap
            }
        }
    }
}
