#include "card/P2Scanner.h"

#include "card/FileSystemUtilities.h"

#include <array>
#include <utility>

namespace P2Scanner {

const QSet<QString> videoExtensions{QStringLiteral("mxf")};
const QSet<QString> audioExtensions{QStringLiteral("mxf")};
const QSet<QString> xmlExtensions{QStringLiteral("xml")};

P2CardStructure scan(const QString& rootURL)
{
    P2CardStructure structure;
    structure.rootURL = rootURL;

    // CONTENTS first, so a folder found there is never replaced by one beside it.
    QStringList candidates{rootURL};
    if (const auto contents = FileSystemUtilities::findSubdirectory(QStringLiteral("CONTENTS"), rootURL))
        candidates.prepend(*contents);

    const std::array<std::pair<QString, std::optional<QString> P2CardStructure::*>, 6> folders{{
        {QStringLiteral("VIDEO"), &P2CardStructure::videoFolder},
        {QStringLiteral("AUDIO"), &P2CardStructure::audioFolder},
        {QStringLiteral("CLIP"), &P2CardStructure::clipFolder},
        {QStringLiteral("ICON"), &P2CardStructure::iconFolder},
        {QStringLiteral("PROXY"), &P2CardStructure::proxyFolder},
        {QStringLiteral("VOICE"), &P2CardStructure::voiceFolder},
    }};
    for (const QString& candidate : std::as_const(candidates)) {
        for (const auto& [name, field] : folders) {
            if (!(structure.*field))
                structure.*field = FileSystemUtilities::findSubdirectory(name, candidate);
        }
    }

    if (structure.videoFolder)
        structure.videoFiles = FileSystemUtilities::files(*structure.videoFolder, videoExtensions);
    if (structure.audioFolder)
        structure.audioFiles = FileSystemUtilities::files(*structure.audioFolder, audioExtensions);
    if (structure.clipFolder)
        structure.clipXMLFiles = FileSystemUtilities::files(*structure.clipFolder, xmlExtensions);

    // A loose folder of MXF files is taken as video essence without audio or metadata.
    if (structure.isEmpty())
        structure.videoFiles = FileSystemUtilities::files(rootURL, {QStringLiteral("mxf")});

    return structure;
}

QString noVideoMessage()
{
    return QStringLiteral(
        "No video MXF files were found in this folder. Make sure you selected a P2 card (or "
        "its CONTENTS folder) containing a VIDEO folder.");
}

} // namespace P2Scanner
