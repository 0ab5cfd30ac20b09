#include "base/Platform.h"
#include "run/ProgressText.h"
#include "TestFiles.h"
#include "ui/AppMaintenance.h"
#include "ui/CardSummaryPresenter.h"
#include "ui/FreeSpaceConfirmation.h"
#include "ui/MainWindowPresenter.h"
#include "ui/PlatformTexts.h"
#include "ui/ProgressPresenter.h"
#include "ui/RunSummaryPresenter.h"
#include "ui/SessionPresenter.h"
#include "ui/UiText.h"
#include "UiTests.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString readyTail = QStringLiteral(" ready to convert — pairing verified by CLIP XML/UMID");

ConversionSummary summaryOf(int converted, int failed, int skipped, int missingAudio, qint64 excluded)
{
    return {.converted = converted,
            .failed = failed,
            .skipped = skipped,
            .missingAudio = missingAudio,
            .excludedByPairing = excluded,
            .outputFolder = QStringLiteral("/movies/07-01-2026")};
}

void touch(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("x\n");
}

} // namespace

// The rules the views show, each a pure function of the driver's state.
class PresenterTest : public QObject
{
    Q_OBJECT

private slots:
    void countsTakeThePluralExactlyWhenNotOne()
    {
        QCOMPARE(UiText::counted(0, QStringLiteral("clip")), QStringLiteral("0 clips"));
        QCOMPARE(UiText::counted(1, QStringLiteral("clip")), QStringLiteral("1 clip"));
        QCOMPARE(UiText::counted(2, QStringLiteral("file")), QStringLiteral("2 files"));
    }

    // --- Card summary ---

    void everyClipExcludedShowsTheRedLineAndTheExclusionBox()
    {
        const CardStatus status = CardSummaryPresenter::statusFor(0, false, 4);
        QCOMPARE(status.tone, Tone::Value::negative);
        QCOMPARE(status.iconName, QStringLiteral("dialog-error"));
        QCOMPARE(status.text, QStringLiteral("No clips could be verified — see Advanced Details"));
        QCOMPARE(CardSummaryPresenter::readyLineFor(0), QStringLiteral("0 clips") + readyTail);
        QCOMPARE(CardSummaryPresenter::exclusionTitleFor(4),
                 QStringLiteral("4 clips excluded — no verified XML/UMID pairing"));
    }

    void oneVerifiedClipAndNothingExcluded()
    {
        const CardStatus status = CardSummaryPresenter::statusFor(1, true, 0);
        QCOMPARE(status.tone, Tone::Value::positive);
        QCOMPARE(status.iconName, QStringLiteral("security-high"));
        QCOMPARE(status.text, QStringLiteral("P2 card verified — 1 clip ready"));
        QCOMPARE(CardSummaryPresenter::readyLineFor(1), QStringLiteral("1 clip") + readyTail);
    }

    void unsafeFallbackWithTwoClipsByFilenameAndNoneExcluded()
    {
        P2Clip first;
        first.pairingMethod = P2Clip::PairingMethod::filenamePrefixUnsafe;
        P2Clip second = first;
        QVERIFY(!CardSummaryPresenter::allVerified({first, second}));
        const CardStatus status = CardSummaryPresenter::statusFor(2, false, 0);
        QCOMPARE(status.tone, Tone::Value::caution);
        QCOMPARE(status.iconName, QStringLiteral("dialog-warning"));
        QCOMPARE(status.text, QStringLiteral("2 clips ready — some used unsafe fallback pairing"));
    }

    void unverifiedClipsWithExclusionsNeedAttention()
    {
        QCOMPARE(CardSummaryPresenter::statusFor(2, false, 3).text,
                 QStringLiteral("2 clips ready — 3 need attention"));
        QCOMPARE(CardSummaryPresenter::statusFor(1, false, 1).tone, Tone::Value::caution);
    }

    void threeVerifiedClipsAndOneExcluded()
    {
        P2Clip verified;
        verified.pairingMethod = P2Clip::PairingMethod::xmlVerified;
        QVERIFY(CardSummaryPresenter::allVerified({verified, verified, verified}));
        const CardStatus status = CardSummaryPresenter::statusFor(3, true, 1);
        QCOMPARE(status.tone, Tone::Value::positive);
        QCOMPARE(status.text, QStringLiteral("P2 card verified — 3 clips ready"));
        QVERIFY(CardSummaryPresenter::showsExclusionsFor(1));
        QCOMPARE(CardSummaryPresenter::exclusionTitleFor(1),
                 QStringLiteral("1 clip excluded — no verified XML/UMID pairing"));
    }

