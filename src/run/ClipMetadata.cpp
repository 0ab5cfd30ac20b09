#include "run/ClipMetadata.h"

#include "card/ShootOrder.h"

#include <optional>

namespace ClipMetadata {

MovieMetadata forClip(const P2Clip& clip)
{
    MovieMetadata metadata;
    metadata.reelName = clip.videoName();
    const auto add = [&metadata](const QString& key, const std::optional<QString>& value) {
        if (value)
            metadata.entries.append({key, *value});
    };
    // ffmpeg reads a time without a zone as local time: the "Z" is what makes it UTC.
    if (clip.recordingDateTime)
        add(creationTimeKey, P2MetadataParser::formatInternetDateTime(*clip.recordingDateTime));
    const ClipNotes& notes = clip.notes;
    add(titleKey, notes.userClipName);
    add(makeKey, notes.manufacturer);
    add(modelKey, notes.modelName);
    add(serialNumberKey, notes.serialNumber);
    add(shooterKey, notes.shooter);
    add(sceneKey, notes.scene);
    add(takeKey, notes.take);
    if (notes.memo)
        add(memoKey, memoLine(*notes.memo));
    add(umidKey, clip.globalClipID);
    return metadata;
}

QString memoLine(const QString& memos)
{
    QStringList kept;
    for (const QString& memo : memos.split(QLatin1Char('\n'))) {
        if (const QString line = MovieMetadata::cleaned(memo); !line.isEmpty())
            kept.append(line);
    }
    return kept.join(QStringLiteral(" — "));
}

} // namespace ClipMetadata
