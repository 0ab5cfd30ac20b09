#pragma once

#include "ui/ClipListModel.h"
#include "ui/DriverPresenter.h"

#include <QtQml/qqmlregistration.h>

// The clip list of a scanned card and of a run: its rows, the choice of which
// movies to convert and what a row offers once its movie is there.
class ClipListPresenter : public DriverPresenter
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ClipListModel* model READ model CONSTANT)
    // "N of M clips chosen"
    Q_PROPERTY(QString chosenText READ chosenText NOTIFY changed)
    // The choice can change only while no run is under way.
    Q_PROPERTY(bool canChoose READ canChoose NOTIFY changed)
    Q_PROPERTY(bool canSelectAll READ canSelectAll NOTIFY changed)
    Q_PROPERTY(bool canSelectNone READ canSelectNone NOTIFY changed)
    // Whether the list is on screen: only then are its thumbnails loaded and
    // its changes announced (see DriverPresenter::setHeld).
    Q_PROPERTY(bool active READ active WRITE setActive NOTIFY activeChanged)

public:
    explicit ClipListPresenter(QObject* parent = nullptr);

    ClipListModel* model() { return &m_model; }
    bool active() const { return m_active; }
    void setActive(bool active);
    QString chosenText() const;
    bool canChoose() const;
    bool canSelectAll() const;
    bool canSelectNone() const;

    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void selectNone();
    Q_INVOKABLE void setChosen(const QString& key, bool chosen);
    // The id of the pairing report entry of `row`, for the pairing details.
    Q_INVOKABLE QString entryOf(int row) const;
    // Chooses the movie of `row` when it was not chosen, and the other way round.
    Q_INVOKABLE void toggle(int row);
    // Reveals or opens the movie of a row whose movie the run left in its folder.
    Q_INVOKABLE void showInFolder(const QString& key);
    Q_INVOKABLE void openMovie(const QString& key);

signals:
    void activeChanged();

private:
    ClipListModel m_model;
    bool m_active = false;
};
