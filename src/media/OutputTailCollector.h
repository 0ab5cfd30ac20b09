#pragma once

#include <QByteArrayView>
#include <QMutex>
#include <QString>

// Keeps the most recent diagnostic output of a tool, so that a run of any
// length holds a small, fixed amount of text for its error message.
class OutputTailCollector
{
public:
    static constexpr qsizetype maxLength = 8000;

    // Adds one chunk of the tool's output; a chunk that is not valid UTF-8 is
    // dropped whole, and collection goes on.
    void append(QByteArrayView chunk);

    QString text() const;
    // The tail from its first whole line on: once the front has been cut, the
    // first line is a fragment that could read as a message of its own.
    QString wholeLines() const;

private:
    mutable QMutex lock_;
    QString text_;
    bool cut_ = false;
};
