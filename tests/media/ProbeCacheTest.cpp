#include "media/ProbeCache.h"

#include "media/FFmpegService.h"
#include "MediaTests.h"
#include "MediaTestSupport.h"
#include "MXFHeaderBytes.h"

#include <QFile>
#include <QTest>

namespace {

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

QByteArray mxfWithUmid(int n)
{
    MXFHeaderBytes::Plan plan = MXFHeaderBytes::videoPlan();
    plan.umid = MXFHeaderBytes::umid(n);
    return MXFHeaderBytes::file(plan);
}

QString umidText(int n)
{
    return QString::fromLatin1(MXFHeaderBytes::umid(n).toHex().toUpper());
}

} // namespace

// Facts are asked once per unchanged file, from the header where it tells,
// and never natively when ffprobe is missing.
class ProbeCacheTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;

    QString file(const QString& name) const { return work_->filePath(awkwardName(name)); }

private slots:
    void init()
    {
        ProbeCache::reset();
        tools_ = std::make_unique<ToolFolder>();
        work_ = std::make_unique<QTemporaryDir>();
        tools_->addFake("ffprobe", "FAKE_STDOUT='0x060a2b34ffff\n'");
    }

    void cleanup()
    {
        tools_.reset();
        ProbeCache::reset();
    }

    void headerFactsSpareFfprobe()
    {
        const QString video = file(".MXF");
        QVERIFY(writeBytes(video, mxfWithUmid(1)));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), umidText(1));
        QCOMPARE(QCoro::waitFor(FFmpegService::sourceTimecode(video)), QStringLiteral("01:00:00;00"));
        QCOMPARE(QCoro::waitFor(FFmpegService::probeDurationSeconds(video)), 0.1001);
        QCOMPARE(QCoro::waitFor(FFmpegService::modificationDate(video)),
                 QStringLiteral("2026-07-01T15:00:00.000000Z"));
        QCOMPARE(tools_->runs("ffprobe").size(), 0);
        const ProbeCache::Statistics statistics = ProbeCache::statistics();
        QCOMPARE(statistics.filesReadNatively, 1);
        QCOMPARE(statistics.answersFromMemory, 3);
        QCOMPARE(statistics.toolRuns, 0);
    }

    void aChangedFileIsReadAgain()
    {
        const QString video = file(".MXF");
        QVERIFY(writeBytes(video, mxfWithUmid(1)));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), umidText(1));
        // Same size, new content and modification time.
        QVERIFY(writeBytes(video, mxfWithUmid(2)));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), umidText(2));
        QCOMPARE(ProbeCache::statistics().filesReadNatively, 2);

        // Another file moved into its place (a new inode) is another file.
        const QString other = file(" other.MXF");
        QVERIFY(writeBytes(other, mxfWithUmid(3)));
        QVERIFY(QFile::remove(video));
        QVERIFY(QFile::rename(other, video));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), umidText(3));
    }

    void whatTheHeaderCannotTellIsAskedOfFfprobeOnce()
    {
        const QString video = file(".MXF");
        QVERIFY(writeBytes(video, "not an MXF file"));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), QStringLiteral("060A2B34FFFF"));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), QStringLiteral("060A2B34FFFF"));
        QCOMPARE(tools_->runs("ffprobe").size(), 1);
        QCOMPARE(ProbeCache::statistics().filesNotReadNatively, 1);

        QVERIFY(writeBytes(video, "not an MXF file either"));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), QStringLiteral("060A2B34FFFF"));
        QCOMPARE(tools_->runs("ffprobe").size(), 2);
    }

    // A header with no timecode gives the UMID natively and the timecode from ffprobe.
    void aFactTheHeaderLacksFallsBack()
    {
        MXFHeaderBytes::Plan plan = MXFHeaderBytes::videoPlan();
        plan.tracks.removeFirst();
        const QString video = file(".MXF");
        QVERIFY(writeBytes(video, MXFHeaderBytes::file(plan)));
        tools_->configure("ffprobe", "FAKE_STDOUT='02:00:00:00\n'");
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), umidText(1));
        QCOMPARE(QCoro::waitFor(FFmpegService::sourceTimecode(video)), QStringLiteral("02:00:00:00"));
        QCOMPARE(tools_->runs("ffprobe").size(), 1);
        QVERIFY(tools_->runs("ffprobe").first().contains("format_tags=timecode"));
    }

    void withoutFfprobeNothingIsReadNatively()
    {
        tools_->remove("ffprobe");
        QVERIFY(!FFmpegService::resolvedFFprobePath());
        const QString video = file(".MXF");
        QVERIFY(writeBytes(video, mxfWithUmid(1)));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::sourceTimecode(video)), std::nullopt);
        QCOMPARE(ProbeCache::statistics().filesReadNatively, 0);
    }

    void theReaderCanBeSwitchedOff()
    {
        ProbeCache::reset(false);
        const QString video = file(".MXF");
        QVERIFY(writeBytes(video, mxfWithUmid(1)));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video)), QStringLiteral("060A2B34FFFF"));
        QCOMPARE(tools_->runs("ffprobe").size(), 1);
    }

    // The full probe of the debug report and the level measurement are remembered too.
    void reportFactsAreAskedOnce()
    {
        const QString audio = file("00.MXF");
        QVERIFY(writeBytes(audio, mxfWithUmid(1)));
        tools_->configure("ffprobe", "FAKE_STDOUT='{\"streams\": [], \"format\": {}}'");
        tools_->addFake("ffmpeg", "FAKE_STDERR='[Parsed_volumedetect_0 @ 0x1] mean_volume: -20.5 dB\n"
                                  "[Parsed_volumedetect_0 @ 0x1] max_volume: -3.0 dB\n'");
        for (int i = 0; i < 2; ++i) {
            QVERIFY(QCoro::waitFor(FFmpegService::probeFull(audio)));
            QCOMPARE(QCoro::waitFor(FFmpegService::audioSignalLevels({audio})).first().meanDB, -20.5);
        }
        QCOMPARE(tools_->runs("ffprobe").size(), 1);
        QCOMPARE(tools_->runs("ffmpeg").size(), 1);
    }
};

int runProbeCacheTests(int argc, char** argv)
{
    ProbeCacheTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ProbeCacheTest.moc"
