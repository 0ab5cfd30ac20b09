#include "media/AudioLevel.h"
#include "media/FFmpegError.h"
#include "media/FFmpegService.h"
#include "media/MediaProbe.h"
#include "media/OutputTailCollector.h"
#include "media/ProcessRunner.h"
#include "media/ProResProfile.h"
#include "media/ToolText.h"
#include "MediaTests.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>

using OptionalDouble = std::optional<double>;
Q_DECLARE_METATYPE(OptionalDouble)
using OptionalFrames = std::optional<FFmpegService::VideoFrames>;
Q_DECLARE_METATYPE(OptionalFrames)

namespace {

const QString video = QStringLiteral("/Volumes/My Card/CONTENTS/VIDEO/0001AB.MXF");
const QString output = QStringLiteral("/out/.001.mov.partial");

QStringList audioFiles(int count)
{
    QStringList files;
    for (int i = 0; i < count; ++i)
        files.append(
            QStringLiteral("/Volumes/My Card/CONTENTS/AUDIO/0001AB%1.MXF").arg(i, 2, 10, QLatin1Char('0')));
    return files;
}

// The arguments that follow the inputs and maps, for profile "2" and no audio.
QStringList encoderTail(const QString& profile, bool withAudio, const QString& timecode)
{
    QStringList tail{"-c:v",     "prores_ks",   "-profile:v", profile,
                     "-pix_fmt", "yuv422p10le", "-vendor",    "apl0"};
    if (withAudio)
        tail << "-c:a"
             << "pcm_s24le";
    tail << "-timecode" << timecode << "-progress"
         << "pipe:1"
         << "-nostats"
         << "-f"
         << "mov" << output;
    return tail;
}

const char* probeJson = R"json({
  "streams": [
    {"index": 0, "codec_name": "dvvideo", "codec_long_name": "DV (Digital Video)", "codec_type": "video",
     "width": 720, "height": 480, "duration": "0.100100", "start_time": "0.000000", "bit_rate": "28771200",
     "r_frame_rate": "30000/1001", "disposition": {"default": 0}},
    {"index": 1, "codec_name": "none"},
    {"index": 2, "codec_name": "pcm_s16le", "codec_type": "audio", "sample_fmt": "s16", "sample_rate": "48000",
     "channels": 1, "bits_per_sample": 16, "tags": {"file_package_umid": "0x060A2B34"}},
    {"index": 3, "codec_name": "pcm_s24le", "codec_type": "audio", "channels": 1}
  ],
  "format": {"filename": "/card/0001AB.MXF", "nb_streams": 4, "duration": "0.100100", "size": "361984",
             "bit_rate": "28929398", "tags": {"material_package_umid": "0x060A2B3401", "timecode": "01:00:00:00"}}
})json";

} // namespace

