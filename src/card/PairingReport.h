#pragma once

#include "card/PairingReportEntry.h"

#include <QList>
#include <QString>
#include <QStringList>

// The plain-text account of a pairing, as PAIRING_REPORT.txt holds it.
namespace PairingReport {

// The summary lines, an empty line when there were any, then each entry's
// block with an empty line between blocks. No heading and no final line
// break; an empty pairing gives the empty text.
QString text(const QStringList& summaryLines, const QList<PairingReportEntry>& entries);

} // namespace PairingReport
