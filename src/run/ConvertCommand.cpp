#include "run/ConvertCommand.h"

#include "base/DisplayText.h"
#include "base/Platform.h"
#include "card/P2Scanner.h"
#include "media/FFmpegService.h"
#include "media/ProResProfile.h"
#include "run/CardCommand.h"
#include "run/ClipJson.h"
#include "run/ConversionViewModel.h"
#include "run/InterruptWatcher.h"
#include "run/LogWriter.h"
#include "run/ProgressText.h"
#include "session/DBusDesktopSession.h"
#include "store/ConversionHistoryStore.h"
#include "store/HeadlessDesktop.h"
#include "store/OverlayKeyValueStore.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"

#include <cstdio>
#include <QCoroSignal>
#include <QElapsedTimer>
#include <QFileInfo>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ConvertCommand {

namespace {

using Phase = ConversionViewModel::Phase;

const QString commandName = QStringLiteral("convert");

// The progress line is redrawn at most this often, and whenever a clip ends.
constexpr qint64 redrawIntervalMs = 250;

std::optional<ProResProfile> profileNamed(const QString& name)
{
    if (name == QLatin1String("proxy"))
        return ProResProfile::proxy;
    if (name == QLatin1String("standard"))
        return ProResProfile::standard;
    if (name == QLatin1String("hq"))
        return ProResProfile::hq;
    return std::nullopt;
}

// The settings that the options override for this run only.
struct Options
{
    std::optional<QString> outputFolder;
    std::optional<ProResProfile> profile;
    bool allowUnsafeFallback = false;
    bool joinSpanned = false;
    bool clipMetadata = false;
    bool allowSleep = false;
    // Not a setting: the free-space check is skipped for this run.
    bool ignoreFreeSpace = false;
    // The clips to convert, as scan names them; all when empty.
    QStringList clips;
    bool json = false;

    // What the parsed command line asks for; its values are already checked.
    static Options from(const QCommandLineParser& parser)
    {
        Options options;
        if (parser.isSet(QStringLiteral("output-folder")))
            options.outputFolder =
                QFileInfo(parser.value(QStringLiteral("output-folder"))).absoluteFilePath();
        if (parser.isSet(QStringLiteral("profile")))
            options.profile = profileNamed(parser.value(QStringLiteral("profile")));
        options.allowUnsafeFallback = parser.isSet(QStringLiteral("allow-unsafe-fallback"));
        options.joinSpanned = parser.isSet(QStringLiteral("join-spanned"));
        options.clipMetadata = parser.isSet(QStringLiteral("clip-metadata"));
        options.allowSleep = parser.isSet(QStringLiteral("allow-sleep"));
        options.ignoreFreeSpace = parser.isSet(QStringLiteral("ignore-free-space"));
        options.clips = parser.values(QStringLiteral("clip"));
        options.json = parser.isSet(QStringLiteral("json"));
        return options;
    }