    void noClipsAndNothingExcludedLeavesTheReasonToTheScanError()
    {
        QVERIFY(!CardSummaryPresenter::allVerified({}));
        QVERIFY(!CardSummaryPresenter::showsExclusionsFor(0));
        const CardStatus status = CardSummaryPresenter::statusFor(0, false, 0);
        QCOMPARE(status.tone, Tone::Value::caution);
        QCOMPARE(status.text, QStringLiteral("No clips to convert"));
    }

    void missingAudioFolderShowsADashedCircle()
    {
        const StructureBadge missing = StructureBadge::make(QStringLiteral("AUDIO"), false, 0);
        QCOMPARE(missing.label, QStringLiteral("AUDIO missing"));
        QCOMPARE(missing.iconName, QStringLiteral("tolvane-circle-dashed"));
        QCOMPARE(missing.countText, QStringLiteral("0 files"));
        const StructureBadge found = StructureBadge::make(QStringLiteral("CLIP metadata"), true, 1);
        QCOMPARE(found.label, QStringLiteral("CLIP metadata found"));
        QCOMPARE(found.iconName, QStringLiteral("emblem-success"));
        QCOMPARE(found.countText, QStringLiteral("1 file"));
    }

    void cardNameIsTheRootsLastComponent()
    {
        QCOMPARE(CardSummaryPresenter::cardNameOf(QStringLiteral("/media/cards/Shoot Day 2/")),
                 QStringLiteral("Shoot Day 2"));
        QCOMPARE(CardSummaryPresenter::cardNameOf(QString()), QStringLiteral("P2 Card"));
        // Escaped as every name shown: a line feed cannot break the card's title.
        QCOMPARE(CardSummaryPresenter::cardNameOf(QStringLiteral("/media/two\nlines\x1b")),
                 QStringLiteral("two\\nlines\\x1b"));
        QCOMPARE(CardSummaryPresenter::cardNameOf(QStringLiteral("/")), QStringLiteral("P2 Card"));
    }

    // --- Progress ---

    void elapsedTimesRoundToWholeSeconds()
    {
        QCOMPARE(ProgressText::formatted(59.6), QStringLiteral("1:00"));
        QCOMPARE(ProgressText::formatted(3599.4), QStringLiteral("59:59"));
        QCOMPARE(ProgressText::formatted(3599.5), QStringLiteral("1:00:00"));
    }

    void progressWithoutARunWaitsForItsFirstClip()
    {
        const ProgressPresenter presenter;
        QCOMPARE(presenter.title(), QStringLiteral("Converting"));
        QCOMPARE(presenter.clipText(), QStringLiteral("Preparing…"));
        QCOMPARE(presenter.remainingText(), QStringLiteral("Calculating…"));
        QCOMPARE(presenter.percentText(), QStringLiteral("0%"));
        QCOMPARE(presenter.elapsedText(), QStringLiteral("0:00"));
    }

    // --- Run summary ---

    void oneConvertedClipAndNothingSkipped()
    {
        QCOMPARE(RunSummaryPresenter::detailLineFor(summaryOf(1, 0, 0, 0, 0)),
                 QStringLiteral("1 clip converted"));
        QCOMPARE(RunSummaryPresenter::detailLineFor(summaryOf(3, 0, 2, 0, 0)),
                 QStringLiteral("3 clips converted · 2 skipped (already existed)"));
        QCOMPARE(RunSummaryPresenter::headingFor(summaryOf(1, 0, 0, 0, 0)),
                 QStringLiteral("Conversion Complete"));
    }

