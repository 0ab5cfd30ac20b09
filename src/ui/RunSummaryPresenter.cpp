#include "ui/RunSummaryPresenter.h"

#include "base/DisplayText.h"
#include "run/ConversionViewModel.h"
#include "ui/UiText.h"

#include <QDir>
#include <QFileInfo>

int LogLinksModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant LogLinksModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const QString& filename = m_filenames.at(index.row());
    switch (role) {
    case FilenameRole:
        return filename;
    case PathRole:
        return QDir(m_folder).filePath(filename);
    default:
        return {};
    }
}

QHash<int, QByteArray> LogLinksModel::roleNames() const
{
    return {{FilenameRole, "filename"}, {PathRole, "path"}};
}

const QStringList& LogLinksModel::candidates()
{
    static const QStringList names{QStringLiteral("CONVERSION_REPORT.txt"),
                                   QStringLiteral("FFMPEG_ERRORS.txt"), QStringLiteral("PAIRING_REPORT.txt"),
                                   QStringLiteral("DEBUG_REPORT.txt")};
    return names;
}

void LogLinksModel::reload(const QString& folder)
{
    QStringList present;
    if (!folder.isEmpty()) {
        for (const QString& name : candidates())
            if (QFileInfo(QDir(folder).filePath(name)).isFile())
                present.append(name);
    }
    if (folder == m_folder && present == m_filenames)
        return;
    const int before = count();
    beginResetModel();
    m_folder = folder;
    m_filenames = present;
    endResetModel();
    if (count() != before)
        emit countChanged();
}

RunSummaryPresenter::RunSummaryPresenter(QObject* parent)
    : DriverPresenter(
          {&ConversionViewModel::summaryChanged, &ConversionViewModel::debugReportGenerationTickChanged},
          parent)
{
    connect(this, &DriverPresenter::changed, this, &RunSummaryPresenter::refreshLogLinks);
}

void RunSummaryPresenter::refreshLogLinks()
{
    m_logLinks.reload(outputFolder());
}

std::optional<ConversionSummary> RunSummaryPresenter::summary() const
{
    return driver() ? driver()->summary() : std::nullopt;
}

namespace {

// A run that failed a clip or ended before its last one did not do all it was asked.
bool fellShort(const ConversionSummary& summary)
{
    return summary.failed >= 1 || summary.stop.has_value();
}

} // namespace

QString RunSummaryPresenter::iconNameFor(const ConversionSummary& summary)
{
    return fellShort(summary) ? QStringLiteral("dialog-warning") : QStringLiteral("security-high");
}

Tone::Value RunSummaryPresenter::headingToneFor(const ConversionSummary& summary)
{
    return fellShort(summary) ? Tone::Value::caution : Tone::Value::secondary;
}

QString RunSummaryPresenter::heading() const
{
    return headingFor(summaryOrEmpty());
}

QString RunSummaryPresenter::detailLine() const
{
    return detailLineFor(summaryOrEmpty());
}

QString RunSummaryPresenter::outputFolder() const
{
    return summaryOrEmpty().outputFolder;
}

QString RunSummaryPresenter::outputFolderText() const
{
    return DisplayText::escaped(outputFolder());
}

QString RunSummaryPresenter::excludedCaption() const
{
    return excludedCaptionFor(summaryOrEmpty());
}

QString RunSummaryPresenter::headingFor(const ConversionSummary& summary)
{
    if (summary.stop)
        return *summary.stop == RunStop::cancelled ? QStringLiteral("Conversion Cancelled")
                                                   : QStringLiteral("Conversion Stopped");
    return summary.failed == 0 ? QStringLiteral("Conversion Complete")
                               : QStringLiteral("Finished with some issues");
}

QString RunSummaryPresenter::detailLineFor(const ConversionSummary& summary)
{
    QString line = UiText::counted(summary.converted, QStringLiteral("clip")) + QStringLiteral(" converted");
    if (summary.skipped >= 1)
        line += QStringLiteral(" · %1 skipped (already existed)").arg(summary.skipped);
    if (summary.stop && summary.notStarted >= 1)
        line += QStringLiteral(" · %1 ").arg(summary.notStarted) + RunStops::notStartedText(*summary.stop);
    if (summary.notChosen >= 1)
        line += QStringLiteral(" · %1 left out by choice").arg(summary.notChosen);
    return line;
}

QString RunSummaryPresenter::notificationBodyFor(const ConversionSummary& summary)
{
    const QString line = detailLineFor(summary);
    if (summary.failed < 1)
        return line;
    return line + QStringLiteral(" · ") + UiText::counted(summary.failed, QStringLiteral("clip")) +
           QStringLiteral(" failed");
}

QString RunSummaryPresenter::excludedCaptionFor(const ConversionSummary& summary)
{
    if (summary.excludedByPairing < 1)
        return {};
    return UiText::counted(summary.excludedByPairing, QStringLiteral("clip")) +
           QStringLiteral(" had no verified XML/UMID pairing and were not converted. Enable \"Allow unsafe "
                          "fallback pairing\" in Settings to include them, or check PAIRING_REPORT.txt.");
}
