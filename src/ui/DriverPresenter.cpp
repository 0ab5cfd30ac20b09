#include "ui/DriverPresenter.h"

#include "run/ConversionViewModel.h"

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
            connect(m_driver, input, this, &DriverPresenter::changed);
    }
    emit driverChanged();
    emit changed();
}
