#include "base/Platform.h"

#include <QStandardPaths>
#include <QTest>

Q_DECLARE_METATYPE(Platform::Kind)
Q_DECLARE_METATYPE(PlatformFacts)

// Every field, one per line, for a readable failure.
char* toString(const PlatformFacts& facts)
{
    const QStringList lines{facts.toolFolders.join(u','), facts.defaultOutputFolder,
                            facts.fileManagerName,        facts.revealInFileManagerTitle,
                            facts.revealOutputTitle,      facts.fileManagerNameSort,
                            facts.readableByEditors,      facts.packageManagerName,
                            facts.ffmpegInstallCommand,   facts.terminalName};
    return qstrdup(lines.join(u'\n').toUtf8().constData());
}

// Both platforms' facts are checked as data, whichever platform runs the test:
// on macOS every word and path stays the one its users know.
class PlatformTest : public QObject
{
    Q_OBJECT

private slots:
    void facts_data()
    {
        QTest::addColumn<Platform::Kind>("kind");
        QTest::addColumn<QString>("moviesFolder");
        QTest::addColumn<PlatformFacts>("expected");
        QTest::addColumn<QString>("toolFoldersText");
        QTest::newRow("Linux") << Platform::Kind::linuxDesktop << QStringLiteral("/home/ana/Videos")
                               << PlatformFacts{
                                      .toolFolders = {"/usr/local/bin", "/usr/bin"},
                                      .defaultOutputFolder = "/home/ana/Videos/Tolvane",
                                      .fileManagerName = "File Manager",
                                      .revealInFileManagerTitle = "Show in File Manager",
                                      .revealOutputTitle = "Show Output in File Manager",
                                      .fileManagerNameSort = "the file manager's name sort",
                                      .readableByEditors = "ready for any editor",
                                      .packageManagerName = "your package manager",
                                      .ffmpegInstallCommand = "sudo apt install ffmpeg",
                                      .terminalName = "a terminal",
                                      .virtualFileSystems = {"proc", "sysfs", "devtmpfs", "devpts", "cgroup",
                                                             "cgroup2", "debugfs", "tracefs", "securityfs",
                                                             "pstore", "bpf", "configfs", "fusectl", "mqueue",
                                                             "hugetlbfs", "binfmt_misc", "efivarfs", "autofs",
                                                             "rpc_pipefs", "nsfs"},
                                      // No network, overlay or user-space file system.
                                      .watchableFileSystems = {"ext2", "ext3", "ext4", "xfs", "btrfs", "f2fs",
                                                               "jfs", "vfat", "exfat", "ntfs3", "hfsplus", "udf",
                                                               "iso9660", "tmpfs"},
                                  }
                               << QStringLiteral("/usr/local/bin and /usr/bin");
        // The editing drive, whatever the user's movies folder is.
        QTest::newRow("macOS") << Platform::Kind::macOS << QStringLiteral("/Users/ana/Movies")
                               << PlatformFacts{
                                      .toolFolders = {"/opt/homebrew/bin", "/usr/local/bin"},
                                      .defaultOutputFolder = "/Volumes/EXTDESKTOP",
                                      .fileManagerName = "Finder",
                                      .revealInFileManagerTitle = "Reveal in Finder",
                                      .revealOutputTitle = "Reveal Output in Finder",
                                      .fileManagerNameSort = "Finder's name sort",
                                      .readableByEditors = "Finder-readable",
                                      .packageManagerName = "Homebrew",
                                      .ffmpegInstallCommand = "brew install ffmpeg",
                                      .terminalName = "Terminal",
                                      .virtualFileSystems = {"devfs", "autofs"},
                                      .watchableFileSystems = {},
                                  }
                               << QStringLiteral("/opt/homebrew/bin and /usr/local/bin");
    }

    void facts()
    {
        QFETCH(Platform::Kind, kind);
        QFETCH(QString, moviesFolder);
        QFETCH(PlatformFacts, expected);
        QFETCH(QString, toolFoldersText);
        const PlatformFacts facts = Platform::factsFor(kind, moviesFolder);
        QCOMPARE(facts, expected);
        QCOMPARE(Platform::toolFoldersText(facts), toolFoldersText);
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
