#include "base/Platform.h"
#include "run/HistoryText.h"
#include "ScriptedDesktop.h"
#include "store/ConversionHistoryStore.h"
#include "store/MemoryKeyValueStore.h"
#include "store/SettingsStore.h"
#include "ui/HelpPresenter.h"
#include "ui/HistoryPresenter.h"
#include "ui/PairingDetailsPresenter.h"
#include "ui/PairingDetailsText.h"
#include "ui/SettingsPresenter.h"
#include "ui/Tone.h"
#include "UiTests.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

using PairingDetailsText::Status;

PairingReportEntry safeEntry(const QString& name, int order)
{
    PairingReportEntry entry;
    entry.clipID = QUuid::createUuid();
    entry.clipName = name;
    entry.xmlFile = name + QStringLiteral(".XML");
    entry.videoFile = name + QStringLiteral(".MXF");
    entry.audioFiles = {name + QStringLiteral("00.MXF"), name + QStringLiteral("01.MXF")};
    entry.method = P2Clip::PairingMethod::xmlVerified;
    entry.included = true;
    entry.startTimecode = QStringLiteral("01:02:03:04");
    entry.recordingDateTimeDisplay = QStringLiteral("2026-07-01T15:00:00Z");
    entry.sortKeySource = QStringLiteral("XML recording date/time");
    entry.exportOrderNumber = order;
    return entry;
}

PairingReportEntry excludedEntry(const QString& name)
{
    PairingReportEntry entry;
    entry.clipName = name;
    entry.videoFile = name + QStringLiteral(".MXF");
    entry.note = QStringLiteral("No CLIP XML verifies this video.");
    return entry;
}

QVariant row(const QAbstractItemModel& model, int row, int role)
{
    return model.data(model.index(row, 0), role);
}

const PlatformFacts& linuxFacts()
{
    static const PlatformFacts facts =
        Platform::factsFor(Platform::Kind::linuxDesktop, QStringLiteral("/home/u/Videos"));
    return facts;
}

const PlatformFacts& macFacts()
{
    static const PlatformFacts facts =
        Platform::factsFor(Platform::Kind::macOS, QStringLiteral("/Users/u/Movies"));
    return facts;
}

struct Settings
{
    std::shared_ptr<MemoryKeyValueStore> defaults = std::make_shared<MemoryKeyValueStore>();
    std::shared_ptr<ScriptedDesktop> desktop = std::make_shared<ScriptedDesktop>();
    SettingsStore store{defaults, desktop};
    SettingsPresenter presenter{store, linuxFacts()};
};

// A store whose every save fails, as a file in a read-only place would.
class UnwritableKeyValueStore final : public KeyValueStore
{
public:
    std::optional<QVariant> value(const QString& key) const override { return m_values.value(key); }
    void setValue(const QString& key, const QVariant& value) override { m_values.setValue(key, value); }
    void remove(const QString& key) override { m_values.remove(key); }
    std::optional<QString> exclusively(const std::function<void()>& work) override
    {
        work();
        return QStringLiteral("“/read-only/Tolvane.json”: Read-only file system");
    }
    void setSetAsideListener(std::function<void(const QString& notice)>) override {}

private:
    MemoryKeyValueStore m_values;
};

struct History
{
    std::shared_ptr<MemoryKeyValueStore> defaults = std::make_shared<MemoryKeyValueStore>();
    std::shared_ptr<ScriptedDesktop> desktop = std::make_shared<ScriptedDesktop>();
    ConversionHistoryStore store{defaults};
    HistoryPresenter presenter{store, desktop, QLocale(QLocale::English, QLocale::UnitedStates)};
};

} // namespace

class SheetPresentersTest : public QObject
{
    Q_OBJECT

private slots:
    // Pairing details

