pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// Every setting, each control bound to the settings store: a change is stored at once.
Sheet {
    id: sheet

    required property SettingsStore settings
    required property SettingsPresenter presenter

    objectName: "settingsSheet"
    width: Math.min(480, parent ? parent.width - 32 : 480)
    height: Math.min(720, parent ? parent.height - 32 : 720)

    header: ColumnLayout {
        spacing: 0

        SheetHeader {
            Layout.fillWidth: true
            title: "Settings"
            subtitle: "Changes are saved as you make them."
        }
        Divider { Layout.fillWidth: true }
    }

    contentItem: ScrollView {
        id: scroller
        objectName: "settingsScroller"
        clip: true
        contentWidth: availableWidth

        ColumnLayout {
            width: scroller.availableWidth
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
                        text: sheet.settings.outputFolderPath
                        font.family: MonospaceFont.font.family
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
                        model: sheet.presenter.profileLabels
                        currentIndex: sheet.presenter.profileIndex
                        onActivated: index => sheet.presenter.profileIndex = index
                    }
                }
            }
            AudioSyncSection {
                settings: sheet.settings
                presenter: sheet.presenter
                dark: sheet.dark
            }
            PairingSafetySection {
                settings: sheet.settings
                presenter: sheet.presenter
                dark: sheet.dark
            }
            ConversionBehaviorSection {
                settings: sheet.settings
                presenter: sheet.presenter
            }
        }
    }

    footer: ColumnLayout {
        spacing: 0

        Divider { Layout.fillWidth: true }
        SheetFooter {
            Layout.fillWidth: true
            onDoneRequested: sheet.close()
        }
    }
}
