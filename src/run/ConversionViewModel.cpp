#include "run/ConversionViewModel.h"

#include "base/DisplayText.h"
#include "base/Workers.h"
#include "card/FileSystemUtilities.h"
#include "card/P2Scanner.h"
#include "card/PairingReport.h"
#include "media/FFmpegService.h"
#include "media/ToolLimits.h"
#include "run/DebugReportBuilder.h"
#include "run/ExportFilename.h"
#include "run/LogWriter.h"
#include "run/OutputFolderNamer.h"
#include "run/ProgressText.h"
#include "run/SpaceRefusal.h"
#include "store/ConversionHistoryStore.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"

#include <algorithm>
#include <QCoroFuture>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QtConcurrent>
#include <utility>

namespace {

const QString readyMessage = QStringLiteral("Ready.");

QString plural(qsizetype count)
{
    return count == 1 ? QString() : QStringLiteral("s");
}

// What of the card could not be read, after the card summary: nothing that
// could not be read may pass for a card without it.
QString unreadableStatus(const P2CardStructure& structure)
{
    QString status;
    for (const FileSystemUtilities::Unreadable& entry : structure.unreadable)
        status += QLatin1Char(' ') + P2Scanner::unreadableSentence(entry);
    return status;
}

// The elapsed time is refreshed this often while a run is under way.
constexpr int elapsedIntervalMs = 250;

// Below this share of the run the time estimate would swing wildly.
constexpr double estimateThreshold = 0.01;

// A failure reason on one line, as the status line shows it.
template <typename T> QVariant optionalValue(const std::optional<T>& value)
{
    return value ? QVariant::fromValue(*value) : QVariant();
}

// The run's reports in its folder; a run of some of the card's movies merges
// them with what other runs of the card left there. The failures come back.
QStringList writeRunReports(const QStringList& conversionReportLines, const QString& pairingReportText,
                            const QStringList& ffmpegErrorLines, const QStringList& runMovies,
                            const QStringList& notChosenMovies, const QString& folder)
{
    if (notChosenMovies.isEmpty())
        return LogWriter::write(conversionReportLines, pairingReportText, ffmpegErrorLines, folder);
    return LogWriter::writeMerged(conversionReportLines, pairingReportText, ffmpegErrorLines, runMovies,
                                  notChosenMovies, folder);
}

} // namespace

ConversionViewModel::ConversionViewModel(SettingsStore& settings, RecentFoldersStore& recentFolders,
                                         ConversionHistoryStore& history, std::shared_ptr<Desktop> desktop,
                                         QObject* parent)
    : QObject(parent), m_settings(settings), m_recentFolders(recentFolders), m_history(history),
      m_desktop(std::move(desktop)), m_statusMessage(readyMessage),
      m_ffmpegAvailable(FFmpegService::resolvedFFmpegPath().has_value())
{
    m_canExportDebugReport = canExportDebugReport();
    connect(&m_settings, &SettingsStore::allowUnsafeFallbackPairingChanged, this,
            &ConversionViewModel::repairCurrentStructureIfNeeded);
    connect(&m_settings, &SettingsStore::joinSpannedRecordingsChanged, this,
            &ConversionViewModel::repairCurrentStructureIfNeeded);
    m_elapsedTimer.setInterval(elapsedIntervalMs);
    connect(&m_elapsedTimer, &QTimer::timeout, this, &ConversionViewModel::updateElapsed);
}

ConversionViewModel::~ConversionViewModel()
{
    if (m_queue && isConverting())
        m_queue->cancel();
}

QVariant ConversionViewModel::scanErrorMessageValue() const
{
    return optionalValue(m_scanErrorMessage);
}

QVariant ConversionViewModel::estimatedRemainingValue() const
{
    return optionalValue(m_estimatedRemaining);
}

QVariant ConversionViewModel::outputFolderURLValue() const
{
    return optionalValue(m_outputFolderURL);
}

bool ConversionViewModel::canConvert() const
{
    return (m_phase == Phase::scanned || m_phase == Phase::finished) && !m_clips.isEmpty() &&
           m_ffmpegAvailable && chosenCount() > 0;
}

QList<ClipRow> ConversionViewModel::clipRows() const
{
    return ClipRows::of(m_clips, m_pairingEntries, m_joinedShots, m_settings.prefixExportsWithOrderNumber());
}

std::shared_ptr<ConversionJob> ConversionViewModel::jobFor(const QString& key) const
{
    for (const std::shared_ptr<ConversionJob>& job : m_jobs)
        if (job->clip().videoURL == key)
            return job;
    return nullptr;
}

namespace {

bool movieIsThere(const std::shared_ptr<ConversionJob>& job)
{
    return job && (job->status().kind == ClipStatus::Kind::completed ||
                   job->status().kind == ClipStatus::Kind::skippedExisting);
}

} // namespace

void ConversionViewModel::revealMovie(const QString& key)
{
    if (const std::shared_ptr<ConversionJob> job = jobFor(key); movieIsThere(job))
        m_desktop->revealInFileManager({job->outputURL()});
}

void ConversionViewModel::openMovie(const QString& key)
{
    if (const std::shared_ptr<ConversionJob> job = jobFor(key); movieIsThere(job))
        m_desktop->openFile(job->outputURL());
}

void ConversionViewModel::setChosen(const QString& key, bool chosen)
{
    if (isConverting() || !m_choice.setChosen(key, chosen))
        return;
    emit choiceChanged();
    announceDerived();
}