    void pairingNothingExcludedShowsNoExcludedPart()
    {
        const QList<PairingReportEntry> entries{safeEntry(QStringLiteral("A"), 1),
                                                safeEntry(QStringLiteral("B"), 2)};
        QCOMPARE(PairingDetailsText::headerLine(entries), QStringLiteral("2 clips will convert"));
        QCOMPARE(PairingDetailsText::headerLine(entries + QList{excludedEntry(QStringLiteral("C"))}),
                 QStringLiteral("2 clips will convert · 1 excluded"));
    }

    void pairingExcludedEntryWithoutAudioShowsDashAndExcludedBadge()
    {
        PairingEntriesModel model;
        model.setEntries({excludedEntry(QStringLiteral("C"))});
        QCOMPARE(row(model, 0, PairingEntriesModel::StatusRole).toInt(), static_cast<int>(Status::Excluded));
        QCOMPARE(row(model, 0, PairingEntriesModel::StatusTextRole).toString(), QStringLiteral("Excluded"));
        QCOMPARE(row(model, 0, PairingEntriesModel::StatusSymbolRole).toString(), QStringLiteral("✖"));
        QCOMPARE(row(model, 0, PairingEntriesModel::ToneRole).toInt(),
                 static_cast<int>(Tone::Value::negative));
        QCOMPARE(row(model, 0, PairingEntriesModel::NoteToneRole).toInt(),
                 static_cast<int>(Tone::Value::negative));
        const QStringList values = row(model, 0, PairingEntriesModel::DetailValuesRole).toStringList();
        QCOMPARE(values, (QStringList{QStringLiteral("— not numbered"), QStringLiteral("— none found"),
                                      QStringLiteral("C.MXF"), QStringLiteral("—"), QStringLiteral("unknown"),
                                      QStringLiteral("unknown"), QStringLiteral("not resolved"),
                                      QStringLiteral("Excluded — no verified match")}));
        QCOMPARE(row(model, 0, PairingEntriesModel::NoteRole).toString(),
                 QStringLiteral("No CLIP XML verifies this video."));
        QCOMPARE(row(model, 0, PairingEntriesModel::HasNoteRole).toBool(), true);
    }

    void pairingSingleIncludedEntryReadsOneClip()
    {
        QCOMPARE(PairingDetailsText::headerLine({safeEntry(QStringLiteral("A"), 1)}),
                 QStringLiteral("1 clip will convert"));
        QCOMPARE(PairingDetailsText::headerLine({}), QStringLiteral("0 clips will convert"));
    }

    void pairingSafeRowShowsEveryDetail()
    {
        PairingEntriesModel model;
        model.setEntries({safeEntry(QStringLiteral("0001AB"), 7)});
        QCOMPARE(PairingDetailsText::detailLabels(),
                 (QStringList{QStringLiteral("Export order"), QStringLiteral("XML file"),
                              QStringLiteral("Video MXF"), QStringLiteral("Audio MXFs"),
                              QStringLiteral("Recording date/time"), QStringLiteral("Start timecode"),
                              QStringLiteral("Sort key used"), QStringLiteral("Pairing method")}));
        QCOMPARE(
            row(model, 0, PairingEntriesModel::DetailValuesRole).toStringList(),
            (QStringList{QStringLiteral("007"), QStringLiteral("0001AB.XML"), QStringLiteral("0001AB.MXF"),
                         QStringLiteral("0001AB00.MXF, 0001AB01.MXF"), QStringLiteral("2026-07-01T15:00:00Z"),
                         QStringLiteral("01:02:03:04"), QStringLiteral("XML recording date/time"),
                         label(P2Clip::PairingMethod::xmlVerified)}));
        QCOMPARE(row(model, 0, PairingEntriesModel::StatusTextRole).toString(), QStringLiteral("Safe"));
        QCOMPARE(row(model, 0, PairingEntriesModel::StatusSymbolRole).toString(), QStringLiteral("✔"));
        QCOMPARE(row(model, 0, PairingEntriesModel::ToneRole).toInt(),
                 static_cast<int>(Tone::Value::positive));
        QCOMPARE(row(model, 0, PairingEntriesModel::NoteToneRole).toInt(),
                 static_cast<int>(Tone::Value::secondary));
        QCOMPARE(row(model, 0, PairingEntriesModel::NoteRole).toString(), QString());
        QCOMPARE(row(model, 0, PairingEntriesModel::HasNoteRole).toBool(), false);
    }

