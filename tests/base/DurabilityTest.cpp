#include "base/Durability.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class DurabilityTest : public QObject
{
    Q_OBJECT

private slots:
    void flushesAFileAndItsFolder()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath(QStringLiteral("-odd $name\n“1”.mov"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write("movie"), 5);
        file.close();
        QCOMPARE(Durability::flushFile(path), std::nullopt);
        QVERIFY(file.open(QIODevice::Append));
        QCOMPARE(Durability::flushDescriptor(file.handle()), std::nullopt);
        file.close();
        QCOMPARE(Durability::flushDescriptor(-1), std::optional(QStringLiteral("Bad file descriptor")));
        QCOMPARE(Durability::flushFolder(dir.path()), std::nullopt);
        QCOMPARE(Durability::flushFolderOf(path), std::nullopt);
        // Flushing reads nothing and changes nothing.
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("movie"));
    }

    void saysWhyItCouldNotFlush()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QCOMPARE(Durability::flushFile(dir.filePath(QStringLiteral("gone.mov"))),
                 std::optional(QStringLiteral("No such file or directory")));
        const QString file = dir.filePath(QStringLiteral("a file"));
        QFile created(file);
        QVERIFY(created.open(QIODevice::WriteOnly));
        created.close();
        QCOMPARE(Durability::flushFolder(file), std::optional(QStringLiteral("Not a directory")));
        QCOMPARE(Durability::flushFolderOf(dir.filePath(QStringLiteral("gone/x.mov"))),
                 std::optional(QStringLiteral("No such file or directory")));
    }
};

QTEST_GUILESS_MAIN(DurabilityTest)
#include "DurabilityTest.moc"
