#include "card/FolderWatch.h"

#include "CardTests.h"
#include "CardTree.h"

#include <functional>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

class FolderWatchTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_case = 0;

    // A fresh folder holding one file, "CLIP.MXF", and one sub-folder, "SUB".
    QString freshFolder()
    {
        const QString folder = m_dir.filePath(QString::number(++m_case));
        if (!CardTree::make(folder, {"CLIP.MXF", "SUB/"}) ||
            !CardTree::writeFile(folder + "/CLIP.MXF", "essence"))
            return {};
        return folder;
    }

private slots:
    void readingChangesNothing()
    {
        const QString folder = freshFolder();
        QVERIFY(!folder.isEmpty());
        FolderWatch watch;
        QVERIFY(watch.add(QFile::encodeName(folder)));
        QVERIFY(watch.isQuiet());
        QFile file(folder + "/CLIP.MXF");
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("essence"));
        file.close();
        QVERIFY(QDir(folder).entryList().contains("CLIP.MXF"));
        QVERIFY(watch.isQuiet());
    }

    void everyChangeIsReported_data()
    {
        QTest::addColumn<std::function<bool(const QString&)>>("change");
        using Change = std::function<bool(const QString&)>;
        QTest::newRow("file added") << Change(
            [](const QString& f) { return CardTree::make(f, {"NEW.MXF"}); });
        QTest::newRow("file written") << Change([](const QString& f) {
            QFile file(f + "/CLIP.MXF");
            return file.open(QIODevice::Append) && file.write("more") == 4;
        });
        QTest::newRow("permissions changed") << Change([](const QString& f) {
            return ::chmod(QFile::encodeName(f + "/CLIP.MXF").constData(), 0600) == 0;
        });
        QTest::newRow("file renamed")
            << Change([](const QString& f) { return QFile::rename(f + "/CLIP.MXF", f + "/CLIP2.MXF"); });
        QTest::newRow("file removed")
            << Change([](const QString& f) { return QFile::remove(f + "/CLIP.MXF"); });
        QTest::newRow("sub-folder removed") << Change([](const QString& f) { return QDir(f).rmdir("SUB"); });
        QTest::newRow("folder itself moved")
            << Change([](const QString& f) { return QDir().rename(f, f + "-moved"); });
        QTest::newRow("folder itself removed")
            << Change([](const QString& f) { return QDir(f).removeRecursively(); });
    }

    void everyChangeIsReported()
    {
        QFETCH(std::function<bool(const QString&)>, change);
        const QString folder = freshFolder();
        QVERIFY(!folder.isEmpty());
        FolderWatch watch;
        QVERIFY(watch.add(QFile::encodeName(folder)));
        QVERIFY(watch.isQuiet());
        QVERIFY(change(folder));
        QVERIFY(!watch.isQuiet());
        // Once changed, always changed: the report was read, but the card is still another.
        QVERIFY(!watch.isQuiet());
    }

    void aChangeInASubFolderIsNotTheWatchedFolders()
    {
        const QString folder = freshFolder();
        QVERIFY(!folder.isEmpty());
        FolderWatch watch;
        QVERIFY(watch.add(QFile::encodeName(folder)));
        QVERIFY(CardTree::make(folder, {"SUB/NEW.MXF"}));
        QVERIFY(watch.isQuiet());
        QVERIFY(watch.add(QFile::encodeName(folder + "/SUB")));
        QVERIFY(CardTree::make(folder, {"SUB/NEWER.MXF"}));
        QVERIFY(!watch.isQuiet());
    }

    void aMissingFolderCannotBeWatched()
    {
        FolderWatch watch;
        QVERIFY(!watch.add(QFile::encodeName(m_dir.filePath("missing"))));
        const QString folder = freshFolder();
        QVERIFY(!watch.add(QFile::encodeName(folder + "/CLIP.MXF")));
    }
};

int runFolderWatchTests(int argc, char** argv)
{
    FolderWatchTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "FolderWatchTest.moc"
