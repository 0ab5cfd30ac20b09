import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// The application's icon, name, version and what it does.
Sheet {
    id: sheet

    required property HelpPresenter help

    objectName: "aboutSheet"
    width: 380

    contentItem: ColumnLayout {
        spacing: 10

        Image {
            objectName: "appIcon"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 24
            Layout.preferredWidth: 96
            Layout.preferredHeight: 96
            sourceSize.width: 96
            sourceSize.height: 96
            source: "qrc:/Tolvane/icons/tolvane.svg"
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: sheet.help.applicationName
            font.bold: true
            font.pixelSize: Theme.titleSize
        }
        Label {
            objectName: "versionLine"
            Layout.alignment: Qt.AlignHCenter
            text: sheet.help.versionLine
            font.pixelSize: Theme.captionSize
            opacity: 0.7
        }
        SelectableText {
            objectName: "aboutDescription"
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 320
            horizontalAlignment: Text.AlignHCenter
            text: sheet.help.aboutDescription
            opacity: 0.8
        }
        SelectableText {
            objectName: "aboutNote"
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 320
            horizontalAlignment: Text.AlignHCenter
            text: sheet.help.aboutNote
            font.pixelSize: Theme.captionSize
            opacity: 0.7
        }
        Button {
            objectName: "doneButton"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 6
            Layout.bottomMargin: 20
            text: "Done"
            onClicked: sheet.close()
        }
    }
}
