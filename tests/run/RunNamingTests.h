#pragma once

#include "TestFiles.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

// The fixed zone the naming tests run in: five hours behind UTC, no daylight
// saving, so local dates and clocks are the same on every machine.
inline constexpr char testTimeZone[] = "XST5";

// Every entry of a folder, hidden ones included, sorted by name.
inline QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

int runOutputNamingTests(int argc, char** argv);
int runLogWriterTests(int argc, char** argv);
