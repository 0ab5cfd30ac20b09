#include "run/ScanCommand.h"

#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "card/PairingReport.h"

#include <QCoroFuture>
#include <QFileInfo>
#include <QtConcurrent>

namespace ScanCommand {

namespace {

const QString allowUnsafeFallbackOption = QStringLiteral("--allow-unsafe-fallback");

QString usageError(const QString& problem)
{
    return QStringLiteral("tolvane-cli scan: %1. Try tolvane-cli --help.\n").arg(problem);
}

} // namespace

QString helpText()
{
    return QStringLiteral("  scan CARD [--allow-unsafe-fallback]\n"
                          "               Scan the card folder CARD (the card root or its CONTENTS\n"
                          "               folder), pair each video with its audio by UMID and print\n"
                          "               the pairing report as PAIRING_REPORT.txt would hold it.\n"
                          "               Nothing is converted; the card is only read.\n"
                          "               With --allow-unsafe-fallback, clips that cannot be verified\n"
                          "               are paired by file name, then by sort order, marked UNSAFE.\n"
                          "               Put -- before a CARD whose name starts with a dash.\n"
                          "               Exit status: 0 when at least one clip would be converted,\n"
                          "               1 when none would, 2 on a usage error or when the folder\n"
                          "               holds no video MXF file.\n");
}

std::variant<Options, QString> parseArguments(const QStringList& arguments)
{
    Options options;
    QStringList folders;
    bool optionsEnded = false;
    for (const QString& argument : arguments) {
        if (optionsEnded || !argument.startsWith(QLatin1Char('-')) || argument == QLatin1String("-"))
            folders.append(argument);
        else if (argument == QLatin1String("--"))
            optionsEnded = true;
        else if (argument == allowUnsafeFallbackOption)
            options.allowUnsafeFallback = true;
        else
            return usageError(QStringLiteral("unknown option “%1”").arg(argument));
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
        co_return Outcome{usageOrNoVideo, QString(), *error};
    const Options options = std::get<Options>(parsed);

    const P2CardStructure structure = co_await QtConcurrent::run(P2Scanner::scan, options.cardFolder);
    if (structure.videoFiles.isEmpty())
        co_return Outcome{
            usageOrNoVideo, QString(),
            QStringLiteral("No video MXF files were found in this folder. Make sure you selected "
                           "a P2 card (or its CONTENTS folder) containing a VIDEO folder.\n")};

    const P2MetadataParser::PairingResult pairing =
        co_await P2MetadataParser::pairClips(structure, options.allowUnsafeFallback);
    co_return Outcome{pairing.clips.isEmpty() ? noClipWouldConvert : someClipsWouldConvert,
                      PairingReport::text(pairing.summaryLines, pairing.entries) + QLatin1Char('\n'),
                      QString()};
}

} // namespace ScanCommand