    void pairingFallbackRowIsUnsafe()
    {
        PairingReportEntry entry = safeEntry(QStringLiteral("A"), 12);
        entry.method = P2Clip::PairingMethod::filenamePrefixUnsafe;
        QCOMPARE(PairingDetailsText::status(entry), Status::Unsafe);
        QCOMPARE(PairingDetailsText::statusText(Status::Unsafe), QStringLiteral("Unsafe"));
        QCOMPARE(PairingDetailsText::statusSymbol(Status::Unsafe), QStringLiteral("⚠"));
        QCOMPARE(PairingDetailsText::tone(Status::Unsafe), Tone::Value::caution);
        QCOMPARE(PairingDetailsText::noteTone(Status::Unsafe), Tone::Value::caution);
        QCOMPARE(PairingDetailsText::detailValues(entry).at(0), QStringLiteral("012"));
        QCOMPARE(PairingDetailsText::detailValues(entry).at(7),
                 label(P2Clip::PairingMethod::filenamePrefixUnsafe));
    }

    // History

    void historyEmptyShowsEmptyStateAndZeroBatches()
    {
        History history;
        QVERIFY(history.presenter.isEmpty());
        QCOMPARE(history.presenter.batchCountText(), QStringLiteral("0 batches"));
        QCOMPARE(history.presenter.emptyText(), QStringLiteral("No conversions yet"));
        QCOMPARE(history.presenter.entries()->rowCount(), 0);
    }

    void historyOnlyConversionsShowConvertedCountAndCleanMark()
    {
        History history;
        history.store.record(QStringLiteral("CARD"), QStringLiteral("/out"), 5, 0, 0, 0);
        const HistoryModel& model = *history.presenter.entries();
        QCOMPARE(row(model, 0, HistoryModel::StatsLineRole).toString(), QStringLiteral("5 converted"));
        QCOMPARE(row(model, 0, HistoryModel::NeedsAttentionRole).toBool(), false);
        QCOMPARE(row(model, 0, HistoryModel::StatusMarkRole).toString(), QStringLiteral("✔"));
        QCOMPARE(row(model, 0, HistoryModel::ToneRole).toInt(), static_cast<int>(Tone::Value::positive));
        QCOMPARE(history.presenter.batchCountText(), QStringLiteral("1 batch"));
    }

    void historyOnlySkippedShowsZeroConvertedAndCleanMark()
    {
        History history;
        history.store.record(QStringLiteral("CARD"), QStringLiteral("/out"), 0, 0, 3, 0);
        const HistoryModel& model = *history.presenter.entries();
        QCOMPARE(row(model, 0, HistoryModel::StatsLineRole).toString(),
                 QStringLiteral("0 converted · 3 skipped"));
        QCOMPARE(row(model, 0, HistoryModel::NeedsAttentionRole).toBool(), false);
        QCOMPARE(row(model, 0, HistoryModel::StatusMarkRole).toString(), QStringLiteral("✔"));
        QCOMPARE(row(model, 0, HistoryModel::ToneRole).toInt(), static_cast<int>(Tone::Value::positive));
    }

