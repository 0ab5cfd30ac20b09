#include "ui/ClipListModel.h"

#include "run/ConversionViewModel.h"
#include "ui/DriverPresenter.h"
#include "ui/UiText.h"

#include <algorithm>
#include <iterator>
#include <QLocale>
#include <QStringList>
#include <QTimer>
#include <utility>

namespace {

// What a row shows of its movie's job.
const QList<int> runRoles{ClipListModel::StatusRole, ClipListModel::ProgressRole, ClipListModel::CanOpenRole,
                          ClipListModel::AccessibleNameRole};

} // namespace

ClipListModel::ClipListModel(QObject* parent)
    : QAbstractListModel(parent),
      m_loader([this](const QString& key, const QString& url) { thumbnailReady(key, url); })
{
    m_announceTimer.setSingleShot(true);
    m_announceTimer.setInterval(announceIntervalMs);
    connect(&m_announceTimer, &QTimer::timeout, this, &ClipListModel::announce);
    m_thumbnailTimer.setSingleShot(true);
    m_thumbnailTimer.setInterval(thumbnailIntervalMs);
    connect(&m_thumbnailTimer, &QTimer::timeout, this, &ClipListModel::announceThumbnail);
    m_growTimer.setInterval(growIntervalMs);
    connect(&m_growTimer, &QTimer::timeout, this, &ClipListModel::grow);
}

void ClipListModel::setDriver(ConversionViewModel* driver)
{
    if (!switchDriver(m_driver, driver, this))
        return;
    if (m_driver) {
        for (const auto changed :
             {&ConversionViewModel::clipsChanged, &ConversionViewModel::pairingEntriesChanged,
              &ConversionViewModel::joinedShotsChanged})
            connect(m_driver, changed, this, &ClipListModel::reload);
        connect(m_driver, &ConversionViewModel::choiceChanged, this, [this] {
            markAllChanged({ChosenRole});
            // A click is answered at once.
            if (m_active)
                announce();
        });
        connect(m_driver, &ConversionViewModel::jobsChanged, this, &ClipListModel::takeJobs);
        connect(m_driver, &ConversionViewModel::jobUpdated, this, &ClipListModel::jobUpdated);
    }
    reload();
}

void ClipListModel::reload()
{
    // A list not on screen would build its rows for nobody, the more so as a
    // scan changes the clips, the pairing and the joined shots one by one.
    if (!m_active) {
        m_stale = true;
        return;
    }
    m_stale = false;
    beginResetModel();
    m_rows = m_driver ? m_driver->clipRows() : QList<ClipRow>();
    m_rowOfKey.clear();
    for (qsizetype i = 0; i < m_rows.size(); ++i)
        m_rowOfKey.insert(m_rows.at(i).key, static_cast<int>(i));
    m_detailsOfRow = QList<QString>(m_rows.size());
    m_shown = static_cast<int>(std::min<qsizetype>(firstRows, m_rows.size()));
    assignJobs();
    m_changed.clear();
    m_thumbnailRows.clear();
    m_thumbnailTimer.stop();
    endResetModel();
    emit countChanged();
    if (m_shown < m_rows.size())
        m_growTimer.start();
    else
        m_growTimer.stop();
    requestThumbnails();
}

void ClipListModel::setActive(bool active)
{
    if (m_active == active)
        return;
    m_active = active;
    if (m_active && m_stale) {
        // Built a frame after the switch of the window's view, once that is
        // drawn: the next turn of the loop often comes before the frame.
        QTimer::singleShot(buildDelayMs, this, [this] {
            if (m_active && m_stale)
                reload();
        });
        return;
    }
    if (m_active) {
        announce();
        if (m_shown < m_rows.size())
            m_growTimer.start();
    } else {
        m_announceTimer.stop();
        m_growTimer.stop();
        // Those not yet announced are told with the rest when shown again.
        m_thumbnailTimer.stop();
        for (const int row : std::as_const(m_thumbnailRows))
            markChanged(row, {ThumbnailRole});
        m_thumbnailRows.clear();
    }
    requestThumbnails();
}