void ConversionViewModel::chooseAll()
{
    if (isConverting() || !m_choice.chooseAll())
        return;
    emit choiceChanged();
    announceDerived();
}

void ConversionViewModel::chooseNone()
{
    if (isConverting() || !m_choice.chooseNone())
        return;
    emit choiceChanged();
    announceDerived();
}

QStringList ConversionViewModel::chooseOnlyNamed(const QStringList& names)
{
    const QStringList unknown = m_choice.chooseOnlyNamed(names);
    if (!unknown.isEmpty())
        return unknown;
    emit choiceChanged();
    announceDerived();
    return {};
}

bool ConversionViewModel::canExportDebugReport() const
{
    return !m_clips.isEmpty() && m_ffmpegAvailable;
}

QString ConversionViewModel::pairingReportText() const
{
    return PairingReport::text(m_pairingSummaryLines, m_pairingEntries);
}

void ConversionViewModel::chooseFolder()
{
    m_chooser = runFolderChooser();
}

QCoro::Task<> ConversionViewModel::runFolderChooser()
{
    const QPointer<ConversionViewModel> self(this);
    const std::shared_ptr<Desktop> desktop = m_desktop;
    const std::optional<QString> folder = co_await desktop->chooseFolder(
        QStringLiteral("Choose"), QStringLiteral("Choose a P2 card folder (or its CONTENTS folder)"));
    if (self && folder && !folder->isEmpty())
        self->scan(*folder);
}

void ConversionViewModel::scan(const QString& rootURL)
{
    // A run keeps its card until it ends; the screens offer no scan meanwhile.
    if (isConverting())
        return;
    recheckFFmpegAvailability();
    setPhase(Phase::scanning);
    update(m_scanErrorMessage, std::optional<QString>(), &ConversionViewModel::scanErrorMessageChanged);
    update(m_summary, std::optional<ConversionSummary>(), &ConversionViewModel::summaryChanged);
    setStatusMessage(QStringLiteral("Scanning %1…")
                         .arg(DisplayText::escaped(QFileInfo(QDir::cleanPath(rootURL)).fileName())));
    m_currentRunOutputFolder.reset();
    m_choice.chooseAll();
    m_recentFolders.record(rootURL);
    const bool allowUnsafeFallback = m_settings.allowUnsafeFallbackPairing();
    m_work = scanAndPair(rootURL, P2CardStructure(), allowUnsafeFallback, m_settings.joinSpannedRecordings());
}

void ConversionViewModel::repairCurrentStructureIfNeeded()
{
    if (!m_lastScannedStructure || (m_phase != Phase::scanned && m_phase != Phase::finished))
        return;
    m_work = scanAndPair(std::nullopt, *m_lastScannedStructure, m_settings.allowUnsafeFallbackPairing(),
                         m_settings.joinSpannedRecordings());
}

QCoro::Task<> ConversionViewModel::scanAndPair(std::optional<QString> rootURL, P2CardStructure structure,
                                               bool allowUnsafeFallback, bool joinSpanned)
{
    // After the first suspension only `self` may reach the driver: it may be gone.
    const QPointer<ConversionViewModel> self(this);
    // A run keeps the clips it started with.
    const auto dropped = [&self] { return !self || self->isConverting(); };
    if (rootURL) {
        structure = co_await QtConcurrent::run(Workers::pool(), P2Scanner::scan, *rootURL);
        if (dropped())
            co_return;
    }
    P2MetadataParser::PairingResult pairing =
        co_await P2MetadataParser::pairClips(structure, allowUnsafeFallback);
    if (joinSpanned)
        pairing = P2MetadataParser::withJoinedShots(std::move(pairing));
    if (!dropped())
        self->applyScanResults(structure, pairing);
}

void ConversionViewModel::applyScanResults(const P2CardStructure& structure,
                                           const P2MetadataParser::PairingResult& pairing)
{
    update(m_cardStructure, std::optional(structure), &ConversionViewModel::cardStructureChanged);
    m_lastScannedStructure = structure;
    setClips(pairing.clips);
    setPairing(pairing.entries, pairing.summaryLines);
    update(m_joinedShots, pairing.joinedShots, &ConversionViewModel::joinedShotsChanged);
    m_choice.setMovies(m_clips, m_joinedShots);
    emit choiceChanged();
    announceDerived();
    const qint64 excluded = std::ranges::count_if(
        pairing.entries, [](const PairingReportEntry& entry) { return !entry.included; });
    update(m_excludedClipCount, excluded, &ConversionViewModel::excludedClipCountChanged);

    if (structure.videoFiles.isEmpty()) {
        update(m_scanErrorMessage, std::optional(P2Scanner::noVideoMessage(structure)),
               &ConversionViewModel::scanErrorMessageChanged);
        setPhase(Phase::idle);
        setStatusMessage(readyMessage);
        return;
    }

    update(m_jobs, QList<std::shared_ptr<ConversionJob>>(), &ConversionViewModel::jobsChanged);
    qsizetype movies = m_clips.size();
    for (const SpannedShot& shot : std::as_const(m_joinedShots))
        movies -= shot.pieces.size() - 1;
    update(m_totalCount, static_cast<int>(movies), &ConversionViewModel::totalCountChanged);
    update(m_completedCount, 0, &ConversionViewModel::completedCountChanged);
    update(m_overallProgress, 0.0, &ConversionViewModel::overallProgressChanged);
    setPhase(Phase::scanned);
    QString status = scannedStatus(m_clips, m_excludedClipCount);
    if (!m_joinedShots.isEmpty())
        status += QLatin1Char(' ') + joinedShotsSentence(m_joinedShots);
    setStatusMessage(status + unreadableStatus(structure));
}

