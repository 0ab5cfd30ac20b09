#include "DriverSession.h"
#include "media/FFmpegService.h"
#include "run/ConversionViewModel.h"
#include "run/InterruptWatcher.h"
#include "run/LogWriter.h"
#include "ScriptedDesktop.h"
#include "store/ConversionHistoryStore.h"
#include "store/MemoryKeyValueStore.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <csignal>
#include <memory>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QMap>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <QTimeZone>

using Phase = ConversionViewModel::Phase;
using JobList = QList<std::shared_ptr<ConversionJob>>;

namespace {

// Only a guard against a hang: every wait ends as soon as the work is done.
constexpr int workTimeoutMs = 300000;

const QString oneErrorStatus = QStringLiteral("Done with 1 error. See logs in the output folder.");

// A clip filmed at 10:`minute` on 1 July 2026 (UTC−5), as its XML and its
// essence both say, so shoot order can be set apart from file-name order.
SyntheticCard::ClipSpec clipAt(int n, int audioCount, int minute)
{
    SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, audioCount);
    const QDateTime filmed(QDate(2026, 7, 1), QTime(10, minute), QTimeZone(-5 * 3600));
    clip.creationDate = filmed.toString(Qt::ISODate);
    clip.shootStartDate = clip.creationDate;
    clip.lastUpdateDate = filmed.addSecs(300).toString(Qt::ISODate);
    clip.mxfCreationTime = filmed.toUTC().toString(Qt::ISODate);
    return clip;
}

QString clipName(const QString& videoPath)
{
    return QFileInfo(videoPath).completeBaseName();
}

QStringList clipNames(const QList<P2Clip>& clips)
{
    QStringList names;
    for (const P2Clip& clip : clips)
        names.append(clipName(clip.videoURL));
    return names;
}

QStringList outputNames(const JobList& jobs)
{
    QStringList names;
    for (const std::shared_ptr<ConversionJob>& job : jobs)
        names.append(QFileInfo(job->outputURL()).fileName());
    return names;
}

QList<ClipStatus> statuses(const JobList& jobs)
{
    QList<ClipStatus> result;
    for (const std::shared_ptr<ConversionJob>& job : jobs)
        result.append(job->status());
    return result;
}

// Every file below `root` (hidden ones included) with its SHA-256, and every folder.
QMap<QString, QByteArray> treeHashes(const QString& root)
{
    QMap<QString, QByteArray> hashes;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        hashes.insert(path, it.fileInfo().isDir()
                                ? QByteArray("folder")
                                : QCryptographicHash::hash(readFile(path), QCryptographicHash::Sha256));
    }
    return hashes;
}

// Makes every file and folder below `root` read-only (or writable again).
void setTreeReadOnly(const QString& root, bool readOnly)
{
    const QFile::Permissions folder = QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup |
                                      QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
    const QFile::Permissions file = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
    QStringList paths{root};
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next());
    for (const QString& path : std::as_const(paths)) {
        const bool isDir = QFileInfo(path).isDir();
        QFile::Permissions permissions = isDir ? folder : file;
        if (!readOnly)
            permissions |= QFile::WriteOwner;
        QFile::setPermissions(path, permissions);
    }
}

// The names in a run folder, hidden files included, sorted.
QStringList folderListing(const QString& folder)
{
    QStringList names =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    names.sort();
    return names;
}

// A report file's physical lines with each "[HH:mm:ss] " stamp replaced by
// "[T] "; a stamp that is not a valid 24-hour time stays as it is and fails
// the comparison. Empty when the file does not end with a line feed.
QStringList reportLines(const QString& path)
{
    const QString text = QString::fromUtf8(readFile(path));
    if (!text.endsWith(QLatin1Char('\n')))
        return {};
    static const QRegularExpression stamp(QStringLiteral("^\\[([01]\\d|2[0-3]):[0-5]\\d:[0-5]\\d\\] "));
    QStringList lines = text.chopped(1).split(QLatin1Char('\n'));
    for (QString& line : lines)
        line.replace(stamp, QStringLiteral("[T] "));
    return lines;
}

// The command line a job's conversion reports, built independently of the run.
QString expectedCommand(const ConversionJob& job, ProResProfile profile)
{
    const FFmpegService::SourceFacts source = QCoro::waitFor(FFmpegService::sourceFacts(job.clip().videoURL));
    return FFmpegService::commandLineString(
        *FFmpegService::resolvedFFmpegPath(),
        FFmpegService::buildArguments(job.clip().videoURL, job.clip().audioURLs, 0.0, profile,
                                      source.timecode, FFmpegService::temporaryPath(job.outputURL()),
                                      source.picture));
}

// The report lines of jobs converted one after another, as a proxy run writes them.
QStringList convertedReport(const JobList& jobs)
{
    QStringList lines;
    for (const std::shared_ptr<ConversionJob>& job : jobs)
        lines << QStringLiteral("[T] %1: running command:").arg(job->clipName())
              << expectedCommand(*job, ProResProfile::proxy)
              << QStringLiteral("[T] %1: converted successfully.").arg(job->clipName());
    return lines;
}

QString todayFolderName()
{
    return QLocale::c().toString(QDate::currentDate(), QStringLiteral("MM-dd-yyyy"));
}

} // namespace

class ConversionRunTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;
    // One verified clip with audio, under a folder name that trips up naive quoting.
    QString smallCard_;

    DriverSession session_;
    std::shared_ptr<ScriptedDesktop>& desktop_ = session_.desktop;
    std::unique_ptr<SettingsStore>& settings_ = session_.settings;
    std::unique_ptr<RecentFoldersStore>& recent_ = session_.recent;
    std::unique_ptr<ConversionHistoryStore>& history_ = session_.history;
    std::unique_ptr<ConversionViewModel>& driver_ = session_.driver;

    SyntheticCard::WrittenCard writeCard(const QString& name, std::vector<SyntheticCard::ClipSpec> clips)
    {
        SyntheticCard::CardSpec plan;
        plan.clips = std::move(clips);
        return SyntheticCard::write(plan, work_->filePath(name));
    }

    bool scanAndWait(const QString& root)
    {
        driver_->scan(root);
        return QTest::qWaitFor([this] { return driver_->phase() != Phase::scanning; }, workTimeoutMs);
    }

    // Waits for the run to end and for its DEBUG_REPORT.txt, the run's last piece of work.
    bool waitUntilRunWritten(int debugTick)
    {
        return QTest::qWaitFor(
            [&] {
                return driver_->phase() == Phase::finished &&
                       driver_->debugReportGenerationTick() == debugTick;
            },
            workTimeoutMs);
    }

    // A run whose every job is skipped ends within start() itself.
    bool startAndWait(int debugTick)
    {
        bool started = false;
        const QMetaObject::Connection watch =
            connect(driver_.get(), &ConversionViewModel::phaseChanged, this,
                    [&] { started = started || driver_->phase() == Phase::converting; });
        driver_->start();
        disconnect(watch);
        return started && waitUntilRunWritten(debugTick);
    }

