#pragma once

#include "media/FFmpegError.h"
#include "media/FFmpegService.h"

#include <optional>
#include <QCoroTask>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A file name holding every character that trips up shells and naive quoting:
// spaces, double quotes, "$", ";", a leading dash and non-ASCII letters.
QString awkwardName(const QString& suffix);

// A private folder of tools that the service is pointed at for one test, so no
// test depends on what is installed in the fixed prefixes.
class ToolFolder
{
public:
    ToolFolder();
    ~ToolFolder();

    QString path() const { return dir_.path(); }
    QString toolPath(const QString& name) const { return dir_.filePath(name); }

    // The stand-in tool under `name`, acting as `conf` says (see tests/fakes/fake-tool).
    void addFake(const QString& name, const QString& conf = {});
    void configure(const QString& name, const QString& conf);
    // The distribution's tool under `name`; false when it is not installed.
    bool addReal(const QString& name);
    // An executable file that cannot be started (its interpreter does not exist).
    void addUnstartable(const QString& name);
    void remove(const QString& name);

    // The argument vectors the stand-in under `name` was run with, in order.
    QList<QStringList> runs(const QString& name) const;

private:
    QTemporaryDir dir_;
};

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
    std::optional<FFmpegError::Kind> errorKind;
    bool platformError = false;
    QString message;
    QStringList commands;
    QList<double> progress;
};

QCoro::Task<ConvertOutcome> convertCatching(FFmpegService* service, ConvertRequest request);
ConvertOutcome convertAndWait(FFmpegService& service, const ConvertRequest& request);

QByteArray readFile(const QString& path);
void writeFile(const QString& path, const QByteArray& bytes);
