#include "ui/HistoryPresenter.h"

#include "base/DisplayText.h"
#include "run/HistoryCommand.h"
#include "run/HistoryText.h"
#include "store/Desktop.h"
#include "ui/Tone.h"

#include <QFileInfo>

void HistoryModel::setEntries(QList<ConversionHistoryEntry> entries, const QLocale& locale)
{
    beginResetModel();
    m_entries = std::move(entries);
    m_locale = locale;
    endResetModel();
}

int HistoryModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_entries.size());
}

QVariant HistoryModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const ConversionHistoryEntry& entry = m_entries.at(index.row());
    switch (role) {
    case CardNameRole:
        return DisplayText::escaped(entry.cardName);
    case DateTextRole:
        return HistoryText::dateText(entry.date, m_locale);
    case OutputFolderRole:
        return DisplayText::escaped(entry.outputFolder);
    case StatsLineRole:
        return HistoryText::statsLine(entry);
    case NeedsAttentionRole:
        return HistoryText::needsAttention(entry);
    case StatusMarkRole:
        return HistoryText::statusMark(entry);
    case ToneRole:
        return static_cast<int>(HistoryText::needsAttention(entry) ? Tone::Value::caution
                                                                   : Tone::Value::positive);
    case BackupLineRole:
        return HistoryText::backupLine(entry);
    case BackupCopiesRole:
        return HistoryText::backupCopiesText(entry);
    default:
        return {};
    }
}

QHash<int, QByteArray> HistoryModel::roleNames() const
{
    return {
        {CardNameRole, "cardName"},
        {DateTextRole, "dateText"},
        {OutputFolderRole, "outputFolder"},
        {StatsLineRole, "statsLine"},
        {NeedsAttentionRole, "needsAttention"},
        {StatusMarkRole, "statusMark"},
        {ToneRole, "tone"},
        {BackupLineRole, "backupLine"},
        {BackupCopiesRole, "backupCopies"},
    };
}

HistoryPresenter::HistoryPresenter(ConversionHistoryStore& history, std::shared_ptr<Desktop> desktop,
                                   const QLocale& locale, QObject* parent)
    : QObject(parent), m_history(history), m_desktop(std::move(desktop)), m_locale(locale)
{
    connect(&m_history, &ConversionHistoryStore::entriesChanged, this, &HistoryPresenter::takeEntries);
    takeEntries();
}

QString HistoryPresenter::batchCountText() const
{
    return HistoryText::batchCount(m_model.entries().size());
}

bool HistoryPresenter::isEmpty() const
{
    return m_model.entries().isEmpty();
}

QString HistoryPresenter::emptyText() const
{
    return HistoryText::emptyText();
}

void HistoryPresenter::clearHistory()
{
    // A history that stays on disk must not look cleared without a word.
    const std::optional<QString> failure = m_history.clear();
    setRevealProblem(failure ? HistoryCommand::clearFailureSentence(*failure) : QString());
}

void HistoryPresenter::reveal(int row)
{
    if (row < 0 || row >= m_model.entries().size())
        return;
    const QString folder = m_model.entries().at(row).outputFolder;
    if (!QFileInfo(folder).isDir()) {
        setRevealProblem(missingFolderText(folder));
        return;
    }
    setRevealProblem(QString());
    m_desktop->revealInFileManager({folder});
}

void HistoryPresenter::dismissRevealProblem()
{
    setRevealProblem(QString());
}

QString HistoryPresenter::missingFolderText(const QString& folder)
{
    return QStringLiteral("“%1” no longer exists. It was moved, renamed or deleted after the run.")
        .arg(folder);
}

void HistoryPresenter::takeEntries()
{
    m_model.setEntries(m_history.entries(), m_locale);
    emit entriesChanged();
}

void HistoryPresenter::setRevealProblem(const QString& problem)
{
    if (problem == m_revealProblem)
        return;
    m_revealProblem = problem;
    emit revealProblemChanged();
}
