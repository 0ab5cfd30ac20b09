// Step 2: where the movies go, and the button to change it.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

Card {
    id: row

    required property SettingsStore settings
    required property bool isDisabled

    enabled: !isDisabled

    RowLayout {
        anchors.fill: parent
        spacing: 12

        StepBadge {
            number: 2
        }
        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true

            Label {
                text: "Output Folder"
                font.pixelSize: Theme.subheadlineSize
                font.weight: Font.DemiBold
            }
            Label {
                objectName: "outputFolderPath"
                text: row.settings.outputFolderText
                font.family: Theme.monospaceFamily
                font.pixelSize: Theme.captionSize
                color: palette.placeholderText
                elide: Text.ElideMiddle
                maximumLineCount: 1
                Layout.fillWidth: true
            }
        }
        Button {
            objectName: "changeOutputFolderButton"
            text: "Change…"
            onClicked: App.chooseOutputFolder()
        }
    }
}
