#include "card/PairingReport.h"

#include "base/DisplayText.h"

namespace PairingReport {

QString text(const QStringList& summaryLines, const QList<PairingReportEntry>& entries)
{
    QStringList lines;
    for (const QString& line : summaryLines)
        lines.append(DisplayText::escaped(line));
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
