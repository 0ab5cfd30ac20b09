#pragma once

#include "media/ProResProfile.h"
#include "run/ConversionJob.h"

#include <memory>
#include <optional>
#include <QCoroTask>
#include <QList>
#include <QString>

// Whether a run goes ahead when its movies may not fit: asked before the first
// clip, so that a run that cannot fit is refused in one sentence instead of
// failing clip after clip once the disk is full.
namespace SpaceRefusal {

// Why the movies of `jobs` cannot fit into `folder`, as the user is told
// (see sentence); nothing when they fit, or when the system cannot tell how
// much is free there.
QCoro::Task<std::optional<QString>> shortfall(QList<std::shared_ptr<ConversionJob>> jobs,
                                              ProResProfile profile, bool skipExistingFiles, QString folder);

// "Not enough free space in “/out/07-01-2026”: the movies need about 12.4 GB
// and 3.1 GB is free.", the folder escaped as every name shown is.
QString sentence(const QString& folder, qint64 needed, qint64 available);

} // namespace SpaceRefusal
