#include "CommandRun.h"
#include "media/ProResProfile.h"
#include "SyntheticCard.h"
#include "ToolFolder.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString noVideoMessage =
    QStringLiteral("No video MXF files were found in this folder. Make sure you selected a "
                   "P2 card (or its CONTENTS folder) containing a VIDEO folder.\n");

// Every file below `folder` with its size and modification time.
QStringList snapshot(const QString& folder)
{
    QStringList entries;
    QDirIterator it(folder, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        entries.append(QStringLiteral("%1 %2 %3")
                           .arg(info.filePath())
                           .arg(info.size())
                           .arg(info.lastModified().toMSecsSinceEpoch()));
    }
    entries.sort();
    return entries;
}

// The report without its generation time, which differs between two runs.
QString withoutGenerationTime(const QString& report)
{
    QStringList lines = report.split(QLatin1Char('\n'));
    lines.removeIf([](const QString& line) { return line.startsWith(QLatin1String("Generated: ")); });
    return lines.join(QLatin1Char('\n'));
}

} // namespace

class CliDebugReportTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;
    QString m_home;
    std::optional<SyntheticCard::WrittenCard> m_card;

    // Runs the real CLI with the preferences kept in a temporary home.
    CommandRun runCli(const QStringList& arguments, const QString& workingDirectory = QString())
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), m_home);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/.config"));
        return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments, workingDirectory, environment);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        TOLVANE_REQUIRE_INSTALLED_TOOLS();
        m_home = m_root.filePath(QStringLiteral("home"));
        QVERIFY(QDir().mkpath(m_home));
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(1, 2), SyntheticCard::clip(2, 2)};
        for (SyntheticCard::ClipSpec& clip : plan.clips)
            clip.frames = 3;
        try {
            m_card = SyntheticCard::write(plan, m_root.filePath(QStringLiteral("card")));
        } catch (const SyntheticCard::Error& error) {
            QFAIL(error.what());
        }
    }

    void printsTheReport()
    {
        const QStringList before = snapshot(m_card->rootPath);
        const CommandRun run = runCli({QStringLiteral("debug-report"), m_card->rootPath});
        QCOMPARE(run.exitStatus, 0);
        QCOMPARE(run.standardError, QString());
        for (const SyntheticCard::WrittenClip& clip : m_card->clips)
            QVERIFY2(run.standardOutput.contains(clip.umid, Qt::CaseInsensitive), qPrintable(clip.umid));
        QCOMPARE(run.standardOutput.count(QStringLiteral("EXACT FFMPEG COMMAND FOR THIS CLIP:")), 2);
        QCOMPARE(snapshot(m_card->rootPath), before);
        // The stored settings are only read: no preferences file appears.
        QCOMPARE(snapshot(m_home), QStringList());
    }

    void writesTheReportToAFile()
    {
        const QStringList before = snapshot(m_card->rootPath);
        const QString file = m_root.filePath(QStringLiteral("DEBUG_REPORT.txt"));
        const CommandRun saved =
            runCli({QStringLiteral("debug-report"), m_card->rootPath, QStringLiteral("--output"), file});
        QCOMPARE(saved.exitStatus, 0);
        QCOMPARE(saved.standardOutput, QStringLiteral("Debug report saved to %1.\n").arg(file));
        QCOMPARE(saved.standardError, QString());
        QFile written(file);
        QVERIFY(written.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(written.readAll());

        const CommandRun printed = runCli({QStringLiteral("debug-report"), m_card->rootPath});
        QCOMPARE(printed.exitStatus, 0);
        QCOMPARE(withoutGenerationTime(text), withoutGenerationTime(printed.standardOutput));
        QCOMPARE(snapshot(m_card->rootPath), before);
    }

    void reportsAnUnwritableFile()
    {
        const QString file = m_root.filePath(QStringLiteral("missing/folder/DEBUG_REPORT.txt"));
        const CommandRun run =
            runCli({QStringLiteral("debug-report"), QStringLiteral("--output"), file, m_card->rootPath});
        QCOMPARE(run.exitStatus, 1);
        QCOMPARE(run.standardOutput, QString());
        QVERIFY(run.standardError.endsWith(QLatin1Char('\n')));
        QCOMPARE(run.standardError.count(QLatin1Char('\n')), 1);
    }

    void refusesAFolderWithoutVideo()
    {
        const QString empty = m_root.filePath(QStringLiteral("empty"));
        QVERIFY(QDir().mkpath(empty));
        const CommandRun run = runCli({QStringLiteral("debug-report"), empty});
        QCOMPARE(run.exitStatus, 2);
        QCOMPARE(run.standardOutput, QString());
        QCOMPARE(run.standardError, noVideoMessage);

        QVERIFY(QDir().mkpath(m_root.filePath(QStringLiteral("empty/-card"))));
        const CommandRun dashed =
            runCli({QStringLiteral("debug-report"), QStringLiteral("--"), QStringLiteral("-card")}, empty);
        QCOMPARE(dashed.exitStatus, 2);
        QCOMPARE(dashed.standardError, noVideoMessage);
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        const QString missing = QStringLiteral("/no/such/folder");
        QTest::newRow("no folder") << QStringList{QStringLiteral("debug-report")}
                                   << QStringLiteral("tolvane-cli debug-report: no card folder given. "
                                                     "Try tolvane-cli --help.\n");
        QTest::newRow("unknown option")
            << QStringList{QStringLiteral("debug-report"), QStringLiteral("--fast"), QStringLiteral("/")}
            << QStringLiteral("tolvane-cli debug-report: unknown option “--fast”. Try tolvane-cli --help.\n");
        QTest::newRow("output without file")
            << QStringList{QStringLiteral("debug-report"), QStringLiteral("/"), QStringLiteral("--output")}
            << QStringLiteral("tolvane-cli debug-report: --output needs a file. Try tolvane-cli --help.\n");
        QTest::newRow("not a folder")
            << QStringList{QStringLiteral("debug-report"), missing}
            << QStringLiteral("tolvane-cli debug-report: “%1” is not a folder. Try tolvane-cli --help.\n")
                   .arg(missing);
    }

    void usageErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QCOMPARE(runCli(arguments), (CommandRun{2, QString(), message}));
    }

    void helpNamesTheCommand()
    {
        const CommandRun run = runCli({QStringLiteral("--help")});
        QCOMPARE(run.exitStatus, 0);
        QVERIFY(run.standardOutput.contains(QStringLiteral("debug-report CARD [--output FILE]")));
    }

    // Last: it leaves preferences in the temporary home.
    void usesTheStoredSettingsWithoutWritingThem()
    {
        const QString folder = m_home + QStringLiteral("/.config/Tolvane");
        QVERIFY(QDir().mkpath(folder));
        const QByteArray preferences = R"({"proResProfile": 0})";
        QFile file(folder + QStringLiteral("/Tolvane.json"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(preferences), preferences.size());
        file.close();
        const QStringList before = snapshot(m_home);

        const CommandRun run = runCli({QStringLiteral("debug-report"), m_card->rootPath});
        QCOMPARE(run.exitStatus, 0);
        QVERIFY(run.standardOutput.contains(QStringLiteral("ProRes profile: ") +
                                            ProResProfiles::label(ProResProfile::proxy)));
        QCOMPARE(snapshot(m_home), before);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), preferences);
    }
};

QTEST_GUILESS_MAIN(CliDebugReportTest)
#include "CliDebugReportTest.moc"
