#pragma once

#include "base/Platform.h"
#include "card/P2CardStructure.h"
#include "card/P2Clip.h"
#include "card/Pairing.h"
#include "card/PairingReportEntry.h"
#include "run/ClipChoice.h"
#include "run/ClipRow.h"
#include "run/ClipStatus.h"
#include "run/ConversionJob.h"
#include "run/ConversionQueue.h"
#include "run/ConversionSummary.h"
#include "run/RunFolderLock.h"
#include "session/DesktopSession.h"
#include "store/ConversionHistoryStore.h"
#include "store/Desktop.h"

#include <memory>
#include <optional>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariant>

class RecentFoldersStore;
class SettingsStore;

// The session driver: the one object that holds a session's state, from the
// card folder chosen through scanning and pairing to the conversion run and
// its results. Every screen observes it and calls its operations.
//
// Lives on the GUI thread and is written only there. Scanning and pairing run
// as owned coroutines whose disk work goes to worker threads; they hold the
// driver weakly and drop their result when it is gone or when a run has
// started meanwhile. Nothing cancels an earlier scan: scans or re-pairings
// started in quick succession each apply their result as they finish, so the
// card shown is the one whose scan finished last.
class ConversionViewModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(std::optional<P2CardStructure> cardStructure READ cardStructure NOTIFY cardStructureChanged)
    Q_PROPERTY(QList<P2Clip> clips READ clips NOTIFY clipsChanged)
    Q_PROPERTY(QList<PairingReportEntry> pairingEntries READ pairingEntries NOTIFY pairingEntriesChanged)
    Q_PROPERTY(QStringList pairingSummaryLines READ pairingSummaryLines NOTIFY pairingSummaryLinesChanged)
    Q_PROPERTY(qint64 excludedClipCount READ excludedClipCount NOTIFY excludedClipCountChanged)
    // Spanned shots that become one movie each; only while joining is on.
    Q_PROPERTY(int joinedShotCount READ joinedShotCount NOTIFY joinedShotsChanged)
    // The card summary's line about joined shots; empty when none is joined.
    Q_PROPERTY(QString joinedShotsText READ joinedShotsText NOTIFY joinedShotsChanged)
    // A null variant when there is no error, otherwise the text.
    Q_PROPERTY(QVariant scanErrorMessage READ scanErrorMessageValue NOTIFY scanErrorMessageChanged)
    Q_PROPERTY(QList<std::shared_ptr<ConversionJob>> jobs READ jobs NOTIFY jobsChanged)
    Q_PROPERTY(QString currentClipName READ currentClipName NOTIFY currentClipNameChanged)
    Q_PROPERTY(int completedCount READ completedCount NOTIFY completedCountChanged)
    Q_PROPERTY(int totalCount READ totalCount NOTIFY totalCountChanged)
    Q_PROPERTY(double overallProgress READ overallProgress NOTIFY overallProgressChanged)
    Q_PROPERTY(double elapsed READ elapsed NOTIFY elapsedChanged)
    // A null variant until an estimate exists, otherwise seconds.
    Q_PROPERTY(QVariant estimatedRemaining READ estimatedRemainingValue NOTIFY estimatedRemainingChanged)
    Q_PROPERTY(QString statusMessage READ statusMessage NOTIFY statusMessageChanged)
    // A null variant until a run has chosen its folder, otherwise the path.
    Q_PROPERTY(QVariant outputFolderURL READ outputFolderURLValue NOTIFY outputFolderURLChanged)
    Q_PROPERTY(std::optional<ConversionSummary> summary READ summary NOTIFY summaryChanged)
    Q_PROPERTY(bool ffmpegAvailable READ ffmpegAvailable NOTIFY ffmpegAvailableChanged)
    Q_PROPERTY(
        bool isGeneratingDebugReport READ isGeneratingDebugReport NOTIFY isGeneratingDebugReportChanged)
    Q_PROPERTY(
        int debugReportGenerationTick READ debugReportGenerationTick NOTIFY debugReportGenerationTickChanged)

    // Why the last start was refused for want of space, empty otherwise;
    // `startIgnoringFreeSpace` converts anyway.
    Q_PROPERTY(QString spaceShortfall READ spaceShortfall NOTIFY spaceShortfallChanged)
    // Movies the loaded card would give, and how many of them the user chose.
    Q_PROPERTY(int movieCount READ movieCount NOTIFY choiceChanged)
    Q_PROPERTY(int chosenCount READ chosenCount NOTIFY choiceChanged)
    Q_PROPERTY(bool isConverting READ isConverting NOTIFY phaseChanged)
    Q_PROPERTY(bool canConvert READ canConvert NOTIFY canConvertChanged)
    Q_PROPERTY(bool canExportDebugReport READ canExportDebugReport NOTIFY canExportDebugReportChanged)
    Q_PROPERTY(QString pairingReportText READ pairingReportText NOTIFY pairingReportTextChanged)

