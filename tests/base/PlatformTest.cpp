#include "base/Platform.h"

#include <QStandardPaths>
#include <QTest>

// Both platforms' facts are checked as data, whichever platform runs the test:
// on macOS every word and path stays the one its users know.
class PlatformTest : public QObject
{
    Q_OBJECT

private slots:
    void linuxFacts()
    {
        const PlatformFacts facts =
            Platform::factsFor(Platform::Kind::linuxDesktop, QStringLiteral("/home/ana/Videos"));
        QCOMPARE(facts.toolFolders, (QStringList{"/usr/local/bin", "/usr/bin"}));
        QCOMPARE(facts.defaultOutputFolder, QStringLiteral("/home/ana/Videos/Tolvane"));
        QCOMPARE(facts.fileManagerName, QStringLiteral("File Manager"));
        QCOMPARE(facts.revealInFileManagerTitle, QStringLiteral("Show in File Manager"));
        QCOMPARE(facts.revealOutputTitle, QStringLiteral("Show Output in File Manager"));
        QCOMPARE(facts.fileManagerNameSort, QStringLiteral("the file manager's name sort"));
        QCOMPARE(facts.readableByEditors, QStringLiteral("ready for any editor"));
        QCOMPARE(facts.packageManagerName, QStringLiteral("your package manager"));
        QCOMPARE(facts.ffmpegInstallCommand, QStringLiteral("sudo apt install ffmpeg"));
        QCOMPARE(facts.terminalName, QStringLiteral("a terminal"));
        QCOMPARE(Platform::toolFoldersText(facts), QStringLiteral("/usr/local/bin and /usr/bin"));
    }

    void macOSFacts()
    {
        const PlatformFacts facts =
            Platform::factsFor(Platform::Kind::macOS, QStringLiteral("/Users/ana/Movies"));
        QCOMPARE(facts.toolFolders, (QStringList{"/opt/homebrew/bin", "/usr/local/bin"}));
        // The editing drive, whatever the user's movies folder is.
        QCOMPARE(facts.defaultOutputFolder, QStringLiteral("/Volumes/EXTDESKTOP"));
        QCOMPARE(facts.fileManagerName, QStringLiteral("Finder"));
        QCOMPARE(facts.revealInFileManagerTitle, QStringLiteral("Reveal in Finder"));
        QCOMPARE(facts.revealOutputTitle, QStringLiteral("Reveal Output in Finder"));
        QCOMPARE(facts.fileManagerNameSort, QStringLiteral("Finder's name sort"));
        QCOMPARE(facts.readableByEditors, QStringLiteral("Finder-readable"));
        QCOMPARE(facts.packageManagerName, QStringLiteral("Homebrew"));
        QCOMPARE(facts.ffmpegInstallCommand, QStringLiteral("brew install ffmpeg"));
        QCOMPARE(facts.terminalName, QStringLiteral("Terminal"));
        QCOMPARE(Platform::toolFoldersText(facts), QStringLiteral("/opt/homebrew/bin and /usr/local/bin"));
    }

    void videosFolderIsTakenAsItIs()
    {
        const QString awkward = QString::fromUtf8("/home/Jö \"$;' -x/Vidéos");
        QCOMPARE(Platform::factsFor(Platform::Kind::linuxDesktop, awkward).defaultOutputFolder,
                 awkward + QStringLiteral("/Tolvane"));
    }

    void currentTakesTheUsersVideosFolder()
    {
        QCOMPARE(Platform::current(),
                 Platform::factsFor(Platform::currentKind(),
                                    QStandardPaths::writableLocation(QStandardPaths::MoviesLocation)));
    }
};

QTEST_GUILESS_MAIN(PlatformTest)
#include "PlatformTest.moc"
