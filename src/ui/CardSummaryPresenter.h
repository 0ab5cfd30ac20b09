#pragma once

#include "card/P2CardStructure.h"
#include "card/P2Clip.h"
#include "ui/DriverPresenter.h"
#include "ui/Tone.h"

#include <QtQml/qqmlregistration.h>

// One of the three folder indicators under "Advanced Details".
struct StructureBadge
{
    Q_GADGET
    QML_VALUE_TYPE(structureBadge)
    Q_PROPERTY(QString label MEMBER label)
    Q_PROPERTY(QString countText MEMBER countText)
    Q_PROPERTY(QString iconName MEMBER iconName)
    Q_PROPERTY(bool found MEMBER found)

public:
    QString label;     // "AUDIO missing"
    QString countText; // "0 files"
    QString iconName;
    bool found = false;

    static StructureBadge make(const QString& title, bool found, qint64 count);
    bool operator==(const StructureBadge&) const = default;
};

// The verdict line of a scanned card.
struct CardStatus
{
    Tone::Value tone = Tone::Value::secondary;
    QString iconName;
    QString text;

    bool operator==(const CardStatus&) const = default;
};

// What the card summary shows of the scanned card: its name, its one-line
// verdict, the exclusions and the folder badges.
class CardSummaryPresenter : public DriverPresenter
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString cardName READ cardName NOTIFY changed)
    Q_PROPERTY(QString cardPath READ cardPath NOTIFY changed)
    // The card's path as shown: on one line, escaped as every name shown is.
    Q_PROPERTY(QString cardPathText READ cardPathText NOTIFY changed)
    Q_PROPERTY(Tone::Value statusTone READ statusTone NOTIFY changed)
    Q_PROPERTY(QString statusIcon READ statusIcon NOTIFY changed)
    Q_PROPERTY(QString statusText READ statusText NOTIFY changed)
    Q_PROPERTY(QString readyLine READ readyLine NOTIFY changed)
    Q_PROPERTY(bool showsExclusions READ showsExclusions NOTIFY changed)
    Q_PROPERTY(QString exclusionTitle READ exclusionTitle NOTIFY changed)
    Q_PROPERTY(QString exclusionDetail READ exclusionDetail CONSTANT)
    Q_PROPERTY(StructureBadge videoBadge READ videoBadge NOTIFY changed)
    Q_PROPERTY(StructureBadge audioBadge READ audioBadge NOTIFY changed)
    Q_PROPERTY(StructureBadge clipBadge READ clipBadge NOTIFY changed)
    Q_PROPERTY(QString exportPairingHelp READ exportPairingHelp CONSTANT)
    Q_PROPERTY(QString exportDebugHelp READ exportDebugHelp CONSTANT)

public:
    explicit CardSummaryPresenter(QObject* parent = nullptr);

    QString cardName() const;
    QString cardPath() const;
    QString cardPathText() const;
    Tone::Value statusTone() const { return status().tone; }
    QString statusIcon() const { return status().iconName; }
    QString statusText() const { return status().text; }
    QString readyLine() const;
    bool showsExclusions() const;
    QString exclusionTitle() const;
    QString exclusionDetail() const;
    StructureBadge videoBadge() const;
    StructureBadge audioBadge() const;
    StructureBadge clipBadge() const;
    QString exportPairingHelp() const;
    QString exportDebugHelp() const;

    // True when there is a clip and every clip's pairing is verified.
    static bool allVerified(const QList<P2Clip>& clips);
    // The verdict for `clipCount` clips to convert and `excluded` left out.
    static CardStatus statusFor(qsizetype clipCount, bool allVerified, qint64 excluded);
    static QString readyLineFor(qsizetype clipCount);
    static bool showsExclusionsFor(qint64 excluded) { return excluded >= 1; }
    static QString exclusionTitleFor(qint64 excluded);
    // The last component of the card's root, or "P2 Card" when it has none.
    static QString cardNameOf(const QString& rootPath);

private:
    CardStatus status() const;
    qsizetype clipCount() const;
    qint64 excludedCount() const;
};
