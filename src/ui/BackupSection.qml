// "Back Up First": one or two destinations the card is copied to and proven
// on before Convert turns the first verified copy into movies.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

ColumnLayout {
    id: section

    required property BackupSettings settings
    required property BackupFirst backup

    spacing: 6

    CheckBox {
        objectName: "backUpFirstCheck"
        text: "Back Up First"
        checked: section.settings.backUpFirst
        enabled: !section.backup.isBackingUp
        onToggled: section.settings.backUpFirst = checked
    }
    component DestinationRow: RowLayout {
        id: destinationRow

        required property int index
        required property BackupSettings settings
        required property BackupFirst backup

        visible: destinationRow.settings.backUpFirst
        spacing: 8
        Layout.fillWidth: true
        Layout.leftMargin: 28

        Label {
            objectName: "backupDestination" + destinationRow.index
            text: destinationRow.index < destinationRow.settings.destinations.length
                  ? destinationRow.settings.destinations[destinationRow.index]
                  : (destinationRow.index === 0 ? "No destination chosen" : "Second copy (optional)")
            font.family: Theme.monospaceFamily
            font.pixelSize: Theme.captionSize
            color: palette.placeholderText
            elide: Text.ElideMiddle
            maximumLineCount: 1
            Layout.fillWidth: true
        }
        Button {
            objectName: "chooseBackupDestination" + destinationRow.index
            text: "Choose…"
            enabled: !destinationRow.backup.isBackingUp
            onClicked: App.chooseBackupDestination(destinationRow.index)
        }
    }
    DestinationRow {
        index: 0
        settings: section.settings
        backup: section.backup
    }
    DestinationRow {
        index: 1
        settings: section.settings
        backup: section.backup
    }
    ColumnLayout {
        visible: section.backup.isBackingUp
        spacing: 4
        Layout.fillWidth: true

        ProgressBar {
            objectName: "backupProgressBar"
            from: 0
            to: 1
            value: section.backup.progress
            Layout.fillWidth: true
        }
        RowLayout {
            Layout.fillWidth: true

            Label {
                objectName: "backupProgressLine"
                text: section.backup.progressLine
                font.pixelSize: Theme.calloutSize
                color: palette.placeholderText
                Layout.fillWidth: true
            }
            Button {
                objectName: "cancelBackupButton"
                text: "Cancel"
                onClicked: section.backup.cancel()
            }
        }
    }
    Label {
        objectName: "backupResultLine"
        visible: !section.backup.isBackingUp && text.length > 0
        text: section.backup.resultText
        wrapMode: Text.Wrap
        font.pixelSize: Theme.calloutSize
        Layout.fillWidth: true
    }
}