    void aRunThatEndedEarlySaysWhatItDidNotStart()
    {
        ConversionSummary summary = summaryOf(1, 1, 0, 0, 0);
        summary.notStarted = 2;
        summary.stop = RunStop::cancelled;
        QCOMPARE(RunSummaryPresenter::detailLineFor(summary),
                 QStringLiteral("1 clip converted · 2 not started — the run was cancelled"));
        QCOMPARE(RunSummaryPresenter::headingFor(summary), QStringLiteral("Conversion Cancelled"));
        summary.failed = 0;
        summary.stop = RunStop::outputFull;
        QCOMPARE(RunSummaryPresenter::headingFor(summary), QStringLiteral("Conversion Stopped"));
        QCOMPARE(RunSummaryPresenter::headingToneFor(summary), Tone::Value::caution);
        QCOMPARE(RunSummaryPresenter::iconNameFor(summary), QStringLiteral("dialog-warning"));
        QCOMPARE(RunSummaryPresenter::detailLineFor(summary),
                 QStringLiteral("1 clip converted · 2 not started — the output folder’s disk is full"));
    }

    void failuresShowTheOrangeHeadingEvenWithConvertedClips()
    {
        const ConversionSummary summary = summaryOf(4, 1, 0, 0, 0);
        QCOMPARE(RunSummaryPresenter::headingFor(summary), QStringLiteral("Finished with some issues"));
        QCOMPARE(RunSummaryPresenter::headingToneFor(summary), Tone::Value::caution);
        QCOMPARE(RunSummaryPresenter::iconNameFor(summary), QStringLiteral("dialog-warning"));
        QCOMPARE(RunSummaryPresenter::iconNameFor(summaryOf(4, 0, 0, 0, 0)), QStringLiteral("security-high"));
        QCOMPARE(RunSummaryPresenter::headingToneFor(summaryOf(4, 0, 0, 0, 0)), Tone::Value::secondary);
    }

    void onlyFailuresOpenTheDetailsByThemselves()
    {
        QVERIFY(RunSummaryPresenter::opensDetailsFor(summaryOf(0, 1, 0, 0, 0)));
        QVERIFY(!RunSummaryPresenter::opensDetailsFor(summaryOf(1, 0, 2, 1, 3)));
    }

    void excludedClipsGetTheirCaption()
    {
        QCOMPARE(RunSummaryPresenter::excludedCaptionFor(summaryOf(1, 0, 0, 0, 0)), QString());
        QCOMPARE(RunSummaryPresenter::excludedCaptionFor(summaryOf(1, 0, 0, 0, 1)),
                 QStringLiteral("1 clip had no verified XML/UMID pairing and were not converted. Enable "
                                "\"Allow unsafe fallback pairing\" in Settings to include them, or check "
                                "PAIRING_REPORT.txt."));
        QVERIFY(RunSummaryPresenter::excludedCaptionFor(summaryOf(0, 0, 0, 0, 2))
                    .startsWith(QStringLiteral("2 clips had")));
    }

    void withoutFailuresThereIsNoErrorsLogLink()
    {
        QTemporaryDir folder;
        touch(folder.filePath(QStringLiteral("CONVERSION_REPORT.txt")));
        touch(folder.filePath(QStringLiteral("PAIRING_REPORT.txt")));
        LogLinksModel links;
        links.reload(folder.path());
        QCOMPARE(links.count(), 2);
        QCOMPARE(links.data(links.index(0), LogLinksModel::FilenameRole).toString(),
                 QStringLiteral("CONVERSION_REPORT.txt"));
        QCOMPARE(links.data(links.index(1), LogLinksModel::FilenameRole).toString(),
                 QStringLiteral("PAIRING_REPORT.txt"));
        QCOMPARE(links.data(links.index(1), LogLinksModel::PathRole).toString(),
                 folder.filePath(QStringLiteral("PAIRING_REPORT.txt")));

        // A run with failures leaves FFMPEG_ERRORS.txt, listed in its fixed place.
        touch(folder.filePath(QStringLiteral("FFMPEG_ERRORS.txt")));
        touch(folder.filePath(QStringLiteral("DEBUG_REPORT.txt")));
        links.reload(folder.path());
        QStringList names;
        for (int row = 0; row < links.count(); ++row)
            names << links.data(links.index(row), LogLinksModel::FilenameRole).toString();
        QCOMPARE(names, LogLinksModel::candidates());
        links.reload(QString());
        QCOMPARE(links.count(), 0);
    }

    // --- Main window ---

