#pragma once

#include "run/ConversionViewModel.h"
#include "store/Desktop.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>
#include <QStringList>

// When the window's run is refused because its movies may not fit, asks
// whether to convert anyway: the alert says the refusal's own sentence (the
// folder, what the movies need, what is free) and offers "Convert Anyway" and
// "Cancel". Only "Convert Anyway" starts the run, and only for the card the
// refusal was about.
class FreeSpaceConfirmation : public QObject
{
    Q_OBJECT

public:
    // `driver` and `desktop` must outlive the confirmation.
    FreeSpaceConfirmation(ConversionViewModel& driver, Desktop& desktop, QObject* parent = nullptr);

    static QString question();
    // The alert's text under the question for the refusal `shortfall`.
    static QString detail(const QString& shortfall);
    // The alert's buttons: converting anyway first, cancelling last.
    static QStringList buttons();

private:
    void askIfRefused();
    QCoro::Task<> ask(QString shortfall);

    ConversionViewModel& m_driver;
    Desktop& m_desktop;
    bool m_asking = false;
    QCoro::Task<> m_question;
};