void ClipListModel::requestThumbnails()
{
    // The verdict is shown first: the images are asked for once the rows are.
    QList<ClipThumbnails::Request> requests;
    for (const ClipRow& row : std::as_const(m_rows))
        if (m_active && !m_thumbnails.contains(row.key))
            requests.append({row.key, row.videoURL, row.name, row.durationSeconds});
    const QString iconFolder = m_driver && m_driver->cardStructure()
                                   ? m_driver->cardStructure()->iconFolder.value_or(QString())
                                   : QString();
    m_loader.request(iconFolder, requests);
}

void ClipListModel::assignJobs()
{
    m_jobOfRow = QList<std::shared_ptr<ConversionJob>>(m_rows.size());
    const QList<std::shared_ptr<ConversionJob>> jobs =
        m_driver ? m_driver->jobs() : QList<std::shared_ptr<ConversionJob>>();
    for (const std::shared_ptr<ConversionJob>& job : jobs)
        if (const auto row = m_rowOfKey.constFind(job->clip().videoURL); row != m_rowOfKey.cend())
            m_jobOfRow[*row] = job;
    m_runStarted = !jobs.isEmpty();
}

void ClipListModel::takeJobs()
{
    assignJobs();
    markAllChanged(runRoles);
    announceSoon();
}

void ClipListModel::jobUpdated(const QString& key)
{
    if (const auto row = m_rowOfKey.constFind(key); row != m_rowOfKey.cend()) {
        markChanged(*row, runRoles);
        announceSoon();
    }
}

void ClipListModel::thumbnailReady(const QString& key, const QString& imageURL)
{
    m_thumbnails.insert(key, imageURL);
    const auto row = m_rowOfKey.constFind(key);
    // A row the list has yet to add is read whole when added.
    if (row == m_rowOfKey.cend() || *row >= m_shown)
        return;
    if (!m_active) {
        markChanged(*row, {ThumbnailRole});
        return;
    }
    m_thumbnailRows.append(*row);
    if (!m_thumbnailTimer.isActive())
        m_thumbnailTimer.start();
}

void ClipListModel::grow()
{
    const int total = static_cast<int>(m_rows.size());
    const int next = std::min(total, std::max(m_shown * 2, firstRows));
    if (next > m_shown) {
        beginInsertRows({}, m_shown, next - 1);
        m_shown = next;
        endInsertRows();
        emit countChanged();
    }
    if (m_shown >= total)
        m_growTimer.stop();
}

void ClipListModel::announceThumbnail()
{
    const int row = m_thumbnailRows.takeFirst();
    // The next a whole frame after this one, however late this one came.
    if (!m_thumbnailRows.isEmpty())
        m_thumbnailTimer.start();
    emit dataChanged(index(row), index(row), {ThumbnailRole});
}

void ClipListModel::markChanged(int row, const QList<int>& roles)
{
    if (row >= m_shown)
        return;
    quint32& bits = m_changed[row];
    for (const int role : roles)
        bits |= 1U << (role - KeyRole);
}

void ClipListModel::markAllChanged(const QList<int>& roles)
{
    for (int row = 0; row < rowCount(); ++row)
        markChanged(row, roles);
}

void ClipListModel::announceSoon()
{
    if (m_active && !m_announceTimer.isActive())
        m_announceTimer.start();
}

void ClipListModel::announce()
{
    m_announceTimer.stop();
    const QMap<int, quint32> changed = std::exchange(m_changed, {});
    for (auto first = changed.cbegin(); first != changed.cend();) {
        auto last = first;
        for (auto next = std::next(first);
             next != changed.cend() && next.key() == last.key() + 1 && next.value() == first.value(); ++next)
            last = next;
        QList<int> roles;
        for (int role = KeyRole; role <= EntryRole; ++role)
            if (first.value() & (1U << (role - KeyRole)))
                roles.append(role);
        emit dataChanged(index(first.key()), index(last.key()), roles);
        first = std::next(last);
    }
}

int ClipListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_shown;
}