QString ConversionViewModel::scannedStatus(const QList<P2Clip>& clips, qint64 excludedCount)
{
    const qsizetype total = clips.size();
    const qsizetype withAudio =
        std::ranges::count_if(clips, [](const P2Clip& clip) { return !clip.audioURLs.isEmpty(); });
    const qsizetype verified =
        std::ranges::count_if(clips, [](const P2Clip& clip) { return isVerified(clip.pairingMethod); });
    if (total == 0 && excludedCount >= 1)
        return QStringLiteral("0 clips ready to convert — %1 clip(s) had no verified XML/UMID match. "
                              "See \"View Pairing Details\", or enable unsafe fallback pairing in Settings.")
            .arg(excludedCount);
    if (verified < total)
        return QStringLiteral("Found %1 clip%2 — %3 with audio. %4 used UNSAFE fallback pairing — "
                              "check \"View Pairing Details\".")
            .arg(total)
            .arg(plural(total))
            .arg(withAudio)
            .arg(total - verified);
    return QStringLiteral("Found %1 clip%2 — %3 with audio, all verified via CLIP XML.")
        .arg(total)
        .arg(plural(total))
        .arg(withAudio);
}

void ConversionViewModel::verifyCurrentCard()
{
    if (isConverting())
        return;
    const std::optional<P2CardStructure>& structure =
        m_cardStructure ? m_cardStructure : m_lastScannedStructure;
    if (structure)
        scan(structure->rootURL);
    else
        chooseFolder();
}

void ConversionViewModel::resetToIdle()
{
    setPhase(Phase::idle);
    update(m_cardStructure, std::optional<P2CardStructure>(), &ConversionViewModel::cardStructureChanged);
    m_lastScannedStructure.reset();
    setClips({});
    update(m_jobs, QList<std::shared_ptr<ConversionJob>>(), &ConversionViewModel::jobsChanged);
    setPairing({}, {});
    update(m_joinedShots, QList<SpannedShot>(), &ConversionViewModel::joinedShotsChanged);
    m_choice.setMovies({}, {});
    m_choice.chooseAll();
    emit choiceChanged();
    update(m_excludedClipCount, qint64(0), &ConversionViewModel::excludedClipCountChanged);
    update(m_summary, std::optional<ConversionSummary>(), &ConversionViewModel::summaryChanged);
    setStatusMessage(readyMessage);
    m_currentRunOutputFolder.reset();
}

void ConversionViewModel::start()
{
    start(true);
}

void ConversionViewModel::startIgnoringFreeSpace()
{
    start(false);
}

void ConversionViewModel::start(bool checkFreeSpace)
{
    if (!canConvert())
        return;
    update(m_spaceShortfall, QString(), &ConversionViewModel::spaceShortfallChanged);
    recheckFFmpegAvailability();
    if (!m_ffmpegAvailable) {
        setStatusMessage(ffmpegMissingMessage());
        return;
    }

    if (!m_currentRunOutputFolder) {
        const QString name = OutputFolderNamer::todayFolderName(QDateTime::currentDateTime());
        const QString base = QDir::cleanPath(m_settings.outputFolderPath());
        m_currentRunOutputFolder =
            m_sharesTodaysFolder ? QDir(base).filePath(name) : OutputFolderNamer::availableURL(base, name);
    }
    const QString folder = *m_currentRunOutputFolder;
    // A card is only ever read: movies and reports written into it could
    // fill it or be taken for its own files by the camera.
    if (m_cardStructure && FileSystemUtilities::isWithin(folder, m_cardStructure->rootURL)) {
        setStatusMessage(outputInsideCardMessage(folder));
        m_currentRunOutputFolder.reset();
        return;
    }
    if (const std::optional<QString> failure = FileSystemUtilities::createDirectories(folder)) {
        setStatusMessage(
            QStringLiteral("Could not create output folder: %1").arg(DisplayText::escaped(*failure)));
        return;
    }
    update(m_outputFolderURL, std::optional(folder), &ConversionViewModel::outputFolderURLChanged);
    // An interrupted run of this folder may have left gigabytes of half a
    // movie; a folder another Tolvane is writing into holds its own. A run of
    // some of the movies leaves the others' alone: another run sharing the
    // folder may be writing them now (each job clears its own).
    m_runFolderLock = RunFolderLock::tryHold(folder);
    if (m_runFolderLock && m_choice.allChosen())
        FFmpegService::removeStaleTemporaries(folder);
    if (m_runFolderLock)
        m_runFolderLock->share();
    else
        m_runFolderLock = RunFolderLock::holdShared(folder);

    // Every movie keeps the name it has on the whole card, chosen or not.
    const ClipChoice::Run run =
        m_choice.split(makeJobs(m_clips, m_joinedShots, m_settings.prefixExportsWithOrderNumber(), folder));
    m_notChosenNames = run.notChosenNames;
    update(m_jobs, run.jobs, &ConversionViewModel::jobsChanged);

    update(m_totalCount, static_cast<int>(m_jobs.size()), &ConversionViewModel::totalCountChanged);
    update(m_completedCount, 0, &ConversionViewModel::completedCountChanged);
    update(m_overallProgress, 0.0, &ConversionViewModel::overallProgressChanged);
    m_conversionReportLines.clear();
    if (m_backup && !m_backup->copies.isEmpty())
        m_conversionReportLines.append(verifiedCopyReportLine(m_backup->copies.first()));
    for (const QString& name : std::as_const(m_notChosenNames))
        m_conversionReportLines.append(LogWriter::notChosenReportLine(name));
    m_ffmpegErrorLines.clear();
    m_reportWriteFailures.clear();
    update(m_summary, std::optional<ConversionSummary>(), &ConversionViewModel::summaryChanged);
    setPhase(Phase::converting);
    const std::optional<QString> offsetWarning = m_settings.audioOffsetWarning();
    setStatusMessage(QStringLiteral("Converting…") +
                     (offsetWarning ? QLatin1Char(' ') + *offsetWarning : QString()));

    m_startClock.emplace();
    m_startClock->start();
    update(m_elapsed, 0.0, &ConversionViewModel::elapsedChanged);
    update(m_estimatedRemaining, std::optional<double>(), &ConversionViewModel::estimatedRemainingChanged);
    m_elapsedTimer.start();

    const double audioOffsetSeconds = m_settings.effectiveAudioOffsetSeconds();
    const ProResProfile profile = m_settings.proResProfile();
    const bool skipExistingFiles = m_settings.skipExistingFiles();
    const bool writeClipMetadata = m_settings.writeClipMetadata();
    m_queue = std::make_shared<ConversionQueue>();
    m_run = runBatch(m_queue, m_jobs, folder, audioOffsetSeconds, profile, skipExistingFiles,
                     writeClipMetadata, checkFreeSpace);
}

