#pragma once

#include "card/P2Clip.h"
#include "card/SpannedShot.h"
#include "run/ConversionJob.h"

#include <memory>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <utility>

// Which of a card's movies the next run converts: every one unless the user
// leaves some out. A movie is known by its key (ClipRow::key), the video file
// of its first piece, so a movie left out stays out when the card is paired
// again.
class ClipChoice
{
public:
    // The card's movies, as pairing gave its clips; a joined shot is one movie.
    void setMovies(const QList<P2Clip>& clips, const QList<SpannedShot>& joinedShots);

    int movieCount() const { return static_cast<int>(m_keys.size()); }
    int chosenCount() const;
    bool isChosen(const QString& key) const { return !m_unchosen.contains(key); }
    bool allChosen() const { return chosenCount() == movieCount(); }

    // Each gives false when it changed nothing: a key that is no movie, or a
    // choice that was already so.
    bool setChosen(const QString& key, bool chosen);
    bool chooseAll();
    bool chooseNone();
    // Chooses exactly the movies with a piece named in `names` (as scan shows
    // a clip), or gives the names that match no movie and changes nothing.
    QStringList chooseOnlyNamed(const QStringList& names);

    // "N of M clips chosen"
    QString sentence() const;

    struct Run
    {
        QList<std::shared_ptr<ConversionJob>> jobs;
        // How the reports name the movies left out, in card order.
        QStringList notChosenNames;
    };
    // The jobs of the whole card, one per movie: those chosen make the run.
    Run split(const QList<std::shared_ptr<ConversionJob>>& jobs) const;

private:
    QStringList m_keys;
    // Each piece's name with the key of its movie.
    QList<std::pair<QString, QString>> m_pieces;
    QSet<QString> m_unchosen;
};
