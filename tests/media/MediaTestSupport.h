#pragma once

#include "media/FFmpegError.h"
#include "media/FFmpegService.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <optional>
#include <QCoroTask>
#include <QList>
#include <QString>
#include <QStringList>

struct ConvertRequest
{
    QString video;
    QStringList audio;
    double offset = 0;
    ProResProfile profile = ProResProfile::standard;
    QString output;
};

// What one conversion did, with its error caught.
struct ConvertOutcome
{
    bool succeeded = false;
    // What the conversion gave for checking the movie: its source's duration.
    std::optional<double> sourceSeconds;
    std::optional<FFmpegError::Kind> errorKind;
    bool platformError = false;
    QString message;
    QStringList commands;
    QList<double> progress;
};

QCoro::Task<ConvertOutcome> convertCatching(FFmpegService* service, ConvertRequest request);
ConvertOutcome convertAndWait(FFmpegService& service, const ConvertRequest& request);
