#include "run/ClipChoice.h"

#include <algorithm>
#include <QHash>
#include <QUuid>

void ClipChoice::setMovies(const QList<P2Clip>& clips, const QList<SpannedShot>& joinedShots)
{
    QHash<QUuid, QString> keyOfPiece;
    for (const SpannedShot& shot : joinedShots)
        for (const P2Clip& piece : shot.pieces)
            keyOfPiece.insert(piece.id, shot.top().videoURL);
    m_keys.clear();
    m_pieces.clear();
    for (const P2Clip& clip : clips) {
        const QString key = keyOfPiece.value(clip.id, clip.videoURL);
        if (key == clip.videoURL)
            m_keys.append(key);
        m_pieces.append({clip.videoName(), key});
    }
}

int ClipChoice::chosenCount() const
{
    return static_cast<int>(
        std::ranges::count_if(m_keys, [this](const QString& key) { return isChosen(key); }));
}

bool ClipChoice::setChosen(const QString& key, bool chosen)
{
    if (!m_keys.contains(key) || isChosen(key) == chosen)
        return false;
    if (chosen)
        m_unchosen.remove(key);
    else
        m_unchosen.insert(key);
    return true;
}

bool ClipChoice::chooseAll()
{
    if (m_unchosen.isEmpty())
        return false;
    m_unchosen.clear();
    return true;
}

bool ClipChoice::chooseNone()
{
    QSet<QString> all(m_keys.begin(), m_keys.end());
    if (all == m_unchosen)
        return false;
    m_unchosen = std::move(all);
    return true;
}

QStringList ClipChoice::chooseOnlyNamed(const QStringList& names)
{
    QSet<QString> chosen;
    QStringList unknown;
    for (const QString& name : names) {
        bool found = false;
        for (const auto& [piece, key] : std::as_const(m_pieces)) {
            if (piece == name) {
                chosen.insert(key);
                found = true;
            }
        }
        if (!found && !unknown.contains(name))
            unknown.append(name);
    }
    if (!unknown.isEmpty())
        return unknown;
    m_unchosen.clear();
    for (const QString& key : std::as_const(m_keys))
        if (!chosen.contains(key))
            m_unchosen.insert(key);
    return {};
}

QString ClipChoice::sentence() const
{
    return QStringLiteral("%1 of %2 clip%3 chosen")
        .arg(chosenCount())
        .arg(movieCount())
        .arg(movieCount() == 1 ? "" : "s");
}

ClipChoice::Run ClipChoice::split(const QList<std::shared_ptr<ConversionJob>>& jobs) const
{
    Run run;
    for (const std::shared_ptr<ConversionJob>& job : jobs) {
        if (isChosen(job->clip().videoURL))
            run.jobs.append(job);
        else
            run.notChosenNames.append(job->clipName());
    }
    return run;
}
