#include "MediaTests.h"
#include "MediaTestSupport.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTest>

namespace {

void writeExecutable(const QString& path, QFile::Permissions permissions)
{
    writeFile(path, "#!/bin/sh\nexit 0\n");
    QFile::setPermissions(path, permissions);
}

const QFile::Permissions executable = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                      QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
const QFile::Permissions notExecutable =
    QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;

} // namespace

class DiscoveryTest : public QObject
{
    Q_OBJECT

    QTemporaryDir root_;
    QString first_;
    QString second_;

private slots:
    void init()
    {
        first_ = root_.filePath(QStringLiteral("first-%1").arg(QTest::currentTestFunction()));
        second_ = root_.filePath(QStringLiteral("second-%1").arg(QTest::currentTestFunction()));
        QDir().mkpath(first_);
        QDir().mkpath(second_);
        FFmpegService::setToolDirectoriesForTesting({first_, second_});
    }

    void cleanupTestCase()
    {
        FFmpegService::setToolDirectoriesForTesting({QStringLiteral("/nonexistent/tolvane-test-tools")});
    }

    void productionLooksOnlyInThePlatformFolders()
    {
        FFmpegService::setToolDirectoriesForTesting({});
        QCOMPARE(FFmpegService::candidateFFmpegPaths(),
                 (QStringList{"/usr/local/bin/ffmpeg", "/usr/bin/ffmpeg"}));
        QCOMPARE(FFmpegService::candidateFFprobePaths(),
                 (QStringList{"/usr/local/bin/ffprobe", "/usr/bin/ffprobe"}));
    }

    // The distribution's package serves with no extra step when nothing was
    // installed by hand.
    void distributionToolsAreFoundWithoutALocalBuild()
    {
        if (QFileInfo::exists(QStringLiteral("/usr/local/bin/ffmpeg")))
            QSKIP("an ffmpeg in /usr/local/bin takes precedence on this machine");
        if (!QFileInfo(QStringLiteral("/usr/bin/ffmpeg")).isExecutable()) {
            if (qEnvironmentVariable("CI") == QLatin1String("true"))
                QFAIL("the distribution's ffmpeg must be installed on CI");
            QSKIP("the distribution's ffmpeg is not installed");
        }
        FFmpegService::setToolDirectoriesForTesting({});
        QVERIFY(FFmpegService::recheckAvailability());
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), QStringLiteral("/usr/bin/ffmpeg"));
    }

    void secondFolderServesWhenTheFirstHasNone()
    {
        writeExecutable(second_ + "/ffmpeg", executable);
        writeExecutable(second_ + "/ffprobe", executable);
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), second_ + "/ffmpeg");
        QCOMPARE(FFmpegService::resolvedFFprobePath(), second_ + "/ffprobe");
    }

    void pathIsNeverConsulted()
    {
        const QString onPath = root_.filePath(QStringLiteral("on PATH"));
        QDir().mkpath(onPath);
        writeExecutable(onPath + "/ffmpeg", executable);
        writeExecutable(onPath + "/ffprobe", executable);
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(onPath) + ':' + path);
        const auto restore = qScopeGuard([&path] { qputenv("PATH", path); });

        QVERIFY(!FFmpegService::recheckAvailability());
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), std::nullopt);
        QCOMPARE(FFmpegService::resolvedFFprobePath(), std::nullopt);

        // Found in a searched folder, the tool comes from there, not from PATH's first folder.
        writeExecutable(second_ + "/ffmpeg", executable);
        QVERIFY(FFmpegService::recheckAvailability());
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), second_ + "/ffmpeg");
    }

    void firstCandidateWins()
    {
        writeExecutable(first_ + "/ffmpeg", executable);
        writeExecutable(second_ + "/ffmpeg", executable);
        writeExecutable(first_ + "/ffprobe", executable);
        writeExecutable(second_ + "/ffprobe", executable);
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), first_ + "/ffmpeg");
        QCOMPARE(FFmpegService::resolvedFFprobePath(), first_ + "/ffprobe");
    }

    void candidateThatIsNotExecutableIsSkipped()
    {
        writeExecutable(first_ + "/ffmpeg", notExecutable);
        writeExecutable(second_ + "/ffmpeg", executable);
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), second_ + "/ffmpeg");
    }

    void folderNamedLikeTheToolIsSkipped()
    {
        QDir().mkpath(first_ + "/ffprobe");
        writeExecutable(second_ + "/ffprobe", executable);
        QCOMPARE(FFmpegService::resolvedFFprobePath(), second_ + "/ffprobe");
    }

    void nothingFoundIsAbsent()
    {
        writeExecutable(first_ + "/ffmpeg", notExecutable);
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), std::nullopt);
        QCOMPARE(FFmpegService::resolvedFFprobePath(), std::nullopt);
        QVERIFY(!FFmpegService::recheckAvailability());
    }

    void resolutionIsLazyAndKeptUntilRecheck()
    {
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), std::nullopt);
        writeExecutable(second_ + "/ffmpeg", executable);
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), std::nullopt);
        QVERIFY(FFmpegService::recheckAvailability());
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), second_ + "/ffmpeg");
    }

    void recheckAfterRemovalClearsThePathAndConversionsFail()
    {
        writeExecutable(first_ + "/ffmpeg", executable);
        writeExecutable(first_ + "/ffprobe", executable);
        QVERIFY(FFmpegService::resolvedFFmpegPath());
        QFile::remove(first_ + "/ffmpeg");
        QFile::remove(first_ + "/ffprobe");
        QVERIFY(!FFmpegService::recheckAvailability());
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), std::nullopt);
        QCOMPARE(FFmpegService::resolvedFFprobePath(), std::nullopt);

        FFmpegService service;
        const QString outputFolder = root_.filePath(QStringLiteral("never created"));
        const ConvertOutcome outcome = convertAndWait(
            service,
            {root_.filePath("0001AB.MXF"), {}, 0, ProResProfile::standard, outputFolder + "/001.mov"});
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::binaryNotFound);
        QCOMPARE(outcome.message,
                 QStringLiteral("ffmpeg was not found. Install it with: sudo apt install ffmpeg"));
        QVERIFY(outcome.commands.isEmpty());
        QVERIFY(!QFileInfo::exists(outputFolder));
    }

    void recheckIsTrueWithoutFFprobe()
    {
        writeExecutable(second_ + "/ffmpeg", executable);
        QVERIFY(FFmpegService::recheckAvailability());
        QCOMPARE(FFmpegService::resolvedFFmpegPath(), second_ + "/ffmpeg");
        QCOMPARE(FFmpegService::resolvedFFprobePath(), std::nullopt);
    }
};

int runDiscoveryTests(int argc, char** argv)
{
    DiscoveryTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DiscoveryTest.moc"
