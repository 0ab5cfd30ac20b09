#pragma once

#include <QCoro/QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariant>
#include <variant>

namespace DBusCall {

// The first value of the reply to `call`, or the text of the error that came
// instead. Awaited, never blocking; a service that does not answer within a
// few seconds counts as absent, so a run is never kept waiting for it.
QCoro::Task<std::variant<QVariant, QString>> firstValue(QDBusConnection bus, QDBusMessage call);

} // namespace DBusCall
