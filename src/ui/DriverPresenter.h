#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class ConversionViewModel;

// Points `current` at `next`, cutting `listener`'s connections to the driver it
// pointed at before; false when it pointed at `next` already.
bool switchDriver(QPointer<ConversionViewModel>& current, ConversionViewModel* next, QObject* listener);

// The base of the presenters that turn the session driver's state into what a
// view shows: each names the driver signals its figures depend on and announces
// `changed` after any of them.
class DriverPresenter : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(ConversionViewModel* driver READ driver WRITE setDriver NOTIFY driverChanged)

public:
    ConversionViewModel* driver() const { return m_driver; }
    void setDriver(ConversionViewModel* driver);
    // While held, changes of the inputs are not announced: a view that is not
    // on screen need not follow them. Released, one `changed` tells of all
    // that changed meanwhile.
    void setHeld(bool held);

signals:
    void driverChanged();
    void changed();

protected:
    using Notifier = void (ConversionViewModel::*)();
    explicit DriverPresenter(QList<Notifier> inputs, QObject* parent = nullptr);

private:
    void inputChanged();

    QList<Notifier> m_inputs;
    QPointer<ConversionViewModel> m_driver;
    bool m_held = false;
    bool m_changedWhileHeld = false;
};
