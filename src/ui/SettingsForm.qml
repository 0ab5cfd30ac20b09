pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// The settings sheet's five sections, scrolling when the window is short.
ScrollView {
    id: form

    required property SettingsStore settings
    required property SettingsPresenter presenter
    required property bool dark

    objectName: "settingsScroller"
    clip: true
    contentWidth: availableWidth

    ColumnLayout {
        width: form.availableWidth
        spacing: 12

        SettingsSection {
            title: "Output"

            RowLayout {
                Layout.fillWidth: true
                spacing: 8

                Label { text: "Output Location" }
                Label {
                    objectName: "outputFolderPath"
                    Layout.fillWidth: true
                    text: form.settings.outputFolderText
                    font.family: Theme.monospaceFamily
                    elide: Text.ElideMiddle
                    opacity: 0.8
                }
                Button {
                    objectName: "chooseOutputButton"
                    text: "Choose…"
                    onClicked: App.chooseOutputFolder()
                }
            }
        }
        SettingsSection {
            title: "Video Quality"

            RowLayout {
                Layout.fillWidth: true
                spacing: 8

                Label { text: "ProRes Codec" }
                ComboBox {
                    objectName: "profilePicker"
                    Layout.fillWidth: true
                    model: form.presenter.profileLabels
                    currentIndex: form.presenter.profileIndex
                    onActivated: index => form.presenter.profileIndex = index
                }
            }
        }
        AudioSyncSection {
            settings: form.settings
            presenter: form.presenter
            dark: form.dark
        }
        PairingSafetySection {
            settings: form.settings
            presenter: form.presenter
            dark: form.dark
        }
        ConversionBehaviorSection {
            settings: form.settings
            presenter: form.presenter
        }
    }
}