class ParsersTest : public QObject
{
    Q_OBJECT

private slots:
    void decimalText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<OptionalDouble>("expected");
        QTest::newRow("integer") << "5000000" << OptionalDouble(5000000);
        QTest::newRow("negative fraction") << "-23.4" << OptionalDouble(-23.4);
        QTest::newRow("trailing point") << "1." << OptionalDouble(1);
        QTest::newRow("leading point") << ".5" << OptionalDouble(0.5);
        QTest::newRow("not available") << "N/A" << OptionalDouble();
        QTest::newRow("minus sign only") << "-" << OptionalDouble();
        QTest::newRow("exponent") << "1e5" << OptionalDouble();
        QTest::newRow("infinity") << "inf" << OptionalDouble();
        QTest::newRow("empty") << "" << OptionalDouble();
        QTest::newRow("white space") << " 1" << OptionalDouble();
        QTest::newRow("two points") << "1.2.3" << OptionalDouble();
    }
    void decimalText()
    {
        QFETCH(QString, text);
        QFETCH(OptionalDouble, expected);
        QCOMPARE(ToolText::parseDecimal(text), expected);
    }

    void shortestDecimal_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("half") << 0.5 << "0.5";
        QTest::newRow("whole") << 2.0 << "2.0";
        QTest::newRow("quarter") << 0.25 << "0.25";
        QTest::newRow("one") << 1.0 << "1.0";
        QTest::newRow("tenth") << 0.1 << "0.1";
        QTest::newRow("third") << 1.0 / 3 << "0.3333333333333333";
        QTest::newRow("tiny") << 1e-7 << "0.0000001";
        QTest::newRow("hundred") << 100.0 << "100.0";
    }
    void shortestDecimal()
    {
        QFETCH(double, value);
        QFETCH(QString, expected);
        QCOMPARE(ToolText::shortestDecimal(value), expected);
    }

    void utf8Decoding()
    {
        QCOMPARE(ToolText::decodeUtf8("ünï"), std::optional<QString>(QStringLiteral("ünï")));
        QCOMPARE(ToolText::decodeUtf8("bad \xff byte"), std::nullopt);
        QCOMPARE(ToolText::decodeUtf8("cut \xc3"), std::nullopt);
    }

    void tailOfLongChunkKeepsLast8000()
    {
        QByteArray chunk;
        for (int i = 0; i < 9000; ++i)
            chunk.append(char('a' + i % 26));
        OutputTailCollector collector;
        collector.append(chunk);
        QCOMPARE(collector.text(), QString::fromLatin1(chunk.right(8000)));
    }

    void tailOfFullCollectorKeepsNewest8000()
    {
        QByteArray full;
        for (int i = 0; i < 8000; ++i)
            full.append(char('0' + i % 10));
        OutputTailCollector collector;
        collector.append(full);
        QCOMPARE(collector.text().size(), 8000);
        collector.append("xyz");
        QCOMPARE(collector.text(), QString::fromLatin1(full.mid(3) + "xyz"));
    }

    void wholeLinesLeaveOutTheFragmentACutLeft()
    {
        OutputTailCollector collector;
        collector.append("first\nsecond\n");
        QCOMPARE(collector.wholeLines(), QStringLiteral("first\nsecond\n"));
        collector.append(QByteArray(7990, 'x') + "\nlast\n");
        QCOMPARE(collector.text().size(), 8000);
        // "ond\n" is what the cut left of "second\n".
        QVERIFY(collector.text().startsWith(QStringLiteral("ond\n")));
        QCOMPARE(collector.wholeLines(), QString(7990, u'x') + QStringLiteral("\nlast\n"));
    }

    void tailDropsUndecodableChunks()
    {
        OutputTailCollector collector;
        collector.append("first\n");
        collector.append("bad \xff\xfe bytes\n");
        collector.append("last\n");
        QCOMPARE(collector.text(), QStringLiteral("first\nlast\n"));
    }

    void tailNeverStartsWithHalfACharacter()
    {
        QString text = QStringLiteral("a");
        for (int i = 0; i < 4000; ++i)
            text += QStringLiteral("😀");
        OutputTailCollector collector;
        collector.append((text + u'b').toUtf8());
        const QString kept = collector.text();
        QCOMPARE(kept.size(), 7999);
        QVERIFY(kept.front().isHighSurrogate());
        QVERIFY(kept.endsWith(QStringLiteral("😀b")));
    }

    void lineSplitterKeepsLinesWhole()
    {
        LineSplitter splitter;
        QCOMPARE(splitter.feed("one\ntw"), QList<QByteArray>{"one\n"});
        QCOMPARE(splitter.feed("o\r\nthree"), QList<QByteArray>{"two\r\n"});
        QCOMPARE(splitter.feed("\n\n"), (QList<QByteArray>{"three\n", "\n"}));
        QCOMPARE(splitter.finish(), QList<QByteArray>{});
        splitter.feed("unterminated");
        QCOMPARE(splitter.finish(), QList<QByteArray>{"unterminated"});
    }

    void lineSplitterBoundsAnEndlessLine()
    {
        LineSplitter splitter;
        const QByteArray block(LineSplitter::maxPendingBytes / 2 + 1, 'x');
        QVERIFY(splitter.feed(block).isEmpty());
        const QList<QByteArray> lines = splitter.feed(block);
        QCOMPARE(lines, QList<QByteArray>{block + block});
        QCOMPARE(splitter.finish(), QList<QByteArray>{});
    }

    void commandLineQuotesWhatAShellWouldRead()
    {
        QCOMPARE(
            FFmpegService::commandLineString(QStringLiteral("/usr/local/bin/ffmpeg"),
                                             {QStringLiteral("-i"), video, QStringLiteral("-y"),
                                              QStringLiteral("pipe:1"), QStringLiteral("0:a:0"), QString()}),
            QStringLiteral(
                "/usr/local/bin/ffmpeg -i '/Volumes/My Card/CONTENTS/VIDEO/0001AB.MXF' -y pipe:1 0:a:0 ''"));
        QCOMPARE(FFmpegService::commandLineString(QStringLiteral("/opt/my tools/ffmpeg"),
                                                  {QStringLiteral("a\"b"), QStringLiteral("it's"),
                                                   QStringLiteral("$x;y"), QStringLiteral("ünï")}),
                 QStringLiteral("'/opt/my tools/ffmpeg' 'a\"b' 'it'\\''s' '$x;y' 'ünï'"));
    }

    void commandLineShowsControlCharactersEscaped()
    {
        QCOMPARE(
            FFmpegService::commandLineString(
                QStringLiteral("/usr/bin/ffmpeg"),
                {QStringLiteral("/card/0001AB\n[00:00:00] forged.MXF"), QStringLiteral("\x1b[2Jclear\tme")}),
            QStringLiteral("/usr/bin/ffmpeg '/card/0001AB\\n[00:00:00] forged.MXF' '\\x1b[2Jclear\\tme'"));
    }

    // Pasted into a POSIX shell, the logged command runs with exactly its arguments.
    void commandLineRunsExactlyInAShell()
    {
        const QStringList arguments{QStringLiteral("%s|"),
                                    QStringLiteral("-My Card \"Q\" $HOME; ünï"),
                                    QStringLiteral("it's"),
                                    QStringLiteral("`id` $(id) \\ * ? ~ & ! #"),
                                    QString(),
                                    QStringLiteral("a=b,c+d@e%f:g/h.i_j-k")};
        QProcess shell;
        shell.start(
            QStringLiteral("/bin/sh"),
            {QStringLiteral("-c"), FFmpegService::commandLineString(QStringLiteral("printf"), arguments)});
        QVERIFY(shell.waitForFinished());
        QCOMPARE(shell.exitCode(), 0);
        QStringList expected;
        for (const QString& argument : arguments.mid(1))
            expected.append(argument + QLatin1Char('|'));
        QCOMPARE(QString::fromUtf8(shell.readAllStandardOutput()), expected.join(QString()));
    }

    void failureReasonIsTheLastErrorLine_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("cause at the end")
            << "Input #0, mxf, from '/card/VIDEO/0001AB.MXF':\n  Duration: 00:00:00.10\n"
               "frame=    2 fps=0.0 q=-0.0 size=       0kB\n"
               "[mov @ 0x55] Error writing trailer of /out/.001.mov.partial: No space left on device\n"
               "Error closing file /out/.001.mov.partial: No space left on device\n\n"
               "size=     512kB time=00:00:00.06\n"
            << "Error closing file /out/.001.mov.partial: No space left on device";
        QTest::newRow("metadata after the cause")
            << "[mxf @ 0x5] broken index\nOutput #0, mov, to '/out/.1.mov.partial':\n  Metadata:\n"
               "    file_package_umid: 0x060A2B34\n    encoder         : Lavc59.37.100 prores_ks\n"
               "Stream mapping:\n  Stream #0:0 -> #0:0 (dvvideo (native) -> prores (prores_ks))\n"
               "Press [q] to stop, [?] for help\n"
            << "[mxf @ 0x5] broken index";
        QTest::newRow("banner and metadata only")
            << "ffmpeg version 5.1.6-0+deb12u1 Copyright (c) 2000-2024 the FFmpeg developers\n"
               "  built with gcc 12 (Debian 12.2.0-14)\n  Metadata:\n    encoder : Lavc59\n"
            << "";
        QTest::newRow("generic close after the cause")
            << "/card/VIDEO/0001AB.MXF: Invalid data found when processing input\nConversion failed!\n"
            << "/card/VIDEO/0001AB.MXF: Invalid data found when processing input";
        QTest::newRow("carriage return") << "Error opening output files: No space left on device\r\n"
                                         << "Error opening output files: No space left on device";
        QTest::newRow("one line") << "Conversion failed!\n"
                                  << "Conversion failed!";
        QTest::newRow("nothing said") << "\n \n\n"
                                      << "";
        QTest::newRow("empty") << ""
                               << "";
    }

    void failureReasonIsTheLastErrorLine()
    {
        QFETCH(QString, output);
        QFETCH(QString, expected);
        QCOMPARE(ToolText::lastErrorLine(output), expected);
    }

    void videoFramesAreRead_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("frames");
        QTest::addColumn<double>("rate");
        QTest::newRow("ntsc") << "avg_frame_rate=30000/1001\nnb_frames=7\n" << qint64(7) << 30000.0 / 1001;
        QTest::newRow("order") << "nb_frames=15\navg_frame_rate=25/1\n" << qint64(15) << 25.0;
        QTest::newRow("no count") << "avg_frame_rate=25/1\nnb_frames=N/A\n" << qint64(-1) << 0.0;
        QTest::newRow("no rate") << "avg_frame_rate=0/0\nnb_frames=3\n" << qint64(-1) << 0.0;
        QTest::newRow("nothing") << "" << qint64(-1) << 0.0;
    }

    void videoFramesAreRead()
    {
        QFETCH(QString, text);
        QFETCH(qint64, frames);
        QFETCH(double, rate);
        const std::optional<FFmpegService::VideoFrames> read = FFmpegService::parseVideoFrames(text);
        if (frames < 0) {
            QVERIFY(!read);
            return;
        }
        QVERIFY(read);
        QCOMPARE(read->frames, frames);
        QCOMPARE(read->rate, rate);
    }

    void truncation_data()
    {
        using Frames = OptionalFrames;
        QTest::addColumn<Frames>("frames");
        QTest::addColumn<OptionalDouble>("sourceSeconds");
        QTest::addColumn<QString>("expected");
        const Frames pal15{{15, 25.0}};
        QTest::newRow("whole") << pal15 << std::optional(0.6) << QString();
        QTest::newRow("one frame short is rounding") << Frames{{14, 25.0}} << std::optional(0.6) << QString();
        QTest::newRow("two frames short")
            << Frames{{13, 25.0}} << std::optional(0.6)
            << "output has 13 of 15 frames — the VIDEO file looks truncated; the movie was kept, as it is "
               "all that could be recovered";
        QTest::newRow("ntsc") << Frames{{7, 30000.0 / 1001}} << std::optional(10.01)
                              << "output has 7 of 300 frames — the VIDEO file looks truncated; the movie "
                                 "was kept, as it is all that could be recovered";
        QTest::newRow("longer than the source") << Frames{{20, 25.0}} << std::optional(0.6) << QString();
        QTest::newRow("frames unknown") << Frames{} << std::optional(0.6) << QString();
        QTest::newRow("duration unknown") << Frames{{1, 25.0}} << std::optional<double>() << QString();
        QTest::newRow("duration zero") << Frames{{1, 25.0}} << std::optional(0.0) << QString();
    }

    void truncation()
    {
        QFETCH(OptionalFrames, frames);
        QFETCH(OptionalDouble, sourceSeconds);
        QFETCH(QString, expected);
        const std::optional<FFmpegError> error = FFmpegService::truncation(frames, sourceSeconds);
        QCOMPARE(error ? error->description() : QString(), expected);
    }

    void truncationSaysWhatWasKept()
    {
        QCOMPARE(
            FFmpegError::truncated(7, 15).description(),
            QStringLiteral("output has 7 of 15 frames — the VIDEO file looks truncated; the movie was kept, "
                           "as it is all that could be recovered"));
        QCOMPARE(FFmpegError::stalled().description(), QStringLiteral("ffmpeg stopped making progress"));
    }

    void toolPathsAreAbsolute()
    {
        const QString here = QDir::currentPath();
        QCOMPARE(ToolText::toolPath(QStringLiteral("-card/VIDEO/0001AB.MXF")),
                 here + QStringLiteral("/-card/VIDEO/0001AB.MXF"));
        QCOMPARE(ToolText::toolPath(QStringLiteral("take1:A")), here + QStringLiteral("/take1:A"));
        QCOMPARE(ToolText::toolPath(QStringLiteral("/Volumes/My Card/0001AB.MXF")),
                 QStringLiteral("/Volumes/My Card/0001AB.MXF"));
    }

    void binaryNotFoundNamesThePlatformsInstallCommand()
    {
        QCOMPARE(FFmpegError::binaryNotFoundDescription(Platform::factsFor(Platform::Kind::macOS, {})),
                 QStringLiteral("ffmpeg was not found. Install it with: brew install ffmpeg"));
        QCOMPARE(FFmpegError::binaryNotFoundDescription(
                     Platform::factsFor(Platform::Kind::linuxDesktop, QStringLiteral("/home/a/Videos"))),
                 QStringLiteral("ffmpeg was not found. Install it with: sudo apt install ffmpeg"));
    }

    void errorDescriptions()
    {
        QCOMPARE(FFmpegError::processFailed(1, QStringLiteral("X")).description(),
                 QStringLiteral("ffmpeg exited with code ") + QString::number(1) + QStringLiteral(": ") +
                     QStringLiteral("X"));
        QCOMPARE(FFmpegError::processFailed(-11, QStringLiteral("%1 tail\n")).description(),
                 QStringLiteral("ffmpeg exited with code -11: %1 tail\n"));
        QCOMPARE(FFmpegError::processFailed(1, {}).description(),
                 QStringLiteral("ffmpeg exited with code 1"));
        QCOMPARE(FFmpegError::signalled(9, QStringLiteral("ignored")).description(),
                 QStringLiteral("ffmpeg was killed (SIGKILL) — possibly out of memory"));
        QCOMPARE(FFmpegError::signalled(11, QStringLiteral("[h264 @ 0x1] last words")).description(),
                 QStringLiteral("ffmpeg was stopped by a signal (SIGSEGV): [h264 @ 0x1] last words"));
        QCOMPARE(FFmpegError::signalled(15, {}).description(),
                 QStringLiteral("ffmpeg was stopped by a signal (SIGTERM)"));
        QCOMPARE(FFmpegError::signalled(15, {}).kind(), FFmpegError::Kind::signalled);
        QCOMPARE(FFmpegError::signalName(6), QStringLiteral("SIGABRT"));
        QCOMPARE(FFmpegError::signalName(200), QStringLiteral("signal 200"));
        QCOMPARE(FFmpegError::binaryNotFound().description(),
                 QStringLiteral("ffmpeg was not found. Install it with: sudo apt install ffmpeg"));
        QCOMPARE(FFmpegError::cancelled().description(), QStringLiteral("Cancelled"));
        QCOMPARE(FFmpegError::outputMissingOrEmpty().description(),
                 QStringLiteral("Output file was not created or is empty"));
        const FFmpegError error = FFmpegError::processFailed(2, QStringLiteral("ünï"));
        QCOMPARE(QString::fromUtf8(error.what()), error.description());
        QCOMPARE(error.kind(), FFmpegError::Kind::processFailed);
        QCOMPARE(error.code(), 2);
        QCOMPARE(error.output(), QStringLiteral("ünï"));
    }

    void probeDecodesEveryListedField()
    {
        const std::optional<MediaProbe> probe = MediaProbe::fromJson(probeJson);
        QVERIFY(probe);
        QCOMPARE(probe->streams.size(), 4);
        const StreamInfo& video = probe->streams[0];
        QCOMPARE(video.index, 0);
        QCOMPARE(video.codecType, QStringLiteral("video"));
        QCOMPARE(video.codecName, QStringLiteral("dvvideo"));
        QCOMPARE(video.codecLongName, QStringLiteral("DV (Digital Video)"));
        QCOMPARE(video.width, 720);
        QCOMPARE(video.height, 480);
        QCOMPARE(video.duration, QStringLiteral("0.100100"));
        QCOMPARE(video.startTime, QStringLiteral("0.000000"));
        QCOMPARE(video.bitRate, QStringLiteral("28771200"));
        QCOMPARE(video.channels, std::nullopt);
        QCOMPARE(video.tags, std::nullopt);
        const StreamInfo& audio = probe->streams[2];
        QCOMPARE(audio.sampleRate, QStringLiteral("48000"));
        QCOMPARE(audio.sampleFmt, QStringLiteral("s16"));
        QCOMPARE(audio.channels, 1);
        QCOMPARE(audio.bitsPerSample, 16);
        QCOMPARE(audio.tags,
                 (MediaTags{{QStringLiteral("file_package_umid"), QStringLiteral("0x060A2B34")}}));
        QCOMPARE(probe->format.filename, QStringLiteral("/card/0001AB.MXF"));
        QCOMPARE(probe->format.duration, QStringLiteral("0.100100"));
        QCOMPARE(probe->format.size, QStringLiteral("361984"));
        QCOMPARE(probe->format.bitRate, QStringLiteral("28929398"));
        QCOMPARE(probe->format.tags->value(QStringLiteral("timecode")), QStringLiteral("01:00:00:00"));
    }

    void streamWithoutTypeIsKeptButNeverPrimaryAudio()
    {
        const std::optional<MediaProbe> probe = MediaProbe::fromJson(probeJson);
        QVERIFY(probe);
        QCOMPARE(probe->streams[1].index, 1);
        QCOMPARE(probe->streams[1].codecType, std::nullopt);
        QCOMPARE(probe->primaryAudioStream()->index, 2);

        const auto typeless =
            MediaProbe::fromJson(R"({"streams": [{"index": 0, "channels": 1}], "format": {}})");
        QVERIFY(typeless);
        QCOMPARE(typeless->primaryAudioStream(), std::nullopt);
    }

    void probeRejectsMissingOrMistypedKeys_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("streams missing") << QByteArray(R"({"format": {"filename": "x"}})");
        QTest::newRow("format missing") << QByteArray(R"({"streams": []})");
        QTest::newRow("index missing")
            << QByteArray(R"({"streams": [{"codec_type": "video"}], "format": {}})");
        QTest::newRow("index null") << QByteArray(R"({"streams": [{"index": null}], "format": {}})");
        QTest::newRow("index fraction") << QByteArray(R"({"streams": [{"index": 1.5}], "format": {}})");
        QTest::newRow("channels as text")
            << QByteArray(R"({"streams": [{"index": 0, "channels": "2"}], "format": {}})");
        QTest::newRow("sample rate as number")
            << QByteArray(R"({"streams": [{"index": 0, "sample_rate": 48000}], "format": {}})");
        QTest::newRow("duration as number") << QByteArray(R"({"streams": [], "format": {"duration": 10.5}})");
        QTest::newRow("tag value not text")
            << QByteArray(R"({"streams": [], "format": {"tags": {"timecode": 1}}})");
        QTest::newRow("tags not an object") << QByteArray(R"({"streams": [], "format": {"tags": []}})");
        QTest::newRow("streams not a list") << QByteArray(R"({"streams": {}, "format": {}})");
        QTest::newRow("not JSON") << QByteArray("Invalid data found when processing input");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("white space") << QByteArray(" \n");
    }
    void probeRejectsMissingOrMistypedKeys()
    {
        QFETCH(QByteArray, json);
        QCOMPARE(MediaProbe::fromJson(json), std::nullopt);
    }

    void probeIgnoresUnlistedKeysAndNulls()
    {
        const auto probe = MediaProbe::fromJson(
            R"({"streams": [{"index": 3, "codec_name": null, "extra": [1, 2]}], "format": {"probe_score": 100}, "chapters": []})");
        QVERIFY(probe);
        QCOMPARE(probe->streams[0].index, 3);
        QCOMPARE(probe->streams[0].codecName, std::nullopt);
    }

    void probeEncodesWithTheSameKeys()
    {
        const std::optional<MediaProbe> probe = MediaProbe::fromJson(probeJson);
        QVERIFY(probe);
        const QJsonObject json = probe->toJson();
        const QJsonObject audio = json[QStringLiteral("streams")].toArray()[2].toObject();
        QCOMPARE(audio.keys(), (QStringList{"bits_per_sample", "channels", "codec_name", "codec_type",
                                            "index", "sample_fmt", "sample_rate", "tags"}));
        QCOMPARE(json[QStringLiteral("format")].toObject().keys(),
                 (QStringList{"bit_rate", "duration", "filename", "size", "tags"}));
        QCOMPARE(MediaProbe::fromJson(QJsonDocument(json).toJson()), probe);
    }

    void levelSummary_data()
    {
        QTest::addColumn<OptionalDouble>("mean");
        QTest::addColumn<OptionalDouble>("peak");
        QTest::addColumn<QString>("summary");
        QTest::newRow("near noise floor")
            << OptionalDouble(-60.2) << OptionalDouble(-48.0)
            << "mean -60.2 dBFS, peak -48.0 dBFS — near noise floor, likely unused input";
        QTest::newRow("exactly -55") << OptionalDouble(-55.0) << OptionalDouble(-40.0)
                                     << "mean -55.0 dBFS, peak -40.0 dBFS";
        QTest::newRow("rounded") << OptionalDouble(-20.04) << OptionalDouble(-0.96)
                                 << "mean -20.0 dBFS, peak -1.0 dBFS";
        QTest::newRow("loud peak, quiet mean")
            << OptionalDouble(-91.0) << OptionalDouble(-3.0)
            << "mean -91.0 dBFS, peak -3.0 dBFS — near noise floor, likely unused input";
        QTest::newRow("mean missing") << OptionalDouble() << OptionalDouble(-48.0) << "unmeasured";
        QTest::newRow("peak missing") << OptionalDouble(-20.0) << OptionalDouble() << "unmeasured";
        QTest::newRow("nothing") << OptionalDouble() << OptionalDouble() << "unmeasured";
    }
    void levelSummary()
    {
        QFETCH(OptionalDouble, mean);
        QFETCH(OptionalDouble, peak);
        QFETCH(QString, summary);
        QCOMPARE((AudioLevel{mean, peak}.summary()), summary);
    }

    void levelParsing_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<OptionalDouble>("mean");
        QTest::addColumn<OptionalDouble>("peak");
        QTest::newRow("typical") << "[Parsed_volumedetect_0 @ 0x5581] n_samples: 4804\n"
                                    "[Parsed_volumedetect_0 @ 0x5581] mean_volume: -23.4 dB\n"
                                    "[Parsed_volumedetect_0 @ 0x5581] max_volume: -6.0 dB\n"
                                 << OptionalDouble(-23.4) << OptionalDouble(-6.0);
        QTest::newRow("digital silence") << "mean_volume: -inf dB\nmax_volume: -inf dB\n"
                                         << OptionalDouble() << OptionalDouble();
        QTest::newRow("very quiet") << "mean_volume: -91.0 dB\nmax_volume: -80.5 dB" << OptionalDouble(-91.0)
                                    << OptionalDouble(-80.5);
        QTest::newRow("later line wins")
            << "mean_volume: -10.0 dB\nmean_volume: -12.5 dB\nmax_volume: 0.0 dB\n"
            << OptionalDouble(-12.5) << OptionalDouble(0.0);
        QTest::newRow("no markers") << "Output file is empty, nothing was encoded\n"
                                    << OptionalDouble() << OptionalDouble();
        QTest::newRow("only peak") << "max_volume: -48.0 dB\n" << OptionalDouble() << OptionalDouble(-48.0);
    }
    void levelParsing()
    {
        QFETCH(QString, output);
        QFETCH(OptionalDouble, mean);
        QFETCH(OptionalDouble, peak);
        const AudioLevel level = AudioLevel::fromVolumeDetectOutput(output);
        QCOMPARE(level.meanDB, mean);
        QCOMPARE(level.maxDB, peak);
    }

    void levelsOfSeveralFiltersGoToTheirFiles()
    {
        const QString output = QStringLiteral("Input #0, mxf, from '/card/AUDIO/0001AB00.MXF':\n"
                                              "[Parsed_volumedetect_1 @ 0x55] n_samples: 4804\n"
                                              "[Parsed_volumedetect_1 @ 0x55] mean_volume: -12.0 dB\n"
                                              "[Parsed_volumedetect_1 @ 0x55] max_volume: -9.0 dB\n"
                                              "[Parsed_volumedetect_0 @ 0x54] mean_volume: -9.0 dB\n"
                                              "[Parsed_volumedetect_0 @ 0x54] max_volume: -6.0 dB\n"
                                              "[Parsed_volumedetect_7 @ 0x59] mean_volume: -1.0 dB\n"
                                              "[Parsed_volumedetect_x @ 0x59] max_volume: -1.0 dB\n");
        const QList<AudioLevel> levels = AudioLevel::fromVolumeDetectOutputs(output, 3);
        QCOMPARE(levels.size(), 3);
        QCOMPARE(levels.at(0), (AudioLevel{-9.0, -6.0}));
        QCOMPARE(levels.at(1), (AudioLevel{-12.0, -9.0}));
        // A filter that said nothing leaves its file unmeasured; one beyond the count is ignored.
        QCOMPARE(levels.at(2), AudioLevel{});
        // A single file's statistics, named or not, are the first file's.
        QCOMPARE(AudioLevel::fromVolumeDetectOutputs(QStringLiteral("mean_volume: -3.0 dB\n"), 1),
                 (QList<AudioLevel>{{-3.0, std::nullopt}}));
        QCOMPARE(AudioLevel::fromVolumeDetectOutputs(output, 0), QList<AudioLevel>());
    }

    void digitalSilenceIsUnmeasured()
    {
        QCOMPARE(
            AudioLevel::fromVolumeDetectOutput(QStringLiteral("mean_volume: -inf dB\nmax_volume: -inf dB\n"))
                .summary(),
            QStringLiteral("unmeasured"));
    }

    void proResProfiles()
    {
        QCOMPARE(ProResProfiles::all,
                 (std::array{ProResProfile::proxy, ProResProfile::standard, ProResProfile::hq}));
        QCOMPARE(ProResProfiles::rawValue(ProResProfile::proxy), 0);
        QCOMPARE(ProResProfiles::rawValue(ProResProfile::standard), 2);
        QCOMPARE(ProResProfiles::rawValue(ProResProfile::hq), 3);
        QCOMPARE(ProResProfiles::label(ProResProfile::proxy), QStringLiteral("ProRes 422 Proxy"));
        QCOMPARE(ProResProfiles::label(ProResProfile::standard), QStringLiteral("ProRes 422"));
        QCOMPARE(ProResProfiles::label(ProResProfile::hq), QStringLiteral("ProRes 422 HQ"));
        QCOMPARE(ProResProfiles::fromRawValue(0), ProResProfile::proxy);
        QCOMPARE(ProResProfiles::fromRawValue(2), ProResProfile::standard);
        QCOMPARE(ProResProfiles::fromRawValue(3), ProResProfile::hq);
        QCOMPARE(ProResProfiles::fromRawValue(1), std::nullopt);
        QCOMPARE(ProResProfiles::fromRawValue(4), std::nullopt);
        QCOMPARE(ProResProfiles::fromRawValue(-1), std::nullopt);
    }

    void argumentsWithoutAudio()
    {
        QCOMPARE(FFmpegService::buildArguments(video, {}, 0, ProResProfile::standard, std::nullopt, output),
                 QStringList({"-hide_banner", "-y", "-nostdin", "-i", video, "-map", "0:v:0"}) +
                     encoderTail("2", false, "00:00:00:00"));
    }

    void argumentsWithThreeAudioFilesAndPositiveOffset()
    {
        const QStringList audio = audioFiles(3);
        QCOMPARE(
            FFmpegService::buildArguments(video, audio, 0.25, ProResProfile::standard,
                                          QStringLiteral("01:00:00:00"), output),
            QStringList({"-hide_banner", "-y",     "-nostdin",   "-i",   video,   "-itsoffset", "0.25",
                         "-i",           audio[0], "-itsoffset", "0.25", "-i",    audio[1],     "-itsoffset",
                         "0.25",         "-i",     audio[2],     "-map", "0:v:0", "-map",       "1:a:0",
                         "-map",         "2:a:0",  "-map",       "3:a:0"}) +
                encoderTail("2", true, "01:00:00:00"));
    }

    void argumentsWithNegativeOffsetSeekIntoEachAudio()
    {
        const QStringList audio = audioFiles(2);
        const QStringList arguments =
            FFmpegService::buildArguments(video, audio, -1, ProResProfile::hq, std::nullopt, output);
        QCOMPARE(arguments, QStringList({"-hide_banner", "-y", "-nostdin", "-i", video, "-ss", "1.0", "-i",
                                         audio[0], "-ss", "1.0", "-i", audio[1], "-map", "0:v:0", "-map",
                                         "1:a:0", "-map", "2:a:0"}) +
                                encoderTail("3", true, "00:00:00:00"));
        QVERIFY(!arguments.contains(QStringLiteral("-itsoffset")));
    }

    void pictureCodingFollowsTheSource_data()
    {
        QTest::addColumn<StreamInfo>("stream");
        QTest::addColumn<PictureCoding>("expected");
        const auto stream = [](int height, const QString& fieldOrder, const QString& primaries = "unknown",
                               const QString& transfer = "unknown", const QString& matrix = "unknown") {
            StreamInfo info;
            info.height = height;
            info.fieldOrder = fieldOrder;
            info.colorPrimaries = primaries;
            info.colorTransfer = transfer;
            info.colorSpace = matrix;
            return info;
        };
        QTest::newRow("1080i top first")
            << stream(1080, "tt") << PictureCoding{true, "bt709", "bt709", "bt709"};
        QTest::newRow("720p") << stream(720, "progressive")
                              << PictureCoding{false, "bt709", "bt709", "bt709"};
        QTest::newRow("480i bottom first")
            << stream(480, "bb") << PictureCoding{true, "smpte170m", "smpte170m", "smpte170m"};
        QTest::newRow("486 lines") << stream(486, "bt")
                                   << PictureCoding{true, "smpte170m", "smpte170m", "smpte170m"};
        QTest::newRow("576i") << stream(576, "tb") << PictureCoding{true, "bt470bg", "bt470bg", "bt470bg"};
        QTest::newRow("field order unknown")
            << stream(1080, "unknown") << PictureCoding{false, "bt709", "bt709", "bt709"};
        QTest::newRow("colour stated")
            << stream(1080, "tt", "bt2020", "arib-std-b67", "bt2020nc") << PictureCoding{true, {}, {}, {}};
        QTest::newRow("matrix alone stated") << stream(576, "progressive", "unknown", "", "bt709")
                                             << PictureCoding{false, "bt470bg", "bt470bg", {}};
        QTest::newRow("height unknown") << StreamInfo{} << PictureCoding{};
    }

    void pictureCodingFollowsTheSource()
    {
        QFETCH(StreamInfo, stream);
        QFETCH(PictureCoding, expected);
        QCOMPARE(PictureCoding::fromStream(stream), expected);
    }

    void anInterlacedSourceIsCodedInterlacedWithItsColour()
    {
        const PictureCoding picture{true, "smpte170m", "smpte170m", {}};
        QStringList tail = encoderTail("2", false, "00:00:00:00");
        tail.insert(8, "-flags");
        tail.insert(9, "+ildct");
        QCOMPARE(FFmpegService::buildArguments(video, {}, 0, ProResProfile::standard, std::nullopt, output,
                                               picture),
                 QStringList({"-hide_banner", "-y", "-nostdin", "-i", video, "-map", "0:v:0", "-vf",
                              "setparams=color_primaries=smpte170m:color_trc=smpte170m"}) +
                     tail);
        // A progressive source whose colour is stated is converted as before.
        QCOMPARE(FFmpegService::buildArguments(video, {}, 0, ProResProfile::standard, std::nullopt, output,
                                               PictureCoding{}),
                 FFmpegService::buildArguments(video, {}, 0, ProResProfile::standard, std::nullopt, output));
    }

    void aJoinedShotStatesItsColourAfterTheJoin()
    {
        const QList<EssenceInputs> pieces{{QStringLiteral("/card/VIDEO/0158Q5.MXF"), {}},
                                          {QStringLiteral("/card/VIDEO/0159E2.MXF"), {}}};
        const QStringList arguments =
            FFmpegService::buildJoinArguments(pieces, 0, ProResProfile::standard, std::nullopt, output,
                                              PictureCoding{true, "bt709", "bt709", "bt709"});
        const qsizetype graph = arguments.indexOf("-filter_complex") + 1;
        QVERIFY(graph > 0);
        QCOMPARE(arguments[graph],
                 "[0:v:0][1:v:0]concat=n=2:v=1:a=0[j];[j]setparams=color_primaries=bt709:color_trc=bt709:"
                 "colorspace=bt709[v]");
        QCOMPARE(arguments.mid(graph + 1, 2), QStringList({"-map", "[v]"}));
        QVERIFY(arguments.join(' ').contains("-vendor apl0 -flags +ildct -timecode"));
    }

    void clipMetadataIsOneArgumentPerValueWithoutControlCharacters()
    {
        MovieMetadata metadata;
        metadata.reelName = "0001AB";
        metadata.entries = {{"title", "A \"quoted\" $HOME title\nsecond line\t"},
                            {"comment", "\x01\x1f"},
                            {"make", " -Panasonic "}};
        const QStringList arguments = FFmpegService::buildArguments(video, {}, 0, ProResProfile::standard,
                                                                    std::nullopt, output, {}, metadata);
        const qsizetype start = arguments.indexOf("-map_metadata");
        QVERIFY(start > 0);
        QCOMPARE(arguments.mid(start, arguments.indexOf("-progress") - start),
                 QStringList({"-map_metadata", "-1", "-movflags", "+use_metadata_tags", "-metadata:s:v:0",
                              "reel_name=0001AB", "-metadata", "title=A \"quoted\" $HOME titlesecond line",
                              "-metadata", "make=-Panasonic"}));
        // Without metadata the command is as it always was.
        QVERIFY(!FFmpegService::buildArguments(video, {}, 0, ProResProfile::standard, std::nullopt, output,
                                               {}, MovieMetadata{})
                     .contains("-map_metadata"));
    }

    void joinedPiecesAreOneInputPerFileThroughTheConcatFilter()
    {
        const QList<EssenceInputs> pieces{
            {QStringLiteral("/card/VIDEO/0158Q5.MXF"),
             {QStringLiteral("/card/AUDIO/0158Q500.MXF"), QStringLiteral("/card/AUDIO/0158Q501.MXF")}},
            {QStringLiteral("/card/VIDEO/0159E2.MXF"),
             {QStringLiteral("/card/AUDIO/0159E200.MXF"), QStringLiteral("/card/AUDIO/0159E201.MXF")}}};
        QCOMPARE(FFmpegService::buildJoinArguments(pieces, 0, ProResProfile::standard,
                                                   QStringLiteral("01:00:00:00"), output),
                 QStringList({"-hide_banner",
                              "-y",
                              "-nostdin",
                              "-i",
                              "/card/VIDEO/0158Q5.MXF",
                              "-i",
                              "/card/AUDIO/0158Q500.MXF",
                              "-i",
                              "/card/AUDIO/0158Q501.MXF",
                              "-i",
                              "/card/VIDEO/0159E2.MXF",
                              "-i",
                              "/card/AUDIO/0159E200.MXF",
                              "-i",
                              "/card/AUDIO/0159E201.MXF",
                              "-filter_complex",
                              "[0:v:0][1:a:0][2:a:0][3:v:0][4:a:0][5:a:0]concat=n=2:v=1:a=2[v][a1][a2]",
                              "-map",
                              "[v]",
                              "-map",
                              "[a1]",
                              "-map",
                              "[a2]"}) +
                     encoderTail("2", true, "01:00:00:00"));
    }

    void joinedVideoOnlyPiecesHaveNoAudioAtAll()
    {
        const QList<EssenceInputs> pieces{
            {video, {}}, {video + QStringLiteral("2"), {}}, {video + QStringLiteral("3"), {}}};
        QCOMPARE(
            FFmpegService::buildJoinArguments(pieces, 0.5, ProResProfile::hq, std::nullopt, output),
            QStringList({"-hide_banner", "-y", "-nostdin", "-i", video, "-i", video + "2", "-i", video + "3",
                         "-filter_complex", "[0:v:0][1:v:0][2:v:0]concat=n=3:v=1:a=0[v]", "-map", "[v]"}) +
                encoderTail("3", false, "00:00:00:00"));
    }

    void aJoinedShotsOffsetShiftsTheJoinedTracksOnce_data()
    {
        QTest::addColumn<double>("offset");
        QTest::addColumn<QString>("graph");
        QTest::newRow("delay")
            << 0.25
            << QStringLiteral("[0:v:0][1:a:0]concat=n=1:v=1:a=1[v][a1];[a1]adelay=delays=250.0:all=1[s1]");
        QTest::newRow("cut") << -1.0
                             << QStringLiteral(
                                    "[0:v:0][1:a:0]concat=n=1:v=1:a=1[v][a1];[a1]atrim=start=1.0,asetpts=PTS-"
                                    "STARTPTS[s1]");
    }

    void aJoinedShotsOffsetShiftsTheJoinedTracksOnce()
    {
        QFETCH(double, offset);
        QFETCH(QString, graph);
        const QStringList arguments = FFmpegService::buildJoinArguments(
            {{video, audioFiles(1)}}, offset, ProResProfile::proxy, std::nullopt, output);
        QCOMPARE(arguments.mid(0, 10), QStringList({"-hide_banner", "-y", "-nostdin", "-i", video, "-i",
                                                    audioFiles(1)[0], "-filter_complex", graph, "-map"}));
        QCOMPARE(arguments.mid(10, 3), QStringList({"[v]", "-map", "[s1]"}));
        QVERIFY(!arguments.contains(QStringLiteral("-itsoffset")));
        QVERIFY(!arguments.contains(QStringLiteral("-ss")));
    }

    void offsetIsWrittenShortest_data()
    {
        QTest::addColumn<double>("offset");
        QTest::addColumn<QStringList>("offsetArguments");
        QTest::newRow("zero") << 0.0 << QStringList();
        QTest::newRow("half") << 0.5 << QStringList{"-itsoffset", "0.5"};
        QTest::newRow("two") << 2.0 << QStringList{"-itsoffset", "2.0"};
        QTest::newRow("tenth") << 0.1 << QStringList{"-itsoffset", "0.1"};
        QTest::newRow("minus two and a half") << -2.5 << QStringList{"-ss", "2.5"};
        QTest::newRow("minus a third") << -1.0 / 3 << QStringList{"-ss", "0.3333333333333333"};
    }
    void offsetIsWrittenShortest()
    {
        QFETCH(double, offset);
        QFETCH(QStringList, offsetArguments);
        const QStringList audio = audioFiles(1);
        QCOMPARE(
            FFmpegService::buildArguments(video, audio, offset, ProResProfile::standard, std::nullopt, output)
                .mid(5, offsetArguments.size() + 2),
            (offsetArguments + QStringList{"-i", audio[0]}));
    }

    void profileNumbers_data()
    {
        QTest::addColumn<ProResProfile>("profile");
        QTest::addColumn<QString>("number");
        QTest::newRow("proxy") << ProResProfile::proxy << "0";
        QTest::newRow("standard") << ProResProfile::standard << "2";
        QTest::newRow("hq") << ProResProfile::hq << "3";
    }
    void profileNumbers()
    {
        QFETCH(ProResProfile, profile);
        QFETCH(QString, number);
        const QStringList arguments =
            FFmpegService::buildArguments(video, {}, 0, profile, std::nullopt, output);
        QCOMPARE(arguments.mid(arguments.indexOf(QStringLiteral("-profile:v")), 2),
                 (QStringList{"-profile:v", number}));
    }

    void awkwardPathsStaySingleArguments()
    {
        const QString odd = QStringLiteral("/tmp/-a \"b\" $c; ü/-0001AB.MXF");
        const QStringList arguments =
            FFmpegService::buildArguments(odd, {odd}, 0, ProResProfile::standard, std::nullopt, odd);
        QCOMPARE(arguments.count(odd), 3);
        QCOMPARE(arguments.last(), odd);
    }

    void progressTime_data()
    {
        QTest::addColumn<QString>("chunk");
        QTest::addColumn<OptionalDouble>("seconds");
        QTest::newRow("both lines")
            << "frame=150\nout_time_ms=5000000\nout_time=00:00:05.000000\nprogress=continue\n"
            << OptionalDouble(5.0);
        QTest::newRow("microseconds only") << "out_time_ms=1500000\n" << OptionalDouble(1.5);
        QTest::newRow("time only") << "out_time=00:01:02.500000" << OptionalDouble(62.5);
        QTest::newRow("not available") << "out_time=N/A\n" << OptionalDouble();
        QTest::newRow("microseconds not available") << "out_time_ms=N/A\nout_time=00:00:03.000000\n"
                                                    << OptionalDouble(3.0);
        QTest::newRow("last line wins") << "out_time_ms=1000000\nout_time_ms=2000000\nout_time=N/A\n"
                                        << OptionalDouble(2.0);
        QTest::newRow("no time") << "frame=1\nprogress=continue\n" << OptionalDouble();
        QTest::newRow("empty") << "" << OptionalDouble();
    }
    void progressTime()
    {
        QFETCH(QString, chunk);
        QFETCH(OptionalDouble, seconds);
        QCOMPARE(FFmpegService::parseOutTimeSeconds(chunk), seconds);
    }

    void unfinishedOutput_data()
    {
        QTest::addColumn<QString>("diagnostics");
        QTest::addColumn<bool>("unfinished");
        QTest::newRow("trailer not written") << "frame=   11 fps=0.0\nError writing trailer of "
                                                "/out/.001.mov.partial: No space left on device\n"
                                             << true;
        QTest::newRow("file not closed")
            << "video:337kB audio:0kB\nError closing file /out/.001.mov.partial: "
               "File too large\nConversion failed!"
            << true;
        QTest::newRow("clean run") << "frame=  300 fps=25 q=-0.0 Lsize=  90000kB\nvideo:90000kB audio:0kB"
                                   << false;
        QTest::newRow("input file named like the message")
            << "Input #0, mxf, from '/card/Error writing trailer of.MXF':" << false;
        QTest::newRow("empty") << "" << false;
    }
    void unfinishedOutput()
    {
        QFETCH(QString, diagnostics);
        QFETCH(bool, unfinished);
        QCOMPARE(FFmpegService::reportsUnfinishedOutput(diagnostics), unfinished);
    }

    void timecodeSeconds_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<OptionalDouble>("seconds");
        QTest::newRow("fraction") << "00:01:02.500000" << OptionalDouble(62.5);
        QTest::newRow("hours") << "01:00:00" << OptionalDouble(3600);
        QTest::newRow("two parts") << "01:02" << OptionalDouble();
        QTest::newRow("four parts") << "00:00:00:00" << OptionalDouble();
        QTest::newRow("letters") << "aa:bb:cc" << OptionalDouble();
        QTest::newRow("empty part") << "00::01" << OptionalDouble();
        QTest::newRow("not available") << "N/A" << OptionalDouble();
    }
    void timecodeSeconds()
    {
        QFETCH(QString, text);
        QFETCH(OptionalDouble, seconds);
        QCOMPARE(FFmpegService::timecodeToSeconds(text), seconds);
    }

    void temporaryNameIsHiddenBesideTheOutput()
    {
        QCOMPARE(FFmpegService::temporaryPath(QStringLiteral("/out/05-01-2026/001.mov")),
                 QStringLiteral("/out/05-01-2026/.001.mov.partial"));
    }
};

int runParsersTests(int argc, char** argv)
{
    ParsersTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ParsersTest.moc"
