#include "run/RunStop.h"

namespace RunStops {

QString notStartedReason(RunStop stop)
{
    switch (stop) {
    case RunStop::cancelled:
        return QStringLiteral("the run was cancelled");
    case RunStop::outputFull:
        return QStringLiteral("the output folder’s disk is full");
    case RunStop::cardGone:
        return QStringLiteral("the card’s folder disappeared");
    }
    Q_UNREACHABLE();
}

QString notStartedText(RunStop stop)
{
    return QStringLiteral("not started — ") + notStartedReason(stop);
}

QString sentence(RunStop stop)
{
    switch (stop) {
    case RunStop::cancelled:
        return QStringLiteral("The run was cancelled.");
    case RunStop::outputFull:
        return QStringLiteral("The run stopped: the output folder’s disk is full.");
    case RunStop::cardGone:
        return QStringLiteral("The run stopped: the card’s folder disappeared during the run.");
    }
    Q_UNREACHABLE();
}

} // namespace RunStops
