#pragma once

#include "run/ClipRow.h"
#include "run/ClipStatus.h"
#include "ui/ClipThumbnails.h"

#include <memory>
#include <QAbstractListModel>
#include <QHash>
#include <QMap>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

class ConversionJob;
class ConversionViewModel;

// The rows of the clip list: a card's movies in shooting order, then the clips
// pairing left out, each with its thumbnail, facts, choice and, once a run has
// started, its state in that run.
class ClipListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The clip list's rows are ClipListPresenter.model.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        KeyRole = Qt::UserRole + 1,
        NameRole,
        OutputNameRole,
        DetailsRole,
        PairingRole,
        PiecesRole,
        IncludedRole,
        ChosenRole,
        StatusRole,
        ProgressRole,
        ThumbnailRole,
        CanOpenRole,
        AccessibleNameRole,
        EntryRole,
    };

    // A row announces the state of its movie's job at most this often: a tool
    // reports progress every half second or more often, and each announcement
    // costs the window a re-layout of the row.
    static constexpr int announceIntervalMs = 250;

    // A list on screen announces one arrived thumbnail a frame (at 60 Hz): a
    // new image costs the window its loading and drawing, and the camera's
    // bitmaps of a whole card arrive at once.
    static constexpr int thumbnailIntervalMs = 16;

    // A list shown by a switch of view builds its rows this long after it.
    static constexpr int buildDelayMs = 16;
    // A card's rows reach the list a few at first, then twice as many a frame
    // (at 60 Hz) until all are there: the window builds each row it shows in
    // the frame that adds it, and the first rows fill the list's height.
    static constexpr int firstRows = 2;
    static constexpr int growIntervalMs = 16;

    explicit ClipListModel(QObject* parent = nullptr);

    void setDriver(ConversionViewModel* driver);
    // Only a list on screen asks for thumbnails and announces changes of its
    // rows. One that is hidden drops the frames it has not started, leaving
    // their turn to the list now shown, and keeps what changed in its rows
    // meanwhile for one announcement when it is shown again; when the card's
    // clips changed meanwhile, it takes them anew then.
    void setActive(bool active);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return m_shown; }

    // A row's state in the run, or empty before a run: "waiting", "converting
    // 42 %", "converted", "missing audio", "skipped (already existed)",
    // "failed — REASON" (the first line of the failure), "not chosen";
    // "excluded" for a clip pairing left out.
    static QString statusText(const ClipRow& row, bool runStarted, const ConversionJob* job);
    // "0:42 · TC 01:00:00:00 · 2026-07-01 15:00 · 2 audio channels": the facts
    // that are known.
    static QString detailsText(const ClipRow& row);
    // What a screen reader says of a row: name, status and pairing.
    static QString accessibleName(const ClipRow& row, const QString& status);

signals:
    void countChanged();

private:
    void reload();
    void requestThumbnails();
    // Points each row at its movie's job in the driver's run.
    void assignJobs();
    void takeJobs();
    void jobUpdated(const QString& key);
    void thumbnailReady(const QString& key, const QString& imageURL);
    // Notes that `roles` of `row` changed; announced with the next announcement.
    void markChanged(int row, const QList<int>& roles);
    void markAllChanged(const QList<int>& roles);
    // Announces the changed rows after the interval, when on screen.
    void announceSoon();
    // Announces every row noted as changed, adjacent rows of the same roles at once.
    void announce();
    // Announces the first of the rows whose thumbnail arrived.
    void announceThumbnail();
    // Adds the next rows of the card to those the list has.
    void grow();

    QPointer<ConversionViewModel> m_driver;
    bool m_active = false;
    // The driver's clips changed while the list was hidden.
    bool m_stale = false;
    QList<ClipRow> m_rows;
    // How many of m_rows the list has so far.
    int m_shown = 0;
    QTimer m_growTimer;
    QHash<QString, int> m_rowOfKey;
    // The last run's job of each row's movie, none before a run or for a clip
    // left out: looked up by row, as the view asks for every role of a row.
    QList<std::shared_ptr<ConversionJob>> m_jobOfRow;
    // Each row's facts line, made when first asked for.
    mutable QList<QString> m_detailsOfRow;
    bool m_runStarted = false;
    QHash<QString, QString> m_thumbnails;
    // The rows changed and not yet announced, each with a bit per role
    // (1 << (role - KeyRole)).
    QMap<int, quint32> m_changed;
    QTimer m_announceTimer;
    // The rows whose thumbnail arrived while on screen, not yet announced, in arrival order.
    QList<int> m_thumbnailRows;
    QTimer m_thumbnailTimer;
    ClipThumbnails m_loader;
};
