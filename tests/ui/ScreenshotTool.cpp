// Renders the main window in each of its states, offscreen, into PNG files:
// ui_screenshots OUTPUT_FOLDER [--dark] [--backup]. Run by scripts/screenshots.
// With --backup, only the "Back Up First" option and a backed-up run's summary.
#include "media/FFmpegService.h"
#include "SyntheticCard.h"
#include "ToolFolder.h"
#include "UiTestSupport.h"

#include <QDir>
#include <QGuiApplication>
#include <QPalette>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

namespace {

using Phase = ConversionViewModel::Phase;

// A dark palette like the desktops' dark themes, for a look at dark mode.
QPalette darkPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x2a, 0x2e, 0x32));
    palette.setColor(QPalette::WindowText, QColor(0xfc, 0xfc, 0xfc));
    palette.setColor(QPalette::Base, QColor(0x1b, 0x1e, 0x20));
    palette.setColor(QPalette::AlternateBase, QColor(0x23, 0x26, 0x29));
    palette.setColor(QPalette::Text, QColor(0xfc, 0xfc, 0xfc));
    palette.setColor(QPalette::Button, QColor(0x31, 0x36, 0x3b));
    palette.setColor(QPalette::ButtonText, QColor(0xfc, 0xfc, 0xfc));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
    palette.setColor(QPalette::HighlightedText, QColor(0xfc, 0xfc, 0xfc));
    palette.setColor(QPalette::PlaceholderText, QColor(0xa1, 0xa9, 0xb1));
    palette.setColor(QPalette::Mid, QColor(0x4d, 0x53, 0x59));
    palette.setColor(QPalette::Link, QColor(0x1d, 0x99, 0xf3));
    palette.setColor(QPalette::ToolTipBase, QColor(0x31, 0x36, 0x3b));
    palette.setColor(QPalette::ToolTipText, QColor(0xfc, 0xfc, 0xfc));
    return palette;
}

class Shooter
{
public:
    Shooter(MainWindowFixture& fixture, QString folder, QString suffix)
        : m_fixture(fixture), m_folder(std::move(folder)), m_suffix(std::move(suffix))
    {
    }

    bool shoot(const QString& name)
    {
        QTest::qWait(120);
        const QImage image = m_fixture.window()->grabWindow();
        const QString path = QDir(m_folder).filePath(name + m_suffix + QStringLiteral(".png"));
        if (image.isNull() || !image.save(path)) {
            QTextStream(stderr) << "could not save " << path << "\n";
            return false;
        }
        QTextStream(stdout) << path << "\n";
        return true;
    }

private:
    MainWindowFixture& m_fixture;
    QString m_folder;
    QString m_suffix;
};

