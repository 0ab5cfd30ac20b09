#include "PairingTestSupport.h"

#include "card/P2Scanner.h"
#include "card/PairingReport.h"
#include "media/FFmpegService.h"
#include "media/ProbeCache.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTest>

namespace PairingTestSupport {

ToolFolder::ToolFolder(const QString& ffprobeTarget)
{
    if (!dir_.isValid())
        return;
    if (!ffprobeTarget.isEmpty() && !QFile::link(ffprobeTarget, dir_.filePath(QStringLiteral("ffprobe"))))
        return;
    FFmpegService::setToolDirectoriesForTesting({dir_.path()});
    ready_ = FFmpegService::resolvedFFprobePath().has_value() == !ffprobeTarget.isEmpty();
}

ToolFolder::~ToolFolder()
{
    FFmpegService::setToolDirectoriesForTesting({});
}

QString realFFprobe()
{
    const QString path = SyntheticCard::ffprobePath();
    return QFileInfo(path).isExecutable() ? path : QString();
}

std::optional<SyntheticCard::WrittenCard> CardWriter::write(SyntheticCard::CardSpec plan)
{
    plan.verification = SyntheticCard::Verification::VideoAndFirstAudio;
    try {
        return SyntheticCard::write(plan, newFolder());
    } catch (const SyntheticCard::Error& error) {
        qWarning("Could not write the synthetic card: %s", error.what());
        return std::nullopt;
    }
}

QString CardWriter::newFolder()
{
    const QString path = dir_.filePath(QStringLiteral("card $%1 ‘été’").arg(++count_));
    QDir().mkpath(path);
    return path;
}

SyntheticCard::ClipSpec shortClip(int n, int audioCount)
{
    SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, audioCount);
    clip.frames = 1;
    return clip;
}

P2MetadataParser::PairingResult scanAndPair(const QString& root, bool allowUnsafeFallback)
{
    const P2CardStructure structure = P2Scanner::scan(root);
    // Every card of these tests is paired twice, with the MXF header reader and
    // with ffprobe alone, each with nothing remembered: the reports must not
    // differ by a byte.
    ProbeCache::reset(false);
    const QString withoutReader =
        reportText(QCoro::waitFor(P2MetadataParser::pairClips(structure, allowUnsafeFallback)));
    ProbeCache::reset(true);
    P2MetadataParser::PairingResult result =
        QCoro::waitFor(P2MetadataParser::pairClips(structure, allowUnsafeFallback));
    if (reportText(result) != withoutReader)
        QTest::qFail(qPrintable(QStringLiteral("the pairing report of %1 differs without the MXF header "
                                               "reader:\n%2\nwith it:\n%3")
                                    .arg(root, withoutReader, reportText(result))),
                     __FILE__, __LINE__);
    return result;
}

QString reportText(const P2MetadataParser::PairingResult& result)
{
    return PairingReport::text(result.summaryLines, result.entries);
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
}

} // namespace PairingTestSupport
