#pragma once

#include <QCoroTask>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <vector>

namespace CardBench {

// The middle value (the upper one of an even count).
double median(std::vector<double> values);

// Scans the card at `root` off this thread and pairs it on this thread's event
// loop, as the window does; how many clips were verified.
QCoro::Task<qsizetype> scanAndPair(QString root);

// Starts the baseline: the material-package UMID of every one of `files`
// asked of `ffprobe`, one run per file, 8 at a time by `xargs -P 8` — what
// pairing cost when every file took one ffprobe run.
void startUMIDQueries(QProcess& xargs, const QString& ffprobe, const QStringList& files);

// Whether the finished baseline answered for every file; says so on stderr when not.
bool answeredEveryFile(QProcess& xargs, const QStringList& files);

} // namespace CardBench
