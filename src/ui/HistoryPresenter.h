#pragma once

#include "store/ConversionHistoryStore.h"

#include <memory>
#include <QAbstractListModel>
#include <QLocale>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class Desktop;

// The recorded runs, newest first, as the history sheet lists them; follows
// the store, so a run recorded while the sheet is open appears at once.
class HistoryModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The history presenter owns its rows.")

public:
    enum Role {
        CardNameRole = Qt::UserRole + 1,
        DateTextRole,
        OutputFolderRole,
        StatsLineRole,
        NeedsAttentionRole,
        StatusMarkRole,
        ToneRole,         // a Tone.Value: positive for a clean run, caution otherwise
        BackupLineRole,   // empty for a run without a backup
        BackupCopiesRole, // one copy per line
    };

    using QAbstractListModel::QAbstractListModel;

    void setEntries(QList<ConversionHistoryEntry> entries, const QLocale& locale);
    const QList<ConversionHistoryEntry>& entries() const { return m_entries; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QList<ConversionHistoryEntry> m_entries;
    QLocale m_locale;
};

// The history sheet: the batch count, the rows, clearing and revealing.
class HistoryPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the application with its history store and desktop.")
    Q_PROPERTY(QString batchCountText READ batchCountText NOTIFY entriesChanged)
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY entriesChanged)
    Q_PROPERTY(QString emptyText READ emptyText CONSTANT)
    Q_PROPERTY(HistoryModel* entries READ entries CONSTANT)
    // Why the last reveal could not show its folder; empty when it could.
    Q_PROPERTY(QString revealProblem READ revealProblem NOTIFY revealProblemChanged)

public:
    // `history` must outlive the presenter; dates read in `locale`.
    HistoryPresenter(ConversionHistoryStore& history, std::shared_ptr<Desktop> desktop,
                     const QLocale& locale = QLocale(), QObject* parent = nullptr);

    QString batchCountText() const;
    bool isEmpty() const;
    QString emptyText() const;
    HistoryModel* entries() { return &m_model; }
    const QString& revealProblem() const { return m_revealProblem; }

    // Empties the history and saves it, without asking.
    Q_INVOKABLE void clearHistory();
    // Shows the output folder of row `row` in the file manager, or says in the
    // sheet that it is gone.
    Q_INVOKABLE void reveal(int row);
    // Forgets the last reveal's problem, as when the sheet is opened again.
    Q_INVOKABLE void dismissRevealProblem();

    // What the sheet says when a run's output folder no longer exists.
    static QString missingFolderText(const QString& folder);

signals:
    void entriesChanged();
    void revealProblemChanged();

private:
    void takeEntries();
    void setRevealProblem(const QString& problem);

    ConversionHistoryStore& m_history;
    std::shared_ptr<Desktop> m_desktop;
    QLocale m_locale;
    HistoryModel m_model;
    QString m_revealProblem;
};