    void historyClearWithSheetOpenEmptiesAtOnce()
    {
        History history;
        history.store.record(QStringLiteral("A"), QStringLiteral("/out/a"), 1, 0, 0, 0);
        history.store.record(QStringLiteral("B"), QStringLiteral("/out/b"), 1, 1, 0, 0);
        QCOMPARE(history.presenter.batchCountText(), QStringLiteral("2 batches"));
        QSignalSpy changed(&history.presenter, &HistoryPresenter::entriesChanged);
        history.presenter.clearHistory();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(history.presenter.batchCountText(), QStringLiteral("0 batches"));
        QVERIFY(history.presenter.isEmpty());
        QCOMPARE(history.presenter.entries()->rowCount(), 0);
        QCOMPARE(history.defaults->bytesValue(QStringLiteral("conversionHistoryV1")),
                 QByteArrayLiteral("[]"));
    }

    void aHistoryThatCannotBeClearedSaysWhy()
    {
        const auto defaults = std::make_shared<UnwritableKeyValueStore>();
        ConversionHistoryStore store{defaults};
        HistoryPresenter presenter{store, std::make_shared<ScriptedDesktop>(),
                                   QLocale(QLocale::English, QLocale::UnitedStates)};
        presenter.clearHistory();
        QCOMPARE(presenter.revealProblem(),
                 QStringLiteral(
                     "Could not clear the history (“/read-only/Tolvane.json”: Read-only file system)."));
    }

    void historyFollowsRunsRecordedWhileOpen()
    {
        History history;
        history.store.record(QStringLiteral("OLD"), QStringLiteral("/out/old"), 2, 0, 0, 0);
        history.store.record(QStringLiteral("NEW"), QStringLiteral("/out/new"), 4, 1, 0, 2);
        const HistoryModel& model = *history.presenter.entries();
        QCOMPARE(model.rowCount(), 2);
        QCOMPARE(row(model, 0, HistoryModel::CardNameRole).toString(), QStringLiteral("NEW"));
        QCOMPARE(row(model, 0, HistoryModel::OutputFolderRole).toString(), QStringLiteral("/out/new"));
        QCOMPARE(row(model, 0, HistoryModel::StatsLineRole).toString(),
                 QStringLiteral("4 converted · 1 failed · 2 excluded"));
        QCOMPARE(row(model, 0, HistoryModel::NeedsAttentionRole).toBool(), true);
        QCOMPARE(row(model, 0, HistoryModel::StatusMarkRole).toString(), QStringLiteral("⚠"));
        QCOMPARE(row(model, 0, HistoryModel::ToneRole).toInt(), static_cast<int>(Tone::Value::caution));
        QCOMPARE(row(model, 0, HistoryModel::DateTextRole).toString(),
                 HistoryText::dateText(history.store.entries().first().date,
                                       QLocale(QLocale::English, QLocale::UnitedStates)));
    }

    // A line break in a recorded name is shown escaped, as everywhere else.
    void historyRowsShowNamesEscaped()
    {
        History history;
        history.store.record(QStringLiteral("CARD\nB"), QStringLiteral("/out/a\tb"), 1, 0, 0, 0);
        const HistoryModel& model = *history.presenter.entries();
        QCOMPARE(row(model, 0, HistoryModel::CardNameRole).toString(), QStringLiteral("CARD\\nB"));
        QCOMPARE(row(model, 0, HistoryModel::OutputFolderRole).toString(), QStringLiteral("/out/a\\tb"));
    }

    void historyRevealShowsAnExistingFolder()
    {
        QTemporaryDir folder;
        History history;
        history.store.record(QStringLiteral("A"), folder.path(), 1, 0, 0, 0);
        history.presenter.reveal(0);
        QCOMPARE(history.desktop->revealed, QList<QStringList>{{folder.path()}});
        QCOMPARE(history.presenter.revealProblem(), QString());
    }

