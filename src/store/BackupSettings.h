#pragma once

#include "store/KeyValueStore.h"

#include <memory>
#include <QObject>
#include <QString>
#include <QStringList>

// Whether the card is backed up before it is converted, and where to: one or
// two destination folders, remembered in the preference domain. Lives on the
// main thread.
class BackupSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool backUpFirst READ backUpFirst WRITE setBackUpFirst NOTIFY backUpFirstChanged)
    Q_PROPERTY(QStringList destinations READ destinations NOTIFY destinationsChanged)

public:
    static constexpr int maximumDestinations = 2;

    explicit BackupSettings(std::shared_ptr<KeyValueStore> store, QObject* parent = nullptr);

    bool backUpFirst() const { return m_backUpFirst; }
    const QStringList& destinations() const { return m_destinations; }
    // Whether a backup can run as set: turned on, with a destination.
    bool isReady() const { return m_backUpFirst && !m_destinations.isEmpty(); }

    void setBackUpFirst(bool on);
    // Sets the destination at `index` (0 or 1); an empty path removes it.
    Q_INVOKABLE void setDestination(int index, const QString& path);

signals:
    void backUpFirstChanged();
    void destinationsChanged();

private:
    std::shared_ptr<KeyValueStore> m_store;
    bool m_backUpFirst = false;
    QStringList m_destinations;
};
