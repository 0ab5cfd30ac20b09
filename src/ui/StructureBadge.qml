// Whether one of the card's folders was found, and how many files it holds.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

RowLayout {
    id: badge

    required property structureBadge info

    spacing: 6

    Symbol {
        name: badge.info.iconName
        size: 16
        Layout.alignment: Qt.AlignTop
    }
    ColumnLayout {
        spacing: 0

        Label {
            text: badge.info.label
            font.pixelSize: Theme.captionSize
            font.weight: Font.Medium
        }
        Label {
            text: badge.info.countText
            font.pixelSize: Theme.captionSize
            color: palette.placeholderText
        }
    }
}
