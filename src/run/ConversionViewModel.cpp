#include "run/ConversionViewModel.h"

#include "card/P2Scanner.h"
#include "card/PairingReport.h"
#include "media/FFmpegService.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"

#include <algorithm>
#include <QCoroFuture>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QtConcurrent>

namespace {

const QString readyMessage = QStringLiteral("Ready.");

QString plural(qsizetype count)
{
    return count == 1 ? QString() : QStringLiteral("s");
}

// The one-line account of a pairing under the main controls.
QString scannedStatus(const QList<P2Clip>& clips, qint64 excludedCount)
{
    const qsizetype total = clips.size();
    const qsizetype withAudio =
        std::ranges::count_if(clips, [](const P2Clip& clip) { return !clip.audioURLs.isEmpty(); });
    const qsizetype verified = std::ranges::count_if(clips, [](const P2Clip& clip) {
        return clip.pairingMethod == P2Clip::PairingMethod::xmlVerified ||
               clip.pairingMethod == P2Clip::PairingMethod::xmlNoAudioInClip;
    });
    if (total == 0 && excludedCount >= 1)
        return QStringLiteral("0 clips ready to convert — %1 clip(s) had no verified XML/UMID match. "
                              "See \"View Pairing Details\", or enable unsafe fallback pairing in Settings.")
            .arg(excludedCount);
    if (verified < total)
        return QStringLiteral("Found %1 clip%2 — %3 with audio. %4 used UNSAFE fallback pairing — "
                              "check \"View Pairing Details\".")
            .arg(total)
            .arg(plural(total))
            .arg(withAudio)
            .arg(total - verified);
    return QStringLiteral("Found %1 clip%2 — %3 with audio, all verified via CLIP XML.")
        .arg(total)
        .arg(plural(total))
        .arg(withAudio);
}

template <typename T> QVariant optionalValue(const std::optional<T>& value)
{
    return value ? QVariant::fromValue(*value) : QVariant();
}

} // namespace

ConversionViewModel::ConversionViewModel(SettingsStore& settings, RecentFoldersStore& recentFolders,
                                         std::shared_ptr<Desktop> desktop, QObject* parent)
    : QObject(parent), m_settings(settings), m_recentFolders(recentFolders), m_desktop(std::move(desktop)),
      m_statusMessage(readyMessage), m_ffmpegAvailable(FFmpegService::resolvedFFmpegPath().has_value())
{
    m_canExportDebugReport = canExportDebugReport();
    connect(&m_settings, &SettingsStore::allowUnsafeFallbackPairingChanged, this,
            &ConversionViewModel::repairCurrentStructureIfNeeded);
}

QVariant ConversionViewModel::scanErrorMessageValue() const
{
    return optionalValue(m_scanErrorMessage);
}

QVariant ConversionViewModel::estimatedRemainingValue() const
{
    return optionalValue(m_estimatedRemaining);
}

QVariant ConversionViewModel::outputFolderURLValue() const
{
    return optionalValue(m_outputFolderURL);
}

bool ConversionViewModel::canConvert() const
{
    return (m_phase == Phase::scanned || m_phase == Phase::finished) && !m_clips.isEmpty() &&
           m_ffmpegAvailable;
}

bool ConversionViewModel::canExportDebugReport() const
{
    return !m_clips.isEmpty() && m_ffmpegAvailable;
}

QString ConversionViewModel::pairingReportText() const
{
    return PairingReport::text(m_pairingSummaryLines, m_pairingEntries);
}

void ConversionViewModel::chooseFolder()
{
    m_chooser = runFolderChooser();
}

QCoro::Task<> ConversionViewModel::runFolderChooser()
{
    const QPointer<ConversionViewModel> self(this);
    const std::shared_ptr<Desktop> desktop = m_desktop;
    const std::optional<QString> folder = co_await desktop->chooseFolder(
        QStringLiteral("Choose"), QStringLiteral("Choose a P2 card folder (or its CONTENTS folder)"));
    if (self && folder && !folder->isEmpty())
        self->scan(*folder);
}

void ConversionViewModel::scan(const QString& rootURL)
{
    setFFmpegAvailable(FFmpegService::recheckAvailability());
    setPhase(Phase::scanning);
    update(m_scanErrorMessage, std::optional<QString>(), &ConversionViewModel::scanErrorMessageChanged);
    update(m_summary, std::optional<ConversionSummary>(), &ConversionViewModel::summaryChanged);
    setStatusMessage(QStringLiteral("Scanning %1…").arg(QFileInfo(QDir::cleanPath(rootURL)).fileName()));
    m_currentRunOutputFolder.reset();
    m_recentFolders.record(rootURL);
    const bool allowUnsafeFallback = m_settings.allowUnsafeFallbackPairing();
    m_work = scanAndPair(rootURL, P2CardStructure(), allowUnsafeFallback);
}

