#pragma once

#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <sys/types.h>

// How a program run by a test ended and what it printed.
struct CommandRun
{
    // -1 when the program could not be started, crashed or ran for over five minutes.
    int exitStatus = -1;
    QString standardOutput;
    QString standardError;

    bool operator==(const CommandRun&) const = default;
};

// How a run is shown when a test's comparison of two runs fails.
char* toString(const CommandRun& run);

// Runs `program` to its end, as a user would from a terminal.
CommandRun runCommand(const QString& program, const QStringList& arguments,
                      const QString& workingDirectory = QString(),
                      const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

// Sends a program run by a test two interrupts that arrive together: a
// hang-up, then the Ctrl-C that ends it at once. It is stopped while both are
// sent (two pending SIGINTs would merge into one; the hang-up, numbered lower,
// is delivered first). `pid` must be a child of the test that still runs.
bool sendTwoInterruptsTogether(qint64 pid);

// `text` as one word for /bin/sh: inside single quotes everything is literal.
QString shellQuoted(const QString& text);

// The running processes that have `text` in their command line.
QList<pid_t> processesNaming(const QString& text);

// Whether the process `pid` is stopped (by SIGSTOP), as the system reports it.
bool isStopped(pid_t pid);
