#include "media/MovieMetadata.h"

QString MovieMetadata::cleaned(const QString& value)
{
    QString kept;
    kept.reserve(value.size());
    for (const QChar character : value) {
        if (character.category() != QChar::Other_Control)
            kept.append(character);
    }
    return kept.trimmed();
}