QCoro::Task<> ConversionViewModel::runBatch(std::shared_ptr<ConversionQueue> queue,
                                            QList<std::shared_ptr<ConversionJob>> jobs, QString outputFolder,
                                            double audioOffsetSeconds, ProResProfile profile,
                                            bool skipExistingFiles, bool writeClipMetadata,
                                            bool checkFreeSpace)
{
    const QPointer<ConversionViewModel> self(this);
    const std::shared_ptr<DesktopSession> session = m_session;
    // So may earlier runs' folders beside it, interrupted by a crash or a power cut.
    QFuture<void> sweeping = QtConcurrent::run(Workers::pool(), RunFolderLock::removeAbandonedTemporaries,
                                               QFileInfo(outputFolder).path());
    co_await sweeping;
    if (checkFreeSpace && !queue->isCancelled()) {
        QCoro::Task<std::optional<QString>> checking =
            SpaceRefusal::shortfall(jobs, profile, skipExistingFiles, outputFolder);
        const std::optional<QString> shortfall = co_await checking;
        if (shortfall && self && !queue->isCancelled()) {
            self->refuseForSpace(outputFolder, *shortfall);
            co_return;
        }
    }
    // The handlers reach the driver through this frame's guard, which outlives
    // every call since the batch is awaited here. They capture nothing with a
    // destructor: g++ 12 destroys copies of coroutine arguments made inside a
    // co_await expression twice, which would release a captured guard early.
    const QPointer<ConversionViewModel>* guard = &self;
    ConversionQueue::JobUpdateHandler onJobUpdate = [guard](ConversionJob& job) {
        if (*guard)
            (*guard)->handleJobUpdate(job);
    };
    ConversionQueue::JobFinishedHandler onJobFinished = [guard](const ConversionQueue::JobOutcome& outcome) {
        if (*guard)
            (*guard)->handleJobFinished(outcome);
    };
    ConversionQueue::CommandBuiltHandler onCommandBuilt = [guard](ConversionJob& job,
                                                                  const QString& commandLine) {
        if (*guard)
            (*guard)->handleCommandBuilt(job, commandLine);
    };
    // Asked while the first clip already converts: the run never waits for
    // the desktop, and a desktop that does not answer only costs the lock.
    std::optional<QCoro::Task<std::optional<QString>>> holdingOffSleep;
    if (session)
        holdingOffSleep.emplace(session->holdOffSleep(holdingOffSleepReason(jobs.size())));
    QCoro::Task<> batch =
        queue->run(std::move(jobs), audioOffsetSeconds, profile, skipExistingFiles, writeClipMetadata,
                   std::move(onJobUpdate), std::move(onJobFinished), std::move(onCommandBuilt));
    co_await batch;
    std::optional<QString> sleepNotHeld;
    if (holdingOffSleep)
        sleepNotHeld = co_await *holdingOffSleep;
    if (self) {
        self->m_sleepNotHeldReason = sleepNotHeld;
        QCoro::Task<> finishing = self->finishBatch(outputFolder, queue->stop());
        co_await finishing;
    } else if (session) {
        session->allowSleep();
    }
}

void ConversionViewModel::refuseForSpace(const QString& outputFolder, const QString& shortfall)
{
    m_elapsedTimer.stop();
    m_queue.reset();
    m_runFolderLock.reset();
    // The folder made for this run is removed while still empty; one that an
    // earlier run of the card filled stays.
    if (QDir().rmdir(outputFolder)) {
        m_currentRunOutputFolder.reset();
        update(m_outputFolderURL, std::optional<QString>(), &ConversionViewModel::outputFolderURLChanged);
    }
    update(m_jobs, QList<std::shared_ptr<ConversionJob>>(), &ConversionViewModel::jobsChanged);
    update(m_spaceShortfall, shortfall, &ConversionViewModel::spaceShortfallChanged);
    setPhase(Phase::scanned);
    setStatusMessage(shortfall);
    endSessionIfIdle();
}

