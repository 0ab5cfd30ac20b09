#include "card/SpannedShot.h"

#include "card/Pairing.h"

#include <optional>
#include <QSet>
#include <variant>

namespace {

using Method = P2Clip::PairingMethod;

const QString joinedSeparator = QStringLiteral(" + ");

QString describe(const ShotConnection& connection)
{
    if (connection.clipName)
        return *connection.clipName;
    if (connection.globalClipID)
        return P2MetadataParser::normalizedUMID(*connection.globalClipID);
    return QStringLiteral("an unnamed clip");
}

template <typename T> QString describe(const std::optional<T>& value)
{
    if (!value)
        return QStringLiteral("unknown");
    if constexpr (std::is_same_v<T, QString>)
        return *value;
    else
        return QString::number(*value);
}

// The chain of one shot in the making: the clips that name the same Top.
struct Group
{
    std::optional<qsizetype> top;
    // How the first member names the Top, for when it is missing.
    QString topLabel;
    QList<qsizetype> members;
};

class ShotChainReader
{
public:
    explicit ShotChainReader(const QList<P2Clip>& clips) : clips_(clips) {}

    SpannedShots::Grouping run();

private:
    std::optional<qsizetype> resolve(const ShotConnection& connection) const;
    // The clip at the head of `index`'s shot: its Top, or where its Previous
    // links lead when it names no Top.
    std::optional<qsizetype> topOf(qsizetype index) const;
    QString nameOf(qsizetype index) const { return clips_[index].videoName(); }
    // The pieces in order, or why the shot cannot be joined.
    std::variant<QList<qsizetype>, QString> chain(const Group& group) const;
    std::optional<QString> problemWithPieces(const QList<qsizetype>& chain) const;
    std::optional<QString> problemWithOffsets(const QList<qsizetype>& chain) const;
    template <typename T, typename Field>
    std::optional<QString> disagreement(const QList<qsizetype>& chain, const QString& what,
                                        Field field) const;

