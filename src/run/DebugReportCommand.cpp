#include "run/DebugReportCommand.h"

#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "media/DebugReportBuilder.h"
#include "media/FFmpegService.h"
#include "run/LogWriter.h"
#include "store/HeadlessDesktop.h"
#include "store/QSettingsKeyValueStore.h"
#include "store/SettingsStore.h"

#include <memory>
#include <QCoroFuture>
#include <QFileInfo>
#include <QtConcurrent>

namespace DebugReportCommand {

namespace {

const QString outputOption = QStringLiteral("--output");

QString usageError(const QString& problem)
{
    return QStringLiteral("tolvane-cli debug-report: %1. Try tolvane-cli --help.\n").arg(problem);
}

// The stored preferences seen through a store that drops every write, so that
// loading them (which may migrate a legacy value) never changes the user's file.
class ReadOnlyStore final : public KeyValueStore
{
public:
    explicit ReadOnlyStore(std::shared_ptr<KeyValueStore> stored) : m_stored(std::move(stored)) {}

    std::optional<QVariant> value(const QString& key) const override { return m_stored->value(key); }
    void setValue(const QString&, const QVariant&) override {}
    void remove(const QString&) override {}
    void exclusively(const std::function<void()>& work) override { work(); }

private:
    std::shared_ptr<KeyValueStore> m_stored;
};

} // namespace

QString helpText()
{
    return QStringLiteral("  debug-report CARD [--output FILE]\n"
                          "               Scan and pair the card folder CARD as scan does, then\n"
                          "               build its debug report (what ffprobe sees in every file,\n"
                          "               the pairing, the audio levels and the exact ffmpeg\n"
                          "               command of each clip) with the stored settings: audio\n"
                          "               offset, ProRes profile, numbering, unsafe fallback.\n"
                          "               Nothing is converted; the card is only read.\n"
                          "               The report is printed, or with --output written to FILE.\n"
                          "               Put -- before a CARD whose name starts with a dash.\n"
                          "               Exit status: 0 when the report was produced, 1 when it\n"
                          "               could not be written, 2 on a usage error, when the\n"
                          "               folder holds no video MXF file or ffmpeg is missing.\n");
}

std::variant<Options, QString> parseArguments(const QStringList& arguments)
{
    Options options;
    QStringList folders;
    bool optionsEnded = false;
    bool outputGiven = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (optionsEnded || !argument.startsWith(QLatin1Char('-')) || argument == QLatin1String("-")) {
            folders.append(argument);
        } else if (argument == QLatin1String("--")) {
            optionsEnded = true;
        } else if (argument == outputOption || argument.startsWith(outputOption + QLatin1Char('='))) {
            if (outputGiven)
                return usageError(QStringLiteral("--output given more than once"));
            outputGiven = true;
            if (argument == outputOption) {
                if (i + 1 >= arguments.size())
                    return usageError(QStringLiteral("--output needs a file"));
                options.outputFile = arguments.at(++i);
            } else {
                options.outputFile = argument.mid(outputOption.size() + 1);
            }
            if (options.outputFile.isEmpty())
                return usageError(QStringLiteral("--output needs a file"));
        } else {
            return usageError(QStringLiteral("unknown option “%1”").arg(argument));
        }
    }
    if (folders.isEmpty())
        return usageError(QStringLiteral("no card folder given"));
    if (folders.size() > 1)
        return usageError(QStringLiteral("one card folder at a time, not %1").arg(folders.size()));
    if (!QFileInfo(folders.first()).isDir())
        return usageError(QStringLiteral("“%1” is not a folder").arg(folders.first()));
    options.cardFolder = folders.first();
    return options;
}

QCoro::Task<Outcome> run(QStringList arguments)
{
    const std::variant<Options, QString> parsed = parseArguments(arguments);
    if (const QString* error = std::get_if<QString>(&parsed))
        co_return Outcome{usageOrUnusableCard, QString(), *error};
    const Options options = std::get<Options>(parsed);

    const P2CardStructure structure = co_await QtConcurrent::run(P2Scanner::scan, options.cardFolder);
    if (structure.videoFiles.isEmpty())
        co_return Outcome{
            usageOrUnusableCard, QString(),
            QStringLiteral("No video MXF files were found in this folder. Make sure you selected "
                           "a P2 card (or its CONTENTS folder) containing a VIDEO folder.\n")};
    // The report names the exact ffmpeg command of each clip, so it needs ffmpeg.
    if (!FFmpegService::resolvedFFmpegPath())
        co_return Outcome{usageOrUnusableCard, QString(),
                          QStringLiteral("ffmpeg was not found. Install it with: brew install ffmpeg\n")};

    const SettingsStore settings(
        std::make_shared<ReadOnlyStore>(QSettingsKeyValueStore::openApplicationStore()),
        std::make_shared<HeadlessDesktop>());
    const double audioOffsetSeconds = settings.effectiveAudioOffsetSeconds();
    const ProResProfile profile = settings.proResProfile();
    const bool prefixExportsWithOrderNumber = settings.prefixExportsWithOrderNumber();

    const P2MetadataParser::PairingResult pairing =
        co_await P2MetadataParser::pairClips(structure, settings.allowUnsafeFallbackPairing());
    const QString report = co_await DebugReportBuilder::build(
        pairing.clips, pairing.entries, audioOffsetSeconds, profile, prefixExportsWithOrderNumber);

    if (options.outputFile.isEmpty())
        co_return Outcome{reportProduced, report, QString()};
    if (const std::optional<QString> failure = LogWriter::writeText(report, options.outputFile))
        co_return Outcome{reportNotWritten, QString(),
                          QStringLiteral("Could not save debug report: %1\n")
                              .arg(QString(*failure).replace(QLatin1Char('\n'), QLatin1Char(' ')))};
    co_return Outcome{reportProduced, QStringLiteral("Debug report saved to %1.\n").arg(options.outputFile),
                      QString()};
}

} // namespace DebugReportCommand
