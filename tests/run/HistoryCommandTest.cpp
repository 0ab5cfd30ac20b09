#include "run/HistoryCommand.h"

#include "CommandRun.h"
#include "run/CliHelp.h"
#include "run/HistoryText.h"
#include "store/MemoryKeyValueStore.h"
#include "store/QSettingsKeyValueStore.h"
#include "TestFiles.h"

#include <optional>
#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString historyKey = QStringLiteral("conversionHistoryV1");

ConversionHistoryEntry entry(const QString& cardName, qint64 converted, qint64 failed, qint64 skipped,
                             qint64 excluded)
{
    return ConversionHistoryEntry{QUuid::createUuid(),
                                  QDateTime(QDate(2026, 7, 1), QTime(15, 0), Qt::LocalTime),
                                  cardName,
                                  QStringLiteral("/Movies/Tolvane/07-01-2026"),
                                  converted,
                                  failed,
                                  skipped,
                                  excluded};
}

const QLocale english(QLocale::English, QLocale::UnitedStates);

} // namespace

class HistoryCommandTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;

    // Runs the real CLI with its preferences in `home`, by default the test's own.
    CommandRun runCli(const QStringList& arguments, const QString& home = QString())
    {
        const QString folder = home.isEmpty() ? m_root.path() : home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), folder);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), folder + QStringLiteral("/.config"));
        return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments, QString(), environment);
    }

    // The preferences the CLI run above reads and writes.
    std::shared_ptr<QSettingsKeyValueStore> cliPreferences()
    {
        return std::make_shared<QSettingsKeyValueStore>(
            m_root.filePath(QStringLiteral(".config/Tolvane/Tolvane.json")));
    }

