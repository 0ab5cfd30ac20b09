#include "TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

QString awkwardName(const QString& suffix)
{
    return QStringLiteral("-My Card \"Q\" $HOME; ünïcödé") + suffix;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList everyFileBelow(const QString& root)
{
    QStringList found;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        found.append(it.next().mid(root.size() + 1));
    found.sort();
    return found;
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

SmallDisk::SmallDisk(const QString& path, const QString& options) : m_path(path)
{
    QDir().mkpath(path);
    m_mounted = QProcess::execute(QStringLiteral("mount"),
                                  {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                                   options, QStringLiteral("tmpfs"), path}) == 0;
}

SmallDisk::~SmallDisk()
{
    if (m_mounted)
        QProcess::execute(QStringLiteral("umount"), {QStringLiteral("-l"), m_path});
}

QString CaseFolders::next()
{
    m_case = m_root.filePath(QString::number(++m_number));
    QDir().mkpath(m_case);
    return m_case;
}

QString CaseFolders::folder(const QString& name) const
{
    const QString path = m_case + QLatin1Char('/') + name;
    QDir().mkpath(path);
    return path;
}