    void finishedWithoutSummaryLeavesTheCentralAreaEmpty()
    {
        using Phase = ConversionViewModel::Phase;
        using View = MainWindowPresenter::CentralView;
        QCOMPARE(MainWindowPresenter::centralViewFor(Phase::finished, false), View::nothing);
        QCOMPARE(MainWindowPresenter::centralViewFor(Phase::finished, true), View::runSummary);
        QCOMPARE(MainWindowPresenter::centralViewFor(Phase::idle, false), View::dropZone);
        QCOMPARE(MainWindowPresenter::centralViewFor(Phase::scanning, false), View::dropZone);
        QCOMPARE(MainWindowPresenter::centralViewFor(Phase::scanned, false), View::cardSummary);
        QCOMPARE(MainWindowPresenter::centralViewFor(Phase::converting, false), View::progress);
        QCOMPARE(MainWindowPresenter::centralViewFor(Phase::cancelling, false), View::progress);
        // The footer's folder depends on the run's folder alone, whatever the central area shows.
        QVERIFY(MainWindowPresenter::footerShowsFolderFor(QStringLiteral("/movies/07-01-2026")));
        QVERIFY(!MainWindowPresenter::footerShowsFolderFor(std::nullopt));
    }

    // The question a run refused for want of space asks: the refusal's own
    // sentence, what converting anyway means, and the cancelling button last.
    void aRunThatCannotFitAsksWithTheRefusalsOwnSentence()
    {
        QCOMPARE(FreeSpaceConfirmation::question(), QStringLiteral("Not enough free space"));
        QCOMPARE(
            FreeSpaceConfirmation::detail(QStringLiteral("Not enough free space in “/out/07-01-2026”: the "
                                                         "movies need about 12.4 GB and 3.1 GB is free.")),
            QStringLiteral("Not enough free space in “/out/07-01-2026”: the movies need about 12.4 GB and "
                           "3.1 GB is free. If you convert anyway, the run stops at the first movie that "
                           "does not fit."));
        QCOMPARE(FreeSpaceConfirmation::buttons(),
                 QStringList({QStringLiteral("Convert Anyway"), QStringLiteral("Cancel")}));
    }

    // The question quitting asks during a run and during a backup: each in
    // its own words, with what stopping loses and what is still to do.
    void quittingDuringARunOrABackupAsksInItsOwnWords()
    {
        QCOMPARE(SessionPresenter::quitQuestion(), QStringLiteral("Stop converting and quit?"));
        QCOMPARE(SessionPresenter::keepConvertingTitle(), QStringLiteral("Keep Converting"));
        QCOMPARE(SessionPresenter::stopAndQuitTitle(), QStringLiteral("Stop and Quit"));
        QCOMPARE(
            SessionPresenter::clipsLeftText(1),
            QStringLiteral("1 clip still to convert. Stopping ends the running clip without leaving part "
                           "of a movie, and the reports are written."));

        using Stage = BackupProgress::Stage;
        const qint64 gigabytes = qint64(2100) * 1000 * 1000;
        QCOMPARE(SessionPresenter::backupQuitQuestion(), QStringLiteral("Stop the backup and quit?"));
        QCOMPARE(SessionPresenter::keepBackingUpTitle(), QStringLiteral("Keep Backing Up"));
        const QString stopping = QStringLiteral(
            "The card is not backed up yet: stopping leaves no partial copy, and the backup is recorded in "
            "the history as cancelled.");
        QCOMPARE(SessionPresenter::backupLeftText(Stage::copying, gigabytes),
                 QStringLiteral("2.1 GB still to copy. ") + stopping);
        QCOMPARE(SessionPresenter::backupLeftText(Stage::verifying, gigabytes),
                 QStringLiteral("2.1 GB of the copies still to read back and check. ") + stopping);
        // Nothing said of the bytes before they are counted or once a stage is through them.
        QCOMPARE(SessionPresenter::backupLeftText(Stage::preparing, 0), stopping);
        QCOMPARE(SessionPresenter::backupLeftText(Stage::copying, 0), stopping);
        QCOMPARE(SessionPresenter::backupLeftText(Stage::verifying, 0), stopping);
        const QString recording = QStringLiteral(
            "The copies are proven and their ASC MHL history is being written. Tolvane quits once it is "
            "written, and the backup is recorded in the history.");
        QCOMPARE(SessionPresenter::backupLeftText(Stage::recording, 0), recording);
        QCOMPARE(SessionPresenter::backupLeftText(Stage::finished, 0), recording);
    }

