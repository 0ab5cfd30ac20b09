#include "run/ExportFilename.h"
#include "run/OutputFolderNamer.h"
#include "RunNamingTests.h"

#include <QLocale>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

namespace {

// A file name mapped to its size in bytes; a negative size stands for a folder.
using Occupants = QList<QPair<QString, int>>;

void occupy(const QString& folder, const Occupants& occupants)
{
    for (const auto& [name, size] : occupants) {
        const QString path = QDir(folder).filePath(name);
        if (size < 0)
            QVERIFY(QDir().mkpath(path));
        else
            writeFile(path, QByteArray(size, 'x'));
    }
}

} // namespace

class OutputNamingTest : public QObject
{
    Q_OBJECT

private slots:
    void folderNameIsMonthDayYear_data()
    {
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<QString>("expected");
        QTest::newRow("new year's eve") << QDateTime(QDate(2026, 12, 31), QTime(12, 0)) << "12-31-2026";
        QTest::newRow("first of july") << QDateTime(QDate(2026, 7, 1), QTime(9, 30)) << "07-01-2026";
        QTest::newRow("midnight") << QDateTime(QDate(2026, 1, 5), QTime(0, 0)) << "01-05-2026";
        QTest::newRow("last second") << QDateTime(QDate(2026, 1, 5), QTime(23, 59, 59)) << "01-05-2026";
        QTest::newRow("four-digit year") << QDateTime(QDate(987, 3, 4), QTime(12, 0)) << "03-04-0987";
    }

    void folderNameIsMonthDayYear()
    {
        QFETCH(QDateTime, date);
        QFETCH(QString, expected);
        QCOMPARE(OutputFolderNamer::todayFolderName(date), expected);
    }

    void folderNameFollowsTheUsersTimeZone()
    {
        // The test zone is five hours behind UTC.
        const auto utc = [](int year, int month, int day, int hour, int minute, int second) {
            return QDateTime(QDate(year, month, day), QTime(hour, minute, second), QTimeZone::utc());
        };
        QCOMPARE(OutputFolderNamer::todayFolderName(utc(2027, 1, 1, 3, 0, 0)), QStringLiteral("12-31-2026"));
        QCOMPARE(OutputFolderNamer::todayFolderName(utc(2026, 7, 1, 4, 59, 59)),
                 QStringLiteral("06-30-2026"));
        QCOMPARE(OutputFolderNamer::todayFolderName(utc(2026, 7, 1, 5, 0, 0)), QStringLiteral("07-01-2026"));
    }

    void folderNameIgnoresRegionalSettings()
    {
        const QLocale previous;
        for (const QLocale& regional : {QLocale(QLocale::Arabic, QLocale::Egypt), QLocale(QLocale::German),
                                        QLocale(QLocale::Persian), QLocale(QLocale::Japanese)}) {
            QLocale::setDefault(regional);
            QCOMPARE(OutputFolderNamer::todayFolderName(QDateTime(QDate(2026, 12, 31), QTime(12, 0))),
                     QStringLiteral("12-31-2026"));
        }
        QLocale::setDefault(previous);
    }

    void aFreeFolderNameIsUsedAsIs()
    {
        QTemporaryDir base;
        QCOMPARE(OutputFolderNamer::availableURL(base.path(), QStringLiteral("12-31-2026")),
                 base.filePath(QStringLiteral("12-31-2026")));
        QVERIFY(entries(base.path()).isEmpty());
    }

    void aMissingBaseDirectoryIsNoObstacle()
    {
        QTemporaryDir base;
        const QString missing = base.filePath(QStringLiteral("not yet/made"));
        QCOMPARE(OutputFolderNamer::availableURL(missing, QStringLiteral("12-31-2026")),
                 missing + QStringLiteral("/12-31-2026"));
        QVERIFY(entries(base.path()).isEmpty());
    }

