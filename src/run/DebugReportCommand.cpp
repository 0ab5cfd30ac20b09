#include "run/DebugReportCommand.h"

#include "base/DisplayText.h"
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
const QString outputOption = QStringLiteral("--output");

// Takes "--output FILE" or "--output=FILE", once.
struct OutputOption
{
    QString file;
    bool given = false;

    std::optional<QString> take(const QStringList& arguments, qsizetype& index)
    {
        const std::optional<QString> value = CardCommand::optionValue(outputOption, arguments, index);
        if (!value)
            return QStringLiteral("unknown option “%1”").arg(arguments.at(index));
        if (given)
            return QStringLiteral("--output given more than once");
        given = true;
        file = *value;
        if (file.isEmpty())
            return QStringLiteral("--output needs a file");
        return std::nullopt;
    }
};

} // namespace

QString helpText()
{
    return QStringLiteral("  debug-report CARD [--output FILE]\n"
                          "               Scan and pair the card folder CARD as scan does, then\n"
                          "               build its debug report (what ffprobe sees in every file,\n"
                          "               the pairing, the audio levels and the exact ffmpeg\n"
                          "               command of each clip) with the stored settings: audio\n"
                          "               offset, ProRes profile, numbering, unsafe fallback,\n"
                          "               joining of spanned shots.\n"
                          "               Nothing is converted; the card is only read.\n"
                          "               The report is printed, or with --output written to FILE.\n"
                          "               Put -- before a CARD whose name starts with a dash.\n"
                          "               Exit status: 0 when the report was produced, 1 when it\n"
                          "               could not be written, 2 on a usage error, when the\n"
                          "               folder holds no video MXF file or ffmpeg is missing.\n");
}

QCoro::Task<Outcome> run(QStringList arguments)
{
    QString cardFolder;
    OutputOption output;
    const auto takeOption = [&output](const QStringList& all, qsizetype& index) {
        return output.take(all, index);
    };
    if (const std::optional<QString> error =
            CardCommand::parseArguments(commandName, arguments, takeOption, cardFolder))
        co_return Outcome{usageOrUnusableCard, QString(), *error};

    const P2CardStructure structure = co_await QtConcurrent::run(P2Scanner::scan, cardFolder);
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
    QCoro::Task<QString> building =
        DebugReportBuilder::build(pairing.clips, pairing.entries, audioOffsetSeconds, profile,
                                  prefixExportsWithOrderNumber, pairing.joinedShots);
    const QString report = co_await building;

    if (output.file.isEmpty())
        co_return Outcome{reportProduced, report, QString()};
    if (const std::optional<QString> failure = LogWriter::writeText(report, output.file))
        co_return Outcome{
            reportNotWritten, QString(),
            QStringLiteral("Could not save debug report: %1\n").arg(DisplayText::escaped(*failure))};
    co_return Outcome{reportProduced,
                      QStringLiteral("Debug report saved to %1.\n").arg(DisplayText::escaped(output.file)),
                      QString()};
}

} // namespace DebugReportCommand
