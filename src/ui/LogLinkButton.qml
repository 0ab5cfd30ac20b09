// A log file of the run; pressing it shows the file selected in the file manager.
import QtQuick
import Tolvane

LinkButton {
    id: link

    required property string filename
    required property string path

    objectName: "logLink_" + filename
    text: filename
    onClicked: App.revealInFileManager(link.path)
}