    void historyRevealOfAMissingFolderSaysSo()
    {
        History history;
        const QString gone = QStringLiteral("/nonexistent/Tolvane/07-01-2026");
        history.store.record(QStringLiteral("A"), gone, 1, 0, 0, 0);
        QSignalSpy problem(&history.presenter, &HistoryPresenter::revealProblemChanged);
        history.presenter.reveal(0);
        QVERIFY(history.desktop->revealed.isEmpty());
        QCOMPARE(problem.count(), 1);
        QCOMPARE(
            history.presenter.revealProblem(),
            QStringLiteral("“/nonexistent/Tolvane/07-01-2026” no longer exists. It was moved, renamed or "
                           "deleted after the run."));
        history.presenter.dismissRevealProblem();
        QCOMPARE(history.presenter.revealProblem(), QString());
    }

    // Settings

    void settingsSwitchingToAutoHidesSliderKeepsOffset()
    {
        Settings settings;
        settings.presenter.setSyncModeIndex(1);
        QVERIFY(settings.presenter.showsManualOffset());
        settings.presenter.setSliderValue(0.35);
        QSignalSpy shown(&settings.presenter, &SettingsPresenter::syncModeIndexChanged);
        settings.presenter.setSyncModeIndex(0);
        QCOMPARE(shown.count(), 1);
        QVERIFY(!settings.presenter.showsManualOffset());
        QCOMPARE(settings.store.audioSyncMode(), AudioSyncMode::automatic);
        QCOMPARE(settings.store.audioOffsetSeconds(), 0.35);
        QCOMPARE(settings.store.effectiveAudioOffsetSeconds(), 0.0);
        settings.presenter.setSyncModeIndex(1);
        QVERIFY(settings.presenter.showsManualOffset());
        QCOMPARE(settings.presenter.offsetText(), QStringLiteral("0.35 s"));
        QCOMPARE(settings.presenter.sliderValue(), 0.35);
    }

    void settingsPresetMinusHalfShowsMinusHalf()
    {
        Settings settings;
        QCOMPARE(settings.presenter.presetLabels(),
                 (QStringList{QStringLiteral("-0.5"), QStringLiteral("-0.2"), QStringLiteral("0.0"),
                              QStringLiteral("0.2"), QStringLiteral("0.5")}));
        QSignalSpy changed(&settings.presenter, &SettingsPresenter::offsetChanged);
        settings.presenter.applyPreset(0);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(settings.store.audioOffsetSeconds(), -0.5);
        QCOMPARE(settings.presenter.offsetText(), QStringLiteral("-0.50 s"));
        QCOMPARE(settings.defaults->doubleValue(QStringLiteral("audioOffsetSeconds")), -0.5);
        settings.presenter.resetOffset();
        QCOMPARE(settings.presenter.offsetText(), QStringLiteral("0.00 s"));
        QCOMPARE(settings.presenter.resetOffsetTitle(), QStringLiteral("Reset to Default (0.0)"));
    }

    void settingsSliderStopsAtItsLimitsStoreTakesAnyDouble()
    {
        Settings settings;
        settings.presenter.setSliderValue(-2.7);
        QCOMPARE(settings.store.audioOffsetSeconds(), -2.0);
        settings.presenter.setSliderValue(9.0);
        QCOMPARE(settings.store.audioOffsetSeconds(), 2.0);
        settings.store.setAudioOffsetSeconds(5.0);
        QCOMPARE(settings.store.audioOffsetSeconds(), 5.0);
        QCOMPARE(settings.presenter.sliderValue(), 2.0);
        QCOMPARE(settings.presenter.offsetText(), QStringLiteral("5.00 s"));
        QCOMPARE(settings.presenter.sliderMinimumValue(), -2.0);
        QCOMPARE(settings.presenter.sliderMaximumValue(), 2.0);
        QCOMPARE(settings.presenter.sliderStepValue(), 0.05);
    }

    void settingsSliderPositionsLieOnTheStep()
    {
        QCOMPARE(SettingsPresenter::sliderPosition(0.15000000000000013), 0.15);
        QCOMPARE(SettingsPresenter::sliderPosition(0.37), 0.35);
        QCOMPARE(SettingsPresenter::sliderPosition(-1.976), -2.0);
        QCOMPARE(SettingsPresenter::offsetText(-0.001), QStringLiteral("0.00 s"));
        QCOMPARE(SettingsPresenter::offsetText(1.5), QStringLiteral("1.50 s"));
        QCOMPARE(SettingsPresenter::offsetText(-2.0), QStringLiteral("-2.00 s"));
    }

