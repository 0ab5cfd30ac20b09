#pragma once

#include "card/PairingReportEntry.h"
#include "ui/Tone.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

// What the pairing details sheet says about the scan's entries.
namespace PairingDetailsText {
Q_NAMESPACE
QML_NAMED_ELEMENT(PairingStatus)

// How far an entry can be trusted: left out, proven by UMID, or paired by a guess.
enum class Status { Excluded, Safe, Unsafe };
Q_ENUM_NS(Status)

Status status(const PairingReportEntry& entry);

// "Excluded", "Safe", "Unsafe".
QString statusText(Status status);

// The badge's symbol: "✖" for Excluded, "✔" for Safe, "⚠" for Unsafe.
QString statusSymbol(Status status);

// What the status means: Safe is positive, Unsafe a caution, Excluded negative.
Tone::Value tone(Status status);

// The tone of an entry's note: its status's, except that a Safe entry's note
// is only information.
Tone::Value noteTone(Status status);

// "3 clips will convert · 1 excluded"; the excluded part only when an entry was left out.
QString headerLine(const QList<PairingReportEntry>& entries);

// The eight detail labels of a row, in order.
QStringList detailLabels();

// The row's eight values, in the order of the labels.
QStringList detailValues(const PairingReportEntry& entry);

} // namespace PairingDetailsText
