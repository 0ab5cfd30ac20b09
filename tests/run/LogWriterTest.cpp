#include "run/LogWriter.h"

#include "RunNamingTests.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

namespace {

QDateTime localTime(int hour, int minute, int second)
{
    return QDateTime(QDate(2026, 7, 1), QTime(hour, minute, second));
}

const QString conversionReport = QStringLiteral("CONVERSION_REPORT.txt");
const QString pairingReport = QStringLiteral("PAIRING_REPORT.txt");
const QString debugReport = QStringLiteral("DEBUG_REPORT.txt");
const QString ffmpegErrors = QStringLiteral("FFMPEG_ERRORS.txt");

} // namespace

class LogWriterTest : public QObject
{
    Q_OBJECT

private slots:
    void timestampedLine_data()
    {
        QTest::addColumn<QDateTime>("time");
        QTest::addColumn<QString>("expected");
        QTest::newRow("afternoon") << localTime(14, 5, 9) << "[14:05:09] hello";
        QTest::newRow("midnight") << localTime(0, 0, 0) << "[00:00:00] hello";
        QTest::newRow("last second") << localTime(23, 59, 59) << "[23:59:59] hello";
        // The test zone is five hours behind UTC.
        QTest::newRow("utc instant") << QDateTime(QDate(2026, 7, 1), QTime(19, 5, 9), QTimeZone::utc())
                                     << "[14:05:09] hello";
        QTest::newRow("utc past midnight")
            << QDateTime(QDate(2026, 7, 2), QTime(3, 30, 0), QTimeZone::utc()) << "[22:30:00] hello";
    }

    void timestampedLine()
    {
        QFETCH(QDateTime, time);
        QFETCH(QString, expected);
        QCOMPARE(LogWriter::timestampedLine(QStringLiteral("hello"), time), expected);
    }

    void timestampIgnoresRegionalSettings()
    {
        const QLocale previous;
        for (const QLocale& regional : {QLocale(QLocale::Arabic, QLocale::Egypt), QLocale(QLocale::English),
                                        QLocale(QLocale::Korean)}) {
            QLocale::setDefault(regional);
            QCOMPARE(LogWriter::timestampedLine(QStringLiteral("x"), localTime(21, 7, 3)),
                     QStringLiteral("[21:07:03] x"));
        }
        QLocale::setDefault(previous);
    }

    void timestampDefaultsToNow()
    {
        const QDateTime before = QDateTime::currentDateTime();
        const QString line = LogWriter::timestampedLine(QStringLiteral("now"));
        const QDateTime after = QDateTime::currentDateTime();
        const auto match =
            QRegularExpression(QStringLiteral("^\\[(\\d\\d:\\d\\d:\\d\\d)\\] now$")).match(line);
        QVERIFY2(match.hasMatch(), qPrintable(line));
        const QTime stamped = QTime::fromString(match.captured(1), QStringLiteral("HH:mm:ss"));
        const QTime from = before.time().addMSecs(-before.time().msec());
        // Across midnight the clock wraps; either end of the interval is then fine.
        if (before.date() == after.date())
            QVERIFY(stamped >= from && stamped <= after.time());
    }

    void reportLines()
    {
        const QDateTime at = localTime(9, 8, 7);
        QCOMPARE(LogWriter::commandReportLine(QStringLiteral("0001AB"),
                                              QStringLiteral("/usr/bin/ffmpeg -y -i \"a b\""), at),
                 QStringLiteral("[09:08:07] 0001AB: running command:\n/usr/bin/ffmpeg -y -i \"a b\""));
        QCOMPARE(LogWriter::convertedReportLine(QStringLiteral("0001AB"), at),
                 QStringLiteral("[09:08:07] 0001AB: converted successfully."));
        QCOMPARE(LogWriter::skippedReportLine(QStringLiteral("0001AB"), at),
                 QStringLiteral("[09:08:07] 0001AB: skipped (already converted)."));
        QCOMPARE(LogWriter::notStartedReportLine(QStringLiteral("0002AB\n"),
                                                 QStringLiteral("not started — the run was cancelled"), at),
                 QStringLiteral("[09:08:07] 0002AB\\n: not started — the run was cancelled."));
        QCOMPARE(LogWriter::failedReportLine(QStringLiteral("0001AB"), QStringLiteral("Cancelled"), at),
                 QString::fromUtf8("[09:08:07] 0001AB: FAILED \u2014 Cancelled"));
        QCOMPARE(LogWriter::errorLine(QStringLiteral("0001AB"), QStringLiteral("Cancelled")),
                 QStringLiteral("0001AB: Cancelled"));
    }

