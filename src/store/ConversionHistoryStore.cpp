#include "store/ConversionHistoryStore.h"

#include <algorithm>
#include <cmath>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

namespace {

const QString historyKey = QStringLiteral("conversionHistoryV1");

const QString idKey = QStringLiteral("id");
const QString dateKey = QStringLiteral("date");
const QString cardNameKey = QStringLiteral("cardName");
const QString outputFolderKey = QStringLiteral("outputFolder");
const QString convertedKey = QStringLiteral("converted");
const QString failedKey = QStringLiteral("failed");
const QString skippedKey = QStringLiteral("skipped");
const QString excludedByPairingKey = QStringLiteral("excludedByPairing");
const QString notStartedKey = QStringLiteral("notStarted");
const QString notChosenKey = QStringLiteral("notChosen");
const QString backupKey = QStringLiteral("backup");
const QString backupCopiesKey = QStringLiteral("backupCopies");

const QString backupOutcomeNames[] = {QStringLiteral("proven"), QStringLiteral("failed"),
                                      QStringLiteral("cancelled")};

QString folderUrl(const QString& folder)
{
    return QUrl::fromLocalFile(folder).toString(QUrl::FullyEncoded);
}

// Dates are stored as seconds since 2001-01-01 00:00:00 UTC, the reference date
// of the format's first readers and writers.
constexpr qint64 referenceDateMSecsSinceEpoch = 978307200000;
// Far beyond any real run, and small enough that milliseconds fit in 64 bits.
constexpr double largestDateSeconds = 1e13;

QJsonObject encodeEntry(const ConversionHistoryEntry& entry)
{
    QJsonObject object{
        {idKey, entry.id.toString(QUuid::WithoutBraces).toUpper()},
        {dateKey,
         static_cast<double>(entry.date.toMSecsSinceEpoch() - referenceDateMSecsSinceEpoch) / 1000.0},
        {cardNameKey, entry.cardName},
        {outputFolderKey, folderUrl(entry.outputFolder)},
        {convertedKey, entry.converted},
        {failedKey, entry.failed},
        {skippedKey, entry.skipped},
        {excludedByPairingKey, entry.excludedByPairing},
    };
    if (entry.notStarted != 0)
        object.insert(notStartedKey, entry.notStarted);
    if (entry.notChosen != 0)
        object.insert(notChosenKey, entry.notChosen);
    if (entry.backup) {
        object.insert(backupKey, backupOutcomeNames[static_cast<int>(entry.backup->outcome)]);
        QJsonArray copies;
        for (const QString& copy : entry.backup->copies)
            copies.append(folderUrl(copy));
        object.insert(backupCopiesKey, copies);
    }
    return object;
}

std::optional<QUuid> decodeId(const QJsonValue& value)
{
    const QString text = value.toString();
    const QUuid id = QUuid::fromString(text);
    if (!value.isString() || text.size() != 36 ||
        (id.isNull() && text != QUuid().toString(QUuid::WithoutBraces)))
        return std::nullopt;
    return id;
}

std::optional<QDateTime> decodeDate(const QJsonValue& value)
{
    const double seconds = value.toDouble();
    if (!value.isDouble() || !std::isfinite(seconds) || std::abs(seconds) > largestDateSeconds)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000.0) + referenceDateMSecsSinceEpoch,
                                          Qt::UTC);
}

std::optional<QString> decodeFolder(const QJsonValue& value)
{
    const QUrl url(value.toString());
    if (!value.isString() || !url.isValid() || !url.isLocalFile())
        return std::nullopt;
    // Entries are written with absolute folders; a URL such as "file:?//home"
    // names no folder at all and could not be written back as one.
    const QString folder = url.toLocalFile();
    if (!QDir::isAbsolutePath(folder))
        return std::nullopt;
    // "file://///home" names "/home" to the kernel, but a path that starts
    // with "//" would be written back as a network share with no server.
    // A URL that does name a server keeps its share path as it is.
    if (!url.host().isEmpty())
        return folder;
    qsizetype slashes = 0;
    while (slashes < folder.size() && folder[slashes] == u'/')
        ++slashes;
    return slashes > 1 ? folder.sliced(slashes - 1) : folder;
}

std::optional<qint64> decodeCount(const QJsonValue& value)
{
    const double number = value.toDouble();
    if (!value.isDouble() || !std::isfinite(number) || std::trunc(number) != number)
        return std::nullopt;
    return value.toInteger();
}

// Absent keys are a run without a backup; present ones must both be whole.
std::optional<std::optional<BackupRecord>> decodeBackup(const QJsonObject& object)
{
    const QJsonValue outcomeValue = object.value(backupKey);
    const QJsonValue copiesValue = object.value(backupCopiesKey);
    if (outcomeValue.isUndefined() && copiesValue.isUndefined())
        return std::optional<BackupRecord>();
    BackupRecord record;
    const auto outcome =
        std::find(std::begin(backupOutcomeNames), std::end(backupOutcomeNames), outcomeValue.toString());
    if (!outcomeValue.isString() || outcome == std::end(backupOutcomeNames) || !copiesValue.isArray())
        return std::nullopt;
    record.outcome = static_cast<BackupRecord::Outcome>(outcome - std::begin(backupOutcomeNames));
    for (const QJsonValue copy : copiesValue.toArray()) {
        const auto folder = decodeFolder(copy);
        if (!folder)
            return std::nullopt;
        record.copies.append(*folder);
    }
    return std::optional<BackupRecord>(std::move(record));
}