    void takenFolderNamesGetTheNextNumber_data()
    {
        QTest::addColumn<Occupants>("occupants");
        QTest::addColumn<QString>("expected");
        QTest::newRow("folder and (2) taken")
            << Occupants{{"12-31-2026", -1}, {"12-31-2026 (2)", -1}} << "12-31-2026 (3)";
        QTest::newRow("a file in the way") << Occupants{{"12-31-2026", 0}} << "12-31-2026 (2)";
        QTest::newRow("files and folders mixed")
            << Occupants{{"12-31-2026", 5}, {"12-31-2026 (2)", -1}, {"12-31-2026 (3)", 0}}
            << "12-31-2026 (4)";
        QTest::newRow("a gap is reused")
            << Occupants{{"12-31-2026", -1}, {"12-31-2026 (3)", -1}} << "12-31-2026 (2)";
        QTest::newRow("other names do not count")
            << Occupants{{"12-31-2026 (2)", -1}, {"12-31-2026(2)", -1}, {"12-30-2026", -1}} << "12-31-2026";
    }

    void takenFolderNamesGetTheNextNumber()
    {
        QFETCH(Occupants, occupants);
        QFETCH(QString, expected);
        QTemporaryDir base;
        occupy(base.path(), occupants);
        const QStringList before = entries(base.path());
        QCOMPARE(OutputFolderNamer::availableURL(base.path(), QStringLiteral("12-31-2026")),
                 base.filePath(expected));
        QCOMPARE(entries(base.path()), before);
    }

    void aLinkThatLeadsNowhereTakesItsName()
    {
        QTemporaryDir base;
        QVERIFY(
            QFile::link(base.filePath(QStringLiteral("gone")), base.filePath(QStringLiteral("12-31-2026"))));
        QCOMPARE(OutputFolderNamer::availableURL(base.path(), QStringLiteral("12-31-2026")),
                 base.filePath(QStringLiteral("12-31-2026 (2)")));
    }

    void awkwardNamesAreNumberedLikeAnyOther()
    {
        QTemporaryDir temporary;
        const QString base = temporary.filePath(QString::fromUtf8("Out $HOME; \"quoted\" 'single' é 日本"));
        const QString name = QString::fromUtf8("-Card — 1; $x \"q\" ü");
        QVERIFY(QDir().mkpath(base + QLatin1Char('/') + name));
        QCOMPARE(OutputFolderNamer::availableURL(base, name), base + QLatin1Char('/') + name + " (2)");
    }

    void folderNumbersHaveNoUpperBound()
    {
        QStringList asked;
        const QString found = OutputFolderNamer::availableURL(
            QStringLiteral("/out"), QStringLiteral("12-31-2026"), [&asked](const QString& path) {
                asked.append(path);
                return asked.size() <= 20000;
            });
        QCOMPARE(found, QStringLiteral("/out/12-31-2026 (20001)"));
        QCOMPARE(asked.size(), 20001);
        QCOMPARE(asked.first(), QStringLiteral("/out/12-31-2026"));
        QCOMPARE(asked.at(1), QStringLiteral("/out/12-31-2026 (2)"));
    }

