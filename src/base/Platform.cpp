#include "base/Platform.h"

#include <QStandardPaths>

namespace Platform {

namespace {

QStringList linuxVirtualFileSystems()
{
    return {QStringLiteral("proc"),        QStringLiteral("sysfs"),    QStringLiteral("devtmpfs"),
            QStringLiteral("devpts"),      QStringLiteral("cgroup"),   QStringLiteral("cgroup2"),
            QStringLiteral("debugfs"),     QStringLiteral("tracefs"),  QStringLiteral("securityfs"),
            QStringLiteral("pstore"),      QStringLiteral("bpf"),      QStringLiteral("configfs"),
            QStringLiteral("fusectl"),     QStringLiteral("mqueue"),   QStringLiteral("hugetlbfs"),
            QStringLiteral("binfmt_misc"), QStringLiteral("efivarfs"), QStringLiteral("autofs"),
            QStringLiteral("rpc_pipefs"),  QStringLiteral("nsfs")};
}

QStringList linuxWatchableFileSystems()
{
    return {QStringLiteral("ext2"),    QStringLiteral("ext3"),    QStringLiteral("ext4"),
            QStringLiteral("xfs"),     QStringLiteral("btrfs"),   QStringLiteral("f2fs"),
            QStringLiteral("jfs"),     QStringLiteral("vfat"),    QStringLiteral("exfat"),
            QStringLiteral("ntfs3"),   QStringLiteral("hfsplus"), QStringLiteral("udf"),
            QStringLiteral("iso9660"), QStringLiteral("tmpfs")};
}

} // namespace

Kind currentKind()
{
    // The one place that asks the compiler which platform this is.
#ifdef Q_OS_MACOS
    return Kind::macOS;
#else
    return Kind::linuxDesktop;
#endif
}

PlatformFacts factsFor(Kind kind, const QString& moviesFolder)
{
    switch (kind) {
    case Kind::macOS:
        // The package manager's prefix on Apple-silicon machines first, the
        // traditional prefix second.
        return PlatformFacts{
            .toolFolders = {QStringLiteral("/opt/homebrew/bin"), QStringLiteral("/usr/local/bin")},
            .defaultOutputFolder = QStringLiteral("/Volumes/EXTDESKTOP"),
            .fileManagerName = QStringLiteral("Finder"),
            .revealInFileManagerTitle = QStringLiteral("Reveal in Finder"),
            .revealOutputTitle = QStringLiteral("Reveal Output in Finder"),
            .fileManagerNameSort = QStringLiteral("Finder's name sort"),
            .readableByEditors = QStringLiteral("Finder-readable"),
            .packageManagerName = QStringLiteral("Homebrew"),
            .ffmpegInstallCommand = QStringLiteral("brew install ffmpeg"),
            .terminalName = QStringLiteral("Terminal"),
            .virtualFileSystems = {QStringLiteral("devfs"), QStringLiteral("autofs")},
            // No folder watch is built there yet.
            .watchableFileSystems = {},
        };
    case Kind::linuxDesktop:
        break;
    }
    // A self-built ffmpeg in /usr/local/bin wins over the distribution's.
    return PlatformFacts{
        .toolFolders = {QStringLiteral("/usr/local/bin"), QStringLiteral("/usr/bin")},
        .defaultOutputFolder = moviesFolder + QStringLiteral("/Tolvane"),
        .fileManagerName = QStringLiteral("File Manager"),
        .revealInFileManagerTitle = QStringLiteral("Show in File Manager"),
        .revealOutputTitle = QStringLiteral("Show Output in File Manager"),
        .fileManagerNameSort = QStringLiteral("the file manager's name sort"),
        .readableByEditors = QStringLiteral("ready for any editor"),
        .packageManagerName = QStringLiteral("your package manager"),
        .ffmpegInstallCommand = QStringLiteral("sudo apt install ffmpeg"),
        .terminalName = QStringLiteral("a terminal"),
        .virtualFileSystems = linuxVirtualFileSystems(),
        .watchableFileSystems = linuxWatchableFileSystems(),
    };
}

const PlatformFacts& current()
{
    static const PlatformFacts facts =
        factsFor(currentKind(), QStandardPaths::writableLocation(QStandardPaths::MoviesLocation));
    return facts;
}

QString toolFoldersText(const PlatformFacts& facts)
{
    return facts.toolFolders.join(QStringLiteral(" and "));
}

} // namespace Platform
