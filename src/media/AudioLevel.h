#pragma once

#include <optional>
#include <QList>
#include <QString>

// The measured level of one audio file in dBFS; a field is empty when the tool
// did not report it.
struct AudioLevel
{
    std::optional<double> meanDB;
    std::optional<double> maxDB;

    // One line for the reports, flagging inputs that were probably never connected.
    QString summary() const;

    // Reads the statistics that ffmpeg's volumedetect filter prints.
    static AudioLevel fromVolumeDetectOutput(const QString& output);
    // Reads the statistics of `count` volumedetect filters of one graph, in
    // the order of the graph: each line is its filter's, named
    // "[Parsed_volumedetect_N @ …]"; a line that names none is the first's.
    static QList<AudioLevel> fromVolumeDetectOutputs(const QString& output, qsizetype count);

    bool operator==(const AudioLevel&) const = default;
};