private slots:
    void initTestCase()
    {
        work_ = std::make_unique<QTemporaryDir>();
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);
        smallCard_ = writeCard(awkwardName(QStringLiteral(" small")), {SyntheticCard::clip(1, 1)}).rootPath;
    }

    void cleanupTestCase()
    {
        // Read-only leftovers of a failed test must not stop the clean-up.
        setTreeReadOnly(work_->path(), false);
        work_.reset();
        tools_.reset();
    }

    void init()
    {
        FFmpegService::setToolDirectoriesForTesting({tools_->path()});
        session_.open();
        settings_->setOutputFolderPath(
            work_->filePath(QStringLiteral("out-") + QString::fromLatin1(QTest::currentTestFunction())));
        settings_->setProResProfile(ProResProfile::proxy);
        settings_->setOpenOutputFolderWhenFinished(false);
        settings_->setSkipExistingFiles(true);
        settings_->setPrefixExportsWithOrderNumber(true);
    }

    void cleanup() { session_.close(); }

    // --- Ending a run without a card ---

    void runEndingWithoutACardIsRecordedAsP2Card()
    {
        QVERIFY(scanAndWait(smallCard_));
        driver_->resetToIdle();
        const QString folder = work_->filePath(QStringLiteral("cardless run"));
        QVERIFY(QDir().mkpath(folder));
        QSignalSpy summaries(driver_.get(), &ConversionViewModel::summaryChanged);

        // The run's reports are written on a worker before it shows as finished.
        QCoro::waitFor(driver_->finishBatch(folder, std::nullopt));

        QCOMPARE(driver_->phase(), Phase::finished);
        const ConversionSummary expected{.outputFolder = folder};
        QCOMPARE(driver_->summary(), std::optional(expected));
        QCOMPARE(summaries.count(), 1);
        QCOMPARE(driver_->statusMessage(), QStringLiteral("All done. 0 clips converted."));
        QCOMPARE(history_->entries().size(), 1);
        const ConversionHistoryEntry entry = history_->entries().first();
        QCOMPARE(entry.cardName, QStringLiteral("P2 Card"));
        QCOMPARE(entry.outputFolder, folder);
        QCOMPARE(entry.converted + entry.failed + entry.skipped + entry.excludedByPairing, qint64(0));
        QVERIFY(desktop_->revealed.isEmpty());
        QVERIFY(waitUntilRunWritten(1));
        // No line was collected and nothing was paired: only the debug report is written.
        QCOMPARE(folderListing(folder), QStringList({QStringLiteral("DEBUG_REPORT.txt")}));
    }

    // --- What stops a run from starting ---

    void startWithoutFFmpegOnlySaysSo()
    {
        QVERIFY(scanAndWait(smallCard_));
        QVERIFY(driver_->canConvert());
        QTemporaryDir noTools;
        FFmpegService::setToolDirectoriesForTesting({noTools.path()});
        const auto restore =
            qScopeGuard([this] { FFmpegService::setToolDirectoriesForTesting({tools_->path()}); });
        QSignalSpy phases(driver_.get(), &ConversionViewModel::phaseChanged);
        QSignalSpy canConvert(driver_.get(), &ConversionViewModel::canConvertChanged);

        driver_->start();

        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("ffmpeg not found. Install it with: sudo apt install ffmpeg"));
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(phases.count(), 0);
        QVERIFY(!driver_->ffmpegAvailable());
        QVERIFY(!driver_->canConvert());
        QCOMPARE(canConvert.count(), 1);
        QVERIFY(driver_->jobs().isEmpty());
        QVERIFY(!driver_->outputFolderURL());
        QVERIFY(!QFileInfo::exists(settings_->outputFolderPath()));
        QVERIFY(history_->entries().isEmpty());
    }

    void startWithBlockedOutputFolderOnlySaysSoAndKeepsTheFolder()
    {
        QVERIFY(scanAndWait(smallCard_));
        // Root ignores permissions, so a regular file stands where a folder must go.
        const QString blocker = work_->filePath(QStringLiteral("blocked output"));
        writeFile(blocker, "not a folder");
        settings_->setOutputFolderPath(blocker);
        const QString runFolder = blocker + QLatin1Char('/') + todayFolderName();
        QSignalSpy phases(driver_.get(), &ConversionViewModel::phaseChanged);

        driver_->start();

        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("Could not create output folder: Not a directory (%1)").arg(runFolder));
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(phases.count(), 0);
        QVERIFY(driver_->jobs().isEmpty());
        QVERIFY(!driver_->outputFolderURL());
        QVERIFY(driver_->canConvert());

        // The chosen location is kept: once the way is clear the next start uses it.
        QVERIFY(QFile::remove(blocker));
        QVERIFY(startAndWait(1));
        QCOMPARE(driver_->outputFolderURL(), std::optional(runFolder));
        QCOMPARE(driver_->statusMessage(), QStringLiteral("All done. 1 clip converted."));
        QVERIFY(QFileInfo(runFolder + QStringLiteral("/001.mov")).size() > 0);
    }

    // A fresh install's output base, Tolvane in the videos folder, may not
    // exist yet, nor the videos folder itself: the run makes the whole chain.
    void startCreatesAMissingOutputBaseWithItsParents()
    {
        QVERIFY(scanAndWait(smallCard_));
        const QString home = work_->filePath(awkwardName(QStringLiteral(" home")));
        const QString base = home + QStringLiteral("/Videos/Tolvane");
        QVERIFY(!QFileInfo::exists(home));
        settings_->setOutputFolderPath(base);

        QVERIFY(startAndWait(1));

        const QString runFolder = base + QLatin1Char('/') + todayFolderName();
        QCOMPARE(driver_->outputFolderURL(), std::optional(runFolder));
        QCOMPARE(driver_->statusMessage(), QStringLiteral("All done. 1 clip converted."));
        QVERIFY(QFileInfo(runFolder + QStringLiteral("/001.mov")).size() > 0);
    }

    // --- Report-only exports and reveals ---

    void pairingReportExport()
    {
        driver_->exportPairingReportOnly();
        QVERIFY(desktop_->saveRequests.isEmpty());

        QVERIFY(scanAndWait(smallCard_));
        QSignalSpy statuses(driver_.get(), &ConversionViewModel::statusMessageChanged);
        const QString before = driver_->statusMessage();
        driver_->exportPairingReportOnly();
        drainBackgroundWork();
        QCOMPARE(desktop_->saveRequests.size(), 1);
        const ScriptedDesktop::SaveRequest request = desktop_->saveRequests.first();
        QCOMPARE(request.title, QStringLiteral("Export Pairing Report"));
        QCOMPARE(request.message, QStringLiteral("Save the pairing report without converting any clips."));
        QCOMPARE(request.proposedName, QStringLiteral("PAIRING_REPORT.txt"));
        QCOMPARE(request.directory, QDir::cleanPath(settings_->outputFolderPath()));
        QCOMPARE(statuses.count(), 0);
        QCOMPARE(driver_->statusMessage(), before);

        const QString target = work_->filePath(awkwardName(QStringLiteral(" pairing.txt")));
        desktop_->saveAnswers = {target};
        driver_->exportPairingReportOnly();
        QTRY_COMPARE_WITH_TIMEOUT(statuses.count(), 1, workTimeoutMs);
        QCOMPARE(driver_->statusMessage(), QStringLiteral("Pairing report saved to %1.").arg(target));
        QVERIFY(!driver_->pairingReportText().isEmpty());
        QCOMPARE(readFile(target), driver_->pairingReportText().toUtf8());

        const QString blocked = target + QStringLiteral("/PAIRING_REPORT.txt");
        const std::optional<QString> reason = LogWriter::writeText(QStringLiteral("x"), blocked);
        QVERIFY(reason && !reason->isEmpty());
        desktop_->saveAnswers = {blocked};
        driver_->exportPairingReportOnly();
        QTRY_COMPARE_WITH_TIMEOUT(statuses.count(), 2, workTimeoutMs);
        QCOMPARE(driver_->statusMessage(), QStringLiteral("Could not save pairing report: %1").arg(*reason));
        QCOMPARE(readFile(target), driver_->pairingReportText().toUtf8());
    }

    void debugReportExport()
    {
        driver_->exportDebugReportOnly();
        QVERIFY(desktop_->saveRequests.isEmpty());

        QVERIFY(scanAndWait(smallCard_));
        QVERIFY(driver_->canExportDebugReport());
        QList<bool> generating;
        QStringList statusTexts;
        connect(driver_.get(), &ConversionViewModel::isGeneratingDebugReportChanged, this,
                [&] { generating << driver_->isGeneratingDebugReport(); });
        connect(driver_.get(), &ConversionViewModel::statusMessageChanged, this,
                [&] { statusTexts << driver_->statusMessage(); });

        // A cancelled panel changes nothing.
        driver_->exportDebugReportOnly();
        drainBackgroundWork();
        QCOMPARE(desktop_->saveRequests.size(), 1);
        const ScriptedDesktop::SaveRequest request = desktop_->saveRequests.first();
        QCOMPARE(request.title, QStringLiteral("Export Debug Report"));
        QCOMPARE(request.message,
                 QStringLiteral("Save the full per-clip ffprobe + ffmpeg-command debug report "
                                "without converting any clips."));
        QCOMPARE(request.proposedName, QStringLiteral("DEBUG_REPORT.txt"));
        QCOMPARE(request.directory, QDir::cleanPath(settings_->outputFolderPath()));
        QVERIFY(generating.isEmpty());
        QVERIFY(statusTexts.isEmpty());

        const QString generatingText = QStringLiteral(
            "Generating debug report — probing every video/audio file, this may take a moment…");
        const QString target = work_->filePath(awkwardName(QStringLiteral(" debug.txt")));
        desktop_->saveAnswers = {target, work_->filePath(QStringLiteral("second debug.txt"))};
        driver_->exportDebugReportOnly();
        QVERIFY(driver_->isGeneratingDebugReport());
        QCOMPARE(driver_->statusMessage(), generatingText);
        // A second request while the first is generating does nothing.
        driver_->exportDebugReportOnly();
        QCOMPARE(desktop_->saveRequests.size(), 2);
        QVERIFY(QTest::qWaitFor([this] { return !driver_->isGeneratingDebugReport(); }, workTimeoutMs));
        QCOMPARE(generating, QList<bool>({true, false}));
        QCOMPARE(statusTexts,
                 QStringList({generatingText, QStringLiteral("Debug report saved to %1.").arg(target)}));
        const QString report = QString::fromUtf8(readFile(target));
        QVERIFY(report.contains(QStringLiteral("0001AB")));
        QCOMPARE(desktop_->saveAnswers.size(), 1);
        QVERIFY(!QFileInfo::exists(work_->filePath(QStringLiteral("second debug.txt"))));

        const QString blocked = target + QStringLiteral("/DEBUG_REPORT.txt");
        const std::optional<QString> reason = LogWriter::writeText(QStringLiteral("x"), blocked);
        QVERIFY(reason && !reason->isEmpty());
        desktop_->saveAnswers = {blocked};
        driver_->exportDebugReportOnly();
        QVERIFY(QTest::qWaitFor([this] { return !driver_->isGeneratingDebugReport(); }, workTimeoutMs));
        QCOMPARE(driver_->statusMessage(), QStringLiteral("Could not save debug report: %1").arg(*reason));
        QCOMPARE(generating, QList<bool>({true, false, true, false}));
        QCOMPARE(readFile(target), report.toUtf8());
    }

    void revealMostRecentLogsFolderWithoutAnyRun()
    {
        driver_->revealOutputFolder();
        QVERIFY(desktop_->revealed.isEmpty());
        driver_->revealMostRecentLogsFolder();
        QVERIFY(desktop_->revealed.isEmpty());
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral(
                     "No conversions yet — logs appear in the output folder after your first conversion."));

        const QString earlier = work_->filePath(QStringLiteral("earlier run"));
        history_->record(QStringLiteral("CARD"), earlier, 1, 0, 0, 0);
        driver_->revealMostRecentLogsFolder();
        QCOMPARE(desktop_->revealed, QList<QStringList>({{earlier}}));
        driver_->revealOutputFolder();
        QCOMPARE(desktop_->revealed.size(), 1);
    }

    // --- Whole runs with the real tools ---

    void fullRunsIntoTheDatedFolderInShootOrder()
    {
        const QString cardName = awkwardName(QStringLiteral(" card"));
        const QString outputBase = work_->filePath(awkwardName(QStringLiteral(" out")));
        settings_->setOutputFolderPath(outputBase);
        settings_->setOpenOutputFolderWhenFinished(true);
        settings_->setAllowUnsafeFallbackPairing(true);

        SyntheticCard::ClipSpec noXml = clipAt(4, 1, 20);
        noXml.writeXml = false;
        SyntheticCard::ClipSpec noGlobalClipID = clipAt(5, 1, 30);
        noGlobalClipID.xmlHasGlobalClipID = false;
        const SyntheticCard::WrittenCard card =
            writeCard(cardName, {clipAt(1, 2, 50), clipAt(2, 0, 10), clipAt(3, 1, 40), noXml, noGlobalClipID,
                                 clipAt(6, 1, 5)});

        QVERIFY(scanAndWait(card.rootPath));
        const QStringList shootOrder{"0006AB", "0002AB", "0004AB", "0005AB", "0003AB", "0001AB"};
        QCOMPARE(clipNames(driver_->clips()), shootOrder);
        using Method = P2Clip::PairingMethod;
        QList<Method> methods;
        for (const P2Clip& clip : driver_->clips())
            methods << clip.pairingMethod;
        QCOMPARE(methods,
                 QList<Method>({Method::xmlVerified, Method::xmlNoAudioInClip, Method::filenamePrefixUnsafe,
                                Method::filenamePrefixUnsafe, Method::xmlVerified, Method::xmlVerified}));
        QCOMPARE(driver_->excludedClipCount(), qint64(1));
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("Found 6 clips — 5 with audio. 2 used UNSAFE fallback "
                                "pairing — check \"View Pairing Details\"."));
        const P2CardStructure scanned = *driver_->cardStructure();

        // First run: a new dated folder under the configured base.
        QList<Phase> phases;
        connect(driver_.get(), &ConversionViewModel::phaseChanged, this, [&] { phases << driver_->phase(); });
        driver_->start();
        QCOMPARE(driver_->phase(), Phase::converting);
        QCOMPARE(driver_->statusMessage(), QStringLiteral("Converting…"));
        QVERIFY(driver_->isConverting());
        QVERIFY(!driver_->canConvert());
        const QString folder = outputBase + QLatin1Char('/') + todayFolderName();
        QCOMPARE(driver_->outputFolderURL(), std::optional(folder));
        QCOMPARE(driver_->totalCount(), 6);
        QVERIFY(waitUntilRunWritten(1));
        QCOMPARE(phases, QList<Phase>({Phase::converting, Phase::finished}));

        const JobList firstJobs = driver_->jobs();
        const QStringList numbered{"001.mov", "002.mov", "003.mov", "004.mov", "005.mov", "006.mov"};
        QCOMPARE(outputNames(firstJobs), numbered);
        QCOMPARE(clipNames(QList<P2Clip>{firstJobs[0]->clip(), firstJobs[5]->clip()}),
                 QStringList({"0006AB", "0001AB"}));
        QCOMPARE(statuses(firstJobs), QList<ClipStatus>(6, ClipStatus::completed()));
        const ConversionSummary expected{
            .converted = 6, .missingAudio = 1, .excludedByPairing = 1, .outputFolder = folder};
        QCOMPARE(driver_->summary(), std::optional(expected));
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("All done. 6 clips converted — 1 skipped (unverified pairing)."));
        QCOMPARE(driver_->completedCount(), 6);
        QCOMPARE(driver_->overallProgress(), 1.0);
        QCOMPARE(driver_->currentClipName(), QStringLiteral("0001AB"));
        QVERIFY(driver_->estimatedRemaining());
        QVERIFY(driver_->elapsed() > 0);
        QVERIFY(driver_->canConvert());

        QCOMPARE(folderListing(folder),
                 QStringList({"001.mov", "002.mov", "003.mov", "004.mov", "005.mov", "006.mov",
                              "CONVERSION_REPORT.txt", "DEBUG_REPORT.txt", "PAIRING_REPORT.txt"}));
        for (const std::shared_ptr<ConversionJob>& job : firstJobs)
            QVERIFY(QFileInfo(job->outputURL()).size() > 0);
        QVERIFY(QCoro::waitFor(FFmpegService::hasAudioStream(folder + QStringLiteral("/001.mov"))));
        QVERIFY(!QCoro::waitFor(FFmpegService::hasAudioStream(folder + QStringLiteral("/002.mov"))));

        QCOMPARE(reportLines(folder + QStringLiteral("/CONVERSION_REPORT.txt")), convertedReport(firstJobs));
        QCOMPARE(readFile(folder + QStringLiteral("/PAIRING_REPORT.txt")),
                 driver_->pairingReportText().toUtf8());
        const QString debugReport = QString::fromUtf8(readFile(folder + QStringLiteral("/DEBUG_REPORT.txt")));
        for (const QString& name : shootOrder)
            QVERIFY2(debugReport.contains(name), qPrintable(name));

        QCOMPARE(history_->entries().size(), 1);
        ConversionHistoryEntry entry = history_->entries().first();
        QCOMPARE(entry.cardName, cardName);
        QCOMPARE(entry.outputFolder, folder);
        QCOMPARE(QList<qint64>({entry.converted, entry.failed, entry.skipped, entry.excludedByPairing}),
                 QList<qint64>({6, 0, 0, 1}));
        QCOMPARE(recent_->folders(), QStringList({card.rootPath}));
        QCOMPARE(desktop_->revealed, QList<QStringList>({{folder}}));
        const QMap<QString, QByteArray> firstMovies = treeHashes(folder);

        // Again: the same folder, where the first movies keep their names and
        // the new ones get "-2" names, so nothing is left to skip.
        QVERIFY(startAndWait(2));
        QCOMPARE(driver_->outputFolderURL(), std::optional(folder));
        QCOMPARE(outputNames(driver_->jobs()),
                 QStringList({"001-2.mov", "002-2.mov", "003-2.mov", "004-2.mov", "005-2.mov", "006-2.mov"}));
        QCOMPARE(clipNames(QList<P2Clip>{driver_->jobs()[0]->clip()}), QStringList({"0006AB"}));
        QCOMPARE(statuses(driver_->jobs()), QList<ClipStatus>(6, ClipStatus::completed()));
        QCOMPARE(driver_->summary(), std::optional(expected));
        for (const std::shared_ptr<ConversionJob>& job : driver_->jobs())
            QVERIFY(QFileInfo(job->outputURL()).size() > 0);
        const QMap<QString, QByteArray> afterSecond = treeHashes(folder);
        for (const QString& movie : numbered)
            QCOMPARE(afterSecond.value(folder + QLatin1Char('/') + movie),
                     firstMovies.value(folder + QLatin1Char('/') + movie));
        QCOMPARE(folderListing(folder).size(), 15);
        // The report is this run's own.
        QCOMPARE(reportLines(folder + QStringLiteral("/CONVERSION_REPORT.txt")),
                 convertedReport(driver_->jobs()));
        QCOMPARE(history_->entries().size(), 2);
        QCOMPARE(history_->entries().first().outputFolder, folder);
        QCOMPARE(desktop_->revealed, QList<QStringList>({{folder}, {folder}}));

        // A clip added behind the driver's back shows only if the disk is read again.
        SyntheticCard::CardSpec addition;
        addition.clips = {clipAt(7, 1, 1)};
        SyntheticCard::write(addition, card.rootPath);
        QSignalSpy entries(driver_.get(), &ConversionViewModel::pairingEntriesChanged);
        settings_->setAllowUnsafeFallbackPairing(false);
        QTRY_COMPARE_WITH_TIMEOUT(entries.count(), 1, workTimeoutMs);
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(clipNames(driver_->clips()), QStringList({"0006AB", "0002AB", "0003AB", "0001AB"}));
        QCOMPARE(driver_->excludedClipCount(), qint64(3));
        QCOMPARE(driver_->cardStructure(), std::optional(scanned));
        QCOMPARE(recent_->folders(), QStringList({card.rootPath}));
    }

    void runWhereEveryOutputExistsLogsOnlySkipLines()
    {
        QVERIFY(scanAndWait(smallCard_));
        QVERIFY(startAndWait(1));
        const QString folder = *driver_->outputFolderURL();
        const QString movie = folder + QStringLiteral("/001.mov");
        QCOMPARE(driver_->jobs().first()->outputURL(), movie);
        // Every alternative name is taken too, so the next run comes back to
        // 001.mov and finds it there.
        writeFile(movie, "earlier movie");
        for (int n = 2; n <= 9999; ++n)
            writeFile(folder + QStringLiteral("/001-%1.mov").arg(n), "x");

        QVERIFY(startAndWait(2));
        QCOMPARE(driver_->jobs().first()->outputURL(), movie);
        QCOMPARE(driver_->jobs().first()->status(), ClipStatus::skippedExisting());
        QCOMPARE(reportLines(folder + QStringLiteral("/CONVERSION_REPORT.txt")),
                 QStringList({QStringLiteral("[T] 0001AB: skipped (already converted).")}));
        QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/FFMPEG_ERRORS.txt")));
        const ConversionSummary expected{.skipped = 1, .outputFolder = folder};
        QCOMPARE(driver_->summary(), std::optional(expected));
        QCOMPARE(driver_->statusMessage(), QStringLiteral("All done. 0 clips converted."));
        QCOMPARE(history_->entries().first().skipped, qint64(1));
        QCOMPARE(readFile(movie), QByteArray("earlier movie"));

        // Without skipping the same location is converted again.
        settings_->setSkipExistingFiles(false);
        QVERIFY(startAndWait(3));
        QCOMPARE(driver_->jobs().first()->outputURL(), movie);
        QCOMPARE(driver_->jobs().first()->status(), ClipStatus::completed());
        QVERIFY(QCoro::waitFor(FFmpegService::hasAudioStream(movie)));
        QCOMPARE(reportLines(folder + QStringLiteral("/CONVERSION_REPORT.txt")).last(),
                 QStringLiteral("[T] 0001AB: converted successfully."));
    }

    void terminationEndsTheWindowsRunLikeCancel()
    {
        SyntheticCard::ClipSpec longClip = SyntheticCard::clip(1, 1);
        longClip.frames = 450;
        const SyntheticCard::WrittenCard card =
            writeCard(QStringLiteral("terminated card"), {longClip, SyntheticCard::clip(2, 1)});
        QVERIFY(scanAndWait(card.rootPath));
        // As the window's main wires it.
        InterruptWatcher interrupts;
        connect(&interrupts, &InterruptWatcher::interrupted, driver_.get(), &ConversionViewModel::endSession);
        QSignalSpy ended(driver_.get(), &ConversionViewModel::sessionEnded);
        driver_->start();
        const JobList jobs = driver_->jobs();
        QVERIFY(QTest::qWaitFor([&] { return jobs[0]->progress() > 0; }, workTimeoutMs));

        QCOMPARE(::raise(SIGTERM), 0);
        QVERIFY(ended.wait(workTimeoutMs));
        QCOMPARE(ended.count(), 1);
        // Everything was written before the session ended.
        const QString folder = *driver_->outputFolderURL();
        QCOMPARE(driver_->phase(), Phase::finished);
        QCOMPARE(statuses(jobs), QList<ClipStatus>({ClipStatus::failed(QStringLiteral("Cancelled")),
                                                    ClipStatus::notStarted(RunStop::cancelled)}));
        QCOMPARE(folderListing(folder), QStringList({"CONVERSION_REPORT.txt", "DEBUG_REPORT.txt",
                                                     "FFMPEG_ERRORS.txt", "PAIRING_REPORT.txt"}));
        QCOMPARE(reportLines(folder + QStringLiteral("/CONVERSION_REPORT.txt")).last(),
                 QStringLiteral("[T] 0002AB: not started — the run was cancelled."));
        QCOMPARE(history_->entries().first().notStarted, qint64(1));

        // With nothing left to write, the session ends at once.
        QSignalSpy again(driver_.get(), &ConversionViewModel::sessionEnded);
        driver_->endSession();
        QCOMPARE(again.count(), 1);
    }

    void cancelInTheThirdOfFiveClips()
    {
        SyntheticCard::ClipSpec longClip = SyntheticCard::clip(3, 1);
        // Long enough that the cancel surely finds it running.
        longClip.frames = 450;
        SyntheticCard::ClipSpec unverified = SyntheticCard::clip(6, 1);
        unverified.writeXml = false;
        const SyntheticCard::WrittenCard card =
            writeCard(QStringLiteral("cancel card"),
                      {SyntheticCard::clip(1, 1), SyntheticCard::clip(2, 1), longClip,
                       SyntheticCard::clip(4, 1), SyntheticCard::clip(5, 1), unverified});
        QVERIFY(scanAndWait(card.rootPath));
        QCOMPARE(driver_->clips().size(), 5);
        QCOMPARE(driver_->excludedClipCount(), qint64(1));

        // Nothing to cancel yet.
        const QString scannedStatus = driver_->statusMessage();
        driver_->cancel();
        QCOMPARE(driver_->phase(), Phase::scanned);
        QCOMPARE(driver_->statusMessage(), scannedStatus);

        QList<Phase> phases;
        connect(driver_.get(), &ConversionViewModel::phaseChanged, this, [&] { phases << driver_->phase(); });
        driver_->start();
        const JobList jobs = driver_->jobs();
        QCOMPARE(jobs.size(), 5);
        QVERIFY(QTest::qWaitFor([&] { return jobs[2]->progress() > 0; }, workTimeoutMs));
        QCOMPARE(driver_->phase(), Phase::converting);
        QCOMPARE(driver_->currentClipName(), QStringLiteral("0003AB"));
        // The repeating timer has moved the clock on, and two finished jobs give an estimate.
        QVERIFY(driver_->elapsed() > 0);
        QVERIFY(driver_->estimatedRemaining());

        // The pairing setting does not touch a running conversion.
        QSignalSpy entries(driver_.get(), &ConversionViewModel::pairingEntriesChanged);
        QSignalSpy clips(driver_.get(), &ConversionViewModel::clipsChanged);
        settings_->setAllowUnsafeFallbackPairing(true);
        QCoreApplication::processEvents();
        QCOMPARE(driver_->phase(), Phase::converting);

        driver_->cancel();
        QCOMPARE(driver_->phase(), Phase::cancelling);
        QCOMPARE(
            driver_->statusMessage(),
            QStringLiteral("Cancelling — waiting for ffmpeg to stop; it is ended by force after 5 seconds."));
        QVERIFY(driver_->isConverting());
        QSignalSpy statusChanges(driver_.get(), &ConversionViewModel::statusMessageChanged);
        driver_->cancel();
        QCOMPARE(statusChanges.count(), 0);
        QVERIFY(waitUntilRunWritten(1));
        drainBackgroundWork();

        QCOMPARE(phases, QList<Phase>({Phase::converting, Phase::cancelling, Phase::finished}));
        QCOMPARE(statuses(jobs), QList<ClipStatus>({ClipStatus::completed(), ClipStatus::completed(),
                                                    ClipStatus::failed(QStringLiteral("Cancelled")),
                                                    ClipStatus::notStarted(RunStop::cancelled),
                                                    ClipStatus::notStarted(RunStop::cancelled)}));
        const QString folder = *driver_->outputFolderURL();
        const ConversionSummary expected{.converted = 2,
                                         .failed = 1,
                                         .excludedByPairing = 1,
                                         .notStarted = 2,
                                         .stop = RunStop::cancelled,
                                         .outputFolder = folder};
        QCOMPARE(driver_->summary(), std::optional(expected));
        QCOMPARE(
            driver_->statusMessage(),
            QStringLiteral("The run was cancelled. 2 converted, 1 failed, 2 not started. See logs in the "
                           "output folder."));
        QCOMPARE(driver_->completedCount(), 3);
        QCOMPARE(driver_->overallProgress(), 0.6);

        const QStringList expectedReport =
            convertedReport(jobs.first(2))
            << QStringLiteral("[T] 0003AB: running command:")
            << expectedCommand(*jobs[2], ProResProfile::proxy)
            << QStringLiteral("[T] 0003AB: FAILED — Cancelled")
            << QStringLiteral("[T] 0004AB: not started — the run was cancelled.")
            << QStringLiteral("[T] 0005AB: not started — the run was cancelled.");
        QCOMPARE(reportLines(folder + QStringLiteral("/CONVERSION_REPORT.txt")), expectedReport);
        // The debug report covers the clips the run reached, and only those.
        const QByteArray debugReport = readFile(folder + QStringLiteral("/DEBUG_REPORT.txt"));
        QVERIFY(debugReport.contains("CLIP: 0003AB"));
        QVERIFY(!debugReport.contains("CLIP: 0004AB"));
        QCOMPARE(readFile(folder + QStringLiteral("/FFMPEG_ERRORS.txt")), QByteArray("0003AB: Cancelled\n"));
        QCOMPARE(folderListing(folder),
                 QStringList({"001.mov", "002.mov", "CONVERSION_REPORT.txt", "DEBUG_REPORT.txt",
                              "FFMPEG_ERRORS.txt", "PAIRING_REPORT.txt"}));

        QCOMPARE(history_->entries().size(), 1);
        const ConversionHistoryEntry entry = history_->entries().first();
        QCOMPARE(entry.cardName, QStringLiteral("cancel card"));
        QCOMPARE(QList<qint64>({entry.converted, entry.failed, entry.skipped, entry.excludedByPairing,
                                entry.notStarted}),
                 QList<qint64>({2, 1, 0, 1, 2}));

        // The setting changed mid-run was not applied to the run's card.
        QCOMPARE(entries.count(), 0);
        QCOMPARE(clips.count(), 0);
        QCOMPARE(driver_->clips().size(), 5);

        // The folder opens only when asked for.
        QVERIFY(desktop_->revealed.isEmpty());
        driver_->revealOutputFolder();
        driver_->revealMostRecentLogsFolder();
        QCOMPARE(desktop_->revealed, QList<QStringList>({{folder}, {folder}}));
    }

    void truncatedVideoFailsAloneAndTheCardStaysUntouched()
    {
        SyntheticCard::ClipSpec damaged = SyntheticCard::clip(2, 1);
        // One frame: half the file holds no whole frame.
        damaged.frames = 1;
        const SyntheticCard::WrittenCard card = writeCard(
            QStringLiteral("damaged card"), {SyntheticCard::clip(1, 1), damaged, SyntheticCard::clip(3, 1)});
        const QString video = card.clips[1].videoPath;
        QVERIFY(QFile::resize(video, QFileInfo(video).size() / 2));
        const QMap<QString, QByteArray> before = treeHashes(card.rootPath);
        setTreeReadOnly(card.rootPath, true);
        const auto writable = qScopeGuard([&] { setTreeReadOnly(card.rootPath, false); });

        QVERIFY(scanAndWait(card.rootPath));
        QCOMPARE(driver_->clips().size(), 3);
        QVERIFY(startAndWait(1));

        const JobList jobs = driver_->jobs();
        QCOMPARE(jobs[0]->status(), ClipStatus::completed());
        QCOMPARE(jobs[1]->status().kind, ClipStatus::Kind::failed);
        QVERIFY2(jobs[1]->status().message.startsWith(QStringLiteral("ffmpeg exited with code ")),
                 qPrintable(jobs[1]->status().message));
        QCOMPARE(jobs[2]->status(), ClipStatus::completed());
        QCOMPARE(driver_->statusMessage(), oneErrorStatus);
        const QString folder = *driver_->outputFolderURL();
        QCOMPARE(folderListing(folder),
                 QStringList({"001.mov", "003.mov", "CONVERSION_REPORT.txt", "DEBUG_REPORT.txt",
                              "FFMPEG_ERRORS.txt", "PAIRING_REPORT.txt"}));
        QCOMPARE(readFile(folder + QStringLiteral("/FFMPEG_ERRORS.txt")),
                 QStringLiteral("0002AB: %1\n").arg(jobs[1]->status().message).toUtf8());
        // The tool's output tail makes the failure line span several physical lines.
        QVERIFY(QString::fromUtf8(readFile(folder + QStringLiteral("/CONVERSION_REPORT.txt")))
                    .contains(QStringLiteral("] 0002AB: FAILED — %1\n").arg(jobs[1]->status().message)));

        QCOMPARE(treeHashes(card.rootPath), before);
    }

    void fullOutputDriveFailsTheJobsAndKeepsEarlierMovies()
    {
        const SyntheticCard::WrittenCard card =
            writeCard(QStringLiteral("full drive card"),
                      {SyntheticCard::clip(1, 1), SyntheticCard::clip(2, 1), SyntheticCard::clip(3, 0)});
        const QMap<QString, QByteArray> cardBefore = treeHashes(card.rootPath);
        QVERIFY(scanAndWait(card.rootPath));
        QVERIFY(startAndWait(1));
        QCOMPARE(statuses(driver_->jobs()), QList<ClipStatus>(3, ClipStatus::completed()));
        const QString folder = *driver_->outputFolderURL();
        const QMap<QString, QByteArray> firstMovies = treeHashes(folder);

        // An ffmpeg whose writes fail with "File too large" once its output
        // passes 16 KiB, as on a full disk.
        QTemporaryDir limitedTools;
        const QString realFFmpeg =
            QStandardPaths::findExecutable(QStringLiteral("ffmpeg"), {QStringLiteral("/usr/bin")});
        QVERIFY(!realFFmpeg.isEmpty());
        writeFile(limitedTools.filePath(QStringLiteral("ffmpeg")),
                  QStringLiteral("#!/bin/sh\ntrap '' XFSZ\nulimit -f 16\nexec '%1' \"$@\"\n")
                      .arg(realFFmpeg)
                      .toUtf8());
        QVERIFY(QFile::setPermissions(limitedTools.filePath(QStringLiteral("ffmpeg")),
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        QVERIFY(QFile::link(QFileInfo(tools_->toolPath(QStringLiteral("ffprobe"))).symLinkTarget(),
                            limitedTools.filePath(QStringLiteral("ffprobe"))));
        FFmpegService::setToolDirectoriesForTesting({limitedTools.path()});
        const auto restore =
            qScopeGuard([this] { FFmpegService::setToolDirectoriesForTesting({tools_->path()}); });

        settings_->setSkipExistingFiles(false);
        QVERIFY(startAndWait(2));
        const JobList jobs = driver_->jobs();
        QCOMPARE(outputNames(jobs), QStringList({"001-2.mov", "002-2.mov", "003-2.mov"}));
        // ffmpeg 5.1 may exit with 0 when its last writes fail; the movie it
        // leaves must still count as failed and never reach its final name.
        for (const std::shared_ptr<ConversionJob>& job : jobs)
            QCOMPARE(job->status().kind, ClipStatus::Kind::failed);
        for (const std::shared_ptr<ConversionJob>& job : jobs)
            QVERIFY2(!QFileInfo::exists(job->outputURL()), qPrintable(job->outputURL()));
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral("Done with 3 errors. See logs in the output folder."));
        QCOMPARE(driver_->statusMessage(), ConversionViewModel::summarySentence(*driver_->summary()));
        QCOMPARE(history_->entries().first().failed, qint64(driver_->summary()->failed));

        // The logs are still written, and no hidden temporary is left behind.
        // A failure message carries the tool's output tail, so it spans lines.
        const QString report =
            reportLines(folder + QStringLiteral("/CONVERSION_REPORT.txt")).join(QLatin1Char('\n'));
        const QString errors = QString::fromUtf8(readFile(folder + QStringLiteral("/FFMPEG_ERRORS.txt")));
        for (const std::shared_ptr<ConversionJob>& job : jobs) {
            QVERIFY2(job->status().message.contains(QStringLiteral("File too large")),
                     qPrintable(job->status().message));
            QVERIFY(report.contains(
                QStringLiteral("[T] %1: FAILED — %2").arg(job->clipName(), job->status().message)));
            QVERIFY(errors.contains(QStringLiteral("%1: %2\n").arg(job->clipName(), job->status().message)));
        }
        for (const QString& name : folderListing(folder))
            QVERIFY2(!name.endsWith(QStringLiteral(".partial")), qPrintable(name));

        // The first run's movies are untouched, and so is the card.
        const QMap<QString, QByteArray> after = treeHashes(folder);
        for (const QString movie : {"001.mov", "002.mov", "003.mov"})
            QCOMPARE(after.value(folder + QLatin1Char('/') + movie),
                     firstMovies.value(folder + QLatin1Char('/') + movie));
        QCOMPARE(treeHashes(card.rootPath), cardBefore);
    }
};

QTEST_GUILESS_MAIN(ConversionRunTest)
#include "ConversionRunTest.moc"