std::optional<ConversionHistoryEntry> decodeEntry(const QJsonValue& value)
{
    const QJsonObject object = value.toObject();
    const auto id = decodeId(object.value(idKey));
    const auto date = decodeDate(object.value(dateKey));
    const QJsonValue cardName = object.value(cardNameKey);
    const auto outputFolder = decodeFolder(object.value(outputFolderKey));
    const auto converted = decodeCount(object.value(convertedKey));
    const auto failed = decodeCount(object.value(failedKey));
    const auto skipped = decodeCount(object.value(skippedKey));
    const auto excludedByPairing = decodeCount(object.value(excludedByPairingKey));
    const QJsonValue notStartedValue = object.value(notStartedKey);
    const auto notStarted =
        notStartedValue.isUndefined() ? std::optional<qint64>(0) : decodeCount(notStartedValue);
    const QJsonValue notChosenValue = object.value(notChosenKey);
    const auto notChosen =
        notChosenValue.isUndefined() ? std::optional<qint64>(0) : decodeCount(notChosenValue);
    const auto backup = decodeBackup(object);
    if (!value.isObject() || !id || !date || !cardName.isString() || !outputFolder || !converted || !failed ||
        !skipped || !excludedByPairing || !notStarted || !notChosen || !backup)
        return std::nullopt;
    return ConversionHistoryEntry{*id,     *date,    cardName.toString(), *outputFolder, *converted,
                                  *failed, *skipped, *excludedByPairing,  *notStarted,   *notChosen,
                                  *backup};
}

} // namespace

ConversionHistoryStore::ConversionHistoryStore(std::shared_ptr<KeyValueStore> defaults, QObject* parent)
    : QObject(parent), m_defaults(std::move(defaults))
{
    load();
}

void ConversionHistoryStore::load()
{
    if (auto stored = storedEntries())
        setEntries(std::move(*stored));
}

std::optional<QString> ConversionHistoryStore::record(const QString& cardName, const QString& outputFolder,
                                                      qint64 converted, qint64 failed, qint64 skipped,
                                                      qint64 excludedByPairing, qint64 notStarted,
                                                      qint64 notChosen, std::optional<BackupRecord> backup)
{
    const ConversionHistoryEntry entry{QUuid::createUuid(),
                                       QDateTime::currentDateTimeUtc(),
                                       cardName,
                                       outputFolder,
                                       converted,
                                       failed,
                                       skipped,
                                       excludedByPairing,
                                       notStarted,
                                       notChosen,
                                       std::move(backup)};
    return m_defaults->exclusively([&] {
        QList<ConversionHistoryEntry> entries = storedEntries().value_or(m_entries);
        entries.prepend(entry);
        if (entries.size() > capacity)
            entries.resize(capacity);
        setEntries(std::move(entries));
        save();
    });
}

std::optional<ConversionHistoryEntry> ConversionHistoryStore::mostRecent() const
{
    if (m_entries.isEmpty())
        return std::nullopt;
    return m_entries.first();
}

QString ConversionHistoryStore::displayName()
{
    return QStringLiteral("the history");
}

void ConversionHistoryStore::save()
{
    m_defaults->setBytes(historyKey, encode(m_entries));
}

std::optional<QString> ConversionHistoryStore::clear()
{
    return m_defaults->exclusively([this] {
        setEntries({});
        save();
    });
}

QByteArray ConversionHistoryStore::encode(const QList<ConversionHistoryEntry>& entries)
{
    QJsonArray array;
    for (const ConversionHistoryEntry& entry : entries)
        array.append(encodeEntry(entry));
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QList<ConversionHistoryEntry>> ConversionHistoryStore::decode(const QByteArray& document)
{
    QJsonParseError error;
    const QJsonDocument parsed = QJsonDocument::fromJson(document, &error);
    if (error.error != QJsonParseError::NoError || !parsed.isArray())
        return std::nullopt;
    QList<ConversionHistoryEntry> entries;
    for (const QJsonValue element : parsed.array()) {
        std::optional<ConversionHistoryEntry> entry = decodeEntry(element);
        if (!entry)
            return std::nullopt;
        entries.append(std::move(*entry));
    }
    return entries;
}

std::optional<QList<ConversionHistoryEntry>> ConversionHistoryStore::storedEntries() const
{
    const std::optional<QByteArray> stored = m_defaults->bytesValue(historyKey);
    if (!stored)
        return std::nullopt;
    return decode(*stored).value_or(QList<ConversionHistoryEntry>());
}

void ConversionHistoryStore::setEntries(QList<ConversionHistoryEntry> entries)
{
    if (entries == m_entries)
        return;
    m_entries = std::move(entries);
    emit entriesChanged();
}