private slots:
    void batchCountTakesEsUnlessOne()
    {
        QCOMPARE(HistoryText::batchCount(0), QStringLiteral("0 batches"));
        QCOMPARE(HistoryText::batchCount(1), QStringLiteral("1 batch"));
        QCOMPARE(HistoryText::batchCount(3), QStringLiteral("3 batches"));
    }

    void onlyConversionsShowJustTheConvertedCount()
    {
        const ConversionHistoryEntry run = entry(QStringLiteral("A"), 5, 0, 0, 0);
        QCOMPARE(HistoryText::statsLine(run), QStringLiteral("5 converted"));
        QVERIFY(!HistoryText::needsAttention(run));
        QCOMPARE(HistoryText::statusMark(run), QStringLiteral("✔"));
    }

    void onlySkippedClipsShowZeroConvertedAndACleanRun()
    {
        const ConversionHistoryEntry run = entry(QStringLiteral("A"), 0, 0, 3, 0);
        QCOMPARE(HistoryText::statsLine(run), QStringLiteral("0 converted · 3 skipped"));
        QVERIFY(!HistoryText::needsAttention(run));
    }

    void everyCountAppearsInItsOrder()
    {
        QCOMPARE(HistoryText::statsLine(entry(QStringLiteral("A"), 4, 1, 0, 2)),
                 QStringLiteral("4 converted · 1 failed · 2 excluded"));
        QCOMPARE(HistoryText::statsLine(entry(QStringLiteral("A"), 1, 3, 2, 4)),
                 QStringLiteral("1 converted · 2 skipped · 3 failed · 4 excluded"));
        ConversionHistoryEntry cancelled = entry(QStringLiteral("A"), 1, 1, 0, 0);
        cancelled.notStarted = 5;
        QCOMPARE(HistoryText::statsLine(cancelled), QStringLiteral("1 converted · 1 failed · 5 not started"));
        cancelled.failed = 0;
        QVERIFY(HistoryText::needsAttention(cancelled));
    }

    void failedOrExcludedClipsNeedAttention()
    {
        QVERIFY(HistoryText::needsAttention(entry(QStringLiteral("A"), 4, 1, 0, 0)));
        QVERIFY(HistoryText::needsAttention(entry(QStringLiteral("A"), 4, 0, 0, 1)));
        QCOMPARE(HistoryText::statusMark(entry(QStringLiteral("A"), 4, 0, 0, 1)), QStringLiteral("⚠"));
    }

    void datesReadInTheLocaleWithAnAbbreviatedMonth()
    {
        const QDateTime date(QDate(2026, 7, 1), QTime(15, 5), Qt::LocalTime);
        QCOMPARE(HistoryText::dateText(date, english), QStringLiteral("Jul 1, 2026, 3:05 PM"));
        QCOMPARE(HistoryText::dateText(date, QLocale(QLocale::German, QLocale::Germany)),
                 QStringLiteral("1. Juli 2026, 15:05"));
        // A date stored in UTC is shown in local time.
        QCOMPARE(HistoryText::dateText(date.toUTC(), english), QStringLiteral("Jul 1, 2026, 3:05 PM"));
    }

    void anEmptyHistoryListsItsHeaderAndTheEmptyText()
    {
        QCOMPARE(HistoryCommand::listing({}, english),
                 QStringLiteral("Recent Conversions — 0 batches\n\nNo conversions yet\n"));
    }

    void eachRunIsOneBlockNewestFirst()
    {
        const QList<ConversionHistoryEntry> entries{entry(QStringLiteral("CARD B"), 4, 1, 0, 2),
                                                    entry(QStringLiteral("CARD A"), 0, 0, 3, 0)};
        QCOMPARE(HistoryCommand::listing(entries, english),
                 QStringLiteral("Recent Conversions — 2 batches\n"
                                "\n"
                                "⚠ CARD B\n"
                                "Jul 1, 2026, 3:00 PM\n"
                                "/Movies/Tolvane/07-01-2026\n"
                                "4 converted · 1 failed · 2 excluded\n"
                                "\n"
                                "✔ CARD A\n"
                                "Jul 1, 2026, 3:00 PM\n"
                                "/Movies/Tolvane/07-01-2026\n"
                                "0 converted · 3 skipped\n"));
    }

    void aRunsBackupReadsAfterItsCountsWithEveryCopy()
    {
        ConversionHistoryEntry proven = entry(QStringLiteral("CARD B"), 4, 0, 0, 0);
        proven.backup =
            BackupRecord{BackupRecord::Outcome::proven,
                         {QStringLiteral("/media/A/CARD B"), QStringLiteral("/media/B\n/CARD B")}};
        ConversionHistoryEntry failed = entry(QStringLiteral("CARD A"), 0, 0, 0, 0);
        failed.outputFolder = QStringLiteral("/media/A");
        failed.notStarted = 3;
        failed.backup = BackupRecord{BackupRecord::Outcome::failed, {QStringLiteral("/media/A/CARD A")}};
        ConversionHistoryEntry cancelled = entry(QStringLiteral("CARD C"), 0, 0, 0, 0);
        cancelled.backup = BackupRecord{BackupRecord::Outcome::cancelled, {}};
        QCOMPARE(HistoryCommand::listing({proven, failed, cancelled}, english),
                 QStringLiteral("Recent Conversions — 3 batches\n"
                                "\n"
                                "✔ CARD B\n"
                                "Jul 1, 2026, 3:00 PM\n"
                                "/Movies/Tolvane/07-01-2026\n"
                                "4 converted\n"
                                "Backed up to 2 places and proven\n"
                                "/media/A/CARD B\n"
                                "/media/B\\n/CARD B\n"
                                "\n"
                                "⚠ CARD A\n"
                                "Jul 1, 2026, 3:00 PM\n"
                                "/media/A\n"
                                "0 converted · 3 not started\n"
                                "Backup failed — nothing was converted\n"
                                "/media/A/CARD A\n"
                                "\n"
                                "⚠ CARD C\n"
                                "Jul 1, 2026, 3:00 PM\n"
                                "/Movies/Tolvane/07-01-2026\n"
                                "0 converted\n"
                                "Backup cancelled — nothing was converted\n"));
    }

    void aBackupThatWasNotProvenNeedsAttentionWhateverTheCounts()
    {
        ConversionHistoryEntry run = entry(QStringLiteral("A"), 0, 0, 0, 0);
        QVERIFY(!HistoryText::needsAttention(run));
        QCOMPARE(HistoryText::backupLine(run), QString());
        run.backup = BackupRecord{BackupRecord::Outcome::proven, {QStringLiteral("/a/A")}};
        QVERIFY(!HistoryText::needsAttention(run));
        QCOMPARE(HistoryText::backupLine(run), QStringLiteral("Backed up to 1 place and proven"));
        run.backup->outcome = BackupRecord::Outcome::failed;
        QVERIFY(HistoryText::needsAttention(run));
        run.backup->outcome = BackupRecord::Outcome::cancelled;
        QCOMPARE(HistoryText::statusMark(run), QStringLiteral("⚠"));
    }

    void jsonPrintsTheStoredDocumentAsKept()
    {
        const auto defaults = std::make_shared<MemoryKeyValueStore>();
        QCOMPARE(HistoryCommand::run({QStringLiteral("--json")}, defaults, english).standardOutput,
                 QStringLiteral("[]\n"));
        defaults->setBytes(historyKey, QByteArrayLiteral("not json"));
        const HistoryCommand::Outcome outcome =
            HistoryCommand::run({QStringLiteral("--json")}, defaults, english);
        QCOMPARE(outcome.exitStatus, 0);
        QCOMPARE(outcome.standardOutput, QStringLiteral("not json\n"));
        // Printing never rewrites what is stored.
        QCOMPARE(defaults->bytesValue(historyKey), QByteArrayLiteral("not json"));
    }

    void clearEmptiesTheStoredHistory()
    {
        const auto defaults = std::make_shared<MemoryKeyValueStore>();
        const QList<ConversionHistoryEntry> entries{entry(QStringLiteral("CARD A"), 1, 0, 0, 0),
                                                    entry(QStringLiteral("CARD B"), 2, 0, 0, 0)};
        defaults->setBytes(historyKey, ConversionHistoryStore::encode(entries));
        const HistoryCommand::Outcome outcome =
            HistoryCommand::run({QStringLiteral("--clear")}, defaults, english);
        QCOMPARE(outcome.exitStatus, 0);
        QCOMPARE(outcome.standardOutput, QStringLiteral("History cleared (2 batches removed).\n"));
        QCOMPARE(defaults->bytesValue(historyKey), QByteArrayLiteral("[]"));
    }

    void usageErrorsPointAtTheHelp()
    {
        const auto defaults = std::make_shared<MemoryKeyValueStore>();
        const HistoryCommand::Outcome unknown =
            HistoryCommand::run({QStringLiteral("--all")}, defaults, english);
        QCOMPARE(unknown.exitStatus, 2);
        QCOMPARE(unknown.standardOutput, QString());
        QCOMPARE(unknown.standardError,
                 QStringLiteral("tolvane-cli history: unknown option “--all”. Try tolvane-cli --help.\n"));
        const HistoryCommand::Outcome both =
            HistoryCommand::run({QStringLiteral("--clear"), QStringLiteral("--json")}, defaults, english);
        QCOMPARE(both.exitStatus, 2);
        QCOMPARE(both.standardError,
                 QStringLiteral("tolvane-cli history: one option at a time. Try tolvane-cli --help.\n"));
        QVERIFY(!defaults->value(historyKey));
    }

    void theProgramListsClearsAndPrintsTheUsersHistory()
    {
        QVERIFY(m_root.isValid());
        QVERIFY(QDir().mkpath(m_root.filePath(QStringLiteral(".config/Tolvane"))));
        const QList<ConversionHistoryEntry> entries{entry(QStringLiteral("Card “$;x”"), 3, 0, 0, 1)};
        cliPreferences()->setBytes(historyKey, ConversionHistoryStore::encode(entries));

        const CommandRun listed = runCli({QStringLiteral("history")});
        QCOMPARE(listed.exitStatus, 0);
        QCOMPARE(listed.standardError, QString());
        QVERIFY2(listed.standardOutput.startsWith(
                     QStringLiteral("Recent Conversions — 1 batch\n\n⚠ Card “$;x”\n")),
                 qPrintable(listed.standardOutput));
        QVERIFY(listed.standardOutput.endsWith(
            QStringLiteral("\n/Movies/Tolvane/07-01-2026\n3 converted · 1 excluded\n")));

        const CommandRun json = runCli({QStringLiteral("history"), QStringLiteral("--json")});
        QCOMPARE(json.standardOutput, QString::fromUtf8(ConversionHistoryStore::encode(entries)) + u'\n');

        const CommandRun cleared = runCli({QStringLiteral("history"), QStringLiteral("--clear")});
        QCOMPARE(cleared.exitStatus, 0);
        QCOMPARE(cleared.standardOutput, QStringLiteral("History cleared (1 batch removed).\n"));
        QCOMPARE(runCli({QStringLiteral("history")}).standardOutput,
                 QStringLiteral("Recent Conversions — 0 batches\n\nNo conversions yet\n"));
        QCOMPARE(cliPreferences()->bytesValue(historyKey), QByteArrayLiteral("[]"));
    }

    // A history that stays on disk is never said to be cleared.
    void clearingAStoreThatCannotBeWrittenFailsNamingIt_data()
    {
        QTest::addColumn<bool>("readOnlyDisk");
        QTest::newRow("a folder in the store's place") << false;
        QTest::newRow("a store on a read-only file system") << true;
    }

    void clearingAStoreThatCannotBeWrittenFailsNamingIt()
    {
        QFETCH(bool, readOnlyDisk);
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const QString folder = home.filePath(QStringLiteral(".config/Tolvane"));
        const QString store = folder + QStringLiteral("/Tolvane.json");
        std::optional<SmallDisk> disk;
        QString reason = QStringLiteral("Is a directory");
        if (readOnlyDisk) {
            disk.emplace(folder, QStringLiteral("size=1m"));
            QVERIFY2(disk->mounted(), "the tests mount a tmpfs, which needs root");
            QSettingsKeyValueStore(store).setBytes(
                historyKey, ConversionHistoryStore::encode({entry(QStringLiteral("CARD A"), 1, 0, 0, 0)}));
            QCOMPARE(QProcess::execute(QStringLiteral("mount"),
                                       {QStringLiteral("-o"), QStringLiteral("remount,ro"), folder}),
                     0);
            reason = QStringLiteral("Read-only file system");
        } else {
            // Nothing can replace a folder.
            QVERIFY(QDir().mkpath(store));
        }
        const QByteArray before = readFile(store);
        const CommandRun cleared =
            runCli({QStringLiteral("history"), QStringLiteral("--clear")}, home.path());
        QCOMPARE(cleared.standardOutput, QString());
        QCOMPARE(cleared.standardError,
                 QStringLiteral("Could not clear the history (“%1”: %2).\n").arg(store, reason));
        QCOMPARE(cleared.exitStatus, 1);
        QCOMPARE(readFile(store), before);
        if (readOnlyDisk)
            QCOMPARE(ConversionHistoryStore(std::make_shared<QSettingsKeyValueStore>(store)).entries().size(),
                     1);
        QCOMPARE(
            HistoryCommand::clearFailureSentence(QStringLiteral("“/s/Tolvane.json”: Read-only file system")),
            QStringLiteral("Could not clear the history (“/s/Tolvane.json”: Read-only file system)."));
    }

    void theHelpDescribesTheCommand()
    {
        const CommandRun help = runCli({QStringLiteral("--help")});
        QCOMPARE(help.exitStatus, 0);
        QVERIFY(help.standardOutput.contains(
            CliHelp::commandText(CliDescription::command(QStringLiteral("history")))));
    }
};

QTEST_GUILESS_MAIN(HistoryCommandTest)
#include "HistoryCommandTest.moc"
