#include "ui/FreeSpaceConfirmation.h"

#include <QPointer>

FreeSpaceConfirmation::FreeSpaceConfirmation(ConversionViewModel& driver, Desktop& desktop, QObject* parent)
    : QObject(parent), m_driver(driver), m_desktop(desktop)
{
    // Asked from the event loop, once the refusal has taken the run back.
    connect(&m_driver, &ConversionViewModel::spaceShortfallChanged, this,
            &FreeSpaceConfirmation::askIfRefused, Qt::QueuedConnection);
}

QString FreeSpaceConfirmation::question()
{
    return QStringLiteral("Not enough free space");
}

QString FreeSpaceConfirmation::detail(const QString& shortfall)
{
    return shortfall +
           QStringLiteral(" If you convert anyway, the run stops at the first movie that does not fit.");
}

QStringList FreeSpaceConfirmation::buttons()
{
    return {QStringLiteral("Convert Anyway"), QStringLiteral("Cancel")};
}

void FreeSpaceConfirmation::askIfRefused()
{
    if (!m_asking && !m_driver.spaceShortfall().isEmpty())
        m_question = ask(m_driver.spaceShortfall());
}

QCoro::Task<> FreeSpaceConfirmation::ask(QString shortfall)
{
    m_asking = true;
    const QPointer<FreeSpaceConfirmation> self(this);
    QCoro::Task<int> asking =
        m_desktop.showAlert(AlertStyle::warning, question(), detail(shortfall), buttons());
    const int chosen = co_await asking;
    if (!self)
        co_return;
    self->m_asking = false;
    // The card the refusal was about is still the one shown, still refused.
    const bool unchanged = self->m_driver.phase() == ConversionViewModel::Phase::scanned &&
                           self->m_driver.spaceShortfall() == shortfall;
    if (chosen == 0 && unchanged)
        self->m_driver.startIgnoringFreeSpace();
}
