#pragma once

#include <QByteArray>
#include <QString>

// A file name holding every character that trips up shells and naive quoting:
// spaces, double quotes, "$", ";", a leading dash and non-ASCII letters.
QString awkwardName(const QString& suffix);

// The whole file, or nothing when it cannot be read.
QByteArray readFile(const QString& path);

// Writes a test fixture, creating its folder; a fixture that cannot be written
// ends the test run, since nothing after it would mean anything.
void writeFile(const QString& path, const QByteArray& bytes);
