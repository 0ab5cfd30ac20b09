#include "store/ConversionHistoryStore.h"
#include "store/QSettingsKeyValueStore.h"
#include "store/RecentFoldersStore.h"
#include "StoreTestSupport.h"

#include <memory>
#include <QCoreApplication>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

namespace {

// Under the history cap, so every entry of both writers must still be there.
constexpr int recordsPerWriter = 20;

QString cardName(const QString& writer, int index)
{
    return QStringLiteral("%1-%2").arg(writer).arg(index, 2, 10, QLatin1Char('0'));
}

QString cardFolder(const QString& writer, int index)
{
    return QStringLiteral("/cards/") + cardName(writer, index);
}

// The writer's own entries, in list order: for a list in which nothing of that
// writer was lost, they are its last recordings, newest first.
void verifyNewestRecordingsOf(const QString& writer, const QStringList& listed)
{
    const QStringList own = listed.filter(QRegularExpression(QStringLiteral("/%1-\\d+$").arg(writer)));
    for (int position = 0; position < own.size(); ++position)
        QCOMPARE(own[position], cardFolder(writer, recordsPerWriter - 1 - position));
}

} // namespace

int runConcurrentWriter(const QStringList& arguments)
{
    if (arguments.size() != 4)
        return 2;
    const QString& writer = arguments[3];
    const auto defaults = std::make_shared<QSettingsKeyValueStore>(arguments[2]);
    ConversionHistoryStore history(defaults);
    RecentFoldersStore recent(defaults);
    for (int index = 0; index < recordsPerWriter; ++index) {
        history.record(cardName(writer, index), QStringLiteral("/out/") + cardName(writer, index), index, 0,
                       0, 0);
        recent.record(cardFolder(writer, index));
        // Spreads the writes so that the two writers interleave.
        QThread::msleep(QRandomGenerator::global()->bounded(1, 4));
    }
    return 0;
}

class ConcurrentStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void twoProcessesRecordingAtOnceLoseNothing()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("Tolvane.json"));
        const QStringList writers{QStringLiteral("first"), QStringLiteral("second")};

        QList<QProcess*> processes;
        for (const QString& writer : writers) {
            auto* process = new QProcess(this);
            process->setProcessChannelMode(QProcess::ForwardedChannels);
            process->start(QCoreApplication::applicationFilePath(),
                           {QLatin1String(concurrentWriterArgument), path, writer});
            processes.append(process);
        }
        for (QProcess* process : processes) {
            QVERIFY(process->waitForStarted(-1));
            QVERIFY(process->waitForFinished(-1));
            QCOMPARE(process->exitStatus(), QProcess::NormalExit);
            QCOMPARE(process->exitCode(), 0);
        }

        const auto defaults = std::make_shared<QSettingsKeyValueStore>(path);
        const auto stored = ConversionHistoryStore::decode(
            defaults->bytesValue(QStringLiteral("conversionHistoryV1")).value_or(QByteArray()));
        QVERIFY(stored);
        QCOMPARE(stored->size(), 2 * recordsPerWriter);
        QStringList names;
        for (const ConversionHistoryEntry& entry : *stored)
            names.append(entry.cardName);
        for (const QString& writer : writers) {
            QStringList own = names.filter(writer + QLatin1Char('-'));
            QStringList expected;
            for (int index = recordsPerWriter - 1; index >= 0; --index)
                expected.append(cardName(writer, index));
            QCOMPARE(own, expected);
        }

        const QStringList folders = RecentFoldersStore(defaults).folders();
        QCOMPARE(folders.size(), RecentFoldersStore::capacity);
        QCOMPARE(QSet<QString>(folders.begin(), folders.end()).size(), folders.size());
        for (const QString& writer : writers)
            verifyNewestRecordingsOf(writer, folders);
        // Whoever wrote last put its last folder first.
        QVERIFY(folders.first() == cardFolder(writers[0], recordsPerWriter - 1) ||
                folders.first() == cardFolder(writers[1], recordsPerWriter - 1));
    }
};

int runConcurrentStoreTests(int argc, char** argv)
{
    ConcurrentStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ConcurrentStoreTest.moc"
