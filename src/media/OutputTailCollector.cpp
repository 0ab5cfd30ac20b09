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
        cut_ = true;
    }
}

QString OutputTailCollector::text() const
{
    const QMutexLocker locker(&lock_);
    return text_;
}

QString OutputTailCollector::wholeLines() const
{
    const QMutexLocker locker(&lock_);
    if (!cut_)
        return text_;
    const qsizetype end = text_.indexOf(u'\n');
    return end < 0 ? QString() : text_.mid(end + 1);
}
