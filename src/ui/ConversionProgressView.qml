// The run under way: count, bar, current clip, percentage and times.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

Card {
    id: view

    required property ConversionViewModel driver

    // `entry`: the pairing entry of the clip whose details were asked for.
    signal pairingDetailsRequested(string entry)

    ProgressPresenter {
        id: presenter

        driver: view.driver
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        RowLayout {
            Layout.fillWidth: true

            Label {
                objectName: "progressTitle"
                text: presenter.title
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
                Layout.fillWidth: true
            }
            Label {
                objectName: "progressCount"
                text: presenter.countText
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
                color: palette.placeholderText
            }
        }
        ProgressBar {
            objectName: "progressBar"
            from: 0
            to: 1
            value: presenter.progress
            Layout.fillWidth: true
        }
        RowLayout {
            Layout.fillWidth: true

            Label {
                objectName: "progressClip"
                text: presenter.clipText
                font.pixelSize: Theme.calloutSize
                color: palette.placeholderText
                elide: Text.ElideMiddle
                Layout.fillWidth: true
            }
            Label {
                objectName: "progressPercent"
                text: presenter.percentText
                font.pixelSize: Theme.calloutSize
                color: palette.placeholderText
            }
        }
        Label {
            objectName: "ejectMessage"
            visible: text.length > 0
            text: App.backupFirst.ejectMessage
            color: ToneColors.color(Tone.Value.positive, palette.window.hslLightness < 0.5)
            font.pixelSize: Theme.calloutSize
            font.weight: Font.DemiBold
            Layout.fillWidth: true
        }
        RowLayout {
            spacing: 32

            TimingLabel {
                objectName: "elapsed"
                title: "Elapsed"
                value: presenter.elapsedText
            }
            TimingLabel {
                objectName: "remaining"
                title: "Remaining"
                value: presenter.remainingText
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
