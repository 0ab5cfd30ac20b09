#include "card/PairingReport.h"

namespace PairingReport {

QString text(const QStringList& summaryLines, const QList<PairingReportEntry>& entries)
{
    QStringList lines = summaryLines;
    if (!summaryLines.isEmpty())
        lines.append(QString());
    for (qsizetype i = 0; i < entries.size(); ++i) {
        lines.append(entries.at(i).reportBlock());
        if (i + 1 < entries.size())
            lines.append(QString());
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace PairingReport
