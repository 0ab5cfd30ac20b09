#include "store/BackupSettings.h"

namespace {

const QString backUpFirstKey = QStringLiteral("backUpFirst");
const QString destinationsKey = QStringLiteral("backupDestinations");

// At most two non-empty, distinct paths, as stored lists may hold anything.
QStringList cleaned(const QStringList& paths)
{
    QStringList kept;
    for (const QString& path : paths) {
        if (!path.isEmpty() && !kept.contains(path) && kept.size() < BackupSettings::maximumDestinations)
            kept.append(path);
    }
    return kept;
}

} // namespace

BackupSettings::BackupSettings(std::shared_ptr<KeyValueStore> store, QObject* parent)
    : QObject(parent), m_store(std::move(store)),
      m_backUpFirst(m_store->boolValue(backUpFirstKey).value_or(false)),
      m_destinations(cleaned(m_store->stringListValue(destinationsKey).value_or(QStringList())))
{
}

void BackupSettings::setBackUpFirst(bool on)
{
    if (m_backUpFirst == on)
        return;
    m_backUpFirst = on;
    m_store->setBool(backUpFirstKey, on);
    emit backUpFirstChanged();
}

void BackupSettings::setDestination(int index, const QString& path)
{
    if (index < 0 || index >= maximumDestinations)
        return;
    QStringList next = m_destinations;
    if (index < next.size())
        next[index] = path;
    else
        next.append(path);
    next = cleaned(next);
    if (next == m_destinations)
        return;
    m_destinations = next;
    m_store->setStringList(destinationsKey, m_destinations);
    emit destinationsChanged();
}
