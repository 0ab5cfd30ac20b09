#pragma once

#include "store/KeyValueStore.h"

#include <memory>
#include <optional>
#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUuid>

// The backup of the card that a run began with ("Back Up First").
struct BackupRecord
{
    enum class Outcome {
        // Every copy was read back from disk and matches the card; the movies
        // were made from the first.
        proven,
        // The backup did not complete or a copy did not match; nothing was converted.
        failed,
        cancelled,
    };

    Outcome outcome = Outcome::proven;
    // Where the copies are (DEST/CARDNAME), local paths in the order chosen.
    QStringList copies;

    bool operator==(const BackupRecord& other) const = default;
};

// One finished conversion run.
struct ConversionHistoryEntry
{
    QUuid id;
    QDateTime date;       // when the run ended, recorded to the millisecond
    QString cardName;     // the card folder's name, or "P2 Card"
    QString outputFolder; // the run's dated output folder, a local path
    qint64 converted = 0;
    qint64 failed = 0;
    qint64 skipped = 0;
    qint64 excludedByPairing = 0;
    // Clips a cancelled or stopped run never reached.
    qint64 notStarted = 0;
    // Clips the user left out of the run on purpose.
    qint64 notChosen = 0;
    // The card's backup, when the run began with one.
    std::optional<BackupRecord> backup = {};

    bool operator==(const ConversionHistoryEntry& other) const = default;
};

// The most recent conversion runs, newest first, kept as one JSON array under
// "conversionHistoryV1". Lives on the main thread.
class ConversionHistoryStore : public QObject
{
    Q_OBJECT

public:
    static constexpr qsizetype capacity = 50;

    // Starts empty, then loads what is stored.
    explicit ConversionHistoryStore(std::shared_ptr<KeyValueStore> defaults, QObject* parent = nullptr);

    const QList<ConversionHistoryEntry>& entries() const { return m_entries; }

    // Takes the stored history. Nothing stored leaves the entries as they are; a
    // stored document that does not decode empties them, and stays stored until
    // the next save replaces it.
    void load();

    // Adds a run that ends now at the front, keeps the newest 50 and saves. The
    // stored history is re-read first, so runs recorded meanwhile by another
    // program (tolvane-cli beside the app) are kept. Returns why the history
    // could not be saved, naming the store; nothing when it was.
    std::optional<QString> record(const QString& cardName, const QString& outputFolder, qint64 converted,
                                  qint64 failed, qint64 skipped, qint64 excludedByPairing,
                                  qint64 notStarted = 0, qint64 notChosen = 0,
                                  std::optional<BackupRecord> backup = std::nullopt);

    std::optional<ConversionHistoryEntry> mostRecent() const;

    // How a run names the history when it could not be saved: "the history".
    static QString displayName();

    void save();

    // Empties the history and saves at once. Returns why the emptied history
    // could not be saved, naming the store; nothing when it was.
    std::optional<QString> clear();

    // The stored form: a JSON array of objects with the keys "id" (upper-case
    // UUID), "date" (seconds since 2001-01-01 00:00:00 UTC, fractional),
    // "cardName", "outputFolder" (a file:// URL), "converted", "failed",
    // "skipped" and "excludedByPairing". Decoding needs all eight in every
    // element, or the whole document is refused. "notStarted" and "notChosen"
    // are written only when not zero, and read as zero when absent, as in runs
    // recorded before they were kept. A run that began with a backup also has
    // "backup" ("proven", "failed" or "cancelled") and "backupCopies" (an
    // array of file:// URLs); an entry without them had no backup.
    static QByteArray encode(const QList<ConversionHistoryEntry>& entries);
    static std::optional<QList<ConversionHistoryEntry>> decode(const QByteArray& document);

signals:
    void entriesChanged();

private:
    std::optional<QList<ConversionHistoryEntry>> storedEntries() const;
    void setEntries(QList<ConversionHistoryEntry> entries);

    std::shared_ptr<KeyValueStore> m_defaults;
    QList<ConversionHistoryEntry> m_entries;
};