QString ClipListModel::statusText(const ClipRow& row, bool runStarted, const ConversionJob* job)
{
    if (!row.included)
        return QStringLiteral("excluded");
    if (!runStarted)
        return QString();
    if (!job)
        return QStringLiteral("not chosen");
    const ClipStatus& status = job->status();
    switch (status.kind) {
    case ClipStatus::Kind::pending:
        return QStringLiteral("waiting");
    case ClipStatus::Kind::converting:
        return QStringLiteral("converting %1 %").arg(qRound(job->progress() * 100));
    case ClipStatus::Kind::completed:
        return row.audioChannels == 0 ? QStringLiteral("missing audio") : QStringLiteral("converted");
    case ClipStatus::Kind::skippedExisting:
        return QStringLiteral("skipped (already existed)");
    case ClipStatus::Kind::failed:
        return QStringLiteral("failed — ") + status.message.section(QLatin1Char('\n'), 0, 0).trimmed();
    case ClipStatus::Kind::notChosen:
        return QStringLiteral("not chosen");
    case ClipStatus::Kind::notStarted:
        // "not started — the run was cancelled", as the reports say it.
        return status.message;
    }
    Q_UNREACHABLE();
}

QString ClipListModel::detailsText(const ClipRow& row)
{
    QStringList parts;
    if (row.durationSeconds)
        parts.append(ClipRows::durationText(*row.durationSeconds));
    if (row.startTimecode)
        parts.append(QStringLiteral("TC ") + *row.startTimecode);
    if (row.recorded)
        parts.append(QLocale::c().toString(row.recorded->toLocalTime(), QStringLiteral("yyyy-MM-dd HH:mm")));
    parts.append(UiText::counted(row.audioChannels, QStringLiteral("audio channel")));
    return parts.join(QStringLiteral(" · "));
}

QString ClipListModel::accessibleName(const ClipRow& row, const QString& status)
{
    QStringList parts{row.name};
    if (!status.isEmpty() && status != QLatin1String("excluded"))
        parts.append(status);
    parts.append(row.pairing);
    return parts.join(QStringLiteral(", "));
}

QVariant ClipListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_shown)
        return {};
    const ClipRow& row = m_rows.at(index.row());
    const ConversionJob* const job = m_jobOfRow.at(index.row()).get();
    const bool runStarted = m_runStarted;
    switch (role) {
    case KeyRole:
        return row.key;
    case NameRole:
        return row.name;
    case OutputNameRole:
        return row.outputName;
    case DetailsRole: {
        QString& details = m_detailsOfRow[index.row()];
        if (details.isNull())
            details = detailsText(row);
        return details;
    }
    case PairingRole:
        return row.pairing;
    case PiecesRole:
        return row.pieces.isEmpty() ? QString()
                                    : QStringLiteral("Joined: ") + row.pieces.join(QStringLiteral(" + "));
    case IncludedRole:
        return row.included;
    case ChosenRole:
        return row.included && m_driver && m_driver->isChosen(row.key);
    case StatusRole:
        return statusText(row, runStarted, job);
    case ProgressRole:
        return job && job->status().kind == ClipStatus::Kind::converting ? job->progress() : -1.0;
    case ThumbnailRole:
        return m_thumbnails.value(row.key);
    case CanOpenRole:
        return job && (job->status().kind == ClipStatus::Kind::completed ||
                       job->status().kind == ClipStatus::Kind::skippedExisting);
    case AccessibleNameRole:
        return accessibleName(row, statusText(row, runStarted, job));
    case EntryRole:
        return row.entryID.toString();
    default:
        return {};
    }
}

QHash<int, QByteArray> ClipListModel::roleNames() const
{
    static const QHash<int, QByteArray> names{
        {KeyRole, "key"},
        {NameRole, "name"},
        {OutputNameRole, "outputName"},
        {DetailsRole, "details"},
        {PairingRole, "pairing"},
        {PiecesRole, "pieces"},
        {IncludedRole, "included"},
        {ChosenRole, "chosen"},
        {StatusRole, "status"},
        {ProgressRole, "progress"},
        {ThumbnailRole, "thumbnail"},
        {CanOpenRole, "canOpen"},
        {AccessibleNameRole, "accessibleName"},
        {EntryRole, "entry"},
    };
    return names;
}