    void settingsPickersFollowTheStore()
    {
        Settings settings;
        QCOMPARE(settings.presenter.profileLabels(),
                 (QStringList{QStringLiteral("ProRes 422 Proxy"), QStringLiteral("ProRes 422"),
                              QStringLiteral("ProRes 422 HQ")}));
        QCOMPARE(settings.presenter.syncModeLabels(),
                 (QStringList{QStringLiteral("Auto (from P2 metadata)"), QStringLiteral("Manual override")}));
        QCOMPARE(settings.presenter.profileIndex(), 2);
        QSignalSpy profile(&settings.presenter, &SettingsPresenter::profileIndexChanged);
        settings.presenter.setProfileIndex(0);
        QCOMPARE(settings.store.proResProfile(), ProResProfile::proxy);
        QCOMPARE(settings.defaults->value(QStringLiteral("proResProfile")), QVariant(0));
        settings.store.setProResProfile(ProResProfile::standard);
        QCOMPARE(settings.presenter.profileIndex(), 1);
        QCOMPARE(profile.count(), 2);
        settings.presenter.setProfileIndex(7);
        QCOMPARE(settings.store.proResProfile(), ProResProfile::standard);
    }

    void settingsFallbackWarningOnlyWhileAllowed()
    {
        Settings settings;
        QVERIFY(!settings.presenter.showsFallbackWarning());
        QSignalSpy shown(&settings.presenter, &SettingsPresenter::showsFallbackWarningChanged);
        settings.store.setAllowUnsafeFallbackPairing(true);
        QVERIFY(settings.presenter.showsFallbackWarning());
        QCOMPARE(shown.count(), 1);
        QCOMPARE(settings.presenter.fallbackWarning(),
                 QStringLiteral(
                     "Unverified clips will be paired by filename, then by sort order. This can attach "
                     "the wrong audio to a clip. Always check \"View Pairing Details\" before converting."));
    }

    void settingsCaptionsUseThePlatformsWords()
    {
        Settings settings;
        QCOMPARE(
            settings.presenter.numberingCaption(),
            QStringLiteral("Names exports by verified shoot order (e.g. “001.mov”, “002.mov”) so the file "
                           "manager's name sort matches filming order."));
        SettingsPresenter mac(settings.store, macFacts());
        QCOMPARE(
            mac.numberingCaption(),
            QStringLiteral("Names exports by verified shoot order (e.g. “001.mov”, “002.mov”) so Finder's "
                           "name sort matches filming order."));
    }

    void settingsSayWhatClipMetadataWrites()
    {
        Settings settings;
        QCOMPARE(
            settings.presenter.clipMetadataCaption(),
            QStringLiteral("Each movie takes its clip’s name as its reel name, and its recording date and "
                           "time, user clip name, camera, shooter, scene, take, memo and UMID from the "
                           "CLIP XML as metadata."));
    }

    // Help and about

