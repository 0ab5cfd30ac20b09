#include "MediaTests.h"
#include "MediaTestSupport.h"
#include "SyntheticCard.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {

// Clips of the card, by their number.
enum Clip { noAudio = 1, oneAudio, fourAudio, longOneAudio, longHighDefinition };

// The builder's tone on audio file k peaks at -6 - 3k dBFS; a sine's mean sits 3 dB below its peak.
double tonePeak(int k)
{
    return -6.0 - 3.0 * k;
}

} // namespace

class RealToolsTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    QTemporaryDir work_;
    SyntheticCard::WrittenCard card_;
    QMap<int, SyntheticCard::ClipSpec> specs_;

    const SyntheticCard::WrittenClip& written(int clip) const { return card_.clips[clip - 1]; }

    QString outputPath(const QString& name) const
    {
        return work_.filePath(awkwardName(QStringLiteral(" out/")) + name);
    }

    QByteArray runTool(const QString& tool, const QStringList& arguments, bool standardError = false) const
    {
        QProcess process;
        process.start(tools_->toolPath(tool), arguments);
        process.waitForFinished(-1);
        return standardError ? process.readAllStandardError() : process.readAllStandardOutput();
    }

    QJsonObject probeJson(const QString& path) const
    {
        return QJsonDocument::fromJson(
                   runTool(QStringLiteral("ffprobe"),
                           {"-v", "error", "-show_streams", "-show_format", "-of", "json", path}))
            .object();
    }

    QList<QJsonObject> streamsOfType(const QJsonObject& probe, const QString& type) const
    {
        QList<QJsonObject> streams;
        for (const QJsonValue& stream : probe[QStringLiteral("streams")].toArray()) {
            if (stream[QStringLiteral("codec_type")] == type)
                streams.append(stream.toObject());
        }
        return streams;
    }

    AudioLevel trackLevel(const QString& path, int track) const
    {
        const QByteArray output =
            runTool(QStringLiteral("ffmpeg"),
                    {"-nostdin", "-i", path, "-map", QStringLiteral("0:a:%1").arg(track), "-af",
                     "volumedetect", "-f", "null", "-"},
                    true);
        return AudioLevel::fromVolumeDetectOutput(QString::fromUtf8(output));
    }

