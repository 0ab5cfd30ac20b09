import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tolvane

// Whether unverifiable clips may be paired by a guess, with the warning while they may.
SettingsSection {
    id: section

    required property SettingsStore settings
    required property SettingsPresenter presenter
    required property bool dark

    title: "Pairing Safety"

    CheckBox {
        objectName: "unsafeFallbackCheckBox"
        text: "Allow unsafe fallback pairing"
        checked: section.settings.allowUnsafeFallbackPairing
        onToggled: section.settings.allowUnsafeFallbackPairing = checked
    }
    Caption { text: section.presenter.pairingCaption }
    RowLayout {
        objectName: "fallbackWarning"
        Layout.fillWidth: true
        visible: section.presenter.showsFallbackWarning
        spacing: 6

        Label {
            Layout.alignment: Qt.AlignTop
            text: "⚠"
            color: ToneColors.color(Tone.Value.caution, section.dark)
        }
        Label {
            Layout.fillWidth: true
            text: section.presenter.fallbackWarning
            font.pixelSize: Theme.captionSize
            wrapMode: Text.Wrap
        }
    }
}