void ConversionViewModel::endSession()
{
    m_endingSession = true;
    cancel();
    endSessionIfIdle();
}

void ConversionViewModel::endSessionIfIdle()
{
    if (m_endingSession && !isConverting() && !m_writingRunDebugReport)
        emit sessionEnded();
}

void ConversionViewModel::cancel()
{
    if (m_phase != Phase::converting)
        return;
    setPhase(Phase::cancelling);
    setStatusMessage(ProgressText::cancellingWait(
        std::chrono::ceil<std::chrono::seconds>(ToolLimits::current().terminationGrace).count()));
    // Asked from the event loop, like every other step of the run, and of the
    // queue of this run only.
    QTimer::singleShot(0, this, [queue = std::weak_ptr(m_queue)] {
        if (const std::shared_ptr<ConversionQueue> running = queue.lock())
            running->cancel();
    });
}

QList<std::shared_ptr<ConversionJob>> ConversionViewModel::makeJobs(const QList<P2Clip>& clips,
                                                                    const QList<SpannedShot>& joinedShots,
                                                                    bool prefixWithOrderNumber,
                                                                    const QString& folder)
{
    QHash<QUuid, const SpannedShot*> shotOfPiece;
    for (const SpannedShot& shot : joinedShots)
        for (const P2Clip& piece : shot.pieces)
            shotOfPiece.insert(piece.id, &shot);

    QList<const P2Clip*> heads;
    QStringList baseNames;
    for (const P2Clip& clip : clips) {
        const SpannedShot* shot = shotOfPiece.value(clip.id);
        if (shot && shot->top().id != clip.id)
            continue;
        heads.append(&clip);
        baseNames.append(clip.outputFilename(prefixWithOrderNumber));
    }
    const QStringList outputs = ExportFilename::uniqueOutputURLs(baseNames, folder);
    QList<std::shared_ptr<ConversionJob>> jobs;
    for (qsizetype i = 0; i < heads.size(); ++i) {
        const SpannedShot* shot = shotOfPiece.value(heads.at(i)->id);
        jobs.append(shot ? std::make_shared<ConversionJob>(*shot, outputs.at(i))
                         : std::make_shared<ConversionJob>(*heads.at(i), outputs.at(i)));
    }
    return jobs;
}

QString ConversionViewModel::joinedShotsSentence(const QList<SpannedShot>& shots)
{
    if (shots.isEmpty())
        return QString();
    qsizetype pieces = 0;
    for (const SpannedShot& shot : shots)
        pieces += shot.pieces.size();
    return QStringLiteral("%1 spanned shot%2 (%3 pieces) will be joined into %4.")
        .arg(shots.size())
        .arg(plural(shots.size()))
        .arg(pieces)
        .arg(shots.size() == 1 ? QStringLiteral("one movie") : QStringLiteral("one movie each"));
}

void ConversionViewModel::handleJobUpdate(ConversionJob& job)
{
    if (job.status().kind == ClipStatus::Kind::converting)
        update(m_currentClipName, job.clipName(), &ConversionViewModel::currentClipNameChanged);
    recomputeOverallProgress();
    emit jobUpdated(job.clip().videoURL);
}

void ConversionViewModel::handleCommandBuilt(ConversionJob& job, const QString& commandLine)
{
    m_conversionReportLines.append(LogWriter::commandReportLine(job.clipName(), commandLine));
}

void ConversionViewModel::handleJobFinished(const ConversionQueue::JobOutcome& outcome)
{
    // The count says how far the run got; a clip it never reached adds nothing.
    if (outcome.status.kind != ClipStatus::Kind::notStarted)
        update(m_completedCount, m_completedCount + 1, &ConversionViewModel::completedCountChanged);
    recomputeOverallProgress();
    const QString& clipName = outcome.clipName;
    switch (outcome.status.kind) {
    case ClipStatus::Kind::failed:
        m_conversionReportLines.append(LogWriter::failedReportLine(clipName, outcome.status.message));
        m_ffmpegErrorLines.append(LogWriter::errorLine(clipName, outcome.status.message));
        break;
    case ClipStatus::Kind::completed:
        m_conversionReportLines.append(LogWriter::convertedReportLine(clipName));
        break;
    case ClipStatus::Kind::skippedExisting:
        m_conversionReportLines.append(LogWriter::skippedReportLine(clipName));
        break;
    case ClipStatus::Kind::notStarted:
        m_conversionReportLines.append(LogWriter::notStartedReportLine(clipName, outcome.status.message));
        break;
    case ClipStatus::Kind::pending:
    case ClipStatus::Kind::converting:
    case ClipStatus::Kind::notChosen:
        break;
    }
}

double ConversionViewModel::overallProgressOf(const QList<ClipStatus>& statuses)
{
    if (statuses.isEmpty())
        return 0;
    double sum = 0;
    for (const ClipStatus& status : statuses)
        sum += status.progressWeight();
    return sum / static_cast<double>(statuses.size());
}

std::optional<double> ConversionViewModel::remainingEstimate(double elapsedSeconds, double progress,
                                                             std::optional<double> previous)
{
    if (progress <= estimateThreshold)
        return previous;
    return std::max(0.0, elapsedSeconds / progress - elapsedSeconds);
}

