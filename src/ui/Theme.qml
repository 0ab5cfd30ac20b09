pragma Singleton

// Text sizes and spacing shared by every view, in device-independent pixels.
import QtQuick

QtObject {
    readonly property int titleSize: 22
    readonly property int title2Size: 18
    readonly property int headlineSize: 15
    readonly property int bodySize: 13
    readonly property int calloutSize: 13
    readonly property int subheadlineSize: 12
    readonly property int captionSize: 11
    readonly property int cardPadding: 14
    readonly property int cardRadius: 10
    readonly property int pagePadding: 24
    readonly property int stackSpacing: 16
    readonly property string monospaceFamily: "monospace"
}
