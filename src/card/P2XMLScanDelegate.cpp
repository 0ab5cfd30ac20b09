#include "card/P2XMLScanDelegate.h"

#include "card/P2MetadataParser.h"

namespace {

const QString essenceListName = QStringLiteral("essencelist");

} // namespace

void P2XMLScanDelegate::startElement(const QString& name, const QXmlStreamAttributes& attributes)
{
    currentText.clear();
    const QString lowered = name.toLower();
    if (lowered == essenceListName)
        sawEssenceList = true;
    if (sawEssenceList && lowered == QLatin1String("audio"))
        ++audioElementCount;
    for (const QXmlStreamAttribute& attribute : attributes)
        applyKeyValue(attribute.qualifiedName().toString(), attribute.value().toString());
}

void P2XMLScanDelegate::foundCharacters(QStringView text)
{
    currentText.append(text);
}

void P2XMLScanDelegate::endElement(const QString& name)
{
    const QString trimmed = currentText.trimmed();
    if (!trimmed.isEmpty())
        applyKeyValue(name, trimmed);
    if (name.toLower() == essenceListName)
        sawEssenceList = false;
    currentText.clear();
}

void P2XMLScanDelegate::applyKeyValue(const QString& key, const QString& value)
{
    const QString lowered = key.toLower();
    const auto has = [&](QLatin1String part) { return lowered.contains(part); };

    if (has(QLatin1String("globalclipid"))) {
        if (!globalClipID)
            globalClipID = value;
    } else if (!clipName && has(QLatin1String("clipname"))) {
        clipName = value;
    } else if (has(QLatin1String("framerate"))) {
        if (const auto rate = P2MetadataParser::parseFrameRate(value))
            frameRate = rate;
    } else if (has(QLatin1String("videoresolution")) || lowered == QLatin1String("resolution")) {
        if (const auto size = P2MetadataParser::parseResolution(value)) {
            width = size->first;
            height = size->second;
        }
    } else if (has(QLatin1String("width"))) {
        // An unreadable width clears an earlier one: the last width written decides.
        width = P2MetadataParser::parseDigits(value);
    } else if (has(QLatin1String("height"))) {
        height = P2MetadataParser::parseDigits(value);
    } else if (!startTimecode && has(QLatin1String("timecode"))) {
        startTimecode = value;
    } else if (!recordingDateTimeRaw &&
               (has(QLatin1String("creationdate")) || has(QLatin1String("startdate")))) {
        recordingDateTimeRaw = value;
    }
}
