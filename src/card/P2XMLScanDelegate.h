#pragma once

#include "card/ClipNotes.h"
#include "card/ShotRelation.h"

#include <optional>
#include <QString>
#include <QStringView>
#include <QXmlStreamAttributes>

// The state of reading one CLIP XML file, fed by the reader's events.
//
// It does not know the schema: names are matched by lower-cased substring and
// the first value of each kind wins (the last for width, height and frame
// rate), so variants of the clip schema read alike.
struct P2XMLScanDelegate
{
    std::optional<QString> clipName;
    std::optional<QString> globalClipID;
    std::optional<double> frameRate;
    std::optional<int> width;
    std::optional<int> height;
    std::optional<QString> startTimecode;
    // Audio elements seen inside an essence list.
    int audioElementCount = 0;
    std::optional<QString> recordingDateTimeRaw;
    std::optional<qint64> durationFrames;
    std::optional<QString> videoCodec;
    std::optional<ShotRelation> relation;
    ClipNotes notes;
    // Character data of the element being read.
    QString currentText;
    bool sawEssenceList = false;
    bool inMemo = false;
    // Inside Relation, and inside one of its Top, Previous or Next elements.
    bool inRelation = false;
    std::optional<ShotConnection>* connection = nullptr;

    // Element names and attribute names arrive as written, prefix included.
    void startElement(const QString& name, const QXmlStreamAttributes& attributes);
    void foundCharacters(QStringView text);
    void endElement(const QString& name);

    // Applies one name/value pair: an element with its trimmed text, or an attribute.
    void applyKeyValue(const QString& key, const QString& value);

private:
    // The notes are named exactly, as a word such as "text" means something only inside a memo.
    bool applyNote(const QString& localName, const QString& value);
    // Values inside Relation describe the neighbouring clips, never this one,
    // so they go here and not to applyKeyValue.
    void applyRelationValue(const QString& localName, const QString& value);
};
