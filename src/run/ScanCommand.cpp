#include "run/ScanCommand.h"

#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "card/PairingReport.h"

#include <cstdio>
#include <QCoroFuture>
#include <QtConcurrent>
#include <unistd.h>

namespace ScanCommand {

namespace {

const QString commandName = QStringLiteral("scan");
const QString allowUnsafeFallbackOption = QStringLiteral("--allow-unsafe-fallback");

void writeError(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

} // namespace

QString probeProgressLine(qsizetype done, qsizetype total)
{
    return QStringLiteral("Reading UMIDs %1 / %2").arg(done).arg(total);
}

QString helpText()
{
    return QStringLiteral("  scan CARD [--allow-unsafe-fallback]\n"
                          "               Scan the card folder CARD (the card root or its CONTENTS\n"
                          "               folder), pair each video with its audio by UMID and print\n"
                          "               the pairing report as PAIRING_REPORT.txt would hold it.\n"
                          "               Nothing is converted; the card is only read.\n"
                          "               With --allow-unsafe-fallback, clips that cannot be verified\n"
                          "               are paired by file name, then by sort order, marked UNSAFE.\n"
                          "               On a terminal, a line on standard error counts the files\n"
                          "               whose UMID has been read.\n"
                          "               Put -- before a CARD whose name starts with a dash.\n"
                          "               Exit status: 0 when at least one clip would be converted,\n"
                          "               1 when none would, 2 on a usage error or when the folder\n"
                          "               holds no video MXF file.\n");
}

QCoro::Task<Outcome> run(QStringList arguments)
{
    QString cardFolder;
    bool allowUnsafeFallback = false;
    const auto takeOption = [&allowUnsafeFallback](const QStringList& all,
                                                   qsizetype& index) -> std::optional<QString> {
        if (all.at(index) != allowUnsafeFallbackOption)
            return QStringLiteral("unknown option “%1”").arg(all.at(index));
        allowUnsafeFallback = true;
        return std::nullopt;
    };
    if (const std::optional<QString> error =
            CardCommand::parseArguments(commandName, arguments, takeOption, cardFolder))
        co_return Outcome{usageOrNoVideo, QString(), *error};

    const P2CardStructure structure = co_await QtConcurrent::run(P2Scanner::scan, cardFolder);
    if (structure.videoFiles.isEmpty())
        co_return Outcome{usageOrNoVideo, QString(),
                          P2Scanner::noVideoMessage(structure) + QLatin1Char('\n')};

    // A large card takes a while to read: a terminal sees the count go up.
    qsizetype shownWidth = 0;
    P2MetadataParser::ProbeProgress progress;
    if (isatty(STDERR_FILENO) == 1)
        progress = [&shownWidth](qsizetype done, qsizetype total) {
            const QString line = probeProgressLine(done, total);
            writeError(QLatin1Char('\r') + line.leftJustified(shownWidth));
            shownWidth = line.size();
        };
    QCoro::Task<P2MetadataParser::PairingResult> pairingTask =
        P2MetadataParser::pairClips(structure, allowUnsafeFallback, progress);
    const P2MetadataParser::PairingResult pairing = co_await pairingTask;
    if (shownWidth > 0)
        writeError(QLatin1Char('\r') + QString(shownWidth, QLatin1Char(' ')) + QLatin1Char('\r'));
    QString unreadable;
    for (const FileSystemUtilities::Unreadable& entry : structure.unreadable)
        unreadable += P2Scanner::unreadableSentence(entry) + QLatin1Char('\n');
    co_return Outcome{pairing.clips.isEmpty() ? noClipWouldConvert : someClipsWouldConvert,
                      PairingReport::text(pairing.summaryLines, pairing.entries) + QLatin1Char('\n'),
                      unreadable};
}

} // namespace ScanCommand