    void uniqueOutputLocation_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<Occupants>("occupants");
        QTest::addColumn<QString>("expected");
        QTest::newRow("free") << "001.mov" << Occupants{} << "001.mov";
        QTest::newRow("non-empty present") << "001.mov" << Occupants{{"001.mov", 1}} << "001-2.mov";
        QTest::newRow("empty leftover reused") << "001.mov" << Occupants{{"001.mov", 0}} << "001.mov";
        QTest::newRow("no extension") << "CLIP" << Occupants{{"CLIP", 10}} << "CLIP-2.mov";
        QTest::newRow("-2 taken too")
            << "001.mov" << Occupants{{"001.mov", 3}, {"001-2.mov", 3}} << "001-3.mov";
        QTest::newRow("empty -2 reused")
            << "001.mov" << Occupants{{"001.mov", 3}, {"001-2.mov", 0}} << "001-2.mov";
        QTest::newRow("a folder is never chosen") << "001.mov" << Occupants{{"001.mov", -1}} << "001-2.mov";
        QTest::newRow("last extension only") << "a.b.mov" << Occupants{{"a.b.mov", 1}} << "a.b-2.mov";
        QTest::newRow("other extension kept") << "CLIP.MXF" << Occupants{{"CLIP.MXF", 1}} << "CLIP-2.MXF";
        QTest::newRow("awkward name") << QString::fromUtf8("-Clip $1; \"q\" 'é' — 日本.mov")
                                      << Occupants{{QString::fromUtf8("-Clip $1; \"q\" 'é' — 日本.mov"), 1}}
                                      << QString::fromUtf8("-Clip $1; \"q\" 'é' — 日本-2.mov");
    }

    void uniqueOutputLocation()
    {
        QFETCH(QString, base);
        QFETCH(Occupants, occupants);
        QFETCH(QString, expected);
        QTemporaryDir temporary;
        const QString folder = temporary.filePath(QString::fromUtf8("12-31-2026 $x; \"é\""));
        QVERIFY(QDir().mkpath(folder));
        occupy(folder, occupants);
        const QStringList before = entries(folder);
        QCOMPARE(ExportFilename::uniqueOutputURL(base, folder), folder + QLatin1Char('/') + expected);
        QCOMPARE(entries(folder), before);
    }

    void allNumberedLocationsTakenGivesTheBase()
    {
        QStringList asked;
        const auto allTaken = [&asked](const QString& path) {
            asked.append(path);
            return true;
        };
        QCOMPARE(ExportFilename::uniqueOutputURL(QStringLiteral("001.mov"), QStringLiteral("/out"), allTaken),
                 QStringLiteral("/out/001.mov"));
        QCOMPARE(asked.size(), 9999);
        QCOMPARE(asked.at(0), QStringLiteral("/out/001.mov"));
        QCOMPARE(asked.at(1), QStringLiteral("/out/001-2.mov"));
        QCOMPARE(asked.last(), QStringLiteral("/out/001-9999.mov"));
    }

    void theLastNumberedLocationIsStillTried()
    {
        const auto onlyLastFree = [](const QString& path) {
            return path != QStringLiteral("/out/CLIP-9999.mov");
        };
        QCOMPARE(
            ExportFilename::uniqueOutputURL(QStringLiteral("CLIP"), QStringLiteral("/out"), onlyLastFree),
            QStringLiteral("/out/CLIP-9999.mov"));
    }

    void namesAreUniqueAcrossTheRun()
    {
        QTemporaryDir temporary;
        const QString folder = temporary.path();
        writeFile(folder + QStringLiteral("/0002AB.mov"), "x");
        const QStringList bases{QStringLiteral("0001AB.mov"), QStringLiteral("0001AB.mov"),
                                QStringLiteral("0001ab.mov"), QStringLiteral("0002AB.mov"),
                                QStringLiteral("0001AB-2.mov")};
        const QStringList expected{QStringLiteral("0001AB.mov"), QStringLiteral("0001AB-2.mov"),
                                   QStringLiteral("0001ab-3.mov"), QStringLiteral("0002AB-2.mov"),
                                   QStringLiteral("0001AB-2-2.mov")};
        QStringList names;
        for (const QString& location : ExportFilename::uniqueOutputURLs(bases, folder))
            names.append(location.mid(folder.size() + 1));
        QCOMPARE(names, expected);
        QCOMPARE(entries(folder), QStringList{QStringLiteral("0002AB.mov")});
    }

    void locationTakenReadsTheFileSystem()
    {
        QTemporaryDir folder;
        const auto path = [&folder](const char* name) { return folder.filePath(QString::fromUtf8(name)); };
        writeFile(path("full.mov"), "x");
        writeFile(path("empty.mov"), {});
        QVERIFY(QDir().mkpath(path("folder.mov")));
        QVERIFY(QFile::link(path("nowhere"), path("dangling.mov")));
        QVERIFY(QFile::link(path("empty.mov"), path("link-to-empty.mov")));
        QVERIFY(QFile::link(path("full.mov"), path("link-to-full.mov")));

        QVERIFY(ExportFilename::locationTaken(path("full.mov")));
        QVERIFY(!ExportFilename::locationTaken(path("empty.mov")));
        QVERIFY(!ExportFilename::locationTaken(path("missing.mov")));
        QVERIFY(ExportFilename::locationTaken(path("folder.mov")));
        QVERIFY(ExportFilename::locationTaken(path("dangling.mov")));
        QVERIFY(!ExportFilename::locationTaken(path("link-to-empty.mov")));
        QVERIFY(ExportFilename::locationTaken(path("link-to-full.mov")));
    }
};

int runOutputNamingTests(int argc, char** argv)
{
    OutputNamingTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "OutputNamingTest.moc"
