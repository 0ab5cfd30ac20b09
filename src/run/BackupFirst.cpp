#include "run/BackupFirst.h"

#include "backup/BackupEngine.h"
#include "backup/BackupText.h"
#include "base/AppInfo.h"
#include "base/Workers.h"
#include "run/BackupProgressText.h"
#include "run/ClipRow.h"
#include "run/ConversionViewModel.h"
#include "run/LogWriter.h"
#include "store/BackupSettings.h"

#include <algorithm>
#include <QCoroFuture>
#include <QCoroSignal>
#include <QPointer>
#include <QSysInfo>
#include <QtConcurrent/QtConcurrentRun>

namespace {

constexpr int pollIntervalMs = 250;

BackupRecord::Outcome historyOutcome(BackupResult::Status status)
{
    switch (status) {
    case BackupResult::Status::proven:
        return BackupRecord::Outcome::proven;
    case BackupResult::Status::cancelled:
        return BackupRecord::Outcome::cancelled;
    case BackupResult::Status::refused:
    case BackupResult::Status::failed:
        break;
    }
    return BackupRecord::Outcome::failed;
}

} // namespace

BackupFirst::BackupFirst(BackupSettings& settings, ConversionViewModel& driver, QObject* parent)
    : QObject(parent), m_settings(settings), m_driver(driver)
{
    connect(&m_poll, &QTimer::timeout, this, &BackupFirst::refreshProgress);
}

BackupFirst::~BackupFirst()
{
    if (m_progress)
        m_progress->cancelRequested.store(true);
}

BackupProgress::Stage BackupFirst::stage() const
{
    return m_progress ? m_progress->stage.load() : BackupProgress::Stage::preparing;
}

qint64 BackupFirst::bytesLeft() const
{
    return m_progress ? std::max<qint64>(m_progress->bytesTotal.load() - m_progress->bytesDone.load(), 0) : 0;
}

double BackupFirst::progress() const
{
    if (!m_progress || m_progress->bytesTotal.load() <= 0)
        return 0;
    return double(m_progress->bytesDone.load()) / double(m_progress->bytesTotal.load());
}

QString BackupFirst::resultSentence(const BackupResult& result)
{
    switch (result.status) {
    case BackupResult::Status::proven:
        return BackupText::provenSentence(result.fileCount, result.cardBytes, int(result.copies.size()));
    case BackupResult::Status::cancelled:
        return BackupText::cancelledSentence();
    case BackupResult::Status::refused:
    case BackupResult::Status::failed:
        break;
    }
    return result.problems.join(QLatin1Char(' ')) + QLatin1Char(' ') +
           BackupText::failedSentence(int(result.mismatches.size()));
}

void BackupFirst::convert()
{
    if (m_backingUp)
        return;
    const std::optional<P2CardStructure>& card = m_driver.cardStructure();
    if (!m_settings.isReady() || !card) {
        m_resultText.clear();
        m_copies.clear();
        m_ejectMessage.clear();
        emit stateChanged();
        m_driver.setBackup(std::nullopt);
        m_driver.start();
        return;
    }
    m_task.emplace(backUpThenConvert(card->rootURL, m_settings.destinations()));
}

void BackupFirst::cancel()
{
    if (m_progress)
        m_progress->cancelRequested.store(true);
    refreshProgress();
}

void BackupFirst::endSession()
{
    if (!m_underWay) {
        m_driver.endSession();
        return;
    }
    m_endingSession = true;
    cancel();
}

void BackupFirst::recordWithoutRun(const BackupRecord& record, const QString& folder)
{
    if (const std::optional<QString> failure = m_driver.recordBackupAlone(record, folder))
        m_resultText += QLatin1Char(' ') + LogWriter::writeFailuresSentence({LogWriter::writeFailure(
                                               ConversionHistoryStore::displayName(), *failure)});
}

void BackupFirst::refreshProgress()
{
    if (!m_progress)
        return;
    const BackupProgress::Stage stage = m_progress->stage.load();
    if (stage != m_stage) {
        m_stage = stage;
        m_stageTime.restart();
    }
    m_progressLine =
        BackupProgressText::line(stage, m_progress->cancelRequested.load(), m_progress->bytesDone.load(),
                                 m_progress->bytesTotal.load(), m_stageTime.nsecsElapsed() / 1e9);
    emit progressLineChanged();
}

QCoro::Task<> BackupFirst::backUpThenConvert(QString card, QStringList destinations)
{
    QPointer<BackupFirst> self(this);
    BackupRequest request;
    request.card = BackupEngine::cardRoot(card);
    request.destinations = destinations;
    request.hostName = QSysInfo::machineHostName();
    request.toolName = QString::fromLatin1(AppInfo::applicationName);
    request.toolVersion = QString::fromLatin1(AppInfo::version);
    auto progress = std::make_shared<BackupProgress>();
    m_progress = progress;
    m_stage = BackupProgress::Stage::preparing;
    m_stageTime.start();
    m_backingUp = true;
    m_underWay = true;
    m_ejectMessage.clear();
    m_resultText.clear();
    m_copies.clear();
    emit stateChanged();
    refreshProgress();
    m_poll.start(pollIntervalMs);

    // Started outside the co_await: g++ 12 destroys a lambda's captured copies
    // made inside a co_await expression twice.
    QFuture<BackupResult> backingUp = QtConcurrent::run(
        Workers::pool(), [request, progress] { return BackupEngine::run(request, *progress); });
    const BackupResult result = co_await backingUp;
    if (!self)
        co_return;
    m_poll.stop();
    m_backingUp = false;
    m_resultText = resultSentence(result);
    m_copies = result.copies;
    const BackupRecord record{historyOutcome(result.status), result.copies};
    if (result.isProven())
        m_ejectMessage = BackupText::cardMayBeEjected();
    // A backup proven as the session ends (its history was being written) is
    // recorded too: no run follows it.
    if (!result.isProven() || m_endingSession)
        recordWithoutRun(record, destinations.first());
    emit stateChanged();
    if (m_endingSession || !result.isProven()) {
        m_underWay = false;
        if (m_endingSession)
            m_driver.endSession();
        co_return;
    }

    // The movies come from the first proven copy, scanned and paired afresh;
    // the clips chosen on the card stay chosen there, by name.
    QStringList chosenNames;
    const bool someChosen = m_driver.chosenCount() < m_driver.movieCount();
    if (someChosen) {
        for (const ClipRow& row : m_driver.clipRows())
            if (row.included && m_driver.isChosen(row.key))
                chosenNames.append(row.pieces.isEmpty() ? row.name : row.pieces.first());
    }
    const QString copy = result.copies.first();
    m_driver.scan(copy);
    while (self && m_driver.phase() == ConversionViewModel::Phase::scanning)
        co_await qCoro(&m_driver, &ConversionViewModel::phaseChanged);
    if (!self)
        co_return;
    m_underWay = false;
    // The session ended while the copy was scanned: the proven backup is
    // recorded, and nothing is converted.
    if (m_endingSession) {
        recordWithoutRun(record, destinations.first());
        emit stateChanged();
        m_driver.endSession();
        co_return;
    }
    if (m_driver.phase() != ConversionViewModel::Phase::scanned)
        co_return;
    if (someChosen && !m_driver.chooseOnlyNamed(chosenNames).isEmpty())
        co_return;
    m_driver.setBackup(record);
    m_driver.start();
}
