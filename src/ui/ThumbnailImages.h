#pragma once

#include <QQuickImageProvider>
#include <QString>

// Hands the clip list's thumbnail files to its images. Each file is decoded
// and scaled to the size the image asks for on the engine's image loading
// thread, and its source, not being a file URL, costs a row that shows it no
// look-up of a file selector's variants on disk when the row is built.
class ThumbnailImages : public QQuickImageProvider
{
public:
    static constexpr const char* providerId = "clipthumbnail";

    ThumbnailImages();

    // The image source of the thumbnail file at `fileURL`, and back: the
    // URL's bytes in hexadecimal, so any path survives the trip unchanged.
    static QString source(const QString& fileURL);
    static QString fileURL(const QString& source);

    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};