    // Written to the run's own settings, whose writes never reach the user's file.
    void applyTo(SettingsStore& settings) const
    {
        if (outputFolder)
            settings.setOutputFolderPath(*outputFolder);
        if (profile)
            settings.setProResProfile(*profile);
        if (allowUnsafeFallback)
            settings.setAllowUnsafeFallbackPairing(true);
        if (joinSpanned)
            settings.setJoinSpannedRecordings(true);
        if (clipMetadata)
            settings.setWriteClipMetadata(true);
        // The command prints the folder itself when the run ends.
        settings.setOpenOutputFolderWhenFinished(false);
    }
};

void writeOut(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

void writeError(const QString& text)
{
    const QByteArray bytes = DisplayText::escapedLines(text).toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

// Columns of the terminal on standard output, or nothing when unknown.
std::optional<int> terminalWidth()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return std::nullopt;
    return size.ws_col;
}

// The report line of a clip that has ended, as CONVERSION_REPORT.txt has it.
QString finishedJobLine(const ConversionJob& job)
{
    const ClipStatus& status = job.status();
    switch (status.kind) {
    case ClipStatus::Kind::completed:
        return LogWriter::convertedReportLine(job.clipName());
    case ClipStatus::Kind::skippedExisting:
        return LogWriter::skippedReportLine(job.clipName());
    case ClipStatus::Kind::failed:
        return LogWriter::failedReportLine(job.clipName(), status.message);
    case ClipStatus::Kind::notStarted:
        return LogWriter::notStartedReportLine(job.clipName(), status.message);
    case ClipStatus::Kind::pending:
    case ClipStatus::Kind::converting:
    case ClipStatus::Kind::notChosen:
        break;
    }
    return QString();
}

} // namespace

// Shows a run on the console: a line per clip that ends and, on a terminal,
// a progress line rewritten in place below them. Turns interrupts into the
// driver's cancel, and tells the command when it may stop waiting.
class RunConsole : public QObject
{
    Q_OBJECT

public:
    // A quiet console prints no line per clip: standard output is kept for a document.
    RunConsole(ConversionViewModel& driver, InterruptWatcher& interrupts, bool quiet)
        : m_driver(driver), m_interrupts(interrupts), m_terminal(isatty(STDOUT_FILENO) == 1), m_quiet(quiet)
    {
        connect(&interrupts, &InterruptWatcher::interrupted, this, &RunConsole::interrupt);
        for (const auto changed :
             {&ConversionViewModel::currentClipNameChanged, &ConversionViewModel::completedCountChanged,
              &ConversionViewModel::phaseChanged})
            connect(&driver, changed, this, &RunConsole::followRunningClip);
        connect(&driver, &ConversionViewModel::jobsChanged, this, [this] { m_nextJobToPrint = 0; });
        connect(&driver, &ConversionViewModel::completedCountChanged, this, [this] {
            printFinishedJobs();
            redraw(true);
        });
        connect(&driver, &ConversionViewModel::phaseChanged, this, [this] {
            if (m_driver.phase() == Phase::finished) {
                printFinishedJobs();
                // The movies are done; the debug report, which measures every
                // audio file, may take a while longer.
                show(ProgressText::debugReportLine());
            } else {
                redraw(true);
            }
        });
        for (const auto changed :
             {&ConversionViewModel::currentClipNameChanged, &ConversionViewModel::overallProgressChanged,
              &ConversionViewModel::elapsedChanged, &ConversionViewModel::estimatedRemainingChanged})
            connect(&driver, changed, this, [this] { redraw(false); });
        connect(&driver, &ConversionViewModel::debugReportGenerationTickChanged, this, [this] {
            clearProgressLine();
            emit waitEnded();
        });
        // A run refused for want of space never starts its first clip.
        connect(&driver, &ConversionViewModel::spaceShortfallChanged, this, &RunConsole::waitEnded);
    }

    bool cancelRequested() const { return m_cancelRequested; }
    bool stopWaiting() const { return m_stopWaiting; }

    void printLine(const QString& line)
    {
        if (m_quiet)
            return;
        clearProgressLine();
        writeOut(DisplayText::escapedLines(CardCommand::forTerminal(line)) + QLatin1Char('\n'));
        redraw(true);
    }

signals:
    // The debug report was written, or the user would rather not wait for it.
    void waitEnded();

private:
    void interrupt()
    {
        switch (m_driver.phase()) {
        case Phase::converting:
            m_cancelRequested = true;
            m_driver.cancel();
            // A tool stuck on a hung reader takes its grace to end: say why nothing happens yet.
            printLine(m_driver.statusMessage());
            break;
        case Phase::cancelling:
            break;
        case Phase::finished:
            // Only the debug report is still being written; the run is over.
            clearProgressLine();
            m_stopWaiting = true;
            emit waitEnded();
            break;
        case Phase::idle:
        case Phase::scanning:
        case Phase::scanned:
            // Nothing has been converted or written yet.
            clearProgressLine();
            std::fflush(stdout);
            _exit(InterruptWatcher::interruptedExitStatus);
        }
    }

    // A second Ctrl-C ends the program at once; it then removes the running
    // clip's half-written movie, which would otherwise stay behind hidden.
    void followRunningClip()
    {
        QString partial;
        if (m_driver.isConverting()) {
            for (const std::shared_ptr<ConversionJob>& job : m_driver.jobs()) {
                if (job->status().kind == ClipStatus::Kind::converting)
                    partial = FFmpegService::temporaryPath(job->outputURL());
            }
        }
        m_interrupts.setFileToRemoveOnExit(partial);
    }

