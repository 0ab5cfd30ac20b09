#pragma once

#include "card/PairingReportEntry.h"

#include <QAbstractListModel>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

class ConversionViewModel;

// The pairing entries of the loaded card, one row each, in the driver's order.
class PairingEntriesModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The pairing details presenter owns its entries.")

public:
    enum Role {
        ClipNameRole = Qt::UserRole + 1,
        StatusRole, // a PairingStatus
        StatusTextRole,
        StatusSymbolRole,
        ToneRole,     // a Tone.Value
        NoteToneRole, // a Tone.Value
        DetailValuesRole,
        NoteRole,
        HasNoteRole,
    };

    using QAbstractListModel::QAbstractListModel;

    void setEntries(QList<PairingReportEntry> entries);
    const QList<PairingReportEntry>& entries() const { return m_entries; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QList<PairingReportEntry> m_entries;
};

// The pairing details sheet: the header line, the card's summary lines and the
// entries, following the driver as it scans and re-pairs.
class PairingDetailsPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the application over its session driver.")
    Q_PROPERTY(QString headerLine READ headerLine NOTIFY entriesChanged)
    Q_PROPERTY(QStringList summaryLines READ summaryLines NOTIFY summaryLinesChanged)
    Q_PROPERTY(QStringList detailLabels READ detailLabels CONSTANT)
    Q_PROPERTY(PairingEntriesModel* entries READ entries CONSTANT)

public:
    // `driver` must outlive the presenter.
    explicit PairingDetailsPresenter(ConversionViewModel& driver, QObject* parent = nullptr);

    QString headerLine() const;
    QStringList summaryLines() const;
    QStringList detailLabels() const;
    PairingEntriesModel* entries() { return &m_entries; }
    // The row of the entry whose id is `entryID`, or -1.
    Q_INVOKABLE int rowOfEntry(const QString& entryID) const;

signals:
    void entriesChanged();
    void summaryLinesChanged();

private:
    void takeEntries();

    ConversionViewModel& m_driver;
    PairingEntriesModel m_entries;
};
