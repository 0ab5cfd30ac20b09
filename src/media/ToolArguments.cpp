#include "media/ToolArguments.h"

#include "media/ToolText.h"

#include <algorithm>

namespace ToolArguments {

QStringList probeFull(const QString& path)
{
    return {QStringLiteral("-hide_banner"),  QStringLiteral("-v"),
            QStringLiteral("error"),         QStringLiteral("-show_format"),
            QStringLiteral("-show_streams"), QStringLiteral("-print_format"),
            QStringLiteral("json"),          ToolText::toolPath(path)};
}

// One format-level field, bare: no section wrappers, no key name.
QStringList singleValue(const QString& entry, const QString& path)
{
    return {QStringLiteral("-hide_banner"),
            QStringLiteral("-v"),
            QStringLiteral("error"),
            QStringLiteral("-show_entries"),
            entry,
            QStringLiteral("-of"),
            QStringLiteral("default=noprint_wrappers=1:nokey=1"),
            ToolText::toolPath(path)};
}

QStringList audioStreamIndex(const QString& path)
{
    return {QStringLiteral("-hide_banner"),    QStringLiteral("-v"),  QStringLiteral("error"),
            QStringLiteral("-select_streams"), QStringLiteral("a"),   QStringLiteral("-show_entries"),
            QStringLiteral("stream=index"),    QStringLiteral("-of"), QStringLiteral("csv=p=0"),
            ToolText::toolPath(path)};
}

QStringList videoFrames(const QString& path)
{
    return {QStringLiteral("-hide_banner"),
            QStringLiteral("-v"),
            QStringLiteral("error"),
            QStringLiteral("-select_streams"),
            QStringLiteral("v:0"),
            QStringLiteral("-show_entries"),
            QStringLiteral("stream=nb_frames,avg_frame_rate"),
            QStringLiteral("-of"),
            QStringLiteral("default=noprint_wrappers=1"),
            ToolText::toolPath(path)};
}

// Each file goes once through its filter into the null muxer, so nothing is
// written; the statistics arrive on standard error. The filters read the same
// samples as "-af volumedetect" on one file would, so the levels are the same.
QStringList volumeDetect(const QStringList& paths)
{
    QStringList arguments{QStringLiteral("-hide_banner"), QStringLiteral("-nostdin")};
    QStringList graph;
    QStringList outputs;
    for (qsizetype i = 0; i < paths.size(); ++i) {
        arguments << QStringLiteral("-i") << ToolText::toolPath(paths.at(i));
        graph.append(QStringLiteral("[%1:a:0]volumedetect[level%1]").arg(i));
        outputs << QStringLiteral("-map") << QStringLiteral("[level%1]").arg(i) << QStringLiteral("-f")
                << QStringLiteral("null") << QStringLiteral("-");
    }
    arguments << QStringLiteral("-filter_complex") << graph.join(u';') << outputs;
    return arguments;
}

// Seeking before the input jumps to the nearest key frame without decoding
// what lies before it, so a frame from a long clip costs what one from a short one does.
QStringList thumbnailFrame(const QString& path, double seconds, int height)
{
    return {QStringLiteral("-hide_banner"),
            QStringLiteral("-v"),
            QStringLiteral("error"),
            QStringLiteral("-nostdin"),
            QStringLiteral("-ss"),
            QString::number(std::max(0.0, seconds), 'f', 3),
            QStringLiteral("-i"),
            ToolText::toolPath(path),
            QStringLiteral("-frames:v"),
            QStringLiteral("1"),
            QStringLiteral("-vf"),
            QStringLiteral("scale=-2:%1").arg(height),
            QStringLiteral("-f"),
            QStringLiteral("image2pipe"),
            QStringLiteral("-c:v"),
            QStringLiteral("png"),
            QStringLiteral("-")};
}

} // namespace ToolArguments
