#include "run/ClipStatus.h"

ClipStatus ClipStatus::converting(double fraction)
{
    return {Kind::converting, fraction, {}};
}

ClipStatus ClipStatus::failed(QString message)
{
    return {Kind::failed, 0, std::move(message)};
}

ClipStatus ClipStatus::pending()
{
    return {};
}

ClipStatus ClipStatus::completed()
{
    return {Kind::completed, 0, {}};
}

ClipStatus ClipStatus::skippedExisting()
{
    return {Kind::skippedExisting, 0, {}};
}

ClipStatus ClipStatus::notStarted(RunStop stop)
{
    return {Kind::notStarted, 0, RunStops::notStartedText(stop)};
}

ClipStatus ClipStatus::notChosen()
{
    return {Kind::notChosen, 0, {}};
}

double ClipStatus::progressWeight() const
{
    switch (kind) {
    case Kind::converting:
        return fraction;
    case Kind::pending:
    // Nothing was done for it: the share shows how far the run got.
    case Kind::notStarted:
    case Kind::notChosen:
        return 0;
    case Kind::failed:
    case Kind::completed:
    case Kind::skippedExisting:
        return 1;
    }
    Q_UNREACHABLE();
}

bool ClipStatus::isFinal() const
{
    return kind == Kind::failed || kind == Kind::completed || kind == Kind::skippedExisting ||
           kind == Kind::notStarted;
}
