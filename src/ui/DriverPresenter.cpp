#include "ui/DriverPresenter.h"

#include "run/ConversionViewModel.h"

#include <utility>

DriverPresenter::DriverPresenter(QList<Notifier> inputs, QObject* parent)
    : QObject(parent), m_inputs(std::move(inputs))
{
}

void DriverPresenter::setDriver(ConversionViewModel* driver)
{
    if (m_driver == driver)
        return;
    if (m_driver)
        disconnect(m_driver, nullptr, this, nullptr);
    m_driver = driver;
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
