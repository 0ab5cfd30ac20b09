// Step 1 once a card is scanned: its verdict, exclusions, checks and exports.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

Card {
    id: view

    required property ConversionViewModel driver

    // `entry`: the pairing entry to show first, empty for the top.
    signal pairingDetailsRequested(string entry)

    CardSummaryPresenter {
        id: presenter

        driver: view.driver
    }

    // Every new scan starts with the details closed.
    Connections {
        target: view.driver

        function onCardStructureChanged() {
            details.expanded = false;
        }
    }

    readonly property bool dark: palette.window.hslLightness < 0.5
    readonly property color red: ToneColors.color(Tone.Value.negative, dark)

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        RowLayout {
            spacing: 12
            Layout.fillWidth: true

            StepBadge {
                number: 1
            }
            ColumnLayout {
                spacing: 2
                Layout.fillWidth: true

                Label {
                    objectName: "cardName"
                    text: presenter.cardName
                    font.pixelSize: Theme.headlineSize
                    font.weight: Font.DemiBold
                    elide: Text.ElideRight
                    Layout.fillWidth: true
                }
                Label {
                    objectName: "cardPath"
                    text: presenter.cardPathText
                    font.pixelSize: Theme.captionSize
                    color: palette.placeholderText
                    elide: Text.ElideMiddle
                    Layout.fillWidth: true
                }
            }
            Button {
                objectName: "revealCardButton"
                flat: true
                text: App.texts.revealInFileManagerTitle
                icon.name: "document-open-folder"
                enabled: !view.driver.isConverting
                onClicked: App.revealInFileManager(presenter.cardPath)
            }
            Button {
                objectName: "chooseDifferentFolderButton"
                text: "Choose a Different Folder…"
                enabled: !view.driver.isConverting
                onClicked: view.driver.chooseFolder()
            }
        }

        RowLayout {
            spacing: 8

            Symbol {
                name: presenter.statusIcon
                size: 20
            }
            Label {
                objectName: "cardStatusText"
                text: presenter.statusText
                color: ToneColors.color(presenter.statusTone, view.dark, palette.windowText)
                font.pixelSize: Theme.bodySize
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
                Layout.fillWidth: true
            }
        }

        Label {
            objectName: "joinedShotsLine"
            visible: text.length > 0
            text: view.driver.joinedShotsText
            font.pixelSize: Theme.captionSize
            color: palette.placeholderText
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        Label {
            objectName: "readyLine"
            text: presenter.readyLine
            font.pixelSize: Theme.captionSize
            font.weight: Font.Medium
            color: palette.placeholderText
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        Rectangle {
            objectName: "exclusionBox"
            visible: presenter.showsExclusions
            radius: 6
            color: ToneColors.tinted(view.red, 0.10)
            implicitHeight: exclusion.implicitHeight + 16
            Layout.fillWidth: true

            ColumnLayout {
                id: exclusion

                anchors.fill: parent
                anchors.margins: 8
                spacing: 4

                RowLayout {
                    spacing: 6

                    Symbol {
                        name: "dialog-error"
                        size: 16
                    }
                    Label {
                        objectName: "exclusionTitle"
                        text: presenter.exclusionTitle
                        color: view.red
                        font.pixelSize: Theme.captionSize
                        font.weight: Font.DemiBold
                        wrapMode: Text.Wrap
                        Layout.fillWidth: true
                    }
                }
                Label {
                    text: presenter.exclusionDetail
                    font.pixelSize: Theme.captionSize
                    color: palette.placeholderText
                    wrapMode: Text.Wrap
                    Layout.fillWidth: true
                }
            }
        }

        Flow {
            spacing: 12
            Layout.fillWidth: true

            LinkButton {
                objectName: "viewPairingDetailsButton"
                text: "View Pairing Details…"
                onClicked: view.pairingDetailsRequested("")
            }
            LinkButton {
                objectName: "exportPairingReportButton"
                text: "Export Pairing Report Only…"
                help: presenter.exportPairingHelp
                onClicked: view.driver.exportPairingReportOnly()
            }
            LinkButton {
                objectName: "exportDebugReportButton"
                text: "Export Debug Report…"
                help: presenter.exportDebugHelp
                enabled: view.driver.canExportDebugReport
                onClicked: view.driver.exportDebugReportOnly()
            }
            Row {
                visible: view.driver.isGeneratingDebugReport
                spacing: 6

                BusyIndicator {
                    running: view.driver.isGeneratingDebugReport
                    width: 18
                    height: 18
                }
                Label {
                    objectName: "generatingLabel"
                    text: "Generating…"
                    font.pixelSize: Theme.captionSize
                    color: palette.placeholderText
                    anchors.verticalCenter: parent.verticalCenter
                }
            }
        }

        BackupSection {
            settings: App.backupSettings
            backup: App.backupFirst
            Layout.fillWidth: true
        }

        ClipListView {
            objectName: "clipListView"
            driver: view.driver
            Layout.fillWidth: true
            onPairingDetailsRequested: entry => view.pairingDetailsRequested(entry)
        }

        DisclosureGroup {
            id: details

            objectName: "cardAdvancedDetails"
            title: "Advanced Details"
            Layout.fillWidth: true

            Flow {
                spacing: 24
                Layout.fillWidth: true

                StructureBadge {
                    objectName: "videoBadge"
                    info: presenter.videoBadge
                }
                StructureBadge {
                    objectName: "audioBadge"
                    info: presenter.audioBadge
                }
                StructureBadge {
                    objectName: "clipBadge"
                    info: presenter.clipBadge
                }
            }
            MenuSeparator {
                Layout.fillWidth: true
            }
            Repeater {
                model: view.driver.pairingSummaryLines

                Label {
                    required property string modelData

                    text: modelData
                    font.pixelSize: Theme.captionSize
                    wrapMode: Text.Wrap
                    Layout.fillWidth: true
                }
            }
        }
    }
}
