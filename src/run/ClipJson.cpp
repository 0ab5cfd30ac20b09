#include "run/ClipJson.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace ClipJson {

namespace {

template <typename T> QJsonValue optionalValue(const std::optional<T>& value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue textOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

} // namespace

QJsonObject rowObject(const ClipRow& row)
{
    return QJsonObject{
        {QStringLiteral("name"), row.name},
        {QStringLiteral("outputName"), textOrNull(row.outputName)},
        {QStringLiteral("number"), optionalValue(row.orderNumber)},
        {QStringLiteral("durationSeconds"), optionalValue(row.durationSeconds)},
        {QStringLiteral("startTimecode"), optionalValue(row.startTimecode)},
        {QStringLiteral("recorded"), row.recorded ? QJsonValue(row.recorded->toUTC().toString(Qt::ISODate))
                                                  : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("audioChannels"), row.audioChannels},
        {QStringLiteral("pairing"), row.pairing},
        {QStringLiteral("included"), row.included},
        {QStringLiteral("exclusionReason"), textOrNull(row.exclusionReason)},
        {QStringLiteral("pieces"), QJsonArray::fromStringList(row.pieces)},
    };
}

QByteArray scanDocument(const QString& card, const QList<ClipRow>& rows, const QStringList& summaryLines)
{
    QJsonArray clips;
    for (const ClipRow& row : rows)
        clips.append(rowObject(row));
    const QJsonObject document{
        {QStringLiteral("card"), card},
        {QStringLiteral("clips"), clips},
        {QStringLiteral("summary"), QJsonArray::fromStringList(summaryLines)},
    };
    return QJsonDocument(document).toJson(QJsonDocument::Indented);
}

QString statusWord(const std::optional<ClipStatus>& status)
{
    if (!status)
        return QStringLiteral("excluded");
    switch (status->kind) {
    case ClipStatus::Kind::completed:
        return QStringLiteral("converted");
    case ClipStatus::Kind::skippedExisting:
        return QStringLiteral("skipped");
    case ClipStatus::Kind::failed:
        return QStringLiteral("failed");
    case ClipStatus::Kind::notChosen:
        return QStringLiteral("notChosen");
    case ClipStatus::Kind::pending:
    case ClipStatus::Kind::converting:
    case ClipStatus::Kind::notStarted:
        return QStringLiteral("notStarted");
    }
    Q_UNREACHABLE();
}

QByteArray runDocument(const QString& card, const QString& statusSentence, const ConversionSummary& summary,
                       const QList<Outcome>& outcomes)
{
    QJsonArray clips;
    for (const Outcome& outcome : outcomes) {
        const bool movieThere = outcome.status && (outcome.status->kind == ClipStatus::Kind::completed ||
                                                   outcome.status->kind == ClipStatus::Kind::skippedExisting);
        const QString reason = outcome.status ? outcome.status->message : outcome.row.exclusionReason;
        clips.append(QJsonObject{
            {QStringLiteral("name"), outcome.row.name},
            {QStringLiteral("outputName"), textOrNull(outcome.row.outputName)},
            {QStringLiteral("status"), statusWord(outcome.status)},
            {QStringLiteral("outputFile"), movieThere ? textOrNull(outcome.outputFile) : QJsonValue::Null},
            {QStringLiteral("reason"), textOrNull(reason)},
        });
    }
    const QJsonObject counts{
        {QStringLiteral("converted"), summary.converted},
        {QStringLiteral("failed"), summary.failed},
        {QStringLiteral("skipped"), summary.skipped},
        {QStringLiteral("missingAudio"), summary.missingAudio},
        {QStringLiteral("excluded"), summary.excludedByPairing},
        {QStringLiteral("notChosen"), summary.notChosen},
    };
    const QJsonObject document{
        {QStringLiteral("card"), card},
        {QStringLiteral("outputFolder"), summary.outputFolder},
        {QStringLiteral("status"), statusSentence},
        {QStringLiteral("counts"), counts},
        {QStringLiteral("clips"), clips},
    };
    return QJsonDocument(document).toJson(QJsonDocument::Indented);
}

} // namespace ClipJson