void ConversionViewModel::recomputeOverallProgress()
{
    QList<ClipStatus> statuses;
    statuses.reserve(m_jobs.size());
    for (const std::shared_ptr<ConversionJob>& job : std::as_const(m_jobs))
        statuses.append(job->status());
    const double progress = overallProgressOf(statuses);
    update(m_overallProgress, progress, &ConversionViewModel::overallProgressChanged);
    if (m_jobs.isEmpty() || !m_startClock)
        return;
    const double elapsedSeconds = static_cast<double>(m_startClock->nsecsElapsed()) / 1e9;
    update(m_estimatedRemaining, remainingEstimate(elapsedSeconds, progress, m_estimatedRemaining),
           &ConversionViewModel::estimatedRemainingChanged);
}

void ConversionViewModel::updateElapsed()
{
    if (m_startClock)
        update(m_elapsed, static_cast<double>(m_startClock->nsecsElapsed()) / 1e9,
               &ConversionViewModel::elapsedChanged);
}

ConversionSummary ConversionViewModel::summarize(const QList<std::shared_ptr<ConversionJob>>& jobs,
                                                 qint64 excludedByPairing, const QString& outputFolder,
                                                 std::optional<RunStop> stop)
{
    ConversionSummary summary;
    for (const std::shared_ptr<ConversionJob>& job : jobs) {
        const bool noAudio = job->clip().audioURLs.isEmpty();
        switch (job->status().kind) {
        case ClipStatus::Kind::completed:
            ++summary.converted;
            summary.missingAudio += noAudio ? 1 : 0;
            break;
        case ClipStatus::Kind::skippedExisting:
            ++summary.skipped;
            summary.missingAudio += noAudio ? 1 : 0;
            break;
        case ClipStatus::Kind::failed:
            ++summary.failed;
            break;
        case ClipStatus::Kind::notStarted:
            ++summary.notStarted;
            break;
        case ClipStatus::Kind::pending:
        case ClipStatus::Kind::converting:
            break;
        case ClipStatus::Kind::notChosen:
            break;
        }
    }
    summary.stop = stop;
    summary.excludedByPairing = excludedByPairing;
    summary.outputFolder = outputFolder;
    return summary;
}

QString ConversionViewModel::ffmpegMissingMessage(const PlatformFacts& platform)
{
    return QStringLiteral("ffmpeg not found. Install it with: ") + platform.ffmpegInstallCommand;
}

QString ConversionViewModel::verifiedCopyReportLine(const QString& path)
{
    return LogWriter::timestampedLine(
        QStringLiteral("The movies were made from the verified backup copy at %1, not from the card.")
            .arg(path));
}

QString ConversionViewModel::outputInsideCardMessage(const QString& folder)
{
    return QStringLiteral("The output folder “%1” is inside the card. Choose a folder outside the card: "
                          "nothing is ever written to a card.")
        .arg(DisplayText::escaped(folder));
}

QString ConversionViewModel::holdingOffSleepReason(qsizetype movies)
{
    return QStringLiteral("Converting %1 clip%2 to ProRes").arg(movies).arg(plural(movies));
}

QString ConversionViewModel::sleepNotHeldLine(const QString& why)
{
    return QStringLiteral("\nSleep could not be held off during this run: %1.\n").arg(why);
}

namespace {

// The status sentence that ends a run, before the movies left out by choice.
QString runSentence(const ConversionSummary& summary)
{
    if (summary.stop) {
        QStringList counts{QStringLiteral("%1 converted").arg(summary.converted)};
        if (summary.skipped >= 1)
            counts.append(QStringLiteral("%1 skipped").arg(summary.skipped));
        if (summary.failed >= 1)
            counts.append(QStringLiteral("%1 failed").arg(summary.failed));
        counts.append(QStringLiteral("%1 not started").arg(summary.notStarted));
        return RunStops::sentence(*summary.stop) + QLatin1Char(' ') + counts.join(QStringLiteral(", ")) +
               QStringLiteral(". See logs in the output folder.");
    }
    if (summary.failed >= 1)
        return QStringLiteral("Done with %1 error%2. See logs in the output folder.")
            .arg(summary.failed)
            .arg(plural(summary.failed));
    if (summary.excludedByPairing < 1)
        return QStringLiteral("All done. %1 clip%2 converted.")
            .arg(summary.converted)
            .arg(plural(summary.converted));
    return QStringLiteral("All done. %1 clip%2 converted — %3 skipped (unverified pairing).")
        .arg(summary.converted)
        .arg(plural(summary.converted))
        .arg(summary.excludedByPairing);
}

} // namespace

QString ConversionViewModel::summarySentence(const ConversionSummary& summary)
{
    const QString sentence = runSentence(summary);
    if (summary.notChosen < 1)
        return sentence;
    return sentence + QStringLiteral(" %1 clip%2 left out by choice.")
                          .arg(summary.notChosen)
                          .arg(plural(summary.notChosen));
}

QString ConversionViewModel::historyCardName() const
{
    return m_cardStructure ? QFileInfo(QDir::cleanPath(m_cardStructure->rootURL)).fileName()
                           : QStringLiteral("P2 Card");
}

std::optional<QString> ConversionViewModel::recordBackupAlone(const BackupRecord& backup,
                                                              const QString& folder)
{
    const int chosen = chosenCount();
    return m_history.record(historyCardName(), folder, 0, 0, 0, m_excludedClipCount, chosen,
                            movieCount() - chosen, backup);
}