    void printFinishedJobs()
    {
        const QList<std::shared_ptr<ConversionJob>>& jobs = m_driver.jobs();
        // The queue ends jobs in their order, so those printed are a prefix.
        while (m_nextJobToPrint < jobs.size() && jobs.at(m_nextJobToPrint)->status().isFinal()) {
            clearProgressLine();
            if (!m_quiet)
                writeOut(finishedJobLine(*jobs.at(m_nextJobToPrint)) + QLatin1Char('\n'));
            ++m_nextJobToPrint;
        }
    }

    void redraw(bool now)
    {
        if (!m_terminal || !m_driver.isConverting())
            return;
        if (!now && m_lastDraw.isValid() && m_lastDraw.elapsed() < redrawIntervalMs)
            return;
        m_lastDraw.start();
        show(ProgressText::progressLine({m_driver.phase() == Phase::cancelling, m_driver.completedCount(),
                                         m_driver.totalCount(), m_driver.currentClipName(),
                                         m_driver.overallProgress(), m_driver.elapsed(),
                                         m_driver.estimatedRemaining()}));
    }

    // Puts `line` in place of the progress line, on a terminal only.
    void show(QString line)
    {
        if (!m_terminal)
            return;
        // A line longer than the terminal would wrap, and "\r" would no longer reach its start.
        if (const std::optional<int> width = terminalWidth())
            line.truncate(*width - 1);
        const qsizetype shown = line.size();
        writeOut(QLatin1Char('\r') + line.leftJustified(m_shownWidth));
        m_shownWidth = shown;
    }

    void clearProgressLine()
    {
        if (m_shownWidth == 0)
            return;
        writeOut(QLatin1Char('\r') + QString(m_shownWidth, QLatin1Char(' ')) + QLatin1Char('\r'));
        m_shownWidth = 0;
    }