    // The footer is one line: a folder's name can neither break it nor hide part of itself.
    void theFootersFolderIsEscapedAsEveryNameShown()
    {
        QCOMPARE(MainWindowPresenter::footerFolderFor(QStringLiteral("/movies/07-01-2026")),
                 QStringLiteral("/movies/07-01-2026"));
        QCOMPARE(MainWindowPresenter::footerFolderFor(QStringLiteral("/movies/two\nlines\t\x1b[31mred ü")),
                 QStringLiteral("/movies/two\\nlines\\t\\x1b[31mred ü"));
        QCOMPARE(MainWindowPresenter::footerFolderFor(std::nullopt), QString());
    }

    void onlyALocalFileAsFirstItemCanBeDropped()
    {
        const QUrl card = QUrl::fromLocalFile(QStringLiteral("/media/card one/CONTENTS"));
        QVERIFY(MainWindowPresenter::acceptsDrop({card}));
        QVERIFY(MainWindowPresenter::acceptsDrop({card, QUrl(QStringLiteral("https://example.org/"))}));
        QVERIFY(!MainWindowPresenter::acceptsDrop({QUrl(QStringLiteral("https://example.org/")), card}));
        QVERIFY(!MainWindowPresenter::acceptsDrop({}));
        QVERIFY(!MainWindowPresenter::acceptsDrop({QUrl()}));
    }

    // --- Platform words and menu alerts ---

    void platformTextsUseTheDesktopsWords()
    {
        const PlatformTexts linux(
            Platform::factsFor(Platform::Kind::linuxDesktop, QStringLiteral("/home/u/Videos")));
        QCOMPARE(linux.revealInFileManagerTitle(), QStringLiteral("Show in File Manager"));
        QCOMPARE(linux.revealOutputTitle(), QStringLiteral("Show Output in File Manager"));
        QCOMPARE(linux.ffmpegInstallCommand(), QStringLiteral("sudo apt install ffmpeg"));
        QCOMPARE(linux.ffmpegMissingDetail(),
                 QStringLiteral(
                     "Tolvane needs ffmpeg to convert clips. Install it with your package manager, then "
                     "reopen this window:"));
        QCOMPARE(linux.aboutTitle(), QStringLiteral("About Tolvane"));
        const PlatformTexts mac(Platform::factsFor(Platform::Kind::macOS, QStringLiteral("/Users/u/Movies")));
        QCOMPARE(mac.revealInFileManagerTitle(), QStringLiteral("Reveal in Finder"));
        QCOMPARE(mac.ffmpegMissingDetail(),
                 QStringLiteral(
                     "Tolvane needs ffmpeg to convert clips. Install it with Homebrew, then reopen this "
                     "window:"));
    }

    void ffmpegAlertTextsNameThePathsAndTheInstallCommand()
    {
        QCOMPARE(AppMaintenance::toolPathsText(QStringLiteral("/usr/local/bin/ffmpeg"), std::nullopt),
                 QStringLiteral("ffmpeg: /usr/local/bin/ffmpeg\nffprobe: not found"));
        QCOMPARE(AppMaintenance::toolPathsText(std::nullopt, QStringLiteral("/usr/bin/ffprobe")),
                 QStringLiteral("ffmpeg: unknown\nffprobe: /usr/bin/ffprobe"));
        QCOMPARE(AppMaintenance::ffmpegMissingText(Platform::factsFor(Platform::Kind::macOS, QString())),
                 QStringLiteral(
                     "Tolvane looks for ffmpeg/ffprobe at /opt/homebrew/bin and /usr/local/bin. Install "
                     "it with Homebrew, then check again:\n\nbrew install ffmpeg"));
        QCOMPARE(
            AppMaintenance::ffmpegMissingText(Platform::factsFor(Platform::Kind::linuxDesktop, QString())),
            QStringLiteral("Tolvane looks for ffmpeg/ffprobe at /usr/local/bin and /usr/bin. Install it with "
                           "your package manager, then check again:\n\nsudo apt install ffmpeg"));
    }
};

int runPresenterTests(int argc, char* argv[])
{
    PresenterTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "PresenterTest.moc"
