pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// The audio sync mode and, in manual mode only, the offset's slider and presets.
SettingsSection {
    id: section

    required property SettingsStore settings
    required property SettingsPresenter presenter
    required property bool dark

    title: "Audio Sync"

    RowLayout {
        Layout.fillWidth: true
        spacing: 8

        Label { text: "Audio Sync Mode" }
        ComboBox {
            objectName: "syncModePicker"
            Layout.fillWidth: true
            model: section.presenter.syncModeLabels
            currentIndex: section.presenter.syncModeIndex
            onActivated: index => section.presenter.syncModeIndex = index
        }
    }
    Caption { text: section.presenter.syncCaption }

    // Grows open and fades in when the mode becomes manual; shrinks away otherwise.
    Item {
        id: manualBlock
        objectName: "manualOffsetBlock"
        Layout.fillWidth: true
        Layout.preferredHeight: section.presenter.showsManualOffset ? manualColumn.implicitHeight : 0
        visible: Layout.preferredHeight > 0
        opacity: section.presenter.showsManualOffset ? 1 : 0
        clip: true

        Behavior on Layout.preferredHeight { NumberAnimation { duration: 180; easing.type: Easing.OutCubic } }
        Behavior on opacity { NumberAnimation { duration: 180 } }

        ColumnLayout {
            id: manualColumn
            width: parent.width
            spacing: 8

            RowLayout {
                Layout.fillWidth: true
                spacing: 8

                Slider {
                    objectName: "offsetSlider"
                    Layout.fillWidth: true
                    from: section.presenter.sliderMinimum
                    to: section.presenter.sliderMaximum
                    stepSize: section.presenter.sliderStep
                    snapMode: Slider.SnapAlways
                    value: section.presenter.sliderValue
                    onMoved: section.presenter.sliderValue = value
                }
                Label {
                    objectName: "offsetText"
                    text: section.presenter.offsetText
                    font.family: Theme.monospaceFamily
                    horizontalAlignment: Text.AlignRight
                    Layout.preferredWidth: Math.ceil(offsetMetrics.advanceWidth) + 4

                    TextMetrics {
                        id: offsetMetrics
                        font.family: Theme.monospaceFamily
                        text: "-0.00 s"
                    }
                }
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 6

                Repeater {
                    model: section.presenter.presetLabels
                    delegate: Button {
                        required property string modelData
                        required property int index
                        objectName: "preset" + index
                        // The five share the row equally, however narrow the sheet.
                        Layout.fillWidth: true
                        Layout.preferredWidth: 1
                        text: modelData
                        onClicked: section.presenter.applyPreset(index)
                    }
                }
            }
            Button {
                id: resetButton
                objectName: "resetOffsetButton"
                flat: true
                text: section.presenter.resetOffsetTitle
                contentItem: Label {
                    text: resetButton.text
                    color: section.palette.link
                    font.underline: resetButton.visualFocus
                }
                onClicked: section.presenter.resetOffset()
            }
        }
    }
}
