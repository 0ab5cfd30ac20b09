#include "card/FileSystemUtilities.h"
#include "card/P2Scanner.h"
#include "CardTests.h"
#include "CardTree.h"
#include "TestFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString relativeFolder(const QString& root, const std::optional<QString>& folder)
{
    return folder ? CardTree::relative(root, {*folder}).first() : QStringLiteral("<absent>");
}

} // namespace

class ScannerTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_case = 0;

    // A fresh folder for each test.
    QString freshRoot()
    {
        const QString root = m_dir.filePath(QString::number(++m_case));
        QDir().mkpath(root);
        return root;
    }

private slots:
    // Qt cannot see names that are not UTF-8, so it could not remove them.
    void cleanupTestCase()
    {
        std::error_code error;
        std::filesystem::remove_all(QFile::encodeName(m_dir.path()).toStdString(), error);
    }

    void contentsFolderChosenDirectly()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(
            root, {"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/AUDIO/0001AB00.MXF", "CONTENTS/CLIP/0001AB.XML"}));
        const P2CardStructure fromContents = P2Scanner::scan(root + "/CONTENTS");
        QCOMPARE(fromContents.rootURL, root + "/CONTENTS");
        QCOMPARE(relativeFolder(root, fromContents.videoFolder), "CONTENTS/VIDEO");
        QCOMPARE(relativeFolder(root, fromContents.audioFolder), "CONTENTS/AUDIO");
        QCOMPARE(relativeFolder(root, fromContents.clipFolder), "CONTENTS/CLIP");
        QCOMPARE(CardTree::relative(root, fromContents.videoFiles), QStringList{"CONTENTS/VIDEO/0001AB.MXF"});
        QCOMPARE(CardTree::relative(root, fromContents.audioFiles),
                 QStringList{"CONTENTS/AUDIO/0001AB00.MXF"});
        QCOMPARE(CardTree::relative(root, fromContents.clipXMLFiles),
                 QStringList{"CONTENTS/CLIP/0001AB.XML"});

        // The card root finds the very same folders and files.
        const P2CardStructure fromRoot = P2Scanner::scan(root);
        QCOMPARE(fromRoot.rootURL, root);
        QCOMPARE(fromRoot.videoFolder, fromContents.videoFolder);
        QCOMPARE(fromRoot.audioFolder, fromContents.audioFolder);
        QCOMPARE(fromRoot.clipFolder, fromContents.clipFolder);
        QCOMPARE(fromRoot.videoFiles, fromContents.videoFiles);
        QCOMPARE(fromRoot.audioFiles, fromContents.audioFiles);
        QCOMPARE(fromRoot.clipXMLFiles, fromContents.clipXMLFiles);
    }

    void folderMissingFromContentsFoundBesideIt()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(
            root, {"CONTENTS/VIDEO/", "CONTENTS/CLIP/", "AUDIO/0001AB00.MXF", "VIDEO/9999ZZ.MXF"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(relativeFolder(root, structure.audioFolder), "AUDIO");
        QCOMPARE(CardTree::relative(root, structure.audioFiles), QStringList{"AUDIO/0001AB00.MXF"});
        // What CONTENTS holds is never replaced by what lies beside it.
        QCOMPARE(relativeFolder(root, structure.videoFolder), "CONTENTS/VIDEO");
        QVERIFY(structure.videoFiles.isEmpty());
    }

    void folderNamesMatchInAnyCase_data()
    {
        QTest::addColumn<QString>("contents");
        QTest::addColumn<QString>("video");
        QTest::addColumn<QString>("audio");
        QTest::addColumn<QString>("clip");
        QTest::newRow("upper") << "CONTENTS"
                               << "VIDEO"
                               << "AUDIO"
                               << "CLIP";
        QTest::newRow("lower") << "contents"
                               << "video"
                               << "audio"
                               << "clip";
        QTest::newRow("capitalised") << "Contents"
                                     << "Video"
                                     << "Audio"
                                     << "Clip";
        QTest::newRow("mixed") << "cOnTeNtS"
                               << "vIDEo"
                               << "AuDiO"
                               << "cLiP";
    }

    void folderNamesMatchInAnyCase()
    {
        QFETCH(QString, contents);
        QFETCH(QString, video);
        QFETCH(QString, audio);
        QFETCH(QString, clip);
        const QString root = freshRoot();
        QVERIFY(CardTree::make(
            root, {contents + "/" + video + "/", contents + "/" + audio + "/", contents + "/" + clip + "/"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(relativeFolder(root, structure.videoFolder), contents + "/" + video);
        QCOMPARE(relativeFolder(root, structure.audioFolder), contents + "/" + audio);
        QCOMPARE(relativeFolder(root, structure.clipFolder), contents + "/" + clip);
    }

    void hiddenFoldersNeverMatch()
    {
        const QString root = freshRoot();
        QVERIFY(
            CardTree::make(root, {".CONTENTS/VIDEO/0001AB.MXF", ".VIDEO/0002AB.MXF", ".AUDIO/", "AUDIO/"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(structure.videoFolder, std::nullopt);
        QCOMPARE(relativeFolder(root, structure.audioFolder), "AUDIO");
        QVERIFY(structure.videoFiles.isEmpty());
        QCOMPARE(FileSystemUtilities::findSubdirectory("VIDEO", root, FileSystemUtilities::listFolder(root)),
                 std::nullopt);
    }

    void upperCaseFolderWinsOverCaseVariant()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"video/", "Video/", "VIDEO/"}));
        QCOMPARE(relativeFolder(root, P2Scanner::scan(root).videoFolder), "VIDEO");
    }

    void plainFileNamedLikeAFolderIsIgnored()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"CONTENTS", "VIDEO", "AUDIO/"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(structure.videoFolder, std::nullopt);
        QCOMPARE(relativeFolder(root, structure.audioFolder), "AUDIO");
    }

    void everyCardFolderIsLocated()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(
            root, {"CONTENTS/ICON/0001AB.BMP", "CONTENTS/PROXY/0001AB.MP4", "VOICE/0001AB00.WAV"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(relativeFolder(root, structure.iconFolder), "CONTENTS/ICON");
        QCOMPARE(relativeFolder(root, structure.proxyFolder), "CONTENTS/PROXY");
        QCOMPARE(relativeFolder(root, structure.voiceFolder), "VOICE");
        QVERIFY(!structure.isEmpty());
        QVERIFY(structure.videoFiles.isEmpty());
    }

    void extensionsMatchInAnyCase()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"VIDEO/0001AB.MXF", "VIDEO/x.mxf", "VIDEO/y.MxF", "VIDEO/x.mxf.bak",
                                      "VIDEO/z.xml", "VIDEO/mxf", "VIDEO/.0000AA.MXF",
                                      "VIDEO/.hidden/0005AB.MXF", "CLIP/0001AB.XML", "CLIP/0002AB.xml",
                                      "CLIP/0003AB.xml.tmp", "CLIP/0004AB.MXF"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(CardTree::relative(root, structure.videoFiles),
                 (QStringList{"VIDEO/0001AB.MXF", "VIDEO/x.mxf", "VIDEO/y.MxF"}));
        QCOMPARE(CardTree::relative(root, structure.clipXMLFiles),
                 (QStringList{"CLIP/0001AB.XML", "CLIP/0002AB.xml"}));
        QVERIFY(structure.audioFiles.isEmpty());
    }

    void looseMxfFilesBecomeVideo()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"0010AB.mxf", "shoot/0002AB.MXF", "shoot/day 2/0001AB.MXF", "notes.txt",
                                      "shoot/0003AB.XML"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QVERIFY(structure.isEmpty());
        QCOMPARE(CardTree::relative(root, structure.videoFiles),
                 (QStringList{"shoot/day 2/0001AB.MXF", "shoot/0002AB.MXF", "0010AB.mxf"}));
        QVERIFY(structure.audioFiles.isEmpty());
        QVERIFY(structure.clipXMLFiles.isEmpty());
    }

    void looseWalkGoesFourLevelsDeepAndNoFurther()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"a/b/c/d/0004AB.MXF", "a/b/c/d/e/0005AB.MXF"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(CardTree::relative(root, structure.videoFiles), QStringList{"a/b/c/d/0004AB.MXF"});
        QVERIFY(!structure.walkStopped);
    }

    void looseWalkStopsPastFiveThousandFiles()
    {
        const QString root = freshRoot();
        QDir().mkpath(root + "/x");
        QVERIFY(CardTree::make(root, {"0001AB.MXF"}));
        // 4999 more files keep the walk going; one more stops it.
        for (int i = 0; i < 4999; ++i)
            QVERIFY(QFile(root + QStringLiteral("/x/%1.txt").arg(i)).open(QIODevice::WriteOnly));
        QCOMPARE(P2Scanner::scan(root).videoFiles.size(), 1);
        QVERIFY(QFile(root + "/x/one-too-many.txt").open(QIODevice::WriteOnly));
        const P2CardStructure structure = P2Scanner::scan(root);
        QVERIFY(structure.videoFiles.isEmpty());
        const QString expected =
            QStringLiteral("Stopped looking after 5000 files below “%1” without finding a P2 "
                           "card (a CONTENTS or VIDEO folder). Choose the card itself, or a "
                           "folder that holds just its clips.")
                .arg(root);
        QCOMPARE(structure.walkStopped, std::optional(expected));
        QCOMPARE(P2Scanner::noVideoMessage(structure), expected);
    }

    void looseWalkNeverReadsAVirtualFileSystem()
    {
        if (!QFileInfo(QStringLiteral("/proc/self")).exists())
            QSKIP("this system has no /proc");
        const P2CardStructure structure = P2Scanner::scan(QStringLiteral("/proc"));
        QVERIFY(structure.videoFiles.isEmpty());
        QCOMPARE(
            P2Scanner::noVideoMessage(structure),
            QStringLiteral("“/proc” is on a proc file system, which the system makes up; it holds no camera "
                           "files."));
    }

    void looseWalkStaysOnItsFileSystem()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"0001AB.MXF"}));
        // Mounting takes root; the bound is the same for everyone.
        const SmallDisk disk(root + "/mounted", QStringLiteral("size=1m"));
        if (!disk.mounted())
            QSKIP("mounting a small disk needs root");
        QVERIFY(CardTree::make(root, {"mounted/0002AB.MXF"}));
        QVERIFY(QFileInfo::exists(root + "/mounted/0002AB.MXF"));
        QCOMPARE(CardTree::relative(root, P2Scanner::scan(root).videoFiles), QStringList{"0001AB.MXF"});
    }

    void anyCardFolderStopsLooseListing()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"ICON/", "0001AB.MXF", "0002AB.MXF"}));
        const P2CardStructure structure = P2Scanner::scan(root);
        QVERIFY(!structure.isEmpty());
        QVERIFY(structure.videoFiles.isEmpty());
    }

    void emptyOrMissingFolderGivesNothing_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::newRow("empty folder") << "";
        QTest::newRow("missing folder") << "/does not exist";
        QTest::newRow("a file") << "/file.mxf";
    }

    void emptyOrMissingFolderGivesNothing()
    {
        QFETCH(QString, chosen);
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"file.mxf"}));
        const P2CardStructure structure = P2Scanner::scan(root + chosen);
        QVERIFY(structure.isEmpty());
        QCOMPARE(structure.rootURL, root + chosen);
        if (chosen.isEmpty())
            QCOMPARE(CardTree::relative(root, structure.videoFiles), QStringList{"file.mxf"});
        else
            QVERIFY(structure.videoFiles.isEmpty());
    }

    void numericAwareSortAcrossFolders()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(
            root, {"VIDEO/0010AB.MXF", "VIDEO/0002AB.MXF", "VIDEO/a/0011AB.MXF", "VIDEO/z/0001AB.MXF"}));
        QCOMPARE(CardTree::relative(root, P2Scanner::scan(root).videoFiles),
                 (QStringList{"VIDEO/z/0001AB.MXF", "VIDEO/0002AB.MXF", "VIDEO/0010AB.MXF",
                              "VIDEO/a/0011AB.MXF"}));
    }

    void caseVariantNamesKeepWalkOrder()
    {
        // Folders are walked in byte order of their names (A before b), so equal
        // names keep that order even where a plain sort would put CLIP before clip.
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"VIDEO/b/CLIP.MXF", "VIDEO/A/clip.mxf"}));
        QCOMPARE(CardTree::relative(root, P2Scanner::scan(root).videoFiles),
                 (QStringList{"VIDEO/A/clip.mxf", "VIDEO/b/CLIP.MXF"}));
    }

    void unreadableFoldersBehaveAsEmpty()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(
            root, {"card/CONTENTS/VIDEO/0001AB.MXF", "card/CONTENTS/VIDEO/locked/0002AB.MXF",
                   "card/CONTENTS/AUDIO/0001AB00.MXF", "locked card/CONTENTS/VIDEO/0001AB.MXF"}));
        QVERIFY(CardTree::grantReadToEveryone(m_dir.path()));
        QCOMPARE(::chmod(QFile::encodeName(root + "/card/CONTENTS/VIDEO/locked").constData(), 0), 0);
        QCOMPARE(::chmod(QFile::encodeName(root + "/locked card").constData(), 0), 0);

        P2CardStructure structure;
        P2CardStructure lockedCard;
        {
            const CardTree::UnprivilegedFileAccess access;
            if (!access.effective())
                QSKIP("Running as root without the right to drop file-system privileges; permission bits are "
                      "ignored, so no folder can be made unreadable.");
            structure = P2Scanner::scan(root + "/card");
            lockedCard = P2Scanner::scan(root + "/locked card");
        }
        QCOMPARE(CardTree::relative(root, structure.videoFiles),
                 QStringList{"card/CONTENTS/VIDEO/0001AB.MXF"});
        QCOMPARE(CardTree::relative(root, structure.audioFiles),
                 QStringList{"card/CONTENTS/AUDIO/0001AB00.MXF"});
        QVERIFY(lockedCard.isEmpty());
        QVERIFY(lockedCard.videoFiles.isEmpty());
    }

    void symbolicLinkLoopsDoNotHang()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"VIDEO/0001AB.MXF", "VIDEO/sub/0002AB.MXF", "elsewhere/0003AB.MXF"}));
        const QString video = root + "/VIDEO";
        QVERIFY(QFile::link(".", video + "/itself"));
        QVERIFY(QFile::link("..", video + "/sub/up"));
        QVERIFY(QFile::link(root, video + "/sub/card"));
        QVERIFY(QFile::link("0004AB.MXF", video + "/0004AB.MXF"));
        QVERIFY(QFile::link("../elsewhere/0003AB.MXF", video + "/0003AB.MXF"));
        QVERIFY(QFile::link("missing.MXF", video + "/0005AB.MXF"));

        // Linked folders are not entered; a link to a regular file counts as that file.
        QCOMPARE(CardTree::relative(root, P2Scanner::scan(root).videoFiles),
                 (QStringList{"VIDEO/0001AB.MXF", "VIDEO/sub/0002AB.MXF", "VIDEO/0003AB.MXF"}));
    }

    void linkedCardFolderIsFollowed()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"storage/0001AB.MXF", "card/CONTENTS/"}));
        QVERIFY(QFile::link(root + "/storage", root + "/card/CONTENTS/VIDEO"));
        const P2CardStructure structure = P2Scanner::scan(root + "/card");
        QCOMPARE(relativeFolder(root, structure.videoFolder), "card/CONTENTS/VIDEO");
        QCOMPARE(CardTree::relative(root, structure.videoFiles),
                 QStringList{"card/CONTENTS/VIDEO/0001AB.MXF"});
    }

    void namesThatAreNotUtf8AreKept()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"VIDEO/"}));
        const QByteArray video = QFile::encodeName(root + "/VIDEO");
        QCOMPARE(::mkdir((video + "/\xfe").constData(), 0755), 0);
        for (const QByteArray& name : {QByteArray("/\xff"
                                                  "0001AB.MXF"),
                                       QByteArray("/\xfe/0002AB.MXF")}) {
            const int fd = ::creat((video + name).constData(), 0644);
            QVERIFY(fd >= 0);
            ::close(fd);
        }
        const QString replacement(QChar::ReplacementCharacter);
        QCOMPARE(
            CardTree::relative(root, P2Scanner::scan(root).videoFiles),
            (QStringList{"VIDEO/" + replacement + "/0002AB.MXF", "VIDEO/" + replacement + "0001AB.MXF"}));
    }

    // Verifying a card again must cost next to nothing while nothing changed,
    // and must see every change. A file changed within one tick of a coarse
    // clock (FAT keeps two seconds) could look unchanged, so a card is only
    // taken as unchanged once its files have settled.
    void anUnchangedCardIsTheSameSnapshot()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(
            root, {"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/AUDIO/0001AB00.MXF", "CONTENTS/CLIP/0001AB.XML"}));
        QVERIFY(CardTree::writeFile(root + "/CONTENTS/AUDIO/0001AB00.MXF", "audio"));
        const P2CardStructure justWritten = P2Scanner::scan(root);
        QVERIFY(justWritten.snapshot != 0);
        QVERIFY(P2Scanner::scan(root).snapshot != justWritten.snapshot);

        QThread::msleep(2100);
        const P2CardStructure settled = P2Scanner::scan(root);
        QCOMPARE(P2Scanner::scan(root), settled);

        // The same bytes written again, with the old modification time given back.
        const QByteArray audio = QFile::encodeName(root + "/CONTENTS/AUDIO/0001AB00.MXF");
        struct stat before
        {
        };
        QCOMPARE(::stat(audio.constData(), &before), 0);
        const int fd = ::open(audio.constData(), O_WRONLY);
        QVERIFY(fd >= 0);
        QCOMPARE(::pwrite(fd, "audio", 5, 0), ssize_t(5));
        const timespec times[2] = {before.st_atim, before.st_mtim};
        QCOMPARE(::futimens(fd, times), 0);
        ::close(fd);
        const P2CardStructure rewritten = P2Scanner::scan(root);
        QVERIFY(rewritten.snapshot != settled.snapshot);
        QCOMPARE(rewritten.audioFiles, settled.audioFiles);

        QVERIFY(CardTree::make(root, {"CONTENTS/VIDEO/0002AB.MXF"}));
        const P2CardStructure added = P2Scanner::scan(root);
        QCOMPARE(CardTree::relative(root, added.videoFiles),
                 (QStringList{"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/VIDEO/0002AB.MXF"}));

        QVERIFY(QFile::rename(root + "/CONTENTS/CLIP/0001AB.XML", root + "/CONTENTS/CLIP/0002AB.XML"));
        QCOMPARE(CardTree::relative(root, P2Scanner::scan(root).clipXMLFiles),
                 QStringList{"CONTENTS/CLIP/0002AB.XML"});

        QVERIFY(QFile::remove(root + "/CONTENTS/VIDEO/0001AB.MXF"));
        QCOMPARE(CardTree::relative(root, P2Scanner::scan(root).videoFiles),
                 QStringList{"CONTENTS/VIDEO/0002AB.MXF"});
    }

    // Verifying a card watched since its scan lists nothing; a touch that
    // changes nothing a scan sees costs one look, and the watch starts again.
    void aWatchedUnchangedCardIsNotLookedAtAgain()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/VIDEO/camB/0001AB.MXF",
                                      "CONTENTS/AUDIO/0001AB00.MXF", "CONTENTS/CLIP/0001AB.XML"}));
        QThread::msleep(2100);
        const P2CardStructure first = P2Scanner::scan(root);
        qint64 looks = P2Scanner::lookCount();
        QCOMPARE(P2Scanner::scan(root), first);
        QCOMPARE(P2Scanner::lookCount(), looks);

        // Opened for writing and closed unwritten: reported, yet nothing a look sees is different.
        const int fd = ::open(QFile::encodeName(root + "/CONTENTS/AUDIO/0001AB00.MXF").constData(), O_WRONLY);
        QVERIFY(fd >= 0);
        ::close(fd);
        looks = P2Scanner::lookCount();
        QCOMPARE(P2Scanner::scan(root), first);
        QVERIFY(P2Scanner::lookCount() > looks);
        looks = P2Scanner::lookCount();
        QCOMPARE(P2Scanner::scan(root), first);
        QCOMPARE(P2Scanner::lookCount(), looks);

        // A file added to a sub-folder of a card folder is reported too.
        QVERIFY(CardTree::make(root, {"CONTENTS/VIDEO/camB/0002AB.MXF"}));
        const P2CardStructure added = P2Scanner::scan(root);
        QVERIFY(added.snapshot != first.snapshot);
        QCOMPARE(added.videoFiles.size(), 3);
    }

    // What a watch of the card's folders cannot see is looked at each time:
    // a file reached through a symbolic link, and one with a second name.
    void filesAWatchCannotSeeAreLookedAtEachTime_data()
    {
        QTest::addColumn<bool>("throughLink");
        QTest::newRow("symbolic link to a file elsewhere") << true;
        QTest::newRow("file with a second name elsewhere") << false;
    }

    void filesAWatchCannotSeeAreLookedAtEachTime()
    {
        QFETCH(bool, throughLink);
        const QString root = freshRoot();
        const QString elsewhere = root + "-elsewhere.MXF";
        QVERIFY(CardTree::make(root, {"VIDEO/0001AB.MXF", "AUDIO/"}));
        QVERIFY(CardTree::writeFile(elsewhere, "audio"));
        const QByteArray onCard = QFile::encodeName(root + "/AUDIO/0001AB00.MXF");
        if (throughLink)
            QCOMPARE(::symlink(QFile::encodeName(elsewhere).constData(), onCard.constData()), 0);
        else
            QCOMPARE(::link(QFile::encodeName(elsewhere).constData(), onCard.constData()), 0);
        QThread::msleep(2100);
        const P2CardStructure first = P2Scanner::scan(root);
        const qint64 looks = P2Scanner::lookCount();
        QCOMPARE(P2Scanner::scan(root), first);
        QCOMPARE(P2Scanner::lookCount(), looks + 1);

        QFile file(elsewhere);
        QVERIFY(file.open(QIODevice::Append));
        QCOMPARE(file.write("more"), qint64(4));
        file.close();
        QVERIFY(P2Scanner::scan(root).snapshot != first.snapshot);
    }

    // A card's folder renamed with its parent, and another put at its path,
    // tells the watched folders nothing: the path names another card.
    void aFolderPutInPlaceOfAScannedCardIsAnotherCard()
    {
        const QString parent = freshRoot();
        const QString root = parent + "/CARD";
        QVERIFY(CardTree::make(root, {"CONTENTS/VIDEO/0001AB.MXF"}));
        QThread::msleep(2100);
        const P2CardStructure first = P2Scanner::scan(root);
        QCOMPARE(P2Scanner::scan(root), first);

        QVERIFY(QDir().rename(parent, parent + "-old"));
        QVERIFY(CardTree::make(root, {"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/VIDEO/0002AB.MXF"}));
        const P2CardStructure other = P2Scanner::scan(root);
        QVERIFY(other.snapshot != first.snapshot);
        QCOMPARE(CardTree::relative(root, other.videoFiles),
                 (QStringList{"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/VIDEO/0002AB.MXF"}));
    }

    // Permissions are part of what a scan sees: a file that became unreadable
    // on a card scanned before is named, not listed.
    void aFileMadeUnreadableOnAScannedCardIsSeen()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"VIDEO/0001AB.MXF", "AUDIO/0001AB00.MXF"}));
        QCOMPARE(::chmod(QFile::encodeName(m_dir.path()).constData(), 0755), 0);
        QVERIFY(CardTree::grantReadToEveryone(root));
        QThread::msleep(2100);
        P2CardStructure readable;
        {
            const CardTree::UnprivilegedFileAccess access;
            if (!access.effective())
                QSKIP("Running as root without the right to drop file-system privileges; permission bits are "
                      "ignored, so no file can be made unreadable.");
            readable = P2Scanner::scan(root);
            QCOMPARE(P2Scanner::scan(root), readable);
        }
        QCOMPARE(CardTree::relative(root, readable.audioFiles), QStringList{"AUDIO/0001AB00.MXF"});

        QCOMPARE(::chmod(QFile::encodeName(root + "/AUDIO/0001AB00.MXF").constData(), 0), 0);
        P2CardStructure locked;
        {
            const CardTree::UnprivilegedFileAccess access;
            locked = P2Scanner::scan(root);
        }
        QVERIFY(locked.audioFiles.isEmpty());
        QCOMPARE(locked.unreadable, (QList<FileSystemUtilities::Unreadable>{
                                        {root + "/AUDIO/0001AB00.MXF", "Permission denied"}}));
    }

    void specialFilesAreNotListed()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"VIDEO/0001AB.MXF", "VIDEO/0002AB.MXF/"}));
        QCOMPARE(::mkfifo(QFile::encodeName(root + "/VIDEO/0003AB.MXF").constData(), 0644), 0);
        QCOMPARE(CardTree::relative(root, P2Scanner::scan(root).videoFiles), QStringList{"VIDEO/0001AB.MXF"});
    }

    // A file gone between the listing of its folder and the look at it (a
    // card pulled out, a failing reader) is accounted for, not dropped.
    void aFileThatVanishesWhileTheCardIsReadIsAccountedFor()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/VIDEO/0002AB.MXF",
                                      "CONTENTS/AUDIO/0002AB00.MXF", "CONTENTS/CLIP/0002AB.XML"}));
        const QByteArray video = QFile::encodeName(root + "/CONTENTS/VIDEO");
        const QByteArray clip = QFile::encodeName(root + "/CONTENTS/CLIP");
        QStringList listed;
        FileSystemUtilities::setListedHookForTesting([&](const QByteArray& folder) {
            listed.append(QFile::decodeName(folder));
            if (folder == video)
                ::unlink((folder + "/0002AB.MXF").constData());
            if (folder == clip)
                ::unlink((folder + "/0002AB.XML").constData());
        });
        const auto unhook = qScopeGuard([] { FileSystemUtilities::setListedHookForTesting({}); });
        const P2CardStructure structure = P2Scanner::scan(root);
        // The hook ran where the walk is: after each listing, before its files were looked at.
        QVERIFY(listed.contains(QFile::decodeName(video)));
        QCOMPARE(CardTree::relative(root, structure.videoFiles), QStringList{"CONTENTS/VIDEO/0001AB.MXF"});
        QCOMPARE(CardTree::relative(root, structure.audioFiles), QStringList{"CONTENTS/AUDIO/0002AB00.MXF"});
        QVERIFY(structure.clipXMLFiles.isEmpty());
        QVERIFY(structure.unreadable.isEmpty());
        QStringList passedOver;
        for (const FileSystemUtilities::PassedOver& entry : structure.passedOver)
            passedOver << P2Scanner::passedOverSentence(entry);
        passedOver.sort();
        QCOMPARE(passedOver,
                 QStringList({QStringLiteral("“%1/CONTENTS/CLIP/0002AB.XML” was not considered: vanished "
                                             "while the card was read.")
                                  .arg(root),
                              QStringLiteral("“%1/CONTENTS/VIDEO/0002AB.MXF” was not considered: vanished "
                                             "while the card was read.")
                                  .arg(root)}));
    }

    void reasonTexts()
    {
        QCOMPARE(FileSystemUtilities::lookFailureReason(ENOENT),
                 QStringLiteral("vanished while the card was read"));
        QCOMPARE(FileSystemUtilities::lookFailureReason(EIO),
                 QStringLiteral("cannot be looked at: Input/output error"));
        QCOMPARE(FileSystemUtilities::notRegularFileReason(), QStringLiteral("not a regular file"));
        QCOMPARE(FileSystemUtilities::linkToFolderReason(),
                 QStringLiteral("a link to a folder, which is not followed"));
        QCOMPARE(FileSystemUtilities::hiddenReason(), QStringLiteral("hidden (its name starts with a dot)"));
        QCOMPARE(FileSystemUtilities::otherExtensionReason({QStringLiteral("mxf")}),
                 QStringLiteral("not a .mxf file"));
        QCOMPARE(FileSystemUtilities::otherExtensionReason({QStringLiteral("xml"), QStringLiteral("mxf")}),
                 QStringLiteral("not a .mxf or .xml file"));
        QCOMPARE(P2Scanner::besideReason(QStringLiteral("video"), QStringLiteral("VIDEO")),
                 QStringLiteral("folder `video` beside `VIDEO` was not read"));
        QCOMPARE(
            P2Scanner::passedOverSentence({QStringLiteral("/card/VIDEO/a\nb.MXF"), QStringLiteral("why")}),
            QStringLiteral("“/card/VIDEO/a\\nb.MXF” was not considered: why."));
        QCOMPARE(P2Scanner::passedOverSentence({QStringLiteral("/card/VIDEO/a\nb"), QStringLiteral("why")}),
                 QStringLiteral("“/card/VIDEO/a\\nb” was not considered: why."));
        QCOMPARE(P2Scanner::unreadableSentence(
                     {QStringLiteral("/card/a\nb"), QStringLiteral("Permission denied")}),
                 QStringLiteral("“/card/a\\nb” cannot be read: Permission denied."));
    }

    // Every entry of the essence and metadata folders is either listed or
    // passed over with why; a folder of their name in another case is said.
    void everyEntryIsAccountedFor()
    {
        const QString root = freshRoot();
        QVERIFY(CardTree::make(root, {"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/VIDEO/sub/0002AB.MXF",
                                      "CONTENTS/VIDEO/readme.txt", "CONTENTS/AUDIO/.0001AB00.MXF",
                                      "CONTENTS/CLIP/0001AB.XML", "CONTENTS/video/0003AB.MXF",
                                      "CONTENTS/Clip/0004AB.XML", "CONTENTS/ICON/0001AB.BMP"}));
        QCOMPARE(::mkfifo(QFile::encodeName(root + "/CONTENTS/VIDEO/0005AB.MXF").constData(), 0644), 0);
        QVERIFY(QFile::link(QStringLiteral("/dev/null"), root + "/CONTENTS/CLIP/0006AB.XML"));
        QVERIFY(QFile::link(root + "/CONTENTS/ICON", root + "/CONTENTS/AUDIO/icons"));
        const P2CardStructure structure = P2Scanner::scan(root);
        QCOMPARE(CardTree::relative(root, structure.videoFiles),
                 QStringList({"CONTENTS/VIDEO/0001AB.MXF", "CONTENTS/VIDEO/sub/0002AB.MXF"}));
        QStringList passedOver;
        for (const FileSystemUtilities::PassedOver& entry : structure.passedOver)
            passedOver << CardTree::relative(root, {entry.path}).first() + QStringLiteral(": ") +
                              entry.reason;
        passedOver.sort();
        QCOMPARE(passedOver, QStringList({
                                 "CONTENTS/AUDIO/.0001AB00.MXF: hidden (its name starts with a dot)",
                                 "CONTENTS/AUDIO/icons: a link to a folder, which is not followed",
                                 "CONTENTS/CLIP/0006AB.XML: not a regular file",
                                 "CONTENTS/Clip: folder `Clip` beside `CLIP` was not read",
                                 "CONTENTS/VIDEO/0005AB.MXF: not a regular file",
                                 "CONTENTS/VIDEO/readme.txt: not a .mxf file",
                                 "CONTENTS/video: folder `video` beside `VIDEO` was not read",
                             }));
    }
};

int runScannerTests(int argc, char** argv)
{
    ScannerTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ScannerTest.moc"
