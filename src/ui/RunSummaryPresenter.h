#pragma once

#include "run/ConversionSummary.h"
#include "ui/DriverPresenter.h"
#include "ui/Tone.h"

#include <optional>
#include <QAbstractListModel>
#include <QStringList>

// The run's log files that exist in its output folder, in their fixed order.
class LogLinksModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("A run summary's log links come from its presenter.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { FilenameRole = Qt::UserRole + 1, PathRole };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return static_cast<int>(m_filenames.size()); }

    // Lists the log files present in `folder` now; none for an empty folder.
    void reload(const QString& folder);
    // The files a run may leave, in the order they are offered.
    static const QStringList& candidates();

signals:
    void countChanged();

private:
    QString m_folder;
    QStringList m_filenames;
};

// What the summary card shows of the run that ended.
class RunSummaryPresenter : public DriverPresenter
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool hasSummary READ hasSummary NOTIFY changed)
    Q_PROPERTY(bool opensDetails READ opensDetails NOTIFY changed)
    Q_PROPERTY(QString iconName READ iconName NOTIFY changed)
    Q_PROPERTY(QString heading READ heading NOTIFY changed)
    Q_PROPERTY(QString detailLine READ detailLine NOTIFY changed)
    // The run's folder as shown: on one line, escaped as every name shown is.
    Q_PROPERTY(QString outputFolderText READ outputFolderText NOTIFY changed)
    Q_PROPERTY(QString excludedCaption READ excludedCaption NOTIFY changed)
    Q_PROPERTY(int converted READ converted NOTIFY changed)
    Q_PROPERTY(int skipped READ skipped NOTIFY changed)
    Q_PROPERTY(int failed READ failed NOTIFY changed)
    Q_PROPERTY(int missingAudio READ missingAudio NOTIFY changed)
    Q_PROPERTY(int excluded READ excluded NOTIFY changed)
    Q_PROPERTY(Tone::Value headingTone READ headingTone NOTIFY changed)
    Q_PROPERTY(Tone::Value failedTone READ failedTone NOTIFY changed)
    Q_PROPERTY(Tone::Value missingAudioTone READ missingAudioTone NOTIFY changed)
    Q_PROPERTY(Tone::Value excludedTone READ excludedTone NOTIFY changed)
    Q_PROPERTY(LogLinksModel* logLinks READ logLinks CONSTANT)

public:
    explicit RunSummaryPresenter(QObject* parent = nullptr);

    bool hasSummary() const { return summary().has_value(); }
    // Whether "Advanced Details" opens by itself when the card appears.
    bool opensDetails() const { return opensDetailsFor(summaryOrEmpty()); }
    QString iconName() const { return iconNameFor(summaryOrEmpty()); }
    QString heading() const;
    QString detailLine() const;
    QString outputFolder() const;
    QString outputFolderText() const;
    QString excludedCaption() const;
    int converted() const { return summaryOrEmpty().converted; }
    int skipped() const { return summaryOrEmpty().skipped; }
    int failed() const { return summaryOrEmpty().failed; }
    int missingAudio() const { return summaryOrEmpty().missingAudio; }
    int excluded() const { return static_cast<int>(summaryOrEmpty().excludedByPairing); }
    Tone::Value headingTone() const { return headingToneFor(summaryOrEmpty()); }
    Tone::Value failedTone() const { return failed() > 0 ? Tone::Value::negative : Tone::Value::secondary; }
    Tone::Value missingAudioTone() const
    {
        return missingAudio() > 0 ? Tone::Value::caution : Tone::Value::secondary;
    }
    Tone::Value excludedTone() const
    {
        return excluded() > 0 ? Tone::Value::negative : Tone::Value::secondary;
    }
    LogLinksModel* logLinks() { return &m_logLinks; }

    // Lists the log files anew: the run's debug report is written after its
    // summary appears, so the view asks again when it shows the links.
    Q_INVOKABLE void refreshLogLinks();

    // "Conversion Cancelled" or "Conversion Stopped" for a run that ended early.
    static QString headingFor(const ConversionSummary& summary);
    // Orange after failures or a run that ended early; otherwise the window's own text colour.
    static Tone::Value headingToneFor(const ConversionSummary& summary);
    static QString iconNameFor(const ConversionSummary& summary);
    // Only failures open the details; skipped, missing-audio or excluded clips do not.
    static bool opensDetailsFor(const ConversionSummary& summary) { return summary.failed >= 1; }
    // "1 clip converted · 2 not started — the run was cancelled".
    static QString detailLineFor(const ConversionSummary& summary);
    // The end-of-run notification's body: the detail line, and how many clips failed.
    static QString notificationBodyFor(const ConversionSummary& summary);
    // Empty when no clip was excluded.
    static QString excludedCaptionFor(const ConversionSummary& summary);

private:
    std::optional<ConversionSummary> summary() const;
    ConversionSummary summaryOrEmpty() const { return summary().value_or(ConversionSummary()); }

    LogLinksModel m_logLinks;
};
