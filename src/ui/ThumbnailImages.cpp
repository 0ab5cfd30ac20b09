#include "ui/ThumbnailImages.h"

#include <limits>
#include <QImageReader>
#include <QUrl>

namespace {

QString sourcePrefix()
{
    return QStringLiteral("image://%1/").arg(QLatin1StringView(ThumbnailImages::providerId));
}

QString fileURLOfId(QStringView id)
{
    return QString::fromUtf8(QByteArray::fromHex(id.toLatin1()));
}

} // namespace

ThumbnailImages::ThumbnailImages()
    : QQuickImageProvider(QQmlImageProviderBase::Image, QQmlImageProviderBase::ForceAsynchronousImageLoading)
{
}

QString ThumbnailImages::source(const QString& fileURL)
{
    return sourcePrefix() + QString::fromLatin1(fileURL.toUtf8().toHex());
}

QString ThumbnailImages::fileURL(const QString& source)
{
    const QString prefix = sourcePrefix();
    return source.startsWith(prefix) ? fileURLOfId(QStringView(source).sliced(prefix.size())) : QString();
}

QImage ThumbnailImages::requestImage(const QString& id, QSize* size, const QSize& requestedSize)
{
    QImageReader reader(QUrl(fileURLOfId(id)).toLocalFile());
    const QSize full = reader.size();
    if (size)
        *size = full;
    // A side asked as 0 is left to the aspect ratio; an image is never enlarged.
    constexpr int any = std::numeric_limits<int>::max();
    const QSize bound(requestedSize.width() > 0 ? requestedSize.width() : any,
                      requestedSize.height() > 0 ? requestedSize.height() : any);
    if (full.isValid() && (full.width() > bound.width() || full.height() > bound.height()))
        reader.setScaledSize(full.scaled(bound, Qt::KeepAspectRatio));
    return reader.read();
}
