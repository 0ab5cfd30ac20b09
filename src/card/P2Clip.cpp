#include "card/P2Clip.h"

#include <array>
#include <QFileInfo>

namespace {

constexpr std::array allPairingMethods{
    P2Clip::PairingMethod::xmlVerified,
    P2Clip::PairingMethod::xmlNoAudioInClip,
    P2Clip::PairingMethod::filenamePrefixUnsafe,
    P2Clip::PairingMethod::sortedOrderUnsafe,
    P2Clip::PairingMethod::unverifiedVideoOnlyUnsafe,
};

} // namespace

QString P2Clip::videoName() const
{
    return QFileInfo(videoURL).completeBaseName();
}

QString P2Clip::outputFilename(bool prefixWithOrderNumber) const
{
    if (prefixWithOrderNumber && exportOrderNumber)
        return ExportFilename::orderedBasename(*exportOrderNumber);
    const QString fileName = videoURL.mid(videoURL.lastIndexOf(QLatin1Char('/')) + 1);
    // A leading point starts a hidden name, not an extension.
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return (dot > 0 ? fileName.left(dot) : fileName) + QStringLiteral(".mov");
}

QString label(P2Clip::PairingMethod method)
{
    switch (method) {
    case P2Clip::PairingMethod::xmlVerified:
        return QStringLiteral("XML metadata (UMID-verified)");
    case P2Clip::PairingMethod::xmlNoAudioInClip:
        return QStringLiteral("XML metadata (video-only — clip has no audio)");
    case P2Clip::PairingMethod::filenamePrefixUnsafe:
        return QStringLiteral("Filename match (UNSAFE — not verified by XML/UMID)");
    case P2Clip::PairingMethod::sortedOrderUnsafe:
        return QStringLiteral("Sorted order (UNSAFE — not verified by XML/UMID)");
    case P2Clip::PairingMethod::unverifiedVideoOnlyUnsafe:
        return QStringLiteral("Video only (UNVERIFIED — no XML match, no audio found)");
    }
    Q_UNREACHABLE();
}

std::optional<P2Clip::PairingMethod> pairingMethodFromLabel(QStringView text)
{
    for (const P2Clip::PairingMethod method : allPairingMethods) {
        if (label(method) == text)
            return method;
    }
    return std::nullopt;
}

bool isVerified(P2Clip::PairingMethod method)
{
    return method == P2Clip::PairingMethod::xmlVerified || method == P2Clip::PairingMethod::xmlNoAudioInClip;
}

QString ExportFilename::orderedBasename(int orderNumber)
{
    if (orderNumber <= 999)
        return QString::asprintf("%03d.mov", orderNumber);
    return QString::number(orderNumber) + QStringLiteral(".mov");
}
