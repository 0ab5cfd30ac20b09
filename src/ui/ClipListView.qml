// The clips of a card: one row per movie in shooting order, then the clips
// pairing left out; a checkbox chooses what Convert converts, and once a run
// has started each row shows how its movie is doing.
pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

ColumnLayout {
    id: view

    required property ConversionViewModel driver

    // `entry`: the pairing entry of the clip whose details were asked for.
    signal pairingDetailsRequested(string entry)

    readonly property bool dark: palette.window.hslLightness < 0.5

    function requestDetails(index: int) {
        view.pairingDetailsRequested(presenter.entryOf(index));
    }

    spacing: 6

    ClipListPresenter {
        id: presenter

        driver: view.driver
        active: view.visible
    }

    RowLayout {
        spacing: 12
        Layout.fillWidth: true

        Label {
            objectName: "chosenLine"
            text: presenter.chosenText
            font.pixelSize: Theme.captionSize
            font.weight: Font.Medium
            Layout.fillWidth: true
        }
        LinkButton {
            objectName: "selectAllButton"
            text: "Select All"
            enabled: presenter.canSelectAll
            onClicked: presenter.selectAll()
        }
        LinkButton {
            objectName: "selectNoneButton"
            text: "Select None"
            enabled: presenter.canSelectNone
            onClicked: presenter.selectNone()
        }
    }

    ListView {
        id: list

        readonly property int rowHeight: 64

        objectName: "clipList"
        model: presenter.model
        clip: true
        activeFocusOnTab: true
        keyNavigationEnabled: true
        // Rows scrolled out of sight serve the rows scrolled in. Rows are not
        // built ahead out of sight: the window would build them in batches of
        // up to 10 ms of its own time between frames.
        reuseItems: true
        cacheBuffer: 0
        boundsBehavior: Flickable.StopAtBounds
        implicitHeight: Math.min(count, 6) * rowHeight
        Layout.fillWidth: true
        Accessible.role: Accessible.List
        Accessible.name: "Clips"
        ScrollBar.vertical: ScrollBar {
        }

        // Rows built after the list appeared start from the first, as rows built with it do.
        onCountChanged: if (currentIndex < 0 && count > 0)
            currentIndex = 0
        Keys.onSpacePressed: presenter.toggle(list.currentIndex)
        Keys.onReturnPressed: view.requestDetails(list.currentIndex)
        Keys.onEnterPressed: view.requestDetails(list.currentIndex)

        delegate: Item {
            id: row

            required property int index
            required property string key
            required property string name
            required property string outputName
            required property string details
            required property string pairing
            required property string pieces
            required property bool included
            required property bool chosen
            required property string status
            required property real progress
            required property string thumbnail
            required property bool canOpen
            required property string accessibleName

            width: list.width
            height: list.rowHeight
            Accessible.role: Accessible.ListItem
            Accessible.name: accessibleName
            Accessible.onPressAction: view.requestDetails(row.index)

            Rectangle {
                anchors.fill: parent
                visible: row.ListView.isCurrentItem && list.activeFocus
                color: view.palette.highlight
                opacity: 0.25
            }
            MouseArea {
                anchors.fill: parent
                onClicked: list.currentIndex = row.index
                onDoubleClicked: presenter.openMovie(row.key)
            }

            RowLayout {
                anchors.fill: parent
                anchors.margins: 4
                spacing: 8

                CheckBox {
                    objectName: "chooseBox"
                    checked: row.chosen
                    enabled: row.included && presenter.canChoose
                    focusPolicy: Qt.NoFocus
                    Accessible.name: row.name
                    onToggled: presenter.setChosen(row.key, checked)
                }
                Rectangle {
                    color: view.palette.mid
                    radius: 3
                    implicitWidth: 96
                    implicitHeight: 54

                    Image {
                        objectName: "thumbnail"
                        anchors.fill: parent
                        source: row.thumbnail
                        asynchronous: true
                        fillMode: Image.PreserveAspectFit
                        // Loaded at the size it is drawn (times the screen's pixel
                        // ratio), so no frame scales it again.
                        sourceSize.height: 54
                    }
                }
                ColumnLayout {
                    spacing: 1
                    Layout.fillWidth: true

                    Label {
                        text: row.outputName.length > 0 ? row.outputName + "  ·  " + row.name : row.name
                        font.weight: Font.DemiBold
                        elide: Text.ElideRight
                        opacity: row.included ? 1 : 0.6
                        Layout.fillWidth: true
                    }
                    Label {
                        text: row.details
                        font.pixelSize: Theme.captionSize
                        color: view.palette.placeholderText
                        elide: Text.ElideRight
                        Layout.fillWidth: true
                    }
                    Label {
                        text: row.pieces.length > 0 ? row.pairing + "  ·  " + row.pieces : row.pairing
                        font.pixelSize: Theme.captionSize
                        color: row.included ? view.palette.placeholderText : ToneColors.color(Tone.Value.negative, view.dark)
                        elide: Text.ElideRight
                        Layout.fillWidth: true
                    }
                }
                ClipRowState {
                    // An excluded clip's pairing line says so already.
                    showsStatus: row.included
                    status: row.status
                    progress: row.progress
                    canOpen: row.canOpen
                    // One width for every row with a status, so the statuses
                    // line up; none before a run, when no row has one.
                    Layout.preferredWidth: (showsStatus && status.length > 0) || canOpen ? 180 : 0
                    Layout.maximumWidth: 220
                    onShowInFolderRequested: presenter.showInFolder(row.key)
                }
            }
        }
    }
}
