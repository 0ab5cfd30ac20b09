#include "BackupCardTree.h"

#include "CommandRun.h"
#include "TestFiles.h"

#include <fcntl.h>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <sys/stat.h>

namespace BackupCardTree {

namespace {

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

void setTime(const QString& path, qint64 seconds, long nanoseconds)
{
    const timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0);
}

} // namespace

QStringList files()
{
    return {QStringLiteral(".hidden"),
            QStringLiteral("CONTENTS/AUDIO/0001AB00.MXF"),
            QStringLiteral("CONTENTS/CLIP/0001AB.XML"),
            QStringLiteral("CONTENTS/VIDEO/0001AB.MXF"),
            QStringLiteral("CONTENTS/VIDEO/") + awkwardName(QStringLiteral(".MXF")),
            QStringLiteral("CONTENTS/VIDEO/two\nlines.MXF"),
            QStringLiteral("LASTCLIP.TXT")};
}

QString create(const QString& root, const QString& cardName)
{
    const QString card = root + QLatin1Char('/') + cardName;
    quint32 seed = 1;
    for (const QString& file : files()) {
        // One file spans more than one 8 MiB read; the others are small.
        const qsizetype size =
            file.endsWith(QLatin1String("VIDEO/0001AB.MXF")) ? 9 * 1024 * 1024 + 123 : 4000 + seed;
        writeFile(card + QLatin1Char('/') + file, randomBytes(size, seed));
        setTime(card + QLatin1Char('/') + file, 1700000000 + seed * 1000, 123456789);
        ++seed;
    }
    QDir().mkpath(card + QStringLiteral("/CONTENTS/ICON"));
    setTime(card + QStringLiteral("/CONTENTS/ICON"), 1600000000, 5);
    setTime(card + QStringLiteral("/CONTENTS"), 1600000100, 6);
    return card;
}

bool sameBytes(const QString& a, const QString& b)
{
    QFile first(a);
    QFile second(b);
    return first.open(QIODevice::ReadOnly) && second.open(QIODevice::ReadOnly) &&
           first.readAll() == second.readAll();
}

qint64 modifiedNanoseconds(const QString& path)
{
    struct stat status
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return -1;
    return qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
}

QString schemaProblems(const QString& xmlPath, const QString& schema)
{
    const QString xmllint = QStandardPaths::findExecutable(QStringLiteral("xmllint"));
    if (xmllint.isEmpty())
        return QStringLiteral("xmllint is missing; scripts/setup installs it (libxml2-utils)");
    const CommandRun run =
        runCommand(xmllint, {QStringLiteral("--noout"), QStringLiteral("--nonet"), QStringLiteral("--schema"),
                             QStringLiteral(TOLVANE_MHL_SCHEMAS "/") + schema, xmlPath});
    return run.exitStatus == 0 ? QString() : run.standardError + run.standardOutput;
}

} // namespace BackupCardTree
