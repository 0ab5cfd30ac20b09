#include "run/ScanCommand.h"

#include "base/Workers.h"
#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "card/PairingReport.h"
#include "media/ProbeCache.h"
#include "run/ClipJson.h"
#include "store/HeadlessDesktop.h"
#include "store/QSettingsKeyValueStore.h"
#include "store/SettingsStore.h"

#include <cstdio>
#include <QCoroFuture>
#include <QElapsedTimer>
#include <QtConcurrent>
#include <unistd.h>

namespace ScanCommand {

namespace {

const QString commandName = QStringLiteral("scan");

QString count(int number, const QString& noun)
{
    return QStringLiteral("%1 %2%3").arg(number).arg(noun, number == 1 ? QString() : QStringLiteral("s"));
}

QString seconds(double value)
{
    return QString::number(value, 'f', 3) + QStringLiteral(" s");
}

double secondsSince(const QElapsedTimer& clock)
{
    return static_cast<double>(clock.nsecsElapsed()) / 1e9;
}

void writeError(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

} // namespace

QString timingsText(const Timings& timings)
{
    return QStringLiteral("Card folders walked in %1\n"
                          "Paired (UMIDs, CLIP XML, shoot order) in %2\n"
                          "Report written in %3\n"
                          "%4 read natively (%5), %6 not readable natively\n"
                          "%7 to ffprobe (%8), %9 from memory\n")
        .arg(seconds(timings.walkSeconds), seconds(timings.pairingSeconds), seconds(timings.reportSeconds),
             count(timings.filesReadNatively, QStringLiteral("file")), seconds(timings.nativeReadSeconds),
             QString::number(timings.filesNotReadNatively),
             count(timings.ffprobeRuns, QStringLiteral("fallback")), seconds(timings.ffprobeSeconds),
             count(timings.answersFromMemory, QStringLiteral("answer")));
}

QString probeProgressLine(qsizetype done, qsizetype total)
{
    return QStringLiteral("Reading UMIDs %1 / %2").arg(done).arg(total);
}

QCoro::Task<Outcome> run(QStringList arguments)
{
    QString cardFolder;
    QCommandLineParser parser;
    if (const std::optional<QString> error =
            CardCommand::parseArguments(CliDescription::command(commandName), arguments, parser, cardFolder))
        co_return Outcome{usageOrNoVideo, QString(), *error};
    const bool allowUnsafeFallback = parser.isSet(QStringLiteral("allow-unsafe-fallback"));
    const bool showTimings = parser.isSet(QStringLiteral("timings"));
    const bool json = parser.isSet(QStringLiteral("json"));

    Timings timings;
    QElapsedTimer clock;
    clock.start();
    const P2CardStructure structure =
        co_await QtConcurrent::run(Workers::pool(), P2Scanner::scan, cardFolder);
    if (structure.videoFiles.isEmpty())
        co_return Outcome{usageOrNoVideo, QString(),
                          P2Scanner::noVideoMessage(structure) + QLatin1Char('\n')};
    timings.walkSeconds = secondsSince(clock);

    // A large card takes a while to read: a terminal sees the count go up.
    qsizetype shownWidth = 0;
    P2MetadataParser::ProbeProgress progress;
    if (isatty(STDERR_FILENO) == 1)
        progress = [&shownWidth](qsizetype done, qsizetype total) {
            const QString line = probeProgressLine(done, total);
            writeError(QLatin1Char('\r') + line.leftJustified(shownWidth));
            shownWidth = line.size();
        };
    clock.restart();
    const ProbeCache::Statistics before = ProbeCache::statistics();
    QCoro::Task<P2MetadataParser::PairingResult> pairingTask =
        P2MetadataParser::pairClips(structure, allowUnsafeFallback, progress);
    const P2MetadataParser::PairingResult pairing = co_await pairingTask;
    const ProbeCache::Statistics after = ProbeCache::statistics();
    timings.pairingSeconds = secondsSince(clock);
    if (shownWidth > 0)
        writeError(QLatin1Char('\r') + QString(shownWidth, QLatin1Char(' ')) + QLatin1Char('\r'));

    clock.restart();
    // The movies' names follow the stored numbering setting, as a run's would.
    const QString report =
        json ? QString::fromUtf8(ClipJson::scanDocument(
                   cardFolder,
                   ClipRows::of(pairing.clips, pairing.entries, {},
                                SettingsStore(QSettingsKeyValueStore::openApplicationStore(),
                                              std::make_shared<HeadlessDesktop>())
                                    .prefixExportsWithOrderNumber()),
                   pairing.summaryLines))
             : PairingReport::text(pairing.summaryLines, pairing.entries) + QLatin1Char('\n');
    timings.reportSeconds = secondsSince(clock);

    timings.filesReadNatively = after.filesReadNatively - before.filesReadNatively;
    timings.filesNotReadNatively = after.filesNotReadNatively - before.filesNotReadNatively;
    timings.ffprobeRuns = after.toolRuns - before.toolRuns;
    timings.answersFromMemory = after.answersFromMemory - before.answersFromMemory;
    timings.nativeReadSeconds =
        static_cast<double>(after.nativeReadNanoseconds - before.nativeReadNanoseconds) / 1e9;
    timings.ffprobeSeconds = static_cast<double>(after.toolRunNanoseconds - before.toolRunNanoseconds) / 1e9;
    QString unreadable;
    for (const FileSystemUtilities::Unreadable& entry : structure.unreadable)
        unreadable += P2Scanner::unreadableSentence(entry) + QLatin1Char('\n');
    co_return Outcome{pairing.clips.isEmpty() ? noClipWouldConvert : someClipsWouldConvert, report,
                      unreadable + (showTimings ? timingsText(timings) : QString())};
}

} // namespace ScanCommand
