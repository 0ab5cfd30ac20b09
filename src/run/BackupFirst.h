#pragma once

#include "backup/BackupProgress.h"
#include "backup/BackupResult.h"
#include "store/ConversionHistoryStore.h"

#include <memory>
#include <optional>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

class BackupSettings;
class ConversionViewModel;

// Convert with "Back Up First": backs the loaded card up to the destinations
// in the settings, proves the copies, then scans the first verified copy and
// converts from it, so the card can be ejected as soon as the backup is proven.
// Without the setting, Convert goes straight to the driver. Lives on the GUI
// thread; the backup itself runs on a worker thread and is awaited.
class BackupFirst : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isBackingUp READ isBackingUp NOTIFY stateChanged)
    // The live line: stage, bytes, speed and time remaining.
    Q_PROPERTY(QString progressLine READ progressLine NOTIFY progressLineChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressLineChanged)
    // "The backup is proven: the card may be ejected." once it is; empty before.
    Q_PROPERTY(QString ejectMessage READ ejectMessage NOTIFY stateChanged)
    // What the last backup came to, for the run's summary; empty when none ran.
    Q_PROPERTY(QString resultText READ resultText NOTIFY stateChanged)
    Q_PROPERTY(QStringList copies READ copies NOTIFY stateChanged)
    // Where the copies are, one per line.
    Q_PROPERTY(QString copiesText READ copiesText NOTIFY stateChanged)

public:
    BackupFirst(BackupSettings& settings, ConversionViewModel& driver, QObject* parent = nullptr);
    ~BackupFirst() override;

    bool isBackingUp() const { return m_backingUp; }
    // From Convert until the conversion from the proven copy has begun, or
    // the backup ended without one; `endSession` then waits for it.
    bool isUnderWay() const { return m_underWay; }
    // Where the backup under way is, and how many bytes of that stage are left.
    BackupProgress::Stage stage() const;
    qint64 bytesLeft() const;
    const QString& progressLine() const { return m_progressLine; }
    double progress() const;
    const QString& ejectMessage() const { return m_ejectMessage; }
    const QString& resultText() const { return m_resultText; }
    const QStringList& copies() const { return m_copies; }
    QString copiesText() const { return m_copies.join(QLatin1Char('\n')); }

    // What Convert does: back up first when the settings ask for it.
    Q_INVOKABLE void convert();
    // Stops a backup under way; no incomplete file stays.
    Q_INVOKABLE void cancel();
    // Ends the session as a hang-up, SIGTERM or Ctrl-C, logging out or a quit
    // the user confirmed asks the window to: a backup under way is cancelled
    // as by Cancel and recorded in the history, nothing is converted after it,
    // and then the driver's session ends (`ConversionViewModel::endSession`),
    // as it does at once outside a backup. A proven backup whose copy is being
    // scanned is recorded once the scan is over, and nothing is converted.
    void endSession();

    // The summary's sentence for a finished backup.
    static QString resultSentence(const BackupResult& result);

signals:
    void stateChanged();
    void progressLineChanged();

private:
    QCoro::Task<> backUpThenConvert(QString card, QStringList destinations);
    void refreshProgress();
    // Records the backup in the history on its own, saying so when it cannot.
    void recordWithoutRun(const BackupRecord& record, const QString& folder);

    BackupSettings& m_settings;
    ConversionViewModel& m_driver;
    std::shared_ptr<BackupProgress> m_progress;
    QTimer m_poll;
    QElapsedTimer m_stageTime;
    BackupProgress::Stage m_stage = BackupProgress::Stage::preparing;
    bool m_backingUp = false;
    bool m_underWay = false;
    bool m_endingSession = false;
    QString m_progressLine;
    QString m_ejectMessage;
    QString m_resultText;
    QStringList m_copies;
    std::optional<QCoro::Task<>> m_task;
};
