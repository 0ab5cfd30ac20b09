#pragma once

#include "store/MemoryKeyValueStore.h"
#include "TestFiles.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QPair>
#include <QString>

// An in-memory preference domain that also logs every write, in order, so tests
// can tell what was written, with which type, and what was not written at all.
class LoggingKeyValueStore final : public KeyValueStore
{
public:
    QList<QPair<QString, QVariant>> writes;

    QStringList writtenKeys() const
    {
        QStringList keys;
        for (const auto& write : writes)
            keys.append(write.first);
        return keys;
    }

    std::optional<QVariant> value(const QString& key) const override { return m_values.value(key); }
    void setValue(const QString& key, const QVariant& value) override
    {
        writes.append({key, value});
        m_values.setValue(key, value);
    }
    void remove(const QString& key) override { m_values.remove(key); }
    std::optional<QString> exclusively(const std::function<void()>& work) override
    {
        return m_values.exclusively(work);
    }
    void setSetAsideListener(std::function<void(const QString& notice)> listener) override
    {
        m_values.setSetAsideListener(std::move(listener));
    }

private:
    MemoryKeyValueStore m_values;
};

// Entry points of the test classes, all run by one executable.
int runKeyValueStoreTests(int argc, char** argv);
int runOverlayKeyValueStoreTests(int argc, char** argv);
int runSettingsStoreTests(int argc, char** argv);
int runConversionHistoryStoreTests(int argc, char** argv);
int runRecentFoldersStoreTests(int argc, char** argv);
int runDesktopTests(int argc, char** argv);
int runConcurrentStoreTests(int argc, char** argv);
int runDamagedStoreTests(int argc, char** argv);

// The executable started again as one of the concurrent writers.
inline constexpr char concurrentWriterArgument[] = "--concurrent-writer";
int runConcurrentWriter(const QStringList& arguments);
