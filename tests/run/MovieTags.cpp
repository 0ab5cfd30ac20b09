#include "MovieTags.h"

#include "SyntheticCard.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace {

QMap<QString, QString> tagsOf(const QJsonObject& object)
{
    QMap<QString, QString> tags;
    const QJsonObject json = object.value(QStringLiteral("tags")).toObject();
    for (auto it = json.begin(); it != json.end(); ++it)
        tags.insert(it.key(), it.value().toString());
    return tags;
}

} // namespace

MovieTags movieTags(const QString& moviePath)
{
    QProcess probe;
    probe.start(SyntheticCard::ffprobePath(),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                 QStringLiteral("format_tags:stream=codec_tag_string:stream_tags"), QStringLiteral("-of"),
                 QStringLiteral("json"), moviePath});
    MovieTags movie;
    if (!probe.waitForFinished(60000) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
        return movie;
    const QJsonObject answer = QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
    movie.format = tagsOf(answer.value(QStringLiteral("format")).toObject());
    for (const QJsonValue& value : answer.value(QStringLiteral("streams")).toArray()) {
        const QJsonObject stream = value.toObject();
        const QMap<QString, QString> tags = tagsOf(stream);
        if (stream.value(QStringLiteral("codec_tag_string")).toString() == QLatin1String("tmcd"))
            movie.timecodeTrack = tags;
        else if (tags.contains(QStringLiteral("reel_name")))
            movie.reelNameElsewhere = true;
    }
    movie.read = true;
    return movie;
}
