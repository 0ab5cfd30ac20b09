// The main window's content: header, banners, the central area chosen by the
// driver's phase, and the footer with the run's folder and the next step.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

Page {
    id: content

    required property AppCommands commands
    required property SheetHost sheets

    readonly property ConversionViewModel driver: App.driver

    implicitWidth: 640
    implicitHeight: 560

    MainWindowPresenter {
        id: presenter

        driver: content.driver
    }

    header: ColumnLayout {
        spacing: 0

        RowLayout {
            Layout.fillWidth: true
            Layout.margins: Theme.pagePadding
            Layout.bottomMargin: 12
            Layout.topMargin: 16

            ColumnLayout {
                spacing: 2

                Label {
                    text: "Tolvane"
                    font.pixelSize: Theme.title2Size
                    font.bold: true
                }
                Label {
                    text: "Convert HPX/P2 cards to ProRes MOV"
                    font.pixelSize: Theme.subheadlineSize
                    color: palette.placeholderText
                }
            }
            Item {
                Layout.fillWidth: true
            }
            ToolButton {
                objectName: "settingsButton"
                icon.name: "configure"
                icon.width: 22
                icon.height: 22
                hoverEnabled: true
                ToolTip.visible: hovered
                ToolTip.text: "Advanced Settings"
                ToolTip.delay: 600
                Accessible.name: "Advanced Settings"
                onClicked: content.sheets.openSettings()
            }
        }
        FFmpegMissingBanner {
            objectName: "ffmpegMissingBanner"
            visible: presenter.showsFFmpegBanner
            Layout.fillWidth: true
        }
        MenuSeparator {
            padding: 0
            Layout.fillWidth: true
        }
    }

    ScrollView {
        id: scroll

        objectName: "mainScrollView"
        anchors.fill: parent
        contentWidth: availableWidth

        ColumnLayout {
            width: scroll.availableWidth
            spacing: Theme.stackSpacing

            ScanErrorBanner {
                objectName: "storeNoticeBanner"
                visible: App.storeNotice.length > 0
                message: App.storeNotice
                Layout.fillWidth: true
                Layout.topMargin: Theme.pagePadding
                Layout.leftMargin: Theme.pagePadding
                Layout.rightMargin: Theme.pagePadding
            }
            ScanErrorBanner {
                objectName: "scanErrorBanner"
                visible: presenter.scanError.length > 0
                message: presenter.scanError
                Layout.fillWidth: true
                Layout.topMargin: Theme.pagePadding
                Layout.leftMargin: Theme.pagePadding
                Layout.rightMargin: Theme.pagePadding
            }
            DropZoneView {
                objectName: "dropZone"
                visible: presenter.centralView === MainWindowPresenter.CentralView.dropZone
                isTargeted: dropArea.containsDrag && dropArea.acceptable
                isScanning: presenter.isScanning
                Layout.fillWidth: true
                Layout.topMargin: presenter.scanError.length > 0 ? 0 : Theme.pagePadding
                Layout.leftMargin: Theme.pagePadding
                Layout.rightMargin: Theme.pagePadding
                onChooseFolderRequested: content.driver.chooseFolder()

                DropArea {
                    id: dropArea

                    property bool acceptable: false

                    objectName: "dropArea"
                    anchors.fill: parent
                    keys: ["text/uri-list"]
                    onEntered: drag => {
                        acceptable = presenter.acceptsDrop(drag.urls);
                        drag.accepted = acceptable;
                    }
                    onExited: acceptable = false
                    onDropped: drop => {
                        drop.accepted = presenter.drop(drop.urls);
                        acceptable = false;
                    }
                }
            }
            CardSummaryView {
                objectName: "cardSummary"
                visible: presenter.centralView === MainWindowPresenter.CentralView.cardSummary
                driver: content.driver
                Layout.fillWidth: true
                Layout.topMargin: presenter.scanError.length > 0 ? 0 : Theme.pagePadding
                Layout.leftMargin: Theme.pagePadding
                Layout.rightMargin: Theme.pagePadding
                onPairingDetailsRequested: entry => content.sheets.openPairingDetailsAt(entry)
            }
            ConversionProgressView {
                objectName: "progressView"
                visible: presenter.centralView === MainWindowPresenter.CentralView.progress
                driver: content.driver
                Layout.fillWidth: true
                Layout.topMargin: Theme.pagePadding
                Layout.leftMargin: Theme.pagePadding
                Layout.rightMargin: Theme.pagePadding
                onPairingDetailsRequested: entry => content.sheets.openPairingDetailsAt(entry)
            }
            SummaryCardView {
                objectName: "summaryCard"
                visible: presenter.centralView === MainWindowPresenter.CentralView.runSummary
                driver: content.driver
                Layout.fillWidth: true
                Layout.topMargin: Theme.pagePadding
                Layout.leftMargin: Theme.pagePadding
                Layout.rightMargin: Theme.pagePadding
                onPairingDetailsRequested: entry => content.sheets.openPairingDetailsAt(entry)
            }
            OutputFolderRow {
                objectName: "outputFolderRow"
                visible: presenter.showsOutputFolderRow
                settings: App.settings
                isDisabled: content.driver.isConverting
                Layout.fillWidth: true
                Layout.leftMargin: Theme.pagePadding
                Layout.rightMargin: Theme.pagePadding
            }
            Item {
                implicitHeight: Theme.pagePadding - Theme.stackSpacing
            }
        }
    }

    footer: ToolBar {
        padding: Theme.cardPadding

        RowLayout {
            anchors.fill: parent
            spacing: 8

            Symbol {
                visible: presenter.footerShowsFolder
                name: "folder"
                size: 16
            }
            Label {
                objectName: "footerFolder"
                visible: presenter.footerShowsFolder
                text: presenter.footerFolder
                elide: Text.ElideMiddle
                Layout.fillWidth: true
            }
            Button {
                objectName: "openOutputFolderButton"
                visible: presenter.footerShowsFolder
                text: "Open Output Folder"
                onClicked: content.driver.revealOutputFolder()
            }
            Label {
                objectName: "footerCaption"
                visible: !presenter.footerShowsFolder
                text: presenter.footerCaption
                font.pixelSize: Theme.captionSize
                color: palette.placeholderText
                elide: Text.ElideRight
                Layout.fillWidth: true
            }
            Button {
                objectName: "cancelButton"
                visible: presenter.footerShowsCancel
                text: "Cancel"
                onClicked: content.driver.cancel()
            }
            StepBadge {
                visible: presenter.footerShowsConvert
                number: 3
            }
            Button {
                objectName: "convertButton"
                visible: presenter.footerShowsConvert
                action: content.commands.convert
                icon.name: ""
                highlighted: true
                font.pixelSize: Theme.headlineSize
                padding: 10
                leftPadding: 24
                rightPadding: 24
            }
        }
    }
}
