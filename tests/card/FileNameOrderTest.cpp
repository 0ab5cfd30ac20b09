#include "card/FileSystemUtilities.h"
#include "CardTests.h"

#include <QTest>

class FileNameOrderTest : public QObject
{
    Q_OBJECT

private slots:
    void compare_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("expected");

        QTest::newRow("digit runs by value") << "0002AB.MXF"
                                             << "0010AB.MXF" << -1;
        QTest::newRow("CLIP2 before CLIP10") << "CLIP2"
                                             << "CLIP10" << -1;
        QTest::newRow("CLIP10 after CLIP9") << "CLIP10"
                                            << "CLIP9" << 1;
        QTest::newRow("case only") << "0001ab.mxf"
                                   << "0001AB.MXF" << 0;
        QTest::newRow("accented case only") << "ÉTÉ.mxf"
                                            << "été.MXF" << 0;
        QTest::newRow("letters") << "0001AB.MXF"
                                 << "0001AC.MXF" << -1;
        QTest::newRow("prefix first") << "0001AB"
                                      << "0001AB00" << -1;
        QTest::newRow("longer run is larger")
            << "x" + QString(40, QLatin1Char('9')) << "x1" + QString(40, QLatin1Char('0')) << -1;
        QTest::newRow("long equal runs")
            << "x" + QString(40, QLatin1Char('7')) << "X" + QString(40, QLatin1Char('7')) << 0;
        QTest::newRow("leading zeros only as last resort") << "a02"
                                                           << "a2" << 1;
        QTest::newRow("later text beats zero padding") << "a02b"
                                                       << "a2c" << -1;
        QTest::newRow("digits before letters") << "a1"
                                               << "ab" << -1;
        QTest::newRow("other scripts' digits by value") << QString::fromUtf8("a\u0663") << "a10" << -1;
        QTest::newRow("empty") << ""
                               << "a" << -1;
    }

    void compare()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, expected);
        const auto sign = [](int value) { return (value > 0) - (value < 0); };
        QCOMPARE(sign(FileSystemUtilities::compareFileNames(a, b)), expected);
        QCOMPARE(sign(FileSystemUtilities::compareFileNames(b, a)), -expected);
    }

    void sortIsStableAndByNameAlone()
    {
        QStringList paths{"/c/b/CLIP.MXF", "/a/0010AB.MXF", "/b/clip.mxf", "/z/0002AB.MXF", "/a/Clip.Mxf"};
        FileSystemUtilities::sortByFileName(paths);
        const QStringList expected{"/z/0002AB.MXF", "/a/0010AB.MXF", "/c/b/CLIP.MXF", "/b/clip.mxf",
                                   "/a/Clip.Mxf"};
        QCOMPARE(paths, expected);
    }
};

int runFileNameOrderTests(int argc, char** argv)
{
    FileNameOrderTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "FileNameOrderTest.moc"
