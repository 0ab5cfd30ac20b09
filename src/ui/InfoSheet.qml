pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// A guide: its title and subtitle above headed sections whose bodies can be
// selected and copied.
Sheet {
    id: sheet

    required property InfoGuide guide

    width: Math.min(560, parent ? parent.width - 32 : 560)
    height: Math.min(560, parent ? parent.height - 32 : 560)

    header: ColumnLayout {
        spacing: 0

        SheetHeader {
            Layout.fillWidth: true
            title: sheet.guide.title
            subtitle: sheet.guide.subtitle
        }
        Divider { Layout.fillWidth: true }
    }

    contentItem: ListView {
        objectName: "sections"
        clip: true
        spacing: 16
        topMargin: 20
        bottomMargin: 20
        model: sheet.guide.sections
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}
        delegate: InfoSection {
            width: ListView.view.width - 40
            x: 20
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
