#include "media/PictureCoding.h"

#include "media/MediaProbe.h"
#include "media/MXFHeaderReader.h"

#include <QStringList>

namespace {

bool stated(const QString& value)
{
    return !value.isEmpty() && value != QLatin1String("unknown") && value != QLatin1String("unspecified") &&
           value != QLatin1String("reserved");
}

struct Description
{
    QLatin1String primaries, transfer, matrix;
};

// What each format defines; a height between two formats takes the lower one's.
std::optional<Description> formatDescription(std::optional<int> lines)
{
    if (!lines || *lines <= 0)
        return std::nullopt;
    if (*lines >= 720)
        return Description{QLatin1String("bt709"), QLatin1String("bt709"), QLatin1String("bt709")};
    if (*lines >= 576)
        return Description{QLatin1String("bt470bg"), QLatin1String("bt470bg"), QLatin1String("bt470bg")};
    return Description{QLatin1String("smpte170m"), QLatin1String("smpte170m"), QLatin1String("smpte170m")};
}

} // namespace

PictureCoding PictureCoding::forPicture(bool interlaced, std::optional<int> lines, const QString& primaries,
                                        const QString& transfer, const QString& matrix)
{
    PictureCoding coding;
    coding.interlaced = interlaced;
    if (const std::optional<Description> assumed = formatDescription(lines)) {
        if (!stated(primaries))
            coding.primaries = assumed->primaries;
        if (!stated(transfer))
            coding.transfer = assumed->transfer;
        if (!stated(matrix))
            coding.matrix = assumed->matrix;
    }
    return coding;
}

PictureCoding PictureCoding::fromHeader(const MXFPictureFacts& picture)
{
    return forPicture(picture.interlaced, picture.lines);
}

PictureCoding PictureCoding::fromStream(const StreamInfo& stream)
{
    static const QStringList fieldOrders{QStringLiteral("tt"), QStringLiteral("bb"), QStringLiteral("tb"),
                                         QStringLiteral("bt")};
    return forPicture(fieldOrders.contains(stream.fieldOrder.value_or(QString())), stream.height,
                      stream.colorPrimaries.value_or(QString()), stream.colorTransfer.value_or(QString()),
                      stream.colorSpace.value_or(QString()));
}

QString PictureCoding::colourFilter() const
{
    QStringList values;
    if (!primaries.isEmpty())
        values << QStringLiteral("color_primaries=") + primaries;
    if (!transfer.isEmpty())
        values << QStringLiteral("color_trc=") + transfer;
    if (!matrix.isEmpty())
        values << QStringLiteral("colorspace=") + matrix;
    return values.isEmpty() ? QString() : QStringLiteral("setparams=") + values.join(QLatin1Char(':'));
}
