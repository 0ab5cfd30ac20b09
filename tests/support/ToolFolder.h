#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A private folder of tools that the service is pointed at for one test, so no
// test depends on what is installed in the fixed prefixes.
class ToolFolder
{
public:
    ToolFolder();
    ~ToolFolder();

    QString path() const { return dir_.path(); }
    QString toolPath(const QString& name) const { return dir_.filePath(name); }

    // The stand-in tool under `name`, acting as `conf` says (see tests/fakes/fake-tool).
    void addFake(const QString& name, const QString& conf = {});
    void configure(const QString& name, const QString& conf);
    // The distribution's tool under `name`; false when it is not installed.
    bool addReal(const QString& name);
    // An executable file that cannot be started (its interpreter does not exist).
    void addUnstartable(const QString& name);
    void remove(const QString& name);

    // The argument vectors the stand-in under `name` was run with, in order.
    QList<QStringList> runs(const QString& name) const;

private:
    QTemporaryDir dir_;
};

// True when ffmpeg and ffprobe are installed in a folder the app searches, as a
// run of the real programs (not pointed at a ToolFolder) needs.
bool toolsInstalledWhereTheAppLooks();

// Skips a test of the real programs when the tools are not installed where
// they look, except on CI, whose setup installs them: there it fails.
#define TOLVANE_REQUIRE_INSTALLED_TOOLS()                                                                    \
    do {                                                                                                     \
        if (!toolsInstalledWhereTheAppLooks()) {                                                             \
            if (qEnvironmentVariable("CI") == QLatin1String("true"))                                         \
                QFAIL("ffmpeg and ffprobe must be installed where the app looks for them on CI");            \
            QSKIP("needs ffmpeg and ffprobe where the app looks for them");                                  \
        }                                                                                                    \
    } while (false)

// Puts the distribution's ffmpeg and ffprobe into `folder`. Without them a
// test skips, except on CI, whose setup installs them: there it fails.
#define TOLVANE_REQUIRE_REAL_TOOLS(folder)                                                                   \
    do {                                                                                                     \
        if (!(folder).addReal(QStringLiteral("ffmpeg")) || !(folder).addReal(QStringLiteral("ffprobe"))) {   \
            if (qEnvironmentVariable("CI") == QLatin1String("true"))                                         \
                QFAIL("ffmpeg and ffprobe must be installed on CI");                                         \
            QSKIP("ffmpeg or ffprobe is not installed");                                                     \
        }                                                                                                    \
    } while (false)
