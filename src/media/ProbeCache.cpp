#include "media/ProbeCache.h"

#include "base/Workers.h"

#include <QCoroFuture>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QtConcurrent>

namespace ProbeCache {

namespace {

struct Entry
{
    FileIdentity identity;
    // Set once the reader was asked; the inner value is empty when it could not tell.
    std::optional<std::optional<MXFHeaderFacts>> header;
    QHash<QString, QByteArray> answers;
    QHash<QString, std::any> derived;
};

struct Memory
{
    QMutex lock;
    QHash<QString, Entry> entries;
    Statistics statistics;
    bool nativeReaderEnabled = true;
    quint64 generation = 0;

    // The entry of `path` for the file as `identity` describes it; a changed file starts afresh.
    Entry& entry(const QString& path, const FileIdentity& identity)
    {
        Entry& found = entries[path];
        if (!(found.identity == identity))
            found = Entry{identity, std::nullopt, {}, {}};
        return found;
    }
};

Memory& memory()
{
    static Memory instance;
    return instance;
}

std::optional<MXFHeaderFacts> readRemembered(const QString& path)
{
    Memory& shared = memory();
    const std::optional<FileIdentity> identity = identify(path);
    {
        QMutexLocker locker(&shared.lock);
        if (!shared.nativeReaderEnabled || !identity)
            return std::nullopt;
        const Entry& entry = shared.entry(path, *identity);
        if (entry.header) {
            ++shared.statistics.answersFromMemory;
            return *entry.header;
        }
    }
    QElapsedTimer timer;
    timer.start();
    std::optional<MXFHeaderFacts> facts = MXFHeaderReader::read(path);
    const qint64 elapsed = timer.nsecsElapsed();

    QMutexLocker locker(&shared.lock);
    shared.entry(path, *identity).header = facts;
    ++(facts ? shared.statistics.filesReadNatively : shared.statistics.filesNotReadNatively);
    shared.statistics.nativeReadNanoseconds += elapsed;
    return facts;
}

} // namespace

std::optional<FileIdentity> identify(const QString& path)
{
    return FileState::of(QFile::encodeName(path));
}

QCoro::Task<std::optional<MXFHeaderFacts>> headerFacts(QString path)
{
    QFuture<std::optional<MXFHeaderFacts>> reading =
        QtConcurrent::run(Workers::pool(), readRemembered, std::move(path));
    co_return co_await reading;
}

QHash<QString, MXFHeaderFacts> readHeaders(const QStringList& paths)
{
    QHash<QString, MXFHeaderFacts> facts;
    for (const QString& path : paths) {
        if (std::optional<MXFHeaderFacts> read = readRemembered(path))
            facts.insert(path, std::move(*read));
    }
    return facts;
}

std::optional<QByteArray> answer(const QString& path, const FileIdentity& identity, const QString& query)
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    const Entry& entry = shared.entry(path, identity);
    const auto found = entry.answers.constFind(query);
    if (found == entry.answers.constEnd())
        return std::nullopt;
    ++shared.statistics.answersFromMemory;
    return *found;
}

void remember(const QString& path, const FileIdentity& identity, const QString& query,
              const QByteArray& answer)
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    shared.entry(path, identity).answers.insert(query, answer);
}

std::optional<std::any> derived(const QString& path, const FileIdentity& identity, const QString& kind)
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    const Entry& entry = shared.entry(path, identity);
    const auto found = entry.derived.constFind(kind);
    if (found == entry.derived.constEnd())
        return std::nullopt;
    ++shared.statistics.answersFromMemory;
    return *found;
}

void rememberDerived(const QString& path, const FileIdentity& identity, const QString& kind, std::any value)
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    shared.entry(path, identity).derived.insert(kind, std::move(value));
}

Statistics statistics()
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    return shared.statistics;
}

void recordToolRun(qint64 nanoseconds)
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    ++shared.statistics.toolRuns;
    shared.statistics.toolRunNanoseconds += nanoseconds;
}

void recordAnswerNotRemembered()
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    ++shared.statistics.answersNotRemembered;
}

quint64 generation()
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    return shared.generation;
}

void forget()
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    shared.entries.clear();
    ++shared.generation;
}

void reset(bool nativeReaderEnabled)
{
    Memory& shared = memory();
    QMutexLocker locker(&shared.lock);
    shared.entries.clear();
    shared.statistics = {};
    shared.nativeReaderEnabled = nativeReaderEnabled;
    ++shared.generation;
}

} // namespace ProbeCache
