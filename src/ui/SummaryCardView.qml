// The run that ended: heading, folder, next steps and its details and logs.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

Card {
    id: view

    required property ConversionViewModel driver

    // `entry`: the pairing entry of the clip whose details were asked for.
    signal pairingDetailsRequested(string entry)

    readonly property bool dark: palette.window.hslLightness < 0.5
    readonly property color secondary: palette.placeholderText

    RunSummaryPresenter {
        id: presenter

        driver: view.driver
    }

    // Each run's card starts closed; failures open it by themselves, once,
    // when the run's summary arrives.
    Connections {
        target: view.driver

        function onSummaryChanged() {
            details.expanded = presenter.opensDetails;
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        RowLayout {
            spacing: 12

            Symbol {
                objectName: "summaryIcon"
                name: presenter.iconName
                size: 32
            }
            ColumnLayout {
                spacing: 2

                Label {
                    objectName: "summaryHeading"
                    text: presenter.heading
                    color: ToneColors.color(presenter.headingTone, view.dark, palette.windowText)
                    font.pixelSize: Theme.headlineSize
                    font.weight: Font.DemiBold
                }
                Label {
                    objectName: "summaryDetail"
                    text: presenter.detailLine
                    font.pixelSize: Theme.subheadlineSize
                    color: view.secondary
                }
            }
        }
        RowLayout {
            spacing: 6
            Layout.fillWidth: true

            Symbol {
                name: "folder"
                size: 16
            }
            Label {
                objectName: "summaryFolder"
                text: presenter.outputFolderText
                font.family: Theme.monospaceFamily
                font.pixelSize: Theme.captionSize
                color: view.secondary
                elide: Text.ElideMiddle
                Layout.fillWidth: true
            }
        }
        RowLayout {
            spacing: 8

            Button {
                objectName: "revealOutputButton"
                text: App.texts.revealInFileManagerTitle
                icon.name: "document-open-folder"
                onClicked: view.driver.revealOutputFolder()
            }
            Button {
                objectName: "convertAnotherButton"
                text: "Convert Another P2 Card"
                highlighted: true
                onClicked: view.driver.resetToIdle()
            }
        }
        Label {
            objectName: "excludedCaption"
            visible: text.length > 0
            text: presenter.excludedCaption
            color: ToneColors.color(Tone.Value.caution, view.dark)
            font.pixelSize: Theme.captionSize
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        Label {
            objectName: "summaryBackupLine"
            visible: text.length > 0
            text: App.backupFirst.resultText
            font.pixelSize: Theme.calloutSize
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        Label {
            objectName: "summaryBackupCopies"
            visible: text.length > 0
            text: App.backupFirst.copiesText
            font.family: Theme.monospaceFamily
            font.pixelSize: Theme.captionSize
            color: palette.placeholderText
            Layout.fillWidth: true
        }
        DisclosureGroup {
            id: details

            objectName: "summaryAdvancedDetails"
            title: "Advanced Details"
            Layout.fillWidth: true
            onExpandedChanged: presenter.refreshLogLinks()

            RowLayout {
                spacing: 16

                StatColumn {
                    title: "Converted"
                    value: presenter.converted
                    tint: ToneColors.color(Tone.Value.positive, view.dark)
                }
                ToolSeparator {
                    Layout.preferredHeight: 28
                }
                StatColumn {
                    title: "Skipped"
                    value: presenter.skipped
                    tint: ToneColors.color(Tone.Value.informative, view.dark)
                }
                ToolSeparator {
                    Layout.preferredHeight: 28
                }
                StatColumn {
                    title: "Failed"
                    value: presenter.failed
                    tint: ToneColors.color(presenter.failedTone, view.dark, view.secondary)
                }
                ToolSeparator {
                    Layout.preferredHeight: 28
                }
                StatColumn {
                    title: "Missing Audio"
                    value: presenter.missingAudio
                    tint: ToneColors.color(presenter.missingAudioTone, view.dark, view.secondary)
                }
                ToolSeparator {
                    Layout.preferredHeight: 28
                }
                StatColumn {
                    title: "Excluded"
                    value: presenter.excluded
                    tint: ToneColors.color(presenter.excludedTone, view.dark, view.secondary)
                }
            }
            Label {
                text: "Logs saved in the output folder:"
                font.pixelSize: Theme.captionSize
                color: view.secondary
            }
            Flow {
                spacing: 12
                Layout.fillWidth: true

                Repeater {
                    objectName: "logLinks"
                    model: presenter.logLinks

                    LogLinkButton {}
                }
            }
        }

        ClipListView {
            objectName: "clipListView"
            driver: view.driver
            Layout.fillWidth: true
            onPairingDetailsRequested: entry => view.pairingDetailsRequested(entry)
        }
    }
}