void ConversionViewModel::repairCurrentStructureIfNeeded()
{
    if (!m_lastScannedStructure || (m_phase != Phase::scanned && m_phase != Phase::finished))
        return;
    m_work = scanAndPair(std::nullopt, *m_lastScannedStructure, m_settings.allowUnsafeFallbackPairing());
}

QCoro::Task<> ConversionViewModel::scanAndPair(std::optional<QString> rootURL, P2CardStructure structure,
                                               bool allowUnsafeFallback)
{
    // After the first suspension only `self` may reach the driver: it may be gone.
    const QPointer<ConversionViewModel> self(this);
    // A run keeps the clips it started with.
    const auto dropped = [&self] { return !self || self->isConverting(); };
    if (rootURL) {
        structure = co_await QtConcurrent::run(P2Scanner::scan, *rootURL);
        if (dropped())
            co_return;
    }
    const P2MetadataParser::PairingResult pairing =
        co_await P2MetadataParser::pairClips(structure, allowUnsafeFallback);
    if (!dropped())
        self->applyScanResults(structure, pairing);
}

void ConversionViewModel::applyScanResults(const P2CardStructure& structure,
                                           const P2MetadataParser::PairingResult& pairing)
{
    update(m_cardStructure, std::optional(structure), &ConversionViewModel::cardStructureChanged);
    m_lastScannedStructure = structure;
    setClips(pairing.clips);
    setPairing(pairing.entries, pairing.summaryLines);
    const qint64 excluded = std::ranges::count_if(
        pairing.entries, [](const PairingReportEntry& entry) { return !entry.included; });
    update(m_excludedClipCount, excluded, &ConversionViewModel::excludedClipCountChanged);

    if (structure.videoFiles.isEmpty()) {
        update(m_scanErrorMessage, std::optional(P2Scanner::noVideoMessage()),
               &ConversionViewModel::scanErrorMessageChanged);
        setPhase(Phase::idle);
        setStatusMessage(readyMessage);
        return;
    }

    update(m_jobs, QList<std::shared_ptr<ConversionJob>>(), &ConversionViewModel::jobsChanged);
    update(m_totalCount, static_cast<int>(m_clips.size()), &ConversionViewModel::totalCountChanged);
    update(m_completedCount, 0, &ConversionViewModel::completedCountChanged);
    update(m_overallProgress, 0.0, &ConversionViewModel::overallProgressChanged);
    setPhase(Phase::scanned);
    setStatusMessage(scannedStatus(m_clips, m_excludedClipCount));
}

void ConversionViewModel::verifyCurrentCard()
{
    if (isConverting())
        return;
    const std::optional<P2CardStructure>& structure =
        m_cardStructure ? m_cardStructure : m_lastScannedStructure;
    if (structure)
        scan(structure->rootURL);
    else
        chooseFolder();
}

void ConversionViewModel::resetToIdle()
{
    setPhase(Phase::idle);
    update(m_cardStructure, std::optional<P2CardStructure>(), &ConversionViewModel::cardStructureChanged);
    m_lastScannedStructure.reset();
    setClips({});
    update(m_jobs, QList<std::shared_ptr<ConversionJob>>(), &ConversionViewModel::jobsChanged);
    setPairing({}, {});
    update(m_excludedClipCount, qint64(0), &ConversionViewModel::excludedClipCountChanged);
    update(m_summary, std::optional<ConversionSummary>(), &ConversionViewModel::summaryChanged);
    setStatusMessage(readyMessage);
    m_currentRunOutputFolder.reset();
}

template <typename T>
bool ConversionViewModel::update(T& field, const T& value, void (ConversionViewModel::*changed)())
{
    if (field == value)
        return false;
    field = value;
    emit(this->*changed)();
    return true;
}

void ConversionViewModel::setPhase(Phase phase)
{
    if (update(m_phase, phase, &ConversionViewModel::phaseChanged))
        announceDerived();
}

void ConversionViewModel::setClips(QList<P2Clip> clips)
{
    if (update(m_clips, clips, &ConversionViewModel::clipsChanged))
        announceDerived();
}

void ConversionViewModel::setPairing(QList<PairingReportEntry> entries, QStringList summaryLines)
{
    const bool entriesChanged =
        update(m_pairingEntries, entries, &ConversionViewModel::pairingEntriesChanged);
    const bool linesChanged =
        update(m_pairingSummaryLines, summaryLines, &ConversionViewModel::pairingSummaryLinesChanged);
    if (entriesChanged || linesChanged)
        emit pairingReportTextChanged();
}

void ConversionViewModel::setFFmpegAvailable(bool available)
{
    if (update(m_ffmpegAvailable, available, &ConversionViewModel::ffmpegAvailableChanged))
        announceDerived();
}

void ConversionViewModel::setStatusMessage(const QString& message)
{
    update(m_statusMessage, message, &ConversionViewModel::statusMessageChanged);
}

void ConversionViewModel::announceDerived()
{
    update(m_canConvert, canConvert(), &ConversionViewModel::canConvertChanged);
    update(m_canExportDebugReport, canExportDebugReport(), &ConversionViewModel::canExportDebugReportChanged);
}
