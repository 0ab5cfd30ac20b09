#include "card/P2MetadataParser.h"

#include "card/P2XMLScanDelegate.h"

#include <algorithm>
#include <cmath>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

namespace P2MetadataParser {

namespace {

// A CLIP XML file is a few kilobytes; anything this large is not one and is
// not loaded whole into memory.
constexpr qint64 maximumFileSize = 64 * 1024 * 1024;

// Qt limits what one entity may expand to, not how often it is referenced, so
// a small file could still expand to gigabytes. This bounds the whole text.
constexpr qint64 maximumExpandedCharacters = 8 * 1024 * 1024;

std::optional<QByteArray> readWholeFile(const QString& path)
{
    // Only regular files: opening a FIFO or a device could block for ever.
    if (!QFileInfo(path).isFile())
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    if (file.size() > maximumFileSize)
        return std::nullopt;
    // Read in pieces as the file is, not into a buffer of the bound's size:
    // a thousand files would otherwise each claim 64 MB on the way.
    QByteArray data;
    data.reserve(file.size());
    while (data.size() <= maximumFileSize) {
        const QByteArray piece = file.read(std::min<qint64>(1024 * 1024, maximumFileSize + 1 - data.size()));
        if (piece.isEmpty())
            break;
        data += piece;
    }
    if (file.error() != QFileDevice::NoError || data.size() > maximumFileSize)
        return std::nullopt;
    return data;
}

void refuseEntityAmplification(QXmlStreamReader& reader, const QByteArray& data)
{
    if (reader.entityDeclarations().isEmpty())
        return;
    const qint64 references = data.count('&');
    if (references * reader.entityExpansionLimit() > maximumExpandedCharacters)
        reader.raiseError(
            QStringLiteral("The document's entities could expand to more text than a clip file holds."));
}

void runScan(const QByteArray& data, P2XMLScanDelegate& delegate, QStringList& warnings)
{
    QXmlStreamReader reader(data);
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::DTD:
            refuseEntityAmplification(reader, data);
            break;
        case QXmlStreamReader::StartElement:
            delegate.startElement(reader.qualifiedName().toString(), reader.attributes());
            break;
        case QXmlStreamReader::Characters:
            delegate.foundCharacters(reader.text());
            break;
        case QXmlStreamReader::EndElement:
            delegate.endElement(reader.qualifiedName().toString());
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        QString description = reader.errorString();
        if (!description.isEmpty())
            description +=
                QStringLiteral(" (line %1, column %2)").arg(reader.lineNumber()).arg(reader.columnNumber());
        warnings.append(parseErrorWarning(description));
    }
}

bool isAsciiDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

} // namespace

ClipMetadata parse(const QString& xmlURL)
{
    ClipMetadata metadata;
    metadata.xmlURL = xmlURL;

    const std::optional<QByteArray> data = readWholeFile(xmlURL);
    if (!data) {
        metadata.parseWarnings.append(QStringLiteral("Could not read file"));
        return metadata;
    }
    return parseContents(xmlURL, *data);
}

ClipMetadata parseContents(const QString& xmlURL, const QByteArray& contents)
{
    ClipMetadata metadata;
    metadata.xmlURL = xmlURL;
    P2XMLScanDelegate delegate;
    runScan(contents, delegate, metadata.parseWarnings);

    metadata.clipName = delegate.clipName;
    metadata.globalClipID = delegate.globalClipID;
    metadata.frameRate = delegate.frameRate;
    metadata.width = delegate.width;
    metadata.height = delegate.height;
    metadata.startTimecode = delegate.startTimecode;
    metadata.audioChannelCount = std::max(0, delegate.audioElementCount);
    metadata.recordingDateTimeRaw = delegate.recordingDateTimeRaw;
    metadata.durationFrames = delegate.durationFrames;
    metadata.videoCodec = delegate.videoCodec;
    metadata.relation = delegate.relation;
    metadata.notes = delegate.notes;

    if (!metadata.clipName && !metadata.globalClipID)
        metadata.parseWarnings.append(
            QStringLiteral("Recognized no ClipName/GlobalClipID; XML schema may be unfamiliar"));
    return metadata;
}

QString parseErrorWarning(const QString& description)
{
    return QStringLiteral("XML parse error: ") +
           (description.isEmpty() ? QStringLiteral("Unknown XML parse error") : description);
}

std::optional<double> parseFrameRate(QStringView value)
{
    const auto isRunCharacter = [](QChar c) { return isAsciiDigit(c) || c == QLatin1Char('.'); };
    qsizetype start = 0;
    while (start < value.size() && !isRunCharacter(value[start]))
        ++start;
    qsizetype end = start;
    while (end < value.size() && isRunCharacter(value[end]))
        ++end;
    bool ok = false;
    const double rate = value.mid(start, end - start).toDouble(&ok);
    if (!ok || !std::isfinite(rate))
        return std::nullopt;
    return rate;
}

std::optional<std::pair<int, int>> parseResolution(QStringView value)
{
    QList<QStringView> parts;
    qsizetype partStart = 0;
    for (qsizetype i = 0; i <= value.size(); ++i) {
        if (i == value.size() || value[i] == QLatin1Char('x') || value[i] == QLatin1Char('X') ||
            value[i] == QChar(0x00D7)) {
            parts.append(value.mid(partStart, i - partStart));
            partStart = i + 1;
        }
    }
    if (parts.size() != 2)
        return std::nullopt;
    const std::optional<int> width = parseDigits(parts[0]);
    const std::optional<int> height = parseDigits(parts[1]);
    if (!width || !height)
        return std::nullopt;
    return std::pair{*width, *height};
}

std::optional<int> parseDigits(QStringView value)
{
    QString digits;
    for (const QChar c : value) {
        if (isAsciiDigit(c))
            digits.append(c);
    }
    bool ok = false;
    const int number = digits.toInt(&ok);
    return ok ? std::optional<int>(number) : std::nullopt;
}

} // namespace P2MetadataParser