private slots:
    void initTestCase()
    {
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);

        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(noAudio, 0), SyntheticCard::clip(oneAudio, 1),
                      SyntheticCard::clip(fourAudio, 4), SyntheticCard::clip(longOneAudio, 1),
                      SyntheticCard::clip(longHighDefinition, 4)};
        plan.clips[longOneAudio - 1].frames = 90;
        plan.clips[longHighDefinition - 1].codec = SyntheticCard::VideoCodec::DVCProHD1080;
        plan.clips[longHighDefinition - 1].frames = 150;
        for (const SyntheticCard::ClipSpec& clip : plan.clips)
            specs_.insert(int(specs_.size()) + 1, clip);
        card_ = SyntheticCard::write(plan, work_.filePath(awkwardName(QStringLiteral(" card"))));
        QCOMPARE(card_.clips.size(), plan.clips.size());
    }

    void cleanupTestCase() { tools_.reset(); }

    void probesReadWhatTheCardBuilderWrote()
    {
        for (const int clip : {noAudio, fourAudio}) {
            const SyntheticCard::WrittenClip& files = written(clip);
            for (const QString& file : QStringList{files.videoPath} + files.audioPaths)
                QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(file)), files.umid);
            QCOMPARE(QCoro::waitFor(FFmpegService::sourceTimecode(files.videoPath)),
                     specs_[clip].startTimecode);
            const std::optional<QString> date =
                QCoro::waitFor(FFmpegService::modificationDate(files.videoPath));
            QVERIFY(date);
            QCOMPARE(QDateTime::fromString(*date, Qt::ISODateWithMs),
                     QDateTime::fromString(*specs_[clip].mxfCreationTime, Qt::ISODate));
        }
    }

    void durationOfAClip()
    {
        const std::optional<double> duration =
            QCoro::waitFor(FFmpegService::probeDurationSeconds(written(longOneAudio).videoPath));
        QVERIFY(duration);
        QVERIFY2(qAbs(*duration - 90 * 1001.0 / 30000) < 0.05, qPrintable(QString::number(*duration)));
    }

    void fullProbeOfVideoAndAudio()
    {
        const std::optional<MediaProbe> video =
            QCoro::waitFor(FFmpegService::probeFull(written(oneAudio).videoPath));
        QVERIFY(video);
        QCOMPARE(video->streams.first().codecType, QStringLiteral("video"));
        QCOMPARE(video->streams.first().codecName, QStringLiteral("dvvideo"));
        QCOMPARE(video->streams.first().width, 720);
        QCOMPARE(video->format.tags->value("material_package_umid").toUpper(),
                 QStringLiteral("0X") + written(oneAudio).umid);
        QCOMPARE(video->primaryAudioStream(), std::nullopt);
        QCOMPARE(MediaProbe::fromJson(QJsonDocument(video->toJson()).toJson()), video);

        const std::optional<MediaProbe> audio =
            QCoro::waitFor(FFmpegService::probeFull(written(oneAudio).audioPaths.first()));
        QVERIFY(audio);
        QCOMPARE(audio->primaryAudioStream()->channels, 1);
        QCOMPARE(audio->primaryAudioStream()->sampleRate, QStringLiteral("48000"));
    }

    void levelsReadTheBuilderTones()
    {
        const QStringList audio = written(fourAudio).audioPaths;
        // One ffmpeg run measures the whole clip.
        const QList<AudioLevel> levels = QCoro::waitFor(FFmpegService::audioSignalLevels(audio));
        QCOMPARE(levels.size(), audio.size());
        for (int k = 0; k < audio.size(); ++k) {
            const AudioLevel& level = levels.at(k);
            // Exactly what measuring the file on its own gives.
            const QByteArray alone =
                runTool(QStringLiteral("ffmpeg"),
                        {"-nostdin", "-i", audio[k], "-af", "volumedetect", "-f", "null", "-"}, true);
            QCOMPARE(level, AudioLevel::fromVolumeDetectOutput(QString::fromUtf8(alone)));
            QVERIFY2(level.maxDB && qAbs(*level.maxDB - tonePeak(k)) < 0.3, qPrintable(level.summary()));
            QVERIFY2(level.meanDB && qAbs(*level.meanDB - (tonePeak(k) - 3.0)) < 0.3,
                     qPrintable(level.summary()));
            QVERIFY(!level.summary().contains(QStringLiteral("noise floor")));
        }
    }

    void conversion_data()
    {
        QTest::addColumn<int>("clip");
        QTest::addColumn<ProResProfile>("profile");
        QTest::addColumn<QString>("profileName");
        QTest::newRow("no audio, proxy") << int(noAudio) << ProResProfile::proxy << "Proxy";
        QTest::newRow("one audio, 422") << int(oneAudio) << ProResProfile::standard << "Standard";
        QTest::newRow("four audio, HQ") << int(fourAudio) << ProResProfile::hq << "HQ";
    }
    void conversion()
    {
        QFETCH(int, clip);
        QFETCH(ProResProfile, profile);
        QFETCH(QString, profileName);
        const SyntheticCard::WrittenClip& files = written(clip);
        const QString output = outputPath(QStringLiteral("%1.mov").arg(clip));
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {files.videoPath, files.audioPaths, 0, profile, output});
        QVERIFY2(outcome.succeeded, qPrintable(outcome.message));
        QVERIFY(!QFileInfo::exists(FFmpegService::temporaryPath(output)));
        QCOMPARE(outcome.commands.size(), 1);
        for (const double fraction : outcome.progress)
            QVERIFY(fraction >= 0 && fraction <= 1);

        const QJsonObject probe = probeJson(output);
        const QList<QJsonObject> videos = streamsOfType(probe, QStringLiteral("video"));
        QCOMPARE(videos.size(), 1);
        QCOMPARE(videos[0]["codec_name"].toString(), QStringLiteral("prores"));
        QCOMPARE(videos[0]["profile"].toString(), profileName);
        QCOMPARE(videos[0]["pix_fmt"].toString(), QStringLiteral("yuv422p10le"));
        QCOMPARE(videos[0]["tags"]["timecode"].toString(), specs_[clip].startTimecode);

        const QList<QJsonObject> audio = streamsOfType(probe, QStringLiteral("audio"));
        QCOMPARE(audio.size(), files.audioPaths.size());
        for (int k = 0; k < audio.size(); ++k) {
            QCOMPARE(audio[k]["codec_name"].toString(), QStringLiteral("pcm_s24le"));
            QCOMPARE(audio[k]["channels"].toInt(), 1);
            // Each track carries its own file's tone, so the order is the input order.
            const AudioLevel level = trackLevel(output, k);
            QVERIFY2(level.maxDB && qAbs(*level.maxDB - tonePeak(k)) < 0.3, qPrintable(level.summary()));
        }
        QCOMPARE(QCoro::waitFor(FFmpegService::hasAudioStream(output)), !files.audioPaths.isEmpty());
    }

    void positiveOffsetDelaysTheAudio()
    {
        const SyntheticCard::WrittenClip& files = written(longOneAudio);
        const QString output = outputPath(QStringLiteral("delayed.mov"));
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {files.videoPath, files.audioPaths, 0.25, ProResProfile::proxy, output});
        QVERIFY2(outcome.succeeded, qPrintable(outcome.message));
        const QJsonObject audio = streamsOfType(probeJson(output), QStringLiteral("audio")).first();
        const double start = audio["start_time"].toString().toDouble();
        QVERIFY2(qAbs(start - 0.25) < 0.01, qPrintable(audio["start_time"].toString()));
    }

    void negativeOffsetSeeksIntoTheAudio()
    {
        const SyntheticCard::WrittenClip& files = written(longOneAudio);
        const QString output = outputPath(QStringLiteral("advanced.mov"));
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {files.videoPath, files.audioPaths, -1.0, ProResProfile::proxy, output});
        QVERIFY2(outcome.succeeded, qPrintable(outcome.message));
        const QJsonObject source =
            streamsOfType(probeJson(files.audioPaths.first()), QStringLiteral("audio")).first();
        const QJsonObject audio = streamsOfType(probeJson(output), QStringLiteral("audio")).first();
        QVERIFY2(qAbs(audio["start_time"].toString().toDouble()) < 0.01,
                 qPrintable(audio["start_time"].toString()));
        const double skipped =
            source["duration"].toString().toDouble() - audio["duration"].toString().toDouble();
        QVERIFY2(qAbs(skipped - 1.0) < 0.01, qPrintable(QString::number(skipped)));
    }

    void cancelLeavesThePreviousOutput()
    {
        const SyntheticCard::WrittenClip& files = written(longHighDefinition);
        const QString output = outputPath(QStringLiteral("cancelled.mov"));
        writeFile(output, "previous movie");
        FFmpegService service;
        bool cancelled = false;
        const auto run = [&]() -> QCoro::Task<ConvertOutcome> {
            ConvertOutcome outcome;
            try {
                // Cancelled at the first sign of progress, while the encoder is surely mid-way.
                co_await service.convert(files.videoPath, files.audioPaths, 0, ProResProfile::hq, output,
                                         nullptr, [&](double fraction) {
                                             outcome.progress.append(fraction);
                                             if (fraction < 1.0 && !cancelled) {
                                                 cancelled = true;
                                                 service.cancel();
                                             }
                                         });
                outcome.succeeded = true;
            } catch (const FFmpegError& error) {
                outcome.errorKind = error.kind();
                outcome.message = error.description();
            }
            co_return outcome;
        };
        const ConvertOutcome outcome = QCoro::waitFor(run());
        QVERIFY(cancelled);
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::cancelled);
        QCOMPARE(outcome.message, QStringLiteral("Cancelled"));
        QVERIFY(!QFileInfo::exists(FFmpegService::temporaryPath(output)));
        QCOMPARE(readFile(output), QByteArray("previous movie"));
    }
};

int runRealToolsTests(int argc, char** argv)
{
    RealToolsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RealToolsTest.moc"