    void aSkipOnlyRunWritesOnlySkipLinesAndNoErrors()
    {
        QTemporaryDir folder;
        const QStringList lines{LogWriter::skippedReportLine(QStringLiteral("0001AB"), localTime(10, 0, 0)),
                                LogWriter::skippedReportLine(QStringLiteral("0002CD"), localTime(10, 0, 1))};
        QVERIFY(LogWriter::write(lines, QStringLiteral("pairing\n"), {}, folder.path()).isEmpty());

        QCOMPARE(entries(folder.path()), (QStringList{conversionReport, pairingReport}));
        QCOMPARE(readFile(folder.filePath(conversionReport)),
                 QByteArray("[10:00:00] 0001AB: skipped (already converted).\n"
                            "[10:00:01] 0002CD: skipped (already converted).\n"));
    }

    void aCancelledClipIsReportedAndListedAsAnError()
    {
        QTemporaryDir folder;
        const QString command = QStringLiteral("/usr/local/bin/ffmpeg -i \"/card/VIDEO/0001AB.MXF\"");
        const QStringList lines{
            LogWriter::commandReportLine(QStringLiteral("0001AB"), command, localTime(11, 0, 0)),
            LogWriter::failedReportLine(QStringLiteral("0001AB"), QStringLiteral("Cancelled"),
                                        localTime(11, 0, 5))};
        const QStringList errors{LogWriter::errorLine(QStringLiteral("0001AB"), QStringLiteral("Cancelled"))};
        QVERIFY(LogWriter::write(lines, QStringLiteral("pairing\n"), errors, folder.path()).isEmpty());

        QCOMPARE(entries(folder.path()), (QStringList{conversionReport, ffmpegErrors, pairingReport}));
        const QByteArray report = readFile(folder.filePath(conversionReport));
        QCOMPARE(report, QString::fromUtf8("[11:00:00] 0001AB: running command:\n"
                                           "/usr/local/bin/ffmpeg -i \"/card/VIDEO/0001AB.MXF\"\n"
                                           "[11:00:05] 0001AB: FAILED \u2014 Cancelled\n")
                             .toUtf8());
        // The command spans two physical lines: header, command, then the failure.
        QCOMPARE(report.count('\n'), 3);
        QCOMPARE(readFile(folder.filePath(ffmpegErrors)), QByteArray("0001AB: Cancelled\n"));
    }

    void noLinesWriteNoReport()
    {
        QTemporaryDir folder;
        QVERIFY(LogWriter::write({}, QString(), {}, folder.path()).isEmpty());
        QVERIFY(entries(folder.path()).isEmpty());

        QVERIFY(LogWriter::write({}, QStringLiteral("pairing"), {}, folder.path()).isEmpty());
        QCOMPARE(entries(folder.path()), QStringList{pairingReport});
    }

    void writeIfNonEmptySkipsAnEmptyList()
    {
        QTemporaryDir folder;
        QVERIFY(!LogWriter::writeIfNonEmpty({}, QStringLiteral("X.txt"), folder.path()));
        QVERIFY(entries(folder.path()).isEmpty());
        QVERIFY(!LogWriter::writeIfNonEmpty({QStringLiteral("one")}, QStringLiteral("X.txt"), folder.path()));
        QCOMPARE(readFile(folder.filePath(QStringLiteral("X.txt"))), QByteArray("one\n"));
    }