    void helpGuidesHoldTheirSectionsInOrder()
    {
        HelpPresenter help(linuxFacts(), QStringLiteral("0.1.0"), QStringLiteral("42"));
        QCOMPARE(help.howToUse()->title(), QStringLiteral("How to Use Tolvane"));
        QCOMPARE(help.howToUse()->subtitle(),
                 QStringLiteral("Convert Panasonic HPX/P2 card footage to ProRes MOV"));
        QCOMPARE(help.howToUse()->sections()->rowCount(), 5);
        QCOMPARE(
            row(*help.howToUse()->sections(), 4, InfoSectionModel::BodyRole).toString(),
            QStringLiteral("A clean run shows just the clip count and output folder, with \"Show in File "
                           "Manager\" and \"Convert Another P2 Card\" buttons. If anything needs attention, "
                           "\"Advanced Details\" expands automatically with full logs."));
        QCOMPARE(help.troubleshooting()->title(), QStringLiteral("Troubleshooting"));
        QCOMPARE(help.troubleshooting()->subtitle(), QStringLiteral("Common issues and how to resolve them"));
        QStringList headings;
        for (int i = 0; i < help.troubleshooting()->sections()->rowCount(); ++i)
            headings.append(
                row(*help.troubleshooting()->sections(), i, InfoSectionModel::HeadingRole).toString());
        QCOMPARE(headings, (QStringList{QStringLiteral("\"ffmpeg not found\""),
                                        QStringLiteral("\"No video MXF files were found\""),
                                        QStringLiteral("Clips excluded from conversion"),
                                        QStringLiteral("Audio seems out of sync"),
                                        QStringLiteral("Clips are in the wrong order"),
                                        QStringLiteral("Where are the logs?")}));
    }

    void helpTroubleshootingNamesThePlatformsInstall()
    {
        QCOMPARE(
            HelpTexts::troubleshooting(linuxFacts()).sections.first().body,
            QStringLiteral("Tolvane needs ffmpeg and ffprobe installed via your package manager. Open a "
                           "terminal and run: sudo apt install ffmpeg — then use Help > Check FFmpeg Install "
                           "to confirm, no relaunch needed."));
        QCOMPARE(HelpTexts::troubleshooting(macFacts()).sections.first().body,
                 QStringLiteral(
                     "Tolvane needs ffmpeg and ffprobe installed via Homebrew. Open Terminal and run: "
                     "brew install ffmpeg — then use Help > Check FFmpeg Install to confirm, no relaunch "
                     "needed."));
    }

    void aboutShowsVersionBuildAndDescriptions()
    {
        HelpPresenter help(linuxFacts(), QStringLiteral("0.1.0"), QStringLiteral("42"));
        QCOMPARE(help.aboutTitle(), QStringLiteral("About Tolvane"));
        QCOMPARE(help.applicationName(), QStringLiteral("Tolvane"));
        QCOMPARE(help.versionLine(), QStringLiteral("Version 0.1.0 (42)"));
        QCOMPARE(
            help.aboutDescription(),
            QStringLiteral("Converts Panasonic HPX170 / P2 card footage into ready for any editor, "
                           "high-quality Apple ProRes .mov files — without Premiere, Media Encoder, or a "
                           "terminal."));
        QCOMPARE(
            HelpTexts::aboutDescription(macFacts()),
            QStringLiteral("Converts Panasonic HPX170 / P2 card footage into Finder-readable, high-quality "
                           "Apple ProRes .mov files — without Premiere, Media Encoder, or Terminal."));
        QCOMPARE(help.aboutNote(),
                 QStringLiteral(
                     "Video/audio pairing is verified against Panasonic CLIP XML metadata by UMID — the "
                     "same mechanism Adobe Premiere Pro uses — so clips never get the wrong audio by "
                     "guesswork."));
        QVERIFY(help.websiteUrl().isValid());
        QVERIFY(help.contactUrl().isValid());
    }

    void aboutVersionLineWithoutBuildOrVersion()
    {
        QCOMPARE(HelpTexts::versionLine(QStringLiteral("1.2"), QStringLiteral("34")),
                 QStringLiteral("Version 1.2 (34)"));
        QCOMPARE(HelpTexts::versionLine(QStringLiteral("1.2"), QString()), QStringLiteral("Version 1.2"));
        QCOMPARE(HelpTexts::versionLine(QString(), QStringLiteral("34")), QStringLiteral("Version unknown"));
    }
};

int runSheetPresentersTests(int argc, char* argv[])
{
    SheetPresentersTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "SheetPresentersTest.moc"
