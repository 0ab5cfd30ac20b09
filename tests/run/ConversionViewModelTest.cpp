#include "run/ConversionViewModel.h"

#include "base/Workers.h"
#include "card/PairingReport.h"
#include "DriverSession.h"
#include "media/FFmpegService.h"
#include "ScriptedDesktop.h"
#include "store/ConversionHistoryStore.h"
#include "store/MemoryKeyValueStore.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <functional>
#include <memory>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSemaphore>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

using Phase = ConversionViewModel::Phase;

namespace {

// Only a guard against a hang: every wait ends as soon as the work is done.
constexpr int workTimeoutMs = 300000;

const QString readyText = QStringLiteral("Ready.");
const QString noVideoText =
    QStringLiteral("No video MXF files were found in this folder. Make sure you selected a P2 card (or its "
                   "CONTENTS folder) containing a VIDEO folder.");
const QString oneVerifiedText = QStringLiteral("Found 1 clip — 1 with audio, all verified via CLIP XML.");
const QString twoWithOneUnsafeText = QStringLiteral(
    "Found 2 clips — 2 with audio. 1 used UNSAFE fallback pairing — check \"View Pairing Details\".");

QStringList videoNames(const QList<P2Clip>& clips)
{
    QStringList names;
    for (const P2Clip& clip : clips)
        names.append(QFileInfo(clip.videoURL).fileName());
    return names;
}

SyntheticCard::ClipSpec clipWithoutXml(int n, int audioCount)
{
    SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, audioCount);
    clip.writeXml = false;
    return clip;
}

// Every thread of a pool (the workers' by default) busy until the object goes,
// so work handed to that pool meanwhile cannot start, let alone end.
class WorkersHeld
{
public:
    explicit WorkersHeld(QThreadPool* pool = Workers::pool()) : m_workers(pool->maxThreadCount())
    {
        for (int i = 0; i < m_workers; ++i)
            pool->start([gates = m_gates] {
                gates->started.release();
                gates->released.acquire();
            });
        m_gates->started.acquire(m_workers);
    }
    ~WorkersHeld() { m_gates->released.release(m_workers); }
    WorkersHeld(const WorkersHeld&) = delete;
    WorkersHeld& operator=(const WorkersHeld&) = delete;

private:
    // Shared with the held workers, which may still be leaving it when this object is gone.
    struct Gates
    {
        QSemaphore started;
        QSemaphore released;
    };
    std::shared_ptr<Gates> m_gates = std::make_shared<Gates>();
    int m_workers;
};

} // namespace

class ConversionViewModelTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    QTemporaryDir work_;
    // One verified clip with audio, under a folder name that trips up naive quoting.
    QString verifiedCard_;
    // A clip with audio and a video-only clip, both confirmed by their XML.
    QString videoOnlyCard_;
    // Three clips with no CLIP XML at all.
    QString unverifiedCard_;
    // A verified clip and one without XML that only the file names pair.
    QString mixedCard_;
    QString emptyFolder_;

    DriverSession session_;
    std::shared_ptr<ScriptedDesktop>& desktop_ = session_.desktop;
    std::unique_ptr<SettingsStore>& settings_ = session_.settings;
    std::unique_ptr<RecentFoldersStore>& recent_ = session_.recent;
    std::unique_ptr<ConversionHistoryStore>& history_ = session_.history;
    std::unique_ptr<ConversionViewModel>& driver_ = session_.driver;

    QString writeCard(const QString& name, std::vector<SyntheticCard::ClipSpec> clips)
    {
        SyntheticCard::CardSpec plan;
        plan.clips = std::move(clips);
        return SyntheticCard::write(plan, work_.filePath(name)).rootPath;
    }

    // Waits until the scan or re-pairing under way has published its results.
    bool waitUntilScanned()
    {
        return QTest::qWaitFor([this] { return driver_->phase() != Phase::scanning; }, workTimeoutMs);
    }

    bool scanAndWait(const QString& root)
    {
        driver_->scan(root);
        return waitUntilScanned();
    }

    // Every phase the driver takes from `action` on until its scan ends, as
    // each change is signalled: an unchanged card is scanned again from
    // memory, so its scan may well end before `action` returns.
    QList<Phase> phasesUntilScanned(const std::function<void()>& action)
    {
        QList<Phase> phases;
        const QMetaObject::Connection recording = connect(driver_.get(), &ConversionViewModel::phaseChanged,
                                                          this, [&] { phases << driver_->phase(); });
        action();
        if (!QTest::qWaitFor([&] { return !phases.isEmpty() && phases.last() != Phase::scanning; },
                             workTimeoutMs))
            qWarning("the scan did not end");
        disconnect(recording);
        return phases;
    }

