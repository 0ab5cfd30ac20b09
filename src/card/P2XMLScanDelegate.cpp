#include "card/P2XMLScanDelegate.h"

#include "card/P2MetadataParser.h"

namespace {

const QString essenceListName = QStringLiteral("essencelist");
const QString relationName = QStringLiteral("relation");

// The element's name without its namespace prefix, lower-cased.
QString localName(const QString& name)
{
    return name.sliced(name.lastIndexOf(QLatin1Char(':')) + 1).toLower();
}

} // namespace

void P2XMLScanDelegate::startElement(const QString& name, const QXmlStreamAttributes& attributes)
{
    currentText.clear();
    const QString lowered = name.toLower();
    const QString local = localName(name);
    if (local == relationName) {
        inRelation = true;
        if (!relation)
            relation.emplace();
    }
    if (inRelation) {
        if (local == QLatin1String("top"))
            connection = &relation->top;
        else if (local == QLatin1String("previous"))
            connection = &relation->previous;
        else if (local == QLatin1String("next"))
            connection = &relation->next;
        if (connection && !*connection)
            connection->emplace();
        return;
    }
    if (lowered == essenceListName)
        sawEssenceList = true;
    if (local == QLatin1String("memo"))
        inMemo = true;
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
    if (inRelation) {
        const QString local = localName(name);
        if (!trimmed.isEmpty())
            applyRelationValue(local, trimmed);
        if (local == QLatin1String("top") || local == QLatin1String("previous") ||
            local == QLatin1String("next"))
            connection = nullptr;
        else if (local == relationName)
            inRelation = false;
        currentText.clear();
        return;
    }
    if (!trimmed.isEmpty())
        applyKeyValue(name, trimmed);
    if (name.toLower() == essenceListName)
        sawEssenceList = false;
    if (localName(name) == QLatin1String("memo"))
        inMemo = false;
    currentText.clear();
}

void P2XMLScanDelegate::applyKeyValue(const QString& key, const QString& value)
{
    const QString lowered = key.toLower();
    const auto has = [&](QLatin1String part) { return lowered.contains(part); };
    const QString local = localName(key);
    if (applyNote(local, value))
        return;
    if (local == QLatin1String("duration")) {
        bool ok = false;
        const qint64 frames = value.toLongLong(&ok);
        if (!durationFrames && ok && frames >= 0)
            durationFrames = frames;
        return;
    }
    if (local == QLatin1String("codec") && sawEssenceList) {
        if (!videoCodec)
            videoCodec = value;
        return;
    }

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

bool P2XMLScanDelegate::applyNote(const QString& localName, const QString& value)
{
    if (inMemo) {
        if (localName == QLatin1String("text"))
            notes.memo = notes.memo ? *notes.memo + QLatin1Char('\n') + value : value;
        return true;
    }
    const std::pair<QLatin1String, std::optional<QString>*> fields[] = {
        {QLatin1String("userclipname"), &notes.userClipName},
        {QLatin1String("manufacturer"), &notes.manufacturer},
        {QLatin1String("modelname"), &notes.modelName},
        {QLatin1String("serialno."), &notes.serialNumber},
        {QLatin1String("shooter"), &notes.shooter},
        {QLatin1String("sceneno."), &notes.scene},
        {QLatin1String("takeno."), &notes.take}};
    for (const auto& [name, field] : fields) {
        if (localName == name) {
            if (!*field)
                *field = value;
            return true;
        }
    }
    return false;
}

void P2XMLScanDelegate::applyRelationValue(const QString& localName, const QString& value)
{
    if (connection) {
        if (localName == QLatin1String("clipname") && !(*connection)->clipName)
            (*connection)->clipName = value;
        else if (localName == QLatin1String("globalclipid") && !(*connection)->globalClipID)
            (*connection)->globalClipID = value;
        return;
    }
    bool ok = false;
    if (localName == QLatin1String("offsetinshot") && !relation->offsetInShot) {
        const qint64 frames = value.toLongLong(&ok);
        if (ok && frames >= 0)
            relation->offsetInShot = frames;
    } else if (localName == QLatin1String("globalshotid") && !relation->globalShotID) {
        relation->globalShotID = value;
    }
}
