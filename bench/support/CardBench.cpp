#include "CardBench.h"

#include "card/P2Scanner.h"
#include "card/Pairing.h"

#include <algorithm>
#include <cstdio>
#include <QCoroFuture>
#include <QtConcurrent>

namespace CardBench {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

QCoro::Task<qsizetype> scanAndPair(QString root)
{
    const P2CardStructure structure = co_await QtConcurrent::run(P2Scanner::scan, root);
    const P2MetadataParser::PairingResult result = co_await P2MetadataParser::pairClips(structure, false);
    co_return result.clips.size();
}

void startUMIDQueries(QProcess& xargs, const QString& ffprobe, const QStringList& files)
{
    QByteArray list;
    for (const QString& file : files)
        list += file.toUtf8() + '\0';
    xargs.start(QStringLiteral("xargs"),
                {QStringLiteral("-0"), QStringLiteral("-P"), QStringLiteral("8"), QStringLiteral("-n"),
                 QStringLiteral("1"), ffprobe, QStringLiteral("-v"), QStringLiteral("error"),
                 QStringLiteral("-show_entries"), QStringLiteral("format_tags=material_package_umid"),
                 QStringLiteral("-of"), QStringLiteral("default=noprint_wrappers=1:nokey=1")});
    xargs.write(list);
    xargs.closeWriteChannel();
}

bool answeredEveryFile(QProcess& xargs, const QStringList& files)
{
    const bool every = xargs.exitCode() == 0 && xargs.readAllStandardOutput().count('\n') == files.size();
    if (!every)
        std::fprintf(stderr, "xargs baseline did not probe every file\n");
    return every;
}

} // namespace CardBench
