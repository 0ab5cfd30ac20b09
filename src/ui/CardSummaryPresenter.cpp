#include "ui/CardSummaryPresenter.h"

#include "base/DisplayText.h"
#include "run/ConversionViewModel.h"
#include "ui/UiText.h"

#include <algorithm>
#include <QDir>

StructureBadge StructureBadge::make(const QString& title, bool found, qint64 count)
{
    return {title + (found ? QStringLiteral(" found") : QStringLiteral(" missing")),
            UiText::counted(count, QStringLiteral("file")),
            found ? QStringLiteral("emblem-success") : QStringLiteral("tolvane-circle-dashed"), found};
}

CardSummaryPresenter::CardSummaryPresenter(QObject* parent)
    : DriverPresenter({&ConversionViewModel::cardStructureChanged, &ConversionViewModel::clipsChanged,
                       &ConversionViewModel::excludedClipCountChanged},
                      parent)
{
}

bool CardSummaryPresenter::allVerified(const QList<P2Clip>& clips)
{
    return !clips.isEmpty() && std::all_of(clips.begin(), clips.end(),
                                           [](const P2Clip& clip) { return isVerified(clip.pairingMethod); });
}

CardStatus CardSummaryPresenter::statusFor(qsizetype clipCount, bool verified, qint64 excluded)
{
    const QString warningIcon = QStringLiteral("dialog-warning");
    if (clipCount == 0 && excluded >= 1)
        return {Tone::Value::negative, QStringLiteral("dialog-error"),
                QStringLiteral("No clips could be verified — see Advanced Details")};
    // The driver tells why a card holds nothing at all in its scan error.
    if (clipCount == 0)
        return {Tone::Value::caution, warningIcon, QStringLiteral("No clips to convert")};
    if (verified)
        return {Tone::Value::positive, QStringLiteral("security-high"),
                QStringLiteral("P2 card verified — ") + UiText::counted(clipCount, QStringLiteral("clip")) +
                    QStringLiteral(" ready")};
    const QString ready = UiText::counted(clipCount, QStringLiteral("clip")) + QStringLiteral(" ready — ");
    if (excluded < 1)
        return {Tone::Value::caution, warningIcon,
                ready + QStringLiteral("some used unsafe fallback pairing")};
    return {Tone::Value::caution, warningIcon,
            ready + QString::number(excluded) + QStringLiteral(" need attention")};
}

QString CardSummaryPresenter::cardNameOf(const QString& rootPath)
{
    const QString name = QDir(QDir::cleanPath(rootPath)).dirName();
    return name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("/")
               ? QStringLiteral("P2 Card")
               : DisplayText::escaped(name);
}

CardStatus CardSummaryPresenter::status() const
{
    return statusFor(clipCount(), driver() && allVerified(driver()->clips()), excludedCount());
}

qsizetype CardSummaryPresenter::clipCount() const
{
    return driver() ? driver()->clips().size() : 0;
}

qint64 CardSummaryPresenter::excludedCount() const
{
    return driver() ? driver()->excludedClipCount() : 0;
}

QString CardSummaryPresenter::cardName() const
{
    return cardNameOf(cardPath());
}

QString CardSummaryPresenter::cardPath() const
{
    return driver() && driver()->cardStructure() ? driver()->cardStructure()->rootURL : QString();
}

QString CardSummaryPresenter::cardPathText() const
{
    return DisplayText::escaped(cardPath());
}

QString CardSummaryPresenter::readyLine() const
{
    return readyLineFor(clipCount());
}

QString CardSummaryPresenter::readyLineFor(qsizetype clipCount)
{
    return UiText::counted(clipCount, QStringLiteral("clip")) +
           QStringLiteral(" ready to convert — pairing verified by CLIP XML/UMID");
}

bool CardSummaryPresenter::showsExclusions() const
{
    return showsExclusionsFor(excludedCount());
}

QString CardSummaryPresenter::exclusionTitle() const
{
    return exclusionTitleFor(excludedCount());
}

QString CardSummaryPresenter::exclusionTitleFor(qint64 excluded)
{
    return UiText::counted(excluded, QStringLiteral("clip")) +
           QStringLiteral(" excluded — no verified XML/UMID pairing");
}

QString CardSummaryPresenter::exclusionDetail() const
{
    return QStringLiteral(
        "These will not be converted. Enable \"Allow unsafe fallback pairing\" in Settings to "
        "include them (unverified), or check the CLIP metadata.");
}

StructureBadge CardSummaryPresenter::videoBadge() const
{
    const auto& structure = driver() ? driver()->cardStructure() : std::nullopt;
    return StructureBadge::make(QStringLiteral("VIDEO"), structure && structure->videoFolder.has_value(),
                                structure ? structure->videoFiles.size() : 0);
}

StructureBadge CardSummaryPresenter::audioBadge() const
{
    const auto& structure = driver() ? driver()->cardStructure() : std::nullopt;
    return StructureBadge::make(QStringLiteral("AUDIO"), structure && structure->audioFolder.has_value(),
                                structure ? structure->audioFiles.size() : 0);
}

StructureBadge CardSummaryPresenter::clipBadge() const
{
    const auto& structure = driver() ? driver()->cardStructure() : std::nullopt;
    return StructureBadge::make(QStringLiteral("CLIP metadata"),
                                structure && structure->clipFolder.has_value(),
                                structure ? structure->clipXMLFiles.size() : 0);
}

QString CardSummaryPresenter::exportPairingHelp() const
{
    return QStringLiteral("Save PAIRING_REPORT.txt without converting any clips");
}

QString CardSummaryPresenter::exportDebugHelp() const
{
    return QStringLiteral("Save DEBUG_REPORT.txt: every ffprobe stream + the exact ffmpeg command for every "
                          "clip, without converting");
}