public:
    enum class Phase : quint8 { idle, scanning, scanned, converting, cancelling, finished };
    Q_ENUM(Phase)

    // `settings`, `recentFolders` and `history` are the application's shared
    // stores and must outlive the driver. Takes the ffmpeg availability as
    // resolved so far and re-pairs the loaded card whenever the pairing-safety
    // setting changes.
    ConversionViewModel(SettingsStore& settings, RecentFoldersStore& recentFolders,
                        ConversionHistoryStore& history, std::shared_ptr<Desktop> desktop,
                        QObject* parent = nullptr);
    // Stops a run still under way; its jobs end as cancelled and nothing more
    // is reported for it.
    ~ConversionViewModel() override;

    // The session that holds off sleep from a run's first clip until its
    // reports are written; without one the computer may sleep during a run.
    void setDesktopSession(std::shared_ptr<DesktopSession> session) { m_session = std::move(session); }

    Phase phase() const { return m_phase; }
    const std::optional<P2CardStructure>& cardStructure() const { return m_cardStructure; }
    const QList<P2Clip>& clips() const { return m_clips; }
    const QList<PairingReportEntry>& pairingEntries() const { return m_pairingEntries; }
    const QStringList& pairingSummaryLines() const { return m_pairingSummaryLines; }
    qint64 excludedClipCount() const { return m_excludedClipCount; }
    const QList<SpannedShot>& joinedShots() const { return m_joinedShots; }
    int joinedShotCount() const { return static_cast<int>(m_joinedShots.size()); }
    QString joinedShotsText() const { return joinedShotsSentence(m_joinedShots); }
    const std::optional<QString>& scanErrorMessage() const { return m_scanErrorMessage; }
    const QList<std::shared_ptr<ConversionJob>>& jobs() const { return m_jobs; }
    const QString& currentClipName() const { return m_currentClipName; }
    int completedCount() const { return m_completedCount; }
    int totalCount() const { return m_totalCount; }
    double overallProgress() const { return m_overallProgress; }
    double elapsed() const { return m_elapsed; }
    const std::optional<double>& estimatedRemaining() const { return m_estimatedRemaining; }
    const QString& statusMessage() const { return m_statusMessage; }
    const std::optional<QString>& outputFolderURL() const { return m_outputFolderURL; }
    const std::optional<ConversionSummary>& summary() const { return m_summary; }
    bool ffmpegAvailable() const { return m_ffmpegAvailable; }
    bool isGeneratingDebugReport() const { return m_isGeneratingDebugReport; }
    int debugReportGenerationTick() const { return m_debugReportGenerationTick; }
    // The reports of the last run that could not be written, as "NAME (reason)".
    const QStringList& reportWriteFailures() const { return m_reportWriteFailures; }
    const QString& spaceShortfall() const { return m_spaceShortfall; }

    QVariant scanErrorMessageValue() const;
    QVariant estimatedRemainingValue() const;
    QVariant outputFolderURLValue() const;

    bool isConverting() const { return m_phase == Phase::converting || m_phase == Phase::cancelling; }
    // The last run's debug report is still being gathered or written.
    bool runDebugReportPending() const { return !m_runDebugReport.isReady(); }
    bool canConvert() const;
    bool canExportDebugReport() const;
    // The pairing report of the loaded card, as PAIRING_REPORT.txt holds it.
    QString pairingReportText() const;

    // Which movies go into the next run: every movie is chosen after a scan,
    // and the choice outlives re-pairing. It changes only through the
    // operations below, and not while a run is under way.
    const ClipChoice& choice() const { return m_choice; }
    bool isChosen(const QString& key) const { return m_choice.isChosen(key); }
    Q_INVOKABLE void setChosen(const QString& key, bool chosen);
    Q_INVOKABLE void chooseAll();
    Q_INVOKABLE void chooseNone();
    // Chooses exactly the movies with a piece named `names` (as scan shows a
    // clip); gives the names that match no movie, choosing nothing then.
    QStringList chooseOnlyNamed(const QStringList& names);
    int movieCount() const { return m_choice.movieCount(); }
    // The loaded card's movies and excluded clips, as the clip list shows them.
    QList<ClipRow> clipRows() const;
    // Shows the last run's movie of `key` selected in the file manager, or
    // opens it in the desktop's player; only a movie the run left in its folder.
    Q_INVOKABLE void revealMovie(const QString& key);
    Q_INVOKABLE void openMovie(const QString& key);
    // The job of the last run for the movie `key`, if it was in the run.
    std::shared_ptr<ConversionJob> jobFor(const QString& key) const;
    int chosenCount() const { return m_choice.chosenCount(); }
    // Runs go into today's dated folder itself, even when it exists, so
    // separate runs of single clips share one folder.
    void setSharesTodaysFolder(bool shares) { m_sharesTodaysFolder = shares; }
    // The names of the movies the last run left out by choice.
    const QStringList& notChosenNames() const { return m_notChosenNames; }

    // Asks the desktop for a card folder and scans the one chosen; a cancelled
    // chooser changes nothing.
    Q_INVOKABLE void chooseFolder();
    // Scans and pairs the card at `rootURL` (its root or CONTENTS folder) in
    // the background; the results arrive through `applyScanResults`.
    Q_INVOKABLE void scan(const QString& rootURL);
    // Scans the loaded card again, or asks for a folder when none was loaded.
    Q_INVOKABLE void verifyCurrentCard();
    // Forgets the card and its results; settings, history and the last
    // output folder are left alone.
    Q_INVOKABLE void resetToIdle();

    // Converts every clip into the run's dated folder: a new one for a newly
    // scanned card, the same one when the card is converted again. Does
    // nothing unless a conversion can start; a missing ffmpeg or a folder that
    // cannot be created only changes the status line. Before the first clip
    // the space the movies need is estimated: a run that cannot fit goes back
    // to the scanned card with `spaceShortfall` saying why.
    Q_INVOKABLE void start();
    // As `start`, without the free-space check: the user chose to go ahead.
    Q_INVOKABLE void startIgnoringFreeSpace();
    // The proven backup the loaded card was scanned from: CONVERSION_REPORT.txt
    // names its first copy as the movies' source, and the history entry
    // records it. Nothing for a card converted directly.
    void setBackup(std::optional<BackupRecord> backup) { m_backup = std::move(backup); }
    // Records in the history the loaded card's backup that no conversion
    // followed: it failed, was cancelled, or the session ended; `folder` is
    // where the first copy was to go. Says why the history could not be
    // saved, if it could not.
    std::optional<QString> recordBackupAlone(const BackupRecord& backup, const QString& folder);
    // The line CONVERSION_REPORT.txt opens with for a run made from a verified copy.
    static QString verifiedCopyReportLine(const QString& path);
    // Asks the running conversion to stop; the batch then ends as usual, with
    // its summary, logs and history entry. Only while converting.
    Q_INVOKABLE void cancel();
    // Ends the session as a hang-up or SIGTERM asks the window to: a run under
    // way is cancelled as by Cancel, and `sessionEnded` comes once its reports,
    // history entry and debug report are written; at once when nothing is left
    // to write.
    void endSession();
    // Shows the last run's output folder in the file manager.
    Q_INVOKABLE void revealOutputFolder();
    // Shows the folder that holds the newest logs: this session's run folder,
    // otherwise the one of the latest run in the history.
    Q_INVOKABLE void revealMostRecentLogsFolder();
    // Saves the loaded card's pairing report where the user chooses.
    Q_INVOKABLE void exportPairingReportOnly();
    // Builds the loaded card's debug report and saves it where the user
    // chooses; a request while one is being built is ignored.
    Q_INVOKABLE void exportDebugReportOnly();

    // How many spanned shots become one movie each, from how many pieces;
    // empty when there are none.
    static QString joinedShotsSentence(const QList<SpannedShot>& shots);
    // The run's jobs: one per clip in order, except that the pieces of a
    // joined shot make one job, in the place of its first piece, named as
    // that piece would be.
    static QList<std::shared_ptr<ConversionJob>> makeJobs(const QList<P2Clip>& clips,
                                                          const QList<SpannedShot>& joinedShots,
                                                          bool prefixWithOrderNumber, const QString& folder);
    // Searches for the tools again and publishes whether ffmpeg was found.
    bool recheckFFmpegAvailability();

    // The status line once a card is scanned: how many clips, how many with
    // audio, and whether any was paired without proof.
    static QString scannedStatus(const QList<P2Clip>& clips, qint64 excludedCount);
    // The status line when a run cannot start because ffmpeg is missing, with
    // the install command of `platform`.
    static QString ffmpegMissingMessage(const PlatformFacts& platform = Platform::current());
    // The status line when a run would write into the card it converts.
    static QString outputInsideCardMessage(const QString& folder);
    // Why sleep waits, as the desktop shows it while `movies` are converted.
    static QString holdingOffSleepReason(qsizetype movies);
    // The debug report's closing line when sleep could not be held off.
    static QString sleepNotHeldLine(const QString& why);
    // The status sentence that ends a run, with how many movies were left out by choice.
    static QString summarySentence(const ConversionSummary& summary);
    // The share of a run that is done: each job counts its converting fraction,
    // or 1 once it has ended, or 0 while pending.
    static double overallProgressOf(const QList<ClipStatus>& statuses);
    // The seconds still to go after `elapsedSeconds` at `progress`, or
    // `previous` while the progress is too small to project from.
    static std::optional<double> remainingEstimate(double elapsedSeconds, double progress,
                                                   std::optional<double> previous);
    // How the jobs of a run ended, and why it ended early when it did.
    static ConversionSummary summarize(const QList<std::shared_ptr<ConversionJob>>& jobs,
                                       qint64 excludedByPairing, const QString& outputFolder,
                                       std::optional<RunStop> stop = std::nullopt);

    // The queue's callbacks, on the GUI thread.
    void handleJobUpdate(ConversionJob& job);
    void handleJobFinished(const ConversionQueue::JobOutcome& outcome);
    void handleCommandBuilt(ConversionJob& job, const QString& commandLine);
    // Ends a run: logs, then summary and status, history entry, the optional
    // reveal and, in the background, DEBUG_REPORT.txt.
    QCoro::Task<> finishBatch(QString outputFolder, std::optional<RunStop> stop);
    // The loaded card's folder name as the history keeps it.
    QString historyCardName() const;

    // Publishes what a scan or re-pairing found.
    void applyScanResults(const P2CardStructure& structure, const P2MetadataParser::PairingResult& pairing);
    // Pairs the card scanned last again with the current pairing-safety
    // setting, from the stored structure: the disk is not read again.
    void repairCurrentStructureIfNeeded();

