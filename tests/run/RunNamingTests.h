#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

// The fixed zone the naming tests run in: five hours behind UTC, no daylight
// saving, so local dates and clocks are the same on every machine.
inline constexpr char testTimeZone[] = "XST5";

inline void writeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(path));
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

// Every entry of a folder, hidden ones included, sorted by name.
inline QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

int runOutputNamingTests(int argc, char** argv);
int runLogWriterTests(int argc, char** argv);
