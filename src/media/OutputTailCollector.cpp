#include "media/OutputTailCollector.h"

#include "media/ToolText.h"

void OutputTailCollector::append(QByteArrayView chunk)
{
    const std::optional<QString> decoded = ToolText::decodeUtf8(chunk);
    if (!decoded)
        return;

    const QMutexLocker locker(&lock_);
    text_ += *decoded;
    if (text_.size() > maxLength) {
        qsizetype cut = text_.size() - maxLength;
        // Never keep half of a surrogate pair at the front.
        if (text_.at(cut).isLowSurrogate())
            ++cut;
        text_.remove(0, cut);
    }
}

QString OutputTailCollector::text() const
{
    const QMutexLocker locker(&lock_);
    return text_;
}