    void thePairingReportIsWrittenExactlyAsBuilt()
    {
        QTemporaryDir folder;
        const QString text = QStringLiteral("no final line feed\n\n  indented");
        QVERIFY(LogWriter::write({QStringLiteral("line")}, text, {}, folder.path()).isEmpty());
        QCOMPARE(readFile(folder.filePath(pairingReport)), text.toUtf8());
    }

    void anExistingFileIsReplacedWhole()
    {
        QTemporaryDir folder;
        writeFile(folder.filePath(conversionReport), QByteArray(100000, 'o'));
        writeFile(folder.filePath(ffmpegErrors), "old errors\nmore old errors\n");
        QVERIFY(LogWriter::write({QStringLiteral("new")}, QString(), {QStringLiteral("e")}, folder.path())
                    .isEmpty());

        QCOMPARE(readFile(folder.filePath(conversionReport)), QByteArray("new\n"));
        QCOMPARE(readFile(folder.filePath(ffmpegErrors)), QByteArray("e\n"));
        // Nothing of the temporary files is left behind.
        QCOMPARE(entries(folder.path()), (QStringList{conversionReport, ffmpegErrors}));
    }

    void textIsUtf8()
    {
        QTemporaryDir temporary;
        const QString folder = temporary.filePath(QString::fromUtf8("Out — é 日本 $x; \"q\" 'y'"));
        QVERIFY(QDir().mkpath(folder));
        const QString clip = QString::fromUtf8("Clip é 日本 \"q\" $x;");
        const QString message = QString::fromUtf8("Encoder said “nein” — ß ✓");
        const QStringList lines{LogWriter::failedReportLine(clip, message, localTime(12, 0, 0))};
        const QStringList errors{LogWriter::errorLine(clip, message)};
        const QString pairing = QString::fromUtf8("Clip é — ok\n");
        QVERIFY(LogWriter::write(lines, pairing, errors, folder).isEmpty());

        QCOMPARE(
            readFile(QDir(folder).filePath(conversionReport)),
            QByteArray("[12:00:00] Clip \xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \"q\" $x;: FAILED \xE2\x80\x94 "
                       "Encoder said \xE2\x80\x9C"
                       "nein\xE2\x80\x9D \xE2\x80\x94 \xC3\x9F \xE2\x9C\x93\n"));
        QCOMPARE(readFile(QDir(folder).filePath(ffmpegErrors)),
                 (errors.first() + QLatin1Char('\n')).toUtf8());
        QCOMPARE(readFile(QDir(folder).filePath(pairingReport)), pairing.toUtf8());
    }

    void aMissingFolderIsAFailureNotACrash()
    {
        QTemporaryDir temporary;
        const QString missing = temporary.filePath(QStringLiteral("missing"));
        QCOMPARE(LogWriter::write({QStringLiteral("a")}, QStringLiteral("p"), {QStringLiteral("e")}, missing)
                     .size(),
                 3);
        QVERIFY(LogWriter::writeIfNonEmpty({QStringLiteral("a")}, conversionReport, missing));
        const std::optional<QString> reason =
            LogWriter::writeText(QStringLiteral("x"), QDir(missing).filePath(pairingReport));
        QVERIFY(reason);
        QVERIFY(!reason->isEmpty());
        QVERIFY(entries(temporary.path()).isEmpty());
    }

