#include "ToolFolder.h"

#include "base/Platform.h"
#include "media/FFmpegService.h"
#include "media/ProbeCache.h"
#include "TestFiles.h"

#include <QFile>
#include <QStandardPaths>

bool toolsInstalledWhereTheAppLooks()
{
    const QStringList& folders = Platform::current().toolFolders;
    return !QStandardPaths::findExecutable(QStringLiteral("ffmpeg"), folders).isEmpty() &&
           !QStandardPaths::findExecutable(QStringLiteral("ffprobe"), folders).isEmpty();
}

ToolFolder::ToolFolder()
{
    FFmpegService::setToolDirectoriesForTesting({path()});
}

ToolFolder::~ToolFolder()
{
    // Later tests must not fall back to whatever the fixed prefixes hold.
    FFmpegService::setToolDirectoriesForTesting({QStringLiteral("/nonexistent/tolvane-test-tools")});
}

void ToolFolder::addFake(const QString& name, const QString& conf)
{
    QFile::link(QStringLiteral(TOLVANE_FAKES_DIR "/fake-tool"), toolPath(name));
    configure(name, conf);
}

void ToolFolder::configure(const QString& name, const QString& conf)
{
    writeFile(toolPath(name) + QStringLiteral(".conf"), conf.toUtf8());
    // What the tool said before no longer holds.
    ProbeCache::forget();
}

bool ToolFolder::addReal(const QString& name)
{
    QString real = QStandardPaths::findExecutable(name, {QStringLiteral("/usr/bin")});
    if (real.isEmpty())
        real = QStandardPaths::findExecutable(name);
    return !real.isEmpty() && QFile::link(real, toolPath(name));
}

void ToolFolder::addUnstartable(const QString& name)
{
    writeFile(toolPath(name), "#!/nonexistent/interpreter\n");
    QFile::setPermissions(toolPath(name), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                              QFile::ExeGroup | QFile::ExeOther);
}

void ToolFolder::remove(const QString& name)
{
    QFile::remove(toolPath(name));
}

QList<QStringList> ToolFolder::runs(const QString& name) const
{
    QList<QStringList> runs;
    const QByteArray recorded = readFile(toolPath(name) + QStringLiteral(".args"));
    // Each argument ends with a NUL byte, each run with a line feed.
    for (QByteArrayView rest(recorded); !rest.isEmpty();) {
        QStringList arguments;
        while (!rest.isEmpty() && rest.front() != '\n') {
            const qsizetype end = rest.indexOf('\0');
            arguments.append(QString::fromUtf8(rest.first(end)));
            rest = rest.sliced(end + 1);
        }
        rest = rest.sliced(1);
        runs.append(arguments);
    }
    return runs;
}