signals:
    void phaseChanged();
    void cardStructureChanged();
    void clipsChanged();
    void pairingEntriesChanged();
    void pairingSummaryLinesChanged();
    void excludedClipCountChanged();
    void joinedShotsChanged();
    void scanErrorMessageChanged();
    void jobsChanged();
    void currentClipNameChanged();
    void completedCountChanged();
    void totalCountChanged();
    void overallProgressChanged();
    void elapsedChanged();
    void estimatedRemainingChanged();
    void statusMessageChanged();
    void outputFolderURLChanged();
    void summaryChanged();
    void ffmpegAvailableChanged();
    void isGeneratingDebugReportChanged();
    void debugReportGenerationTickChanged();
    void canConvertChanged();
    void canExportDebugReportChanged();
    void pairingReportTextChanged();
    void spaceShortfallChanged();
    // Nothing of the session is left to write; see endSession.
    void sessionEnded();
    void choiceChanged();
    // The state or progress of the run's job for the movie `key` changed.
    void jobUpdated(const QString& key);

private:
    QCoro::Task<> runFolderChooser();
    void start(bool checkFreeSpace);
    QCoro::Task<> runBatch(std::shared_ptr<ConversionQueue> queue, QList<std::shared_ptr<ConversionJob>> jobs,
                           QString outputFolder, double audioOffsetSeconds, ProResProfile profile,
                           bool skipExistingFiles, bool writeClipMetadata, bool checkFreeSpace);
    // Takes back a run refused for want of space before its first clip.
    void refuseForSpace(const QString& outputFolder, const QString& shortfall);
    // Builds DEBUG_REPORT.txt for a finished run and writes it into its folder.
    QCoro::Task<> writeRunDebugReport(QList<P2Clip> clips, QList<PairingReportEntry> entries,
                                      QList<SpannedShot> joinedShots, double audioOffsetSeconds,
                                      ProResProfile profile, bool prefixExportsWithOrderNumber,
                                      bool writeClipMetadata, QString outputFolder,
                                      std::optional<QString> sleepNotHeldReason,
                                      std::shared_ptr<DesktopSession> session);
    QCoro::Task<> runPairingReportExport();
    QCoro::Task<> runDebugReportExport();
    // Where the save panels of the exports open: the configured output folder.
    QString exportDirectory() const;
    // Scans `rootURL` when given, otherwise pairs `structure` again, and
    // applies the result unless the driver is gone or a run has started.
    // Scans started in quick succession each apply their result as they finish.
    QCoro::Task<> scanAndPair(std::optional<QString> rootURL, P2CardStructure structure,
                              bool allowUnsafeFallback, bool joinSpanned);

    // Announces the end of the session once nothing is left to write.
    void endSessionIfIdle();
    // Sets `field` and announces the change; false when it held `value` already.
    template <typename T> bool update(T& field, const T& value, void (ConversionViewModel::*changed)());
    void setPhase(Phase phase);
    void setClips(QList<P2Clip> clips);
    void setPairing(QList<PairingReportEntry> entries, QStringList summaryLines);
    void setFFmpegAvailable(bool available);
    void setStatusMessage(const QString& message);
    void setGeneratingDebugReport(bool generating);
    void recomputeOverallProgress();
    void updateElapsed();
    // Records reports of the finished run that could not be written and puts
    // them first on the status line.
    void addReportWriteFailures(const QStringList& failures);
    // The derived values, re-announced after any of their inputs changed.
    void announceDerived();

    SettingsStore& m_settings;
    RecentFoldersStore& m_recentFolders;
    ConversionHistoryStore& m_history;
    std::shared_ptr<Desktop> m_desktop;
    std::shared_ptr<DesktopSession> m_session;

    Phase m_phase = Phase::idle;
    std::optional<P2CardStructure> m_cardStructure;
    QList<P2Clip> m_clips;
    QList<PairingReportEntry> m_pairingEntries;
    QStringList m_pairingSummaryLines;
    qint64 m_excludedClipCount = 0;
    QList<SpannedShot> m_joinedShots;
    std::optional<QString> m_scanErrorMessage;
    QList<std::shared_ptr<ConversionJob>> m_jobs;
    QString m_currentClipName;
    int m_completedCount = 0;
    int m_totalCount = 0;
    double m_overallProgress = 0;
    double m_elapsed = 0;
    std::optional<double> m_estimatedRemaining;
    QString m_statusMessage;
    std::optional<QString> m_outputFolderURL;
    std::optional<ConversionSummary> m_summary;
    bool m_ffmpegAvailable = false;
    bool m_isGeneratingDebugReport = false;
    int m_debugReportGenerationTick = 0;
    // The run's own debug report is still being written.
    bool m_writingRunDebugReport = false;
    // endSession was asked for; `sessionEnded` follows once all is written.
    bool m_endingSession = false;

    // Last values announced for the derived properties.
    bool m_canConvert = false;
    bool m_canExportDebugReport = false;

    std::optional<P2CardStructure> m_lastScannedStructure;
    ClipChoice m_choice;
    QStringList m_notChosenNames;
    bool m_sharesTodaysFolder = false;

    // Set by the first run of a card, so converting it again writes beside it.
    std::optional<QString> m_currentRunOutputFolder;

    // The run under way. The queue is shared with the run's coroutine, so it
    // lives as long as the conversion it is awaiting, even past the driver.
    std::shared_ptr<ConversionQueue> m_queue;
    // The run's hold on its folder, from its start to its reports.
    std::optional<RunFolderLock> m_runFolderLock;
    std::optional<QElapsedTimer> m_startClock;
    QTimer m_elapsedTimer;
    QStringList m_conversionReportLines;
    std::optional<BackupRecord> m_backup;
    QStringList m_ffmpegErrorLines;
    QStringList m_reportWriteFailures;
    QString m_spaceShortfall;
    // Why sleep was not held off during the run that ended; nothing when it was.
    std::optional<QString> m_sleepNotHeldReason;

    // The newest scan or re-pairing and the open folder chooser. Replaced work
    // runs on to its end and frees itself; it reaches the driver only through
    // a guarded pointer.
    QCoro::Task<> m_work;
    QCoro::Task<> m_chooser;
    QCoro::Task<> m_run;
    // The newest end-of-run debug report and the newest export. Earlier ones
    // run on to their end and free themselves.
    QCoro::Task<> m_runDebugReport;
    QCoro::Task<> m_export;
};