QCoro::Task<> ConversionViewModel::finishBatch(QString outputFolder, std::optional<RunStop> stop)
{
    const QPointer<ConversionViewModel> self(this);
    const std::shared_ptr<DesktopSession> session = m_session;
    m_elapsedTimer.stop();
    updateElapsed();
    m_queue.reset();

    ConversionSummary summary = summarize(m_jobs, m_excludedClipCount, outputFolder, stop);
    summary.notChosen = m_notChosenNames.size();

    // The reports are written on a worker, and the run shows as finished once
    // they are there: a window that follows the run never waits for a disk.
    QStringList runMovies;
    if (!m_notChosenNames.isEmpty()) {
        for (const std::shared_ptr<ConversionJob>& job : std::as_const(m_jobs))
            runMovies.append(job->clipName());
    }
    QFuture<QStringList> writing =
        QtConcurrent::run(Workers::pool(), writeRunReports, m_conversionReportLines, pairingReportText(),
                          m_ffmpegErrorLines, runMovies, m_notChosenNames, outputFolder);
    const QStringList writeFailures = co_await writing;
    if (!self) {
        if (session)
            session->allowSleep();
        co_return;
    }

    update(m_summary, std::optional(summary), &ConversionViewModel::summaryChanged);
    setPhase(Phase::finished);
    setStatusMessage(summarySentence(summary));
    addReportWriteFailures(writeFailures);

    m_runFolderLock.reset();

    // The movies stay whatever happens to the history; the run says it could not record itself.
    if (const std::optional<QString> failure = m_history.record(
            historyCardName(), outputFolder, summary.converted, summary.failed, summary.skipped,
            m_excludedClipCount, summary.notStarted, summary.notChosen, m_backup))
        addReportWriteFailures({LogWriter::writeFailure(ConversionHistoryStore::displayName(), *failure)});

    if (m_settings.openOutputFolderWhenFinished())
        m_desktop->revealInFileManager({outputFolder});

    // A run that ended early reports on the clips it reached.
    QSet<QUuid> reached;
    QList<SpannedShot> reachedShots;
    for (const std::shared_ptr<ConversionJob>& job : std::as_const(m_jobs)) {
        if (job->status().kind == ClipStatus::Kind::notStarted)
            continue;
        reached.insert(job->clip().id);
        if (const std::optional<SpannedShot>& shot = job->shot()) {
            reachedShots.append(*shot);
            for (const P2Clip& piece : shot->pieces)
                reached.insert(piece.id);
        }
    }
    QList<P2Clip> reachedClips;
    for (const P2Clip& clip : std::as_const(m_clips)) {
        if (reached.contains(clip.id))
            reachedClips.append(clip);
    }
    m_writingRunDebugReport = true;
    m_runDebugReport = writeRunDebugReport(
        reachedClips, m_pairingEntries, reachedShots, m_settings.effectiveAudioOffsetSeconds(),
        m_settings.proResProfile(), m_settings.prefixExportsWithOrderNumber(), m_settings.writeClipMetadata(),
        outputFolder, std::exchange(m_sleepNotHeldReason, std::nullopt), m_session);
}

QCoro::Task<> ConversionViewModel::writeRunDebugReport(QList<P2Clip> clips, QList<PairingReportEntry> entries,
                                                       QList<SpannedShot> joinedShots,
                                                       double audioOffsetSeconds, ProResProfile profile,
                                                       bool prefixExportsWithOrderNumber,
                                                       bool writeClipMetadata, QString outputFolder,
                                                       std::optional<QString> sleepNotHeldReason,
                                                       std::shared_ptr<DesktopSession> session)
{
    const QPointer<ConversionViewModel> self(this);
    QCoro::Task<QString> building =
        DebugReportBuilder::build(std::move(clips), std::move(entries), audioOffsetSeconds, profile,
                                  prefixExportsWithOrderNumber, std::move(joinedShots), writeClipMetadata);
    QString report = co_await building;
    if (sleepNotHeldReason)
        report += sleepNotHeldLine(*sleepNotHeldReason);
    // The report belongs to the run's folder whether or not anyone still watches.
    const QString path = QDir(outputFolder).filePath(LogWriter::debugReportFilename);
    // A named future: as a temporary inside the co_await expression, g++ 12
    // would destroy the lambda's captured texts twice.
    QFuture<std::optional<QString>> written =
        QtConcurrent::run(Workers::pool(), [report, path] { return LogWriter::writeText(report, path); });
    const std::optional<QString> failure = co_await written;
    // The run is over once its last report is written, unless another has begun.
    if (session && !(self && self->isConverting()))
        session->allowSleep();
    // A later run has a status line of its own.
    if (self && failure && self->m_outputFolderURL == outputFolder && self->m_phase == Phase::finished)
        self->addReportWriteFailures({LogWriter::writeFailure(LogWriter::debugReportFilename, *failure)});
    if (!self)
        co_return;
    // Only the newest run's report is awaited by the end of the session.
    if (self->m_outputFolderURL == outputFolder && self->m_phase == Phase::finished)
        self->m_writingRunDebugReport = false;
    self->update(self->m_debugReportGenerationTick, self->m_debugReportGenerationTick + 1,
                 &ConversionViewModel::debugReportGenerationTickChanged);
    self->endSessionIfIdle();
}

void ConversionViewModel::addReportWriteFailures(const QStringList& failures)
{
    if (failures.isEmpty() || !m_summary)
        return;
    m_reportWriteFailures.append(failures);
    setStatusMessage(LogWriter::writeFailuresSentence(m_reportWriteFailures) + QLatin1Char(' ') +
                     summarySentence(*m_summary));
}