bool waitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 120000);
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    prepareUiTestProcess();
    const QStringList arguments = app.arguments();
    if (arguments.size() < 2) {
        QTextStream(stderr) << "usage: ui_screenshots OUTPUT_FOLDER [--dark] [--backup]\n";
        return 2;
    }
    const bool dark = arguments.contains(QStringLiteral("--dark"));
    if (dark)
        QGuiApplication::setPalette(darkPalette());
    QDir().mkpath(arguments.at(1));

    ToolFolder tools;
    if (!tools.addReal(QStringLiteral("ffmpeg")) || !tools.addReal(QStringLiteral("ffprobe"))) {
        QTextStream(stderr) << "ffmpeg and ffprobe are needed\n";
        return 1;
    }
    FFmpegService::setToolDirectoriesForTesting({tools.path()});
    QTemporaryDir work;
    SyntheticCard::CardSpec plan;
    plan.clips = {SyntheticCard::clip(1, 4), SyntheticCard::clip(2, 4), SyntheticCard::clip(3, 4)};
    const QString verified = SyntheticCard::write(plan, work.filePath(QStringLiteral("CARD_A001"))).rootPath;
    SyntheticCard::ClipSpec unverified = SyntheticCard::clip(4, 2);
    unverified.writeXml = false;
    plan.clips = {SyntheticCard::clip(1, 2), SyntheticCard::clip(2, 2), unverified};
    const QString excluded = SyntheticCard::write(plan, work.filePath(QStringLiteral("CARD_B002"))).rootPath;
    SyntheticCard::ClipSpec longClip = SyntheticCard::clip(2, 2);
    longClip.frames = 900;
    plan.clips = {SyntheticCard::clip(1, 2), longClip, SyntheticCard::clip(3, 2)};
    const QString slow = SyntheticCard::write(plan, work.filePath(QStringLiteral("CARD_C003"))).rootPath;

    MainWindowFixture fixture;
    ConversionViewModel* const driver = fixture.session.context->driver();
    fixture.session.context->settings()->setOutputFolderPath(work.filePath(QStringLiteral("Videos/Tolvane")));
    if (!fixture.window() || !QTest::qWaitForWindowExposed(fixture.window()))
        return 1;
    Shooter shooter(fixture, arguments.at(1), dark ? QStringLiteral("-dark") : QString());
    const auto phaseIs = [driver](Phase phase) {
        return [driver, phase] { return driver->phase() == phase; };
    };

    if (arguments.contains(QStringLiteral("--backup"))) {
        BackupSettings& backup = *fixture.session.context->backupSettings();
        const QString drives = work.filePath(QStringLiteral("Drives"));
        QDir().mkpath(drives + QStringLiteral("/Shuttle A"));
        QDir().mkpath(drives + QStringLiteral("/Shuttle B"));
        backup.setBackUpFirst(true);
        backup.setDestination(0, drives + QStringLiteral("/Shuttle A"));
        backup.setDestination(1, drives + QStringLiteral("/Shuttle B"));
        driver->scan(verified);
        bool shot = waitFor(phaseIs(Phase::scanned)) && shooter.shoot(QStringLiteral("14-backup-first"));
        fixture.session.context->backupFirst()->convert();
        shot = shot && waitFor([driver] {
                   return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == 1;
               });
        shot = shot && shooter.shoot(QStringLiteral("15-finished-backed-up"));
        FFmpegService::setToolDirectoriesForTesting({});
        return shot ? 0 : 1;
    }

    bool ok = shooter.shoot(QStringLiteral("1-idle"));
    driver->scan(verified);
    ok = ok && shooter.shoot(QStringLiteral("2-scanning"));
    ok = ok && waitFor(phaseIs(Phase::scanned)) && shooter.shoot(QStringLiteral("3-scanned-verified"));
    driver->scan(excluded);
    ok = ok && waitFor(phaseIs(Phase::scanned)) && shooter.shoot(QStringLiteral("4-scanned-exclusions"));
    driver->scan(slow);
    ok = ok && waitFor(phaseIs(Phase::scanned));
    driver->start();
    ok = ok &&
         waitFor([driver] { return driver->jobs().size() == 3 && driver->jobs()[1]->progress() > 0.2; }) &&
         shooter.shoot(QStringLiteral("5-converting"));
    driver->cancel();
    ok = ok && waitFor([driver] {
             return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == 1;
         });
    ok = ok && shooter.shoot(QStringLiteral("7-finished-failure"));
    driver->scan(verified);
    ok = ok && waitFor(phaseIs(Phase::scanned));
    driver->start();
    ok = ok && waitFor([driver] {
             return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == 2;
         });
    ok = ok && shooter.shoot(QStringLiteral("6-finished-clean"));

    // The sheets, over the card with an exclusion and the two runs above in the history.
    driver->scan(excluded);
    ok = ok && waitFor(phaseIs(Phase::scanned));
    SettingsStore& settings = *fixture.session.context->settings();
    settings.setAudioSyncMode(AudioSyncMode::manual);
    settings.setAudioOffsetSeconds(-0.5);
    QObject* const sheets = fixture.find(QStringLiteral("sheetHost"));
    for (const auto& [open, name] :
         {std::pair{"openPairingDetails", "8-sheet-pairing-details"},
          std::pair{"openHistory", "9-sheet-history"}, std::pair{"openSettings", "10-sheet-settings"},
          std::pair{"openHowTo", "11-sheet-how-to"},
          std::pair{"openTroubleshooting", "12-sheet-troubleshooting"},
          std::pair{"openAbout", "13-sheet-about"}}) {
        ok = ok && sheets && QMetaObject::invokeMethod(sheets, open) &&
             shooter.shoot(QString::fromLatin1(name));
        QTest::keyClick(fixture.window(), Qt::Key_Escape);
    }
    FFmpegService::setToolDirectoriesForTesting({});
    return ok ? 0 : 1;
}
