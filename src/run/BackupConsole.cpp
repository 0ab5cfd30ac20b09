#include "run/BackupConsole.h"

#include "run/BackupProgressText.h"
#include "run/InterruptWatcher.h"

#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int redrawIntervalMs = 250;

void writeOut(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace

BackupConsole::BackupConsole(BackupProgress& progress, InterruptWatcher& interrupts)
    : m_progress(progress), m_terminal(isatty(STDOUT_FILENO) == 1)
{
    connect(&interrupts, &InterruptWatcher::interrupted, this, [this] {
        m_progress.cancelRequested.store(true);
        redraw();
    });
    m_stageTime.start();
    if (m_terminal) {
        connect(&m_timer, &QTimer::timeout, this, &BackupConsole::redraw);
        m_timer.start(redrawIntervalMs);
    }
}

BackupConsole::~BackupConsole()
{
    if (m_shownWidth > 0)
        writeOut(QLatin1Char('\r') + QString(m_shownWidth, QLatin1Char(' ')) + QLatin1Char('\r'));
}

void BackupConsole::redraw()
{
    if (!m_terminal)
        return;
    const BackupProgress::Stage stage = m_progress.stage.load();
    if (stage != m_stage) {
        m_stage = stage;
        m_stageTime.restart();
    }
    show(BackupProgressText::line(stage, m_progress.cancelRequested.load(), m_progress.bytesDone.load(),
                                  m_progress.bytesTotal.load(), m_stageTime.nsecsElapsed() / 1e9));
}

void BackupConsole::show(QString line)
{
    winsize size{};
    // A line longer than the terminal would wrap, and "\r" would no longer reach its start.
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        line.truncate(size.ws_col - 1);
    const qsizetype shown = line.size();
    writeOut(QLatin1Char('\r') + line.leftJustified(m_shownWidth));
    m_shownWidth = shown;
}