    const QList<P2Clip>& clips_;
};

std::optional<qsizetype> ShotChainReader::resolve(const ShotConnection& connection) const
{
    if (connection.globalClipID) {
        const QString umid = P2MetadataParser::normalizedUMID(*connection.globalClipID);
        for (qsizetype i = 0; i < clips_.size(); ++i)
            if (clips_[i].globalClipID == umid)
                return i;
        return std::nullopt;
    }
    if (connection.clipName) {
        for (qsizetype i = 0; i < clips_.size(); ++i) {
            const P2Clip& clip = clips_[i];
            const QString name = clip.xmlClipName.value_or(clip.videoName());
            if (name.compare(*connection.clipName, Qt::CaseInsensitive) == 0)
                return i;
        }
    }
    return std::nullopt;
}

std::optional<qsizetype> ShotChainReader::topOf(qsizetype index) const
{
    const ShotRelation& relation = *clips_[index].relation;
    if (relation.top)
        return resolve(*relation.top);
    // Bounded walk back: a cycle of Previous links has no head.
    qsizetype current = index;
    for (qsizetype steps = 0; steps <= clips_.size(); ++steps) {
        const std::optional<ShotRelation>& here = clips_[current].relation;
        if (!here || !here->previous)
            return current;
        const std::optional<qsizetype> previous = resolve(*here->previous);
        if (!previous)
            return std::nullopt;
        current = *previous;
    }
    return std::nullopt;
}

std::variant<QList<qsizetype>, QString> ShotChainReader::chain(const Group& group) const
{
    if (!group.top)
        return QStringLiteral("its first piece %1 is missing").arg(group.topLabel);
    const qsizetype top = *group.top;
    const std::optional<ShotRelation>& head = clips_[top].relation;
    if (!head || !head->next)
        return QStringLiteral("its first piece %1 names no Next piece").arg(nameOf(top));
    if (head->previous)
        return QStringLiteral("its first piece %1 names a Previous piece").arg(nameOf(top));

    QList<qsizetype> pieces{top};
    for (qsizetype current = top; clips_[current].relation && clips_[current].relation->next;) {
        const ShotConnection& next = *clips_[current].relation->next;
        const std::optional<qsizetype> found = resolve(next);
        if (!found)
            return QStringLiteral("piece %1 (Next of %2) is missing").arg(describe(next), nameOf(current));
        if (pieces.contains(*found))
            return QStringLiteral("the chain runs back to %1").arg(nameOf(*found));
        const std::optional<ShotRelation>& relation = clips_[*found].relation;
        const std::optional<qsizetype> previous =
            relation && relation->previous ? resolve(*relation->previous) : std::nullopt;
        if (previous != current) {
            const QString pointsTo =
                relation && relation->previous
                    ? QStringLiteral("names %1 as Previous").arg(describe(*relation->previous))
                    : QStringLiteral("names no Previous");
            return QStringLiteral("%1 names %2 as Next, but %2 %3")
                .arg(nameOf(current), nameOf(*found), pointsTo);
        }
        if (topOf(*found) != top)
            return QStringLiteral("%1 names a different first piece than %2")
                .arg(nameOf(*found), nameOf(top));
        pieces.append(*found);
        current = *found;
    }
    for (const qsizetype member : group.members)
        if (!pieces.contains(member))
            return QStringLiteral("%1 claims a place in the shot that another piece holds")
                .arg(nameOf(member));
    return pieces;
}

std::optional<QString> ShotChainReader::problemWithPieces(const QList<qsizetype>& chain) const
{
    for (const qsizetype index : chain) {
        const P2Clip& clip = clips_[index];
        if (clip.pairingMethod != Method::xmlVerified && clip.pairingMethod != Method::xmlNoAudioInClip)
            return QStringLiteral("%1 is not verified by its XML and UMID").arg(nameOf(index));
        const int declared = clip.declaredAudioCount.value_or(0);
        if (declared != clip.audioURLs.size())
            return QStringLiteral("only %1 of the %2 audio files that %3's XML declares carry its UMID")
                .arg(clip.audioURLs.size())
                .arg(declared)
                .arg(nameOf(index));
    }
    return std::nullopt;
}

std::optional<QString> ShotChainReader::problemWithOffsets(const QList<qsizetype>& chain) const
{
    std::optional<qint64> end = 0;
    for (const qsizetype index : chain) {
        const P2Clip& clip = clips_[index];
        const std::optional<qint64> offset = clip.relation ? clip.relation->offsetInShot : std::nullopt;
        if (offset && !end)
            return QStringLiteral("where %1 starts cannot be checked: the piece before it has no Duration")
                .arg(nameOf(index));
        if (offset && *offset != *end)
            return QStringLiteral(
                       "%1 starts at frame %2 of the shot, but the pieces before it end at frame %3")
                .arg(nameOf(index))
                .arg(*offset)
                .arg(*end);
        end = end && clip.durationFrames ? std::optional(*end + *clip.durationFrames) : std::nullopt;
    }
    return std::nullopt;
}

template <typename T, typename Field>
std::optional<QString> ShotChainReader::disagreement(const QList<qsizetype>& chain, const QString& what,
                                                     Field field) const
{
    const T first = field(clips_[chain.first()]);
    bool differ = false;
    QStringList values;
    for (const qsizetype index : chain) {
        const T value = field(clips_[index]);
        differ = differ || value != first;
        values.append(nameOf(index) + QLatin1Char(' ') + describe(value));
    }
    if (!differ)
        return std::nullopt;
    return QStringLiteral("the pieces differ in %1 (%2)").arg(what, values.join(QStringLiteral(", ")));
}

SpannedShots::Grouping ShotChainReader::run()
{
    QList<Group> groups;
    QSet<qsizetype> grouped;
    for (qsizetype i = 0; i < clips_.size(); ++i) {
        const std::optional<ShotRelation>& relation = clips_[i].relation;
        if (!relation || !relation->isSpanned())
            continue;
        const std::optional<qsizetype> top = topOf(i);
        const QString label = relation->top ? describe(*relation->top) : nameOf(i);
        auto existing = std::ranges::find_if(groups, [&](const Group& group) {
            return top ? group.top == top : !group.top && group.topLabel == label;
        });
        if (existing == groups.end())
            existing = groups.insert(groups.end(), Group{top, label, {}});
        existing->members.append(i);
    }

    SpannedShots::Grouping result;
    for (const Group& group : std::as_const(groups)) {
        const std::variant<QList<qsizetype>, QString> found = chain(group);
        std::optional<QString> problem;
        QList<qsizetype> pieces = group.members;
        if (const QString* reason = std::get_if<QString>(&found)) {
            problem = *reason;
        } else {
            pieces = std::get<QList<qsizetype>>(found);
            problem = problemWithPieces(pieces);
            if (!problem)
                problem = problemWithOffsets(pieces);
            if (!problem)
                problem = disagreement<std::optional<QString>>(
                    pieces, QStringLiteral("frame size"), [](const P2Clip& clip) -> std::optional<QString> {
                        if (!clip.width || !clip.height)
                            return std::nullopt;
                        return QStringLiteral("%1x%2").arg(*clip.width).arg(*clip.height);
                    });
            if (!problem)
                problem =
                    disagreement<std::optional<QString>>(pieces, QStringLiteral("video codec"),
                                                         [](const P2Clip& clip) { return clip.videoCodec; });
            if (!problem)
                problem = disagreement<std::optional<double>>(
                    pieces, QStringLiteral("frame rate"), [](const P2Clip& clip) { return clip.frameRate; });
            if (!problem)
                problem = disagreement<std::optional<qsizetype>>(
                    pieces, QStringLiteral("number of audio files"),
                    [](const P2Clip& clip) { return std::optional(clip.audioURLs.size()); });
            if (!problem)
                problem = disagreement<std::optional<QString>>(
                    pieces, QStringLiteral("GlobalShotID"), [](const P2Clip& clip) -> std::optional<QString> {
                        const std::optional<QString>& id = clip.relation->globalShotID;
                        return id ? std::optional(P2MetadataParser::normalizedUMID(*id)) : std::nullopt;
                    });
        }

        SpannedShot shot;
        for (const qsizetype index : std::as_const(pieces))
            shot.pieces.append(clips_[index]);
        if (problem) {
            result.summaryLines.append(
                QStringLiteral("Spanned shot %1 not joined — %2; its pieces convert as separate movies.")
                    .arg(shot.name(), *problem));
        } else {
            result.summaryLines.append(
                QStringLiteral("Spanned shot joined into one movie: %1.").arg(shot.name()));
            result.joined.append(std::move(shot));
        }
    }
    return result;
}

} // namespace

QString SpannedShot::name() const
{
    QStringList names;
    for (const P2Clip& piece : pieces)
        names.append(piece.videoName());
    return names.join(joinedSeparator);
}

namespace SpannedShots {

Grouping group(const QList<P2Clip>& clips)
{
    return ShotChainReader(clips).run();
}

} // namespace SpannedShots
