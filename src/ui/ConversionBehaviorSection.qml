import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// Naming, revealing and skipping: the choices read when a conversion starts.
SettingsSection {
    id: section

    required property SettingsStore settings
    required property SettingsPresenter presenter

    title: "Conversion Behavior"

    CheckBox {
        objectName: "numberingCheckBox"
        text: "Number exports by shoot order"
        checked: section.settings.prefixExportsWithOrderNumber
        onToggled: section.settings.prefixExportsWithOrderNumber = checked
    }
    Caption { text: section.presenter.numberingCaption }
    Divider { Layout.fillWidth: true }
    CheckBox {
        objectName: "openFolderCheckBox"
        text: "Open output folder when finished"
        checked: section.settings.openOutputFolderWhenFinished
        onToggled: section.settings.openOutputFolderWhenFinished = checked
    }
    Divider { Layout.fillWidth: true }
    CheckBox {
        objectName: "skipExistingCheckBox"
        text: "Skip existing files"
        checked: section.settings.skipExistingFiles
        onToggled: section.settings.skipExistingFiles = checked
    }
    Caption { text: section.presenter.skipExistingCaption }
    Divider { Layout.fillWidth: true }
    CheckBox {
        objectName: "joinSpannedCheckBox"
        text: "Join spanned recordings into one movie"
        checked: section.settings.joinSpannedRecordings
        onToggled: section.settings.joinSpannedRecordings = checked
    }
    Caption { text: section.presenter.joinSpannedCaption }
    Divider { Layout.fillWidth: true }
    CheckBox {
        objectName: "clipMetadataCheckBox"
        text: "Write clip metadata into movies"
        checked: section.settings.writeClipMetadata
        onToggled: section.settings.writeClipMetadata = checked
    }
    Caption { text: section.presenter.clipMetadataCaption }
}
