#pragma once

#include <optional>
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

    bool operator==(const AudioLevel&) const = default;
};