    void oneUnwritableFileDoesNotStopTheOthers()
    {
        QTemporaryDir folder;
        // A folder where the pairing report belongs cannot be replaced by a file.
        QVERIFY(QDir().mkpath(folder.filePath(pairingReport)));
        const QStringList failures = LogWriter::write({QStringLiteral("a")}, QStringLiteral("p"),
                                                      {QStringLiteral("e")}, folder.path());
        QCOMPARE(failures.size(), 1);
        QVERIFY2(failures.first().startsWith(pairingReport + QStringLiteral(" (")),
                 qPrintable(failures.first()));
        QCOMPARE(readFile(folder.filePath(conversionReport)), QByteArray("a\n"));
        QCOMPARE(readFile(folder.filePath(ffmpegErrors)), QByteArray("e\n"));
        QVERIFY(QFileInfo(folder.filePath(pairingReport)).isDir());
        QCOMPARE(entries(folder.path()), (QStringList{conversionReport, ffmpegErrors, pairingReport}));
    }

    // Text that fits the write buffer reaches the disk only when the file is
    // closed, so it is the flush, not the write, that meets the full disk.
    void aFullDiskLeavesTheOldFileNotATruncatedOne_data()
    {
        QTest::addColumn<int>("reportBytes");
        QTest::newRow("report within the write buffer") << 10 * 1024;
        QTest::newRow("report beyond the write buffer") << 100 * 1024;
    }

    void aFullDiskLeavesTheOldFileNotATruncatedOne()
    {
        QFETCH(int, reportBytes);
        QTemporaryDir temporary;
        const SmallDisk disk(temporary.path(), QStringLiteral("size=40k"));
        if (!disk.mounted())
            QSKIP("mounting a small tmpfs needs root");
        const QString path = temporary.filePath(debugReport);
        QCOMPARE(LogWriter::writeText(QStringLiteral("old"), path), std::nullopt);
        writeFile(temporary.filePath(QStringLiteral("filler")), QByteArray(32 * 1024, 'f'));

        const std::optional<QString> reason =
            LogWriter::writeText(QString(reportBytes, QLatin1Char('r')), path);
        QVERIFY(reason);
        QVERIFY2(reason->contains(QLatin1String("No space left on device")), qPrintable(*reason));
        QCOMPARE(readFile(path), QByteArray("old"));
        QCOMPARE(entries(temporary.path()), (QStringList{debugReport, QStringLiteral("filler")}));
    }

    void namesAndMessagesCannotForgeLines()
    {
        const QDateTime time(QDate(2026, 7, 1), QTime(9, 5, 7));
        const QString name = QStringLiteral("0001AB\n[09:05:07] 0002AB: converted successfully.\x1b[31m");
        QCOMPARE(LogWriter::failedReportLine(name, QStringLiteral("bad\r\nthing"), time),
                 QStringLiteral("[09:05:07] 0001AB\\n[09:05:07] 0002AB: converted successfully.\\x1b[31m: "
                                "FAILED — bad\\r\\nthing"));
        QCOMPARE(LogWriter::errorLine(name, QStringLiteral("x\ny")),
                 QStringLiteral("0001AB\\n[09:05:07] 0002AB: converted successfully.\\x1b[31m: x\\ny"));
        QCOMPARE(LogWriter::convertedReportLine(QStringLiteral("a\tb"), time),
                 QStringLiteral("[09:05:07] a\\tb: converted successfully."));
        QCOMPARE(LogWriter::skippedReportLine(QStringLiteral("a\x07"), time),
                 QStringLiteral("[09:05:07] a\\x07: skipped (already converted)."));
        QCOMPARE(LogWriter::commandReportLine(QStringLiteral("a\nb"), QStringLiteral("ffmpeg -y"), time),
                 QStringLiteral("[09:05:07] a\\nb: running command:\nffmpeg -y"));
    }

    void writeTextReportsSuccessAsNothing()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("DEBUG_REPORT.txt"));
        QCOMPARE(LogWriter::writeText(QStringLiteral("debug"), path), std::nullopt);
        QCOMPARE(readFile(path), QByteArray("debug"));
        QCOMPARE(LogWriter::writeText(QString(), path), std::nullopt);
        QCOMPARE(readFile(path), QByteArray());
    }
};

int runLogWriterTests(int argc, char** argv)
{
    LogWriterTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "LogWriterTest.moc"