void ConversionViewModel::revealOutputFolder()
{
    if (m_outputFolderURL)
        m_desktop->revealInFileManager({*m_outputFolderURL});
}

void ConversionViewModel::revealMostRecentLogsFolder()
{
    if (m_outputFolderURL) {
        m_desktop->revealInFileManager({*m_outputFolderURL});
        return;
    }
    if (const std::optional<ConversionHistoryEntry> latest = m_history.mostRecent()) {
        m_desktop->revealInFileManager({latest->outputFolder});
        return;
    }
    setStatusMessage(
        QStringLiteral("No conversions yet — logs appear in the output folder after your first conversion."));
}

QString ConversionViewModel::exportDirectory() const
{
    return QDir::cleanPath(m_settings.outputFolderPath());
}

void ConversionViewModel::exportPairingReportOnly()
{
    if (m_pairingEntries.isEmpty())
        return;
    m_export = runPairingReportExport();
}

QCoro::Task<> ConversionViewModel::runPairingReportExport()
{
    const QPointer<ConversionViewModel> self(this);
    const std::shared_ptr<Desktop> desktop = m_desktop;
    const std::optional<QString> path = co_await desktop->chooseSaveLocation(
        QStringLiteral("Export Pairing Report"),
        QStringLiteral("Save the pairing report without converting any clips."),
        QString(LogWriter::pairingReportFilename), exportDirectory());
    if (!self || !path || path->isEmpty())
        co_return;
    if (const std::optional<QString> failure = LogWriter::writeText(self->pairingReportText(), *path))
        self->setStatusMessage(
            QStringLiteral("Could not save pairing report: %1").arg(DisplayText::escaped(*failure)));
    else
        self->setStatusMessage(QStringLiteral("Pairing report saved to %1.").arg(*path));
}

void ConversionViewModel::exportDebugReportOnly()
{
    if (!canExportDebugReport() || m_isGeneratingDebugReport)
        return;
    m_export = runDebugReportExport();
}

QCoro::Task<> ConversionViewModel::runDebugReportExport()
{
    const QPointer<ConversionViewModel> self(this);
    const std::shared_ptr<Desktop> desktop = m_desktop;
    const std::optional<QString> path = co_await desktop->chooseSaveLocation(
        QStringLiteral("Export Debug Report"),
        QStringLiteral("Save the full per-clip ffprobe + ffmpeg-command debug report without converting any "
                       "clips."),
        QString(LogWriter::debugReportFilename), exportDirectory());
    // A second request may have got in while the panel was open.
    if (!self || !path || path->isEmpty() || self->m_isGeneratingDebugReport)
        co_return;
    self->setGeneratingDebugReport(true);
    self->setStatusMessage(ProgressText::generatingDebugReport());
    QCoro::Task<QString> building = DebugReportBuilder::build(
        self->m_clips, self->m_pairingEntries, self->m_settings.effectiveAudioOffsetSeconds(),
        self->m_settings.proResProfile(), self->m_settings.prefixExportsWithOrderNumber(),
        self->m_joinedShots, self->m_settings.writeClipMetadata());
    const QString report = co_await building;
    if (!self)
        co_return;
    self->setGeneratingDebugReport(false);
    if (const std::optional<QString> failure = LogWriter::writeText(report, *path))
        self->setStatusMessage(
            QStringLiteral("Could not save debug report: %1").arg(DisplayText::escaped(*failure)));
    else
        self->setStatusMessage(QStringLiteral("Debug report saved to %1.").arg(*path));
}

template <typename T>
bool ConversionViewModel::update(T& field, const T& value, void (ConversionViewModel::*changed)())
{
    if (field == value)
        return false;
    field = value;
    emit(this->*changed)();
    return true;
}

void ConversionViewModel::setPhase(Phase phase)
{
    if (update(m_phase, phase, &ConversionViewModel::phaseChanged))
        announceDerived();
}

void ConversionViewModel::setClips(QList<P2Clip> clips)
{
    if (update(m_clips, clips, &ConversionViewModel::clipsChanged))
        announceDerived();
}

void ConversionViewModel::setPairing(QList<PairingReportEntry> entries, QStringList summaryLines)
{
    const bool entriesChanged =
        update(m_pairingEntries, entries, &ConversionViewModel::pairingEntriesChanged);
    const bool linesChanged =
        update(m_pairingSummaryLines, summaryLines, &ConversionViewModel::pairingSummaryLinesChanged);
    if (entriesChanged || linesChanged)
        emit pairingReportTextChanged();
}

bool ConversionViewModel::recheckFFmpegAvailability()
{
    setFFmpegAvailable(FFmpegService::recheckAvailability());
    return m_ffmpegAvailable;
}

void ConversionViewModel::setFFmpegAvailable(bool available)
{
    if (update(m_ffmpegAvailable, available, &ConversionViewModel::ffmpegAvailableChanged))
        announceDerived();
}

void ConversionViewModel::setStatusMessage(const QString& message)
{
    update(m_statusMessage, message, &ConversionViewModel::statusMessageChanged);
}

void ConversionViewModel::setGeneratingDebugReport(bool generating)
{
    update(m_isGeneratingDebugReport, generating, &ConversionViewModel::isGeneratingDebugReportChanged);
}

void ConversionViewModel::announceDerived()
{
    update(m_canConvert, canConvert(), &ConversionViewModel::canConvertChanged);
    update(m_canExportDebugReport, canExportDebugReport(), &ConversionViewModel::canExportDebugReportChanged);
}
