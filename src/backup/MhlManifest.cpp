#include "backup/MhlManifest.h"

#include <QStringList>

namespace Mhl {

QString actionName(Action action)
{
    switch (action) {
    case Action::original:
        return QStringLiteral("original");
    case Action::verified:
        return QStringLiteral("verified");
    case Action::failed:
        return QStringLiteral("failed");
    }
    return QString();
}

std::optional<Action> actionNamed(const QString& name)
{
    for (const Action action : {Action::original, Action::verified, Action::failed}) {
        if (actionName(action) == name)
            return action;
    }
    return std::nullopt;
}

QStringList ignorePatterns()
{
    return {QStringLiteral(".DS_Store"), QStringLiteral("ascmhl/")};
}

} // namespace Mhl
