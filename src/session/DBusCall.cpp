#include "session/DBusCall.h"

#include <QCoro/QCoroDBusPendingCall>

namespace DBusCall {

namespace {

constexpr int callTimeoutMs = 5000;

} // namespace

QCoro::Task<std::variant<QVariant, QString>> firstValue(QDBusConnection bus, QDBusMessage call)
{
    const QDBusPendingCall pending = bus.asyncCall(call, callTimeoutMs);
    const QDBusMessage reply = co_await pending;
    if (reply.type() == QDBusMessage::ErrorMessage)
        co_return reply.errorMessage();
    co_return reply.arguments().value(0);
}

} // namespace DBusCall
