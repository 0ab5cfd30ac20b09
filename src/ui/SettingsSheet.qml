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

    contentItem: SettingsForm {
        settings: sheet.settings
        presenter: sheet.presenter
        dark: sheet.dark
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
