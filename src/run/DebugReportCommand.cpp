#include "run/DebugReportCommand.h"

#include "base/DisplayText.h"
#include "base/Workers.h"
#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "media/FFmpegError.h"
#include "media/FFmpegService.h"
#include "run/CardCommand.h"
#include "run/DebugReportBuilder.h"
#include "run/LogWriter.h"
#include "store/HeadlessDesktop.h"
#include "store/OverlayKeyValueStore.h"
#include "store/SettingsStore.h"

#include <memory>
#include <QCoroFuture>
#include <QtConcurrent>

namespace DebugReportCommand {

namespace {

const QString commandName = QStringLiteral("debug-report");

} // namespace

QCoro::Task<Outcome> run(QStringList arguments)
{
    QString cardFolder;
    QCommandLineParser parser;
    if (const std::optional<QString> error =
            CardCommand::parseArguments(CliDescription::command(commandName), arguments, parser, cardFolder))
        co_return Outcome{usageOrUnusableCard, QString(), *error};
    const QString outputFile = parser.value(QStringLiteral("output"));

    const P2CardStructure structure =
        co_await QtConcurrent::run(Workers::pool(), P2Scanner::scan, cardFolder);
    if (structure.videoFiles.isEmpty())
        co_return Outcome{usageOrUnusableCard, QString(),
                          P2Scanner::noVideoMessage(structure) + QLatin1Char('\n')};
    // The report names the exact ffmpeg command of each clip, so it needs ffmpeg.
    if (!FFmpegService::resolvedFFmpegPath())
        co_return Outcome{usageOrUnusableCard, QString(),
                          FFmpegError::binaryNotFound().description() + QLatin1Char('\n')};

    const SettingsStore settings(std::make_shared<OverlayKeyValueStore>(CardCommand::openStore()),
                                 std::make_shared<HeadlessDesktop>());
    const double audioOffsetSeconds = settings.effectiveAudioOffsetSeconds();
    const ProResProfile profile = settings.proResProfile();
    const bool prefixExportsWithOrderNumber = settings.prefixExportsWithOrderNumber();

    P2MetadataParser::PairingResult pairing =
        co_await P2MetadataParser::pairClips(structure, settings.allowUnsafeFallbackPairing());
    if (settings.joinSpannedRecordings())
        pairing = P2MetadataParser::withJoinedShots(std::move(pairing));
    QCoro::Task<QString> building = DebugReportBuilder::build(
        pairing.clips, pairing.entries, audioOffsetSeconds, profile, prefixExportsWithOrderNumber,
        pairing.joinedShots, settings.writeClipMetadata());
    const QString report = co_await building;

    if (outputFile.isEmpty())
        co_return Outcome{reportProduced, report, QString()};
    if (const std::optional<QString> failure = LogWriter::writeText(report, outputFile))
        co_return Outcome{
            reportNotWritten, QString(),
            QStringLiteral("Could not save debug report: %1\n").arg(DisplayText::escaped(*failure))};
    co_return Outcome{reportProduced,
                      QStringLiteral("Debug report saved to %1.\n").arg(DisplayText::escaped(outputFile)),
                      QString()};
}

} // namespace DebugReportCommand
