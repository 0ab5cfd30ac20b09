#include "ui/DriverPresenter.h"

#include "run/ConversionViewModel.h"

#include <utility>

DriverPresenter::DriverPresenter(QList<Notifier> inputs, QObject* parent)
    : QObject(parent), m_inputs(std::move(inputs))
{
}

bool switchDriver(QPointer<ConversionViewModel>& current, ConversionViewModel* next, QObject* listener)
{
    if (current == next)
        return false;
    if (current)
        QObject::disconnect(current, nullptr, listener, nullptr);
    current = next;
    return true;
}

void DriverPresenter::setDriver(ConversionViewModel* driver)
{
    if (!switchDriver(m_driver, driver, this))
        return;
    if (m_driver) {
        for (const Notifier input : std::as_const(m_inputs))
            connect(m_driver, input, this, &DriverPresenter::inputChanged);
    }
    emit driverChanged();
    emit changed();
}

void DriverPresenter::setHeld(bool held)
{
    m_held = held;
    if (!held && std::exchange(m_changedWhileHeld, false))
        emit changed();
}

void DriverPresenter::inputChanged()
{
    if (m_held)
        m_changedWhileHeld = true;
    else
        emit changed();
}
