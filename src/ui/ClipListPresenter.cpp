#include "ui/ClipListPresenter.h"

#include "run/ConversionViewModel.h"

ClipListPresenter::ClipListPresenter(QObject* parent)
    : DriverPresenter({&ConversionViewModel::choiceChanged, &ConversionViewModel::phaseChanged}, parent)
{
    connect(this, &DriverPresenter::driverChanged, this, [this] { m_model.setDriver(driver()); });
    setHeld(true);
}

void ClipListPresenter::setActive(bool active)
{
    if (m_active == active)
        return;
    m_active = active;
    setHeld(!active);
    m_model.setActive(active);
    emit activeChanged();
}

QString ClipListPresenter::chosenText() const
{
    return driver() ? driver()->choice().sentence() : QString();
}

bool ClipListPresenter::canChoose() const
{
    return driver() && !driver()->isConverting() && driver()->movieCount() > 0;
}

bool ClipListPresenter::canSelectAll() const
{
    return canChoose() && driver()->chosenCount() < driver()->movieCount();
}

bool ClipListPresenter::canSelectNone() const
{
    return canChoose() && driver()->chosenCount() > 0;
}

void ClipListPresenter::selectAll()
{
    if (driver())
        driver()->chooseAll();
}

void ClipListPresenter::selectNone()
{
    if (driver())
        driver()->chooseNone();
}

void ClipListPresenter::setChosen(const QString& key, bool chosen)
{
    if (driver())
        driver()->setChosen(key, chosen);
}

QString ClipListPresenter::entryOf(int row) const
{
    return m_model.index(row).data(ClipListModel::EntryRole).toString();
}

void ClipListPresenter::toggle(int row)
{
    const QModelIndex index = m_model.index(row);
    if (index.isValid())
        setChosen(index.data(ClipListModel::KeyRole).toString(),
                  !index.data(ClipListModel::ChosenRole).toBool());
}

void ClipListPresenter::showInFolder(const QString& key)
{
    if (driver())
        driver()->revealMovie(key);
}

void ClipListPresenter::openMovie(const QString& key)
{
    if (driver())
        driver()->openMovie(key);
}