private slots:
    void initTestCase()
    {
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);
        verifiedCard_ = writeCard(awkwardName(QStringLiteral(" card")), {SyntheticCard::clip(1, 1)});
        videoOnlyCard_ =
            writeCard(QStringLiteral("video-only"), {SyntheticCard::clip(1, 1), SyntheticCard::clip(2, 0)});
        unverifiedCard_ = writeCard(QStringLiteral("unverified"),
                                    {clipWithoutXml(1, 1), clipWithoutXml(2, 1), clipWithoutXml(3, 1)});
        mixedCard_ = writeCard(QStringLiteral("mixed"), {SyntheticCard::clip(1, 2), clipWithoutXml(2, 2)});
        emptyFolder_ = work_.filePath(QStringLiteral("no card here"));
        QVERIFY(QDir().mkpath(emptyFolder_));
    }

    void cleanupTestCase() { tools_.reset(); }

    void init() { session_.open(); }

    void cleanup() { session_.close(); }

    void startsIdleAndReady()
    {
        QCOMPARE(driver_->phase(), Phase::idle);
        QCOMPARE(driver_->statusMessage(), readyText);
        QVERIFY(driver_->ffmpegAvailable());
        QVERIFY(!driver_->cardStructure());
        QVERIFY(driver_->clips().isEmpty());
        QVERIFY(!driver_->scanErrorMessage());
        QVERIFY(driver_->scanErrorMessageValue().isNull());
        QCOMPARE(driver_->excludedClipCount(), qint64(0));
        QVERIFY(!driver_->canConvert());
        QVERIFY(!driver_->isConverting());
        QVERIFY(driver_->pairingReportText().isEmpty());
        QCOMPARE(driver_->property("phase").value<Phase>(), Phase::idle);
    }

    void folderWithoutVideoGoesBackToIdleWithTheErrorText()
    {
        QSignalSpy phases(driver_.get(), &ConversionViewModel::phaseChanged);
        QSignalSpy statuses(driver_.get(), &ConversionViewModel::statusMessageChanged);
        QSignalSpy errors(driver_.get(), &ConversionViewModel::scanErrorMessageChanged);
        QStringList statusTexts;
        QList<Phase> phaseValues;
        connect(driver_.get(), &ConversionViewModel::statusMessageChanged, this,
                [&] { statusTexts << driver_->statusMessage(); });
        connect(driver_.get(), &ConversionViewModel::phaseChanged, this,
                [&] { phaseValues << driver_->phase(); });

        // The phases are taken as they change: a scan whose work is already
        // done may end before the call returns.
        driver_->scan(emptyFolder_);
        QVERIFY(waitUntilScanned());

        QCOMPARE(driver_->phase(), Phase::idle);
        QCOMPARE(driver_->statusMessage(), readyText);
        QCOMPARE(driver_->scanErrorMessage(), std::optional(noVideoText));
        QCOMPARE(driver_->scanErrorMessageValue().toString(), noVideoText);
        QVERIFY(driver_->clips().isEmpty());
        QCOMPARE(errors.count(), 1);
        QCOMPARE(phases.count(), 2);
        QCOMPARE(phaseValues, QList<Phase>({Phase::scanning, Phase::idle}));
        QCOMPARE(statuses.count(), 2);
        QCOMPARE(statusTexts, QStringList({QStringLiteral("Scanning no card here…"), readyText}));
        QVERIFY(!driver_->canConvert());
    }

    void allClipsExcludedLeavesNothingToConvert()
    {
        QSignalSpy canConvert(driver_.get(), &ConversionViewModel::canConvertChanged);
        QSignalSpy excluded(driver_.get(), &ConversionViewModel::excludedClipCountChanged);
        QVERIFY(scanAndWait(unverifiedCard_));

        QCOMPARE(driver_->phase(), Phase::scanned);
        QVERIFY(driver_->clips().isEmpty());
        QCOMPARE(driver_->pairingEntries().size(), 3);
        QCOMPARE(driver_->excludedClipCount(), qint64(3));
        QCOMPARE(excluded.count(), 1);
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("0 clips ready to convert — 3 clip(s) had no verified XML/UMID match. See "
                                "\"View Pairing Details\", or enable unsafe fallback pairing in Settings."));
        QVERIFY(!driver_->canConvert());
        QCOMPARE(canConvert.count(), 0);
        QVERIFY(!driver_->scanErrorMessage());
        QCOMPARE(driver_->totalCount(), 0);
    }

    void oneVerifiedClipIsReadyAndTheFolderIsRemembered()
    {
        QSignalSpy canConvert(driver_.get(), &ConversionViewModel::canConvertChanged);
        QSignalSpy clips(driver_.get(), &ConversionViewModel::clipsChanged);
        QSignalSpy structure(driver_.get(), &ConversionViewModel::cardStructureChanged);
        QSignalSpy reportText(driver_.get(), &ConversionViewModel::pairingReportTextChanged);
        QSignalSpy statuses(driver_.get(), &ConversionViewModel::statusMessageChanged);
        QSignalSpy recentChanged(recent_.get(), &RecentFoldersStore::foldersChanged);

        driver_->scan(verifiedCard_);
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("Scanning %1…").arg(awkwardName(QStringLiteral(" card"))));
        QCOMPARE(recent_->folders(), QStringList({verifiedCard_}));
        QVERIFY(recentChanged.count() >= 1);
        QVERIFY(waitUntilScanned());

        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
        QCOMPARE(statuses.count(), 2);
        QCOMPARE(driver_->clips().size(), 1);
        QCOMPARE(driver_->clips().first().pairingMethod, P2Clip::PairingMethod::xmlVerified);
        QCOMPARE(clips.count(), 1);
        QCOMPARE(structure.count(), 1);
        QVERIFY(driver_->cardStructure());
        QCOMPARE(driver_->cardStructure()->rootURL, verifiedCard_);
        QCOMPARE(driver_->excludedClipCount(), qint64(0));
        QCOMPARE(driver_->totalCount(), 1);
        QCOMPARE(driver_->completedCount(), 0);
        QVERIFY(driver_->jobs().isEmpty());
        QVERIFY(driver_->canConvert());
        QCOMPARE(canConvert.count(), 1);
        QVERIFY(driver_->canExportDebugReport());
        QCOMPARE(reportText.count(), 1);
        QCOMPARE(driver_->pairingReportText(),
                 PairingReport::text(driver_->pairingSummaryLines(), driver_->pairingEntries()));
        QVERIFY(!driver_->pairingReportText().isEmpty());
    }

    void videoOnlyClipConfirmedByXmlIsVerifiedButNotWithAudio()
    {
        QVERIFY(scanAndWait(videoOnlyCard_));
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(driver_->clips().size(), 2);
        QCOMPARE(driver_->clips().at(1).pairingMethod, P2Clip::PairingMethod::xmlNoAudioInClip);
        QVERIFY(driver_->clips().at(1).audioURLs.isEmpty());
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("Found 2 clips — 1 with audio, all verified via CLIP XML."));
    }

    void settingChangeWhileScannedRepairsWithoutReadingTheDiskAgain()
    {
        // A card of its own: it grows on disk during the test.
        const QString root =
            writeCard(QStringLiteral("growing"), {SyntheticCard::clip(1, 2), clipWithoutXml(2, 2)});
        QVERIFY(scanAndWait(root));
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
        QCOMPARE(driver_->excludedClipCount(), qint64(1));
        const P2CardStructure scanned = *driver_->cardStructure();

        // A clip added behind the driver's back shows only if the disk is read again.
        SyntheticCard::CardSpec addition;
        addition.clips = {SyntheticCard::clip(3, 1)};
        SyntheticCard::write(addition, root);

        QSignalSpy phases(driver_.get(), &ConversionViewModel::phaseChanged);
        QSignalSpy entries(driver_.get(), &ConversionViewModel::pairingEntriesChanged);
        QSignalSpy recentChanged(recent_.get(), &RecentFoldersStore::foldersChanged);
        settings_->setAllowUnsafeFallbackPairing(true);
        QTRY_COMPARE_WITH_TIMEOUT(entries.count(), 1, workTimeoutMs);

        QCOMPARE(phases.count(), 0);
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(driver_->statusMessage(), twoWithOneUnsafeText);
        QCOMPARE(videoNames(driver_->clips()), QStringList({"0001AB.MXF", "0002AB.MXF"}));
        QCOMPARE(driver_->clips().at(1).pairingMethod, P2Clip::PairingMethod::filenamePrefixUnsafe);
        QCOMPARE(driver_->excludedClipCount(), qint64(0));
        QCOMPARE(driver_->cardStructure(), std::optional(scanned));
        QCOMPARE(recentChanged.count(), 0);
        QVERIFY(driver_->canConvert());

        settings_->setAllowUnsafeFallbackPairing(false);
        QTRY_COMPARE_WITH_TIMEOUT(entries.count(), 2, workTimeoutMs);
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
        QCOMPARE(videoNames(driver_->clips()), QStringList({"0001AB.MXF"}));

        // The disk did change: a new scan finds the added clip.
        settings_->setAllowUnsafeFallbackPairing(true);
        QTRY_COMPARE_WITH_TIMEOUT(entries.count(), 3, workTimeoutMs);
        QVERIFY(scanAndWait(root));
        QCOMPARE(videoNames(driver_->clips()), QStringList({"0001AB.MXF", "0002AB.MXF", "0003AB.MXF"}));
    }

    void settingChangeWhileIdleOrScanningDoesNothing()
    {
        QSignalSpy phases(driver_.get(), &ConversionViewModel::phaseChanged);
        QSignalSpy statuses(driver_.get(), &ConversionViewModel::statusMessageChanged);
        settings_->setAllowUnsafeFallbackPairing(true);
        drainBackgroundWork();
        QCOMPARE(phases.count(), 0);
        QCOMPARE(statuses.count(), 0);
        settings_->setAllowUnsafeFallbackPairing(false);

        // While scanning, the value read when the scan started holds. The
        // card was scanned before, so its scan could end within scan(): the
        // worker threads are held until the setting has changed.
        {
            WorkersHeld held;
            driver_->scan(mixedCard_);
            QCOMPARE(driver_->phase(), Phase::scanning);
            settings_->setAllowUnsafeFallbackPairing(true);
        }
        QVERIFY(waitUntilScanned());
        drainBackgroundWork();
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
        QCOMPARE(phases.count(), 2);

        // After a reset nothing is loaded that could be paired again.
        QSignalSpy entries(driver_.get(), &ConversionViewModel::pairingEntriesChanged);
        driver_->resetToIdle();
        QCOMPARE(entries.count(), 1);
        settings_->setAllowUnsafeFallbackPairing(false);
        drainBackgroundWork();
        QCOMPARE(driver_->phase(), Phase::idle);
        QCOMPARE(entries.count(), 1);
        QVERIFY(driver_->clips().isEmpty());
    }

    // Qt's own painting hands parts of its work to Qt's global pool and waits
    // for them: a scan never needs a thread of that pool, so a window drawing
    // while a card is scanned never waits behind the scan.
    void scanningNeedsNoThreadOfQtsOwnPool()
    {
        WorkersHeld qtsOwn(QThreadPool::globalInstance());
        driver_->scan(mixedCard_);
        QVERIFY(waitUntilScanned());
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
    }

    void twoQuickScansBothApplyInTheOrderTheyFinish()
    {
        const QString unverifiedText =
            QStringLiteral("0 clips ready to convert — 3 clip(s) had no verified XML/UMID match. See "
                           "\"View Pairing Details\", or enable unsafe fallback pairing in Settings.");
        // Each applied result, as the card it shows and the status it set.
        QList<QPair<QString, QString>> applied;
        connect(driver_.get(), &ConversionViewModel::statusMessageChanged, this, [&] {
            if (driver_->phase() == Phase::scanned)
                applied.append({driver_->cardStructure()->rootURL, driver_->statusMessage()});
        });

        driver_->scan(unverifiedCard_);
        driver_->scan(verifiedCard_);
        QVERIFY(QTest::qWaitFor([&] { return applied.size() == 2; }, workTimeoutMs));
        drainBackgroundWork();

        // Nothing cancels the earlier scan: both results arrive, each whole, and
        // the one that finished last is what the driver shows.
        QCOMPARE(applied.size(), 2);
        using Result = QPair<QString, QString>;
        const QSet<Result> expected{{unverifiedCard_, unverifiedText}, {verifiedCard_, oneVerifiedText}};
        QCOMPARE(QSet<Result>(applied.cbegin(), applied.cend()), expected);
        QCOMPARE(driver_->cardStructure()->rootURL, applied.last().first);
        QCOMPARE(driver_->statusMessage(), applied.last().second);
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(recent_->folders(), QStringList({verifiedCard_, unverifiedCard_}));
    }

    void driverDestroyedWhileScanningDropsTheResult()
    {
        driver_->scan(verifiedCard_);
        driver_.reset();
        drainBackgroundWork();

        // Gone while pairing: the probes run on and their result finds nobody.
        history_ = std::make_unique<ConversionHistoryStore>(std::make_shared<MemoryKeyValueStore>());
        driver_ = std::make_unique<ConversionViewModel>(*settings_, *recent_, *history_, desktop_);
        driver_->scan(mixedCard_);
        Workers::pool()->waitForDone();
        QCoreApplication::processEvents();
        driver_.reset();

        history_ = std::make_unique<ConversionHistoryStore>(std::make_shared<MemoryKeyValueStore>());
        driver_ = std::make_unique<ConversionViewModel>(*settings_, *recent_, *history_, desktop_);
        QVERIFY(scanAndWait(verifiedCard_));
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
        drainBackgroundWork();
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
    }

    void chooseFolderScansTheChosenFolder()
    {
        desktop_->folderAnswers = {verifiedCard_};
        const QList<Phase> phases = phasesUntilScanned([this] { driver_->chooseFolder(); });
        QCOMPARE(desktop_->folderRequests.size(), 1);
        QCOMPARE(desktop_->folderRequests.first().prompt, QStringLiteral("Choose"));
        QCOMPARE(desktop_->folderRequests.first().message,
                 QStringLiteral("Choose a P2 card folder (or its CONTENTS folder)"));
        QCOMPARE(phases, QList<Phase>({Phase::scanning, Phase::scanned}));
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
    }

    void cancelledChooserChangesNothing()
    {
        QSignalSpy phases(driver_.get(), &ConversionViewModel::phaseChanged);
        QSignalSpy statuses(driver_.get(), &ConversionViewModel::statusMessageChanged);
        driver_->chooseFolder();
        QCOMPARE(desktop_->folderRequests.size(), 1);
        drainBackgroundWork();
        QCOMPARE(phases.count(), 0);
        QCOMPARE(statuses.count(), 0);
        QVERIFY(recent_->folders().isEmpty());
    }

    void verifyCurrentCardScansTheLoadedCardAgain()
    {
        QVERIFY(scanAndWait(verifiedCard_));
        const QList<Phase> phases = phasesUntilScanned([this] { driver_->verifyCurrentCard(); });
        QCOMPARE(phases, QList<Phase>({Phase::scanning, Phase::scanned}));
        QVERIFY(desktop_->folderRequests.isEmpty());
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
        QCOMPARE(driver_->clips().size(), 1);
    }

    void verifyCurrentCardAfterResetOpensTheChooser()
    {
        QVERIFY(scanAndWait(verifiedCard_));
        QSignalSpy phases(driver_.get(), &ConversionViewModel::phaseChanged);
        QSignalSpy clips(driver_.get(), &ConversionViewModel::clipsChanged);
        QSignalSpy structure(driver_.get(), &ConversionViewModel::cardStructureChanged);
        QSignalSpy canConvert(driver_.get(), &ConversionViewModel::canConvertChanged);
        driver_->resetToIdle();
        QCOMPARE(driver_->phase(), Phase::idle);
        QVERIFY(!driver_->cardStructure());
        QVERIFY(driver_->clips().isEmpty());
        QVERIFY(driver_->pairingEntries().isEmpty());
        QVERIFY(driver_->pairingSummaryLines().isEmpty());
        QCOMPARE(driver_->excludedClipCount(), qint64(0));
        QVERIFY(!driver_->summary());
        QCOMPARE(driver_->statusMessage(), readyText);
        QCOMPARE(phases.count(), 1);
        QCOMPARE(clips.count(), 1);
        QCOMPARE(structure.count(), 1);
        QCOMPARE(canConvert.count(), 1);
        QVERIFY(!driver_->canConvert());

        driver_->verifyCurrentCard();
        QCOMPARE(desktop_->folderRequests.size(), 1);
        QCOMPARE(driver_->phase(), Phase::idle);
    }

    void missingFFmpegStillScansButCannotConvert()
    {
        tools_->remove(QStringLiteral("ffmpeg"));
        QSignalSpy available(driver_.get(), &ConversionViewModel::ffmpegAvailableChanged);
        const bool scanned = scanAndWait(verifiedCard_);
        QVERIFY(tools_->addReal(QStringLiteral("ffmpeg")));
        QVERIFY(FFmpegService::recheckAvailability());
        QVERIFY(scanned);
        QCOMPARE(available.count(), 1);
        QVERIFY(!driver_->ffmpegAvailable());
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(driver_->statusMessage(), oneVerifiedText);
        QVERIFY(!driver_->canConvert());
        QVERIFY(!driver_->canExportDebugReport());
    }
};

QTEST_GUILESS_MAIN(ConversionViewModelTest)
#include "ConversionViewModelTest.moc"
