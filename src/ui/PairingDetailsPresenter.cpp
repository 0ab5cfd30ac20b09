#include "ui/PairingDetailsPresenter.h"

#include "run/ConversionViewModel.h"
#include "ui/PairingDetailsText.h"

void PairingEntriesModel::setEntries(QList<PairingReportEntry> entries)
{
    beginResetModel();
    m_entries = std::move(entries);
    endResetModel();
}

int PairingEntriesModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_entries.size());
}

QVariant PairingEntriesModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const PairingReportEntry& entry = m_entries.at(index.row());
    const PairingDetailsText::Status status = PairingDetailsText::status(entry);
    switch (role) {
    case ClipNameRole:
        return entry.clipName;
    case StatusRole:
        return static_cast<int>(status);
    case StatusTextRole:
        return PairingDetailsText::statusText(status);
    case StatusSymbolRole:
        return PairingDetailsText::statusSymbol(status);
    case ToneRole:
        return static_cast<int>(PairingDetailsText::tone(status));
    case NoteToneRole:
        return static_cast<int>(PairingDetailsText::noteTone(status));
    case DetailValuesRole:
        return PairingDetailsText::detailValues(entry);
    case NoteRole:
        return entry.note.value_or(QString());
    case HasNoteRole:
        return entry.note.has_value() && !entry.note->isEmpty();
    default:
        return {};
    }
}

QHash<int, QByteArray> PairingEntriesModel::roleNames() const
{
    return {
        {ClipNameRole, "clipName"},         {StatusRole, "status"}, {StatusTextRole, "statusText"},
        {StatusSymbolRole, "statusSymbol"}, {ToneRole, "tone"},     {NoteToneRole, "noteTone"},
        {DetailValuesRole, "detailValues"}, {NoteRole, "note"},     {HasNoteRole, "hasNote"},
    };
}

PairingDetailsPresenter::PairingDetailsPresenter(ConversionViewModel& driver, QObject* parent)
    : QObject(parent), m_driver(driver)
{
    connect(&m_driver, &ConversionViewModel::pairingEntriesChanged, this,
            &PairingDetailsPresenter::takeEntries);
    connect(&m_driver, &ConversionViewModel::pairingSummaryLinesChanged, this,
            &PairingDetailsPresenter::summaryLinesChanged);
    takeEntries();
}

QString PairingDetailsPresenter::headerLine() const
{
    return PairingDetailsText::headerLine(m_entries.entries());
}

QStringList PairingDetailsPresenter::summaryLines() const
{
    return m_driver.pairingSummaryLines();
}

QStringList PairingDetailsPresenter::detailLabels() const
{
    return PairingDetailsText::detailLabels();
}

void PairingDetailsPresenter::takeEntries()
{
    m_entries.setEntries(m_driver.pairingEntries());
    emit entriesChanged();
}

int PairingDetailsPresenter::rowOfEntry(const QString& entryID) const
{
    const QList<PairingReportEntry>& entries = m_entries.entries();
    for (qsizetype row = 0; row < entries.size(); ++row)
        if (entries.at(row).id.toString() == entryID)
            return static_cast<int>(row);
    return -1;
}
