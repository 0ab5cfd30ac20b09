#include "card/P2Scanner.h"

#include "base/Platform.h"
#include "card/FileSystemUtilities.h"

#include <array>
#include <utility>

namespace P2Scanner {

const QSet<QString> videoExtensions{QStringLiteral("mxf")};
const QSet<QString> audioExtensions{QStringLiteral("mxf")};
const QSet<QString> xmlExtensions{QStringLiteral("xml")};

FileSystemUtilities::WalkBounds looseWalkBounds()
{
    return {.maximumDepth = 4,
            .maximumFiles = 5000,
            .virtualFileSystems = Platform::current().virtualFileSystems};
}

P2CardStructure scan(const QString& rootURL)
{
    P2CardStructure structure;
    structure.rootURL = rootURL;

    // CONTENTS first, so a folder found there is never replaced by one beside it.
    QStringList candidates{rootURL};
    QList<FileSystemUtilities::Unreadable>* unreadable = &structure.unreadable;
    if (const auto contents =
            FileSystemUtilities::findSubdirectory(QStringLiteral("CONTENTS"), rootURL, unreadable))
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
                structure.*field = FileSystemUtilities::findSubdirectory(name, candidate, unreadable);
        }
    }

    if (structure.videoFolder)
        structure.videoFiles =
            FileSystemUtilities::files(*structure.videoFolder, videoExtensions, unreadable);
    if (structure.audioFolder)
        structure.audioFiles =
            FileSystemUtilities::files(*structure.audioFolder, audioExtensions, unreadable);
    if (structure.clipFolder)
        structure.clipXMLFiles = FileSystemUtilities::files(*structure.clipFolder, xmlExtensions, unreadable);

    // A loose folder of MXF files is taken as video essence without audio or
    // metadata. The folder could be anything, "/" included, so the walk is bounded.
    if (structure.isEmpty()) {
        FileSystemUtilities::BoundedFiles loose = FileSystemUtilities::boundedFiles(
            rootURL, {QStringLiteral("mxf")}, looseWalkBounds(), unreadable);
        structure.videoFiles = std::move(loose.files);
        structure.walkStopped = std::move(loose.stopped);
    }

    // The root is listed once per folder name looked for.
    QList<FileSystemUtilities::Unreadable> once;
    for (const FileSystemUtilities::Unreadable& entry : std::as_const(structure.unreadable)) {
        if (!once.contains(entry))
            once.append(entry);
    }
    structure.unreadable = std::move(once);
    return structure;
}

QString unreadableSentence(const FileSystemUtilities::Unreadable& entry)
{
    return QStringLiteral("“%1” cannot be read: %2.").arg(entry.path, entry.reason);
}

QString noVideoMessage(const P2CardStructure& structure)
{
    if (structure.walkStopped)
        return *structure.walkStopped;
    if (structure.unreadable.isEmpty())
        return noVideoMessage();
    QStringList sentences{QStringLiteral("No video MXF file of this folder could be read.")};
    for (const FileSystemUtilities::Unreadable& entry : structure.unreadable)
        sentences.append(unreadableSentence(entry));
    return sentences.join(QLatin1Char(' '));
}

QString noVideoMessage()
{
    return QStringLiteral(
        "No video MXF files were found in this folder. Make sure you selected a P2 card (or "
        "its CONTENTS folder) containing a VIDEO folder.");
}

} // namespace P2Scanner