    ConversionViewModel& m_driver;
    InterruptWatcher& m_interrupts;
    const bool m_terminal;
    const bool m_quiet;
    qsizetype m_nextJobToPrint = 0;
    qsizetype m_shownWidth = 0;
    QElapsedTimer m_lastDraw;
    bool m_cancelRequested = false;
    bool m_stopWaiting = false;
};

QString unknownClipsProblem(const QStringList& names)
{
    QStringList quoted;
    for (const QString& name : names)
        quoted.append(QStringLiteral("“%1”").arg(name));
    return QStringLiteral("no clip that would be converted is named %1 (tolvane-cli scan lists them)")
        .arg(quoted.join(QStringLiteral(", ")));
}

QByteArray runDocument(const ConversionViewModel& driver, const QString& card)
{
    QList<ClipJson::Outcome> outcomes;
    for (const ClipRow& row : driver.clipRows()) {
        ClipJson::Outcome outcome{row, std::nullopt, QString()};
        if (const std::shared_ptr<ConversionJob> job = driver.jobFor(row.key)) {
            outcome.status = job->status();
            outcome.outputFile = job->outputURL();
        } else if (row.included) {
            outcome.status = ClipStatus::notChosen();
        }
        outcomes.append(outcome);
    }
    return ClipJson::runDocument(card, driver.statusMessage(), *driver.summary(), outcomes);
}

QString ffprobeMissingMessage()
{
    return QStringLiteral("ffprobe was not found. Install it with: %1")
        .arg(Platform::current().ffmpegInstallCommand);
}

QString ignoreFreeSpaceHint()
{
    return QStringLiteral("Free some space, choose another folder with --output-folder, or convert anyway "
                          "with --ignore-free-space.");
}

QCoro::Task<Outcome> run(QStringList arguments)
{
    QString cardFolder;
    QCommandLineParser parser;
    if (const std::optional<QString> error =
            CardCommand::parseArguments(CliDescription::command(commandName), arguments, parser, cardFolder))
        co_return Outcome{usageOrCannotRun, QString(), *error};
    const Options options = Options::from(parser);

    // History and recent folders go to the user's store, as after a run in the app.
    const std::shared_ptr<KeyValueStore> stored = CardCommand::openStore();
    const auto desktop = std::make_shared<HeadlessDesktop>();
    SettingsStore settings(std::make_shared<OverlayKeyValueStore>(stored), desktop);
    options.applyTo(settings);
    RecentFoldersStore recentFolders(stored);
    ConversionHistoryStore history(stored);
    ConversionViewModel driver(settings, recentFolders, history, desktop);
    if (!options.allowSleep)
        driver.setDesktopSession(std::make_shared<DBusDesktopSession>());
    InterruptWatcher interrupts;
    RunConsole console(driver, interrupts, options.json);

    driver.scan(cardFolder);
    while (driver.phase() == Phase::scanning)
        co_await qCoro(&driver, &ConversionViewModel::phaseChanged);
    if (const std::optional<QString>& noVideo = driver.scanErrorMessage())
        co_return Outcome{usageOrCannotRun, QString(), *noVideo + QLatin1Char('\n')};
    if (!driver.ffmpegAvailable())
        co_return Outcome{usageOrCannotRun, QString(),
                          ConversionViewModel::ffmpegMissingMessage() + QLatin1Char('\n')};
    // Without ffprobe no clip can be verified or its movie checked.
    if (!FFmpegService::resolvedFFprobePath())
        co_return Outcome{usageOrCannotRun, QString(), ffprobeMissingMessage() + QLatin1Char('\n')};
    // What could not be read is said on standard error before anything else.
    QString unreadable;
    for (const FileSystemUtilities::Unreadable& entry : driver.cardStructure()->unreadable)
        unreadable += P2Scanner::unreadableSentence(entry) + QLatin1Char('\n');
    writeError(unreadable);
    if (driver.clips().isEmpty())
        co_return Outcome{notAllConverted, QString(), driver.statusMessage() + QLatin1Char('\n')};
    // Unknown names end the command before anything is converted.
    if (!options.clips.isEmpty()) {
        const QStringList unknown = driver.chooseOnlyNamed(options.clips);
        if (!unknown.isEmpty())
            co_return Outcome{usageOrCannotRun, QString(),
                              CardCommand::usageError(commandName, unknownClipsProblem(unknown))};
        driver.setSharesTodaysFolder(true);
    }
    console.printLine(driver.statusMessage());

    const int debugReportsBefore = driver.debugReportGenerationTick();
    if (options.ignoreFreeSpace)
        driver.startIgnoringFreeSpace();
    else
        driver.start();
    // A missing ffmpeg or an output folder that cannot be made only changes the status line.
    if (driver.phase() != Phase::converting && driver.spaceShortfall().isEmpty())
        co_return Outcome{usageOrCannotRun, QString(), driver.statusMessage() + QLatin1Char('\n')};
    while (driver.debugReportGenerationTick() == debugReportsBefore && !console.stopWaiting() &&
           driver.spaceShortfall().isEmpty())
        co_await qCoro(&console, &RunConsole::waitEnded);
    if (!driver.spaceShortfall().isEmpty())
        co_return Outcome{usageOrCannotRun, QString(),
                          driver.spaceShortfall() + QLatin1Char(' ') + ignoreFreeSpaceHint() +
                              QLatin1Char('\n')};

    const ConversionSummary& summary = *driver.summary();
    const bool everyClipConverted = summary.failed == 0 && !console.cancelRequested();
    // A run whose reports are missing has not left what it promised.
    const QStringList& unwritten = driver.reportWriteFailures();
    QString warnings;
    if (const std::optional<QString> offsetWarning = settings.audioOffsetWarning())
        warnings += *offsetWarning + QLatin1Char('\n');
    if (!unwritten.isEmpty())
        warnings += LogWriter::writeFailuresSentence(unwritten) + QLatin1Char('\n');
    const QString standardOutput =
        options.json ? QString::fromUtf8(runDocument(driver, cardFolder))
                     : driver.statusMessage() + QLatin1Char('\n') + DisplayText::escaped(summary.outputFolder) +
                           QLatin1Char('\n');
    co_return Outcome{everyClipConverted && unwritten.isEmpty() ? allConverted : notAllConverted,
                      standardOutput, warnings};
}

} // namespace ConvertCommand

#include "ConvertCommand.moc"
