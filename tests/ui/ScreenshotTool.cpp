// Renders the main window in each of its states, offscreen, into PNG files:
// ui_screenshots OUTPUT_FOLDER [--dark] [--clip-list] [--backup] [--not-enough-space]
//                [--quit-during-backup].
// Run by scripts/screenshots; with --clip-list only the clip list's own pictures
// are rendered, with --backup only the "Back Up First" option, a backed-up run's
// summary and the history of a backed-up run and a failed backup, with
// --not-enough-space only the question asked when a run cannot fit, with
// --quit-during-backup only the question asked when the window is closed
// during a backup (each mounts a tmpfs, which needs root).
#include "media/FFmpegService.h"
#include "store/MemoryKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"
#include "ui/ClipListModel.h"
#include "ui/FreeSpaceConfirmation.h"
#include "ui/QtDesktop.h"
#include "ui/SessionPresenter.h"
#include "UiTestSupport.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPalette>
#include <QQuickItem>
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
        // Icons load beside the window: a picture waits for those on screen.
        if (!QTest::qWaitFor([this] { return !imagesLoading(); }, 10000))
            QTextStream(stderr) << "icons still loading in " << name << "\n";
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
    bool imagesLoading() const
    {
        for (QQuickItem* const item : m_fixture.window()->contentItem()->findChildren<QQuickItem*>()) {
            // Image.Loading, of any image item that is shown.
            if (item->isVisible() && item->property("asynchronous").toBool() &&
                item->property("status").toInt() == 2)
                return true;
        }
        return false;
    }

    MainWindowFixture& m_fixture;
    QString m_folder;
    QString m_suffix;
};

bool waitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 120000);
}

// Every row of the visible clip list is there, a few at a time, and has its thumbnail.
bool thumbnailsShown(MainWindowFixture& fixture)
{
    const qsizetype rows = fixture.session.context->driver()->clipRows().size();
    for (QObject* const found : fixture.window()->findChildren<QObject*>(QStringLiteral("clipList"))) {
        auto* const list = qobject_cast<QQuickItem*>(found);
        if (!list || !list->isVisible())
            continue;
        auto* const model = qobject_cast<ClipListModel*>(list->property("model").value<QObject*>());
        if (model && model->rowCount() < rows)
            return false;
        for (int row = 0; model && row < model->rowCount(); ++row)
            if (model->index(row).data(ClipListModel::ThumbnailRole).toString().isEmpty() &&
                model->index(row).data(ClipListModel::IncludedRole).toBool())
                return false;
        return model != nullptr;
    }
    return false;
}

// Scrolls the window's content (or another scroll view's) to its end, where
// the clip list is (or the settings' last section).
void scrollToEnd(MainWindowFixture& fixture, const QString& scrollView = QStringLiteral("mainScrollView"))
{
    QTest::qWait(200);
    if (auto* const scroll = fixture.item(scrollView)) {
        QQuickItem* const flickable = scroll->property("contentItem").value<QQuickItem*>();
        if (flickable)
            flickable->setProperty("contentY", std::max(0.0, flickable->property("contentHeight").toDouble() -
                                                                 flickable->height()));
    }
}

// The clip list: a card with the camera's bitmaps, one without (frames taken
// by ffmpeg), and a run with one failure.
bool shootClipList(MainWindowFixture& fixture, Shooter& shooter, const QString& work)
{
    ConversionViewModel* const driver = fixture.session.context->driver();
    fixture.window()->resize(760, 900);
    SyntheticCard::CardSpec plan;
    for (int n = 1; n <= 4; ++n) {
        plan.clips.push_back(SyntheticCard::clip(n, 2));
        plan.clips.back().frames = 30;
        plan.clips.back().writeIcon = true;
    }
    const QString icons =
        SyntheticCard::write(plan, QDir(work).filePath(QStringLiteral("CARD_D004"))).rootPath;
    for (SyntheticCard::ClipSpec& clip : plan.clips)
        clip.writeIcon = false;
    SyntheticCard::ClipSpec unverified = SyntheticCard::clip(5, 2);
    unverified.writeXml = false;
    plan.clips.push_back(unverified);
    const SyntheticCard::WrittenCard frames =
        SyntheticCard::write(plan, QDir(work).filePath(QStringLiteral("CARD_E005")));
    const auto scanned = [driver] { return driver->phase() == ConversionViewModel::Phase::scanned; };

    driver->scan(icons);
    bool ok = waitFor(scanned) && waitFor([&fixture] { return thumbnailsShown(fixture); });
    scrollToEnd(fixture);
    ok = ok && shooter.shoot(QStringLiteral("14-clip-list-icons"));
    driver->scan(frames.rootPath);
    ok = ok && waitFor(scanned) && waitFor([&fixture] { return thumbnailsShown(fixture); });
    driver->setChosen(frames.clips.at(3).videoPath, false);
    scrollToEnd(fixture);
    ok = ok && shooter.shoot(QStringLiteral("15-clip-list-frames"));

    // Half of the third clip's video: ffmpeg fails on it; the others convert.
    QFile essence(frames.clips.at(2).videoPath);
    ok = ok && essence.resize(essence.size() / 2);
    driver->scan(frames.rootPath);
    ok = ok && waitFor(scanned);
    driver->setChosen(frames.clips.at(3).videoPath, false);
    driver->start();
    ok = ok && waitFor([driver] { return driver->phase() == ConversionViewModel::Phase::finished; }) &&
         waitFor([&fixture] { return thumbnailsShown(fixture); });
    scrollToEnd(fixture);
    return ok && shooter.shoot(QStringLiteral("16-clip-list-run-failure"));
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    prepareUiTestProcess();
    const QStringList arguments = app.arguments();
    if (arguments.size() < 2) {
        QTextStream(stderr)
            << "usage: ui_screenshots OUTPUT_FOLDER [--dark] [--clip-list] [--backup] [--not-enough-space] "
               "[--quit-during-backup]\n";
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

    if (arguments.contains(QStringLiteral("--clip-list"))) {
        const bool shot = shootClipList(fixture, shooter, work.path());
        FFmpegService::setToolDirectoriesForTesting({});
        return shot ? 0 : 1;
    }
    if (arguments.contains(QStringLiteral("--not-enough-space"))) {
        // The output folder on a disk far too small for the card's movies.
        const QString drive = work.filePath(QStringLiteral("Small Drive"));
        const SmallDisk small(drive, QStringLiteral("size=2m"));
        if (!small.mounted()) {
            QTextStream(stderr) << "a small tmpfs could not be mounted (this needs root)\n";
            return 1;
        }
        fixture.session.context->settings()->setOutputFolderPath(drive + QStringLiteral("/Tolvane"));
        // The app's own alert, drawn in the window.
        QtDesktop desktop(&fixture.engine);
        const FreeSpaceConfirmation confirmation(*driver, desktop);
        driver->scan(slow);
        bool shot =
            waitFor(phaseIs(Phase::scanned)) && waitFor([&fixture] { return thumbnailsShown(fixture); });
        driver->start();
        shot = shot && waitFor([driver] { return !driver->spaceShortfall().isEmpty(); });
        shot = shot && shooter.shoot(QStringLiteral("20-not-enough-space"));
        FFmpegService::setToolDirectoriesForTesting({});
        return shot ? 0 : 1;
    }
    if (arguments.contains(QStringLiteral("--quit-during-backup"))) {
        // A card with a large file, backed up to a drive in memory, so the
        // copying goes on while the question is shown.
        QFile big(verified + QStringLiteral("/PRIVATE.BIN"));
        const QString drive = work.filePath(QStringLiteral("Shuttle A"));
        const SmallDisk shuttle(drive, QStringLiteral("size=4g"));
        if (!shuttle.mounted() || !big.open(QIODevice::WriteOnly) ||
            !big.resize(qint64(3) * 1024 * 1024 * 1024)) {
            QTextStream(stderr) << "a tmpfs could not be mounted (this needs root)\n";
            return 1;
        }
        big.close();
        BackupSettings& backup = *fixture.session.context->backupSettings();
        backup.setBackUpFirst(true);
        backup.setDestination(0, drive);
        driver->scan(verified);
        bool shot = waitFor(phaseIs(Phase::scanned));
        BackupFirst* const backupFirst = fixture.session.context->backupFirst();
        backupFirst->convert();
        shot = shot && waitFor([backupFirst] {
                   return backupFirst->stage() == BackupProgress::Stage::copying &&
                          backupFirst->progress() > 0.05;
               });
        // The app's own alert, drawn in the window, as closing it asks.
        SessionPresenter quitting(*driver, *backupFirst, std::make_shared<QtDesktop>(&fixture.engine),
                                  nullptr, std::make_shared<MemoryKeyValueStore>());
        shot = shot && !quitting.requestQuit() && shooter.shoot(QStringLiteral("21-quit-during-backup"));
        backupFirst->cancel();
        shot = waitFor([backupFirst] { return !backupFirst->isBackingUp(); }) && shot;
        FFmpegService::setToolDirectoriesForTesting({});
        return shot ? 0 : 1;
    }
    if (arguments.contains(QStringLiteral("--backup"))) {
        BackupSettings& backup = *fixture.session.context->backupSettings();
        const QString drives = work.filePath(QStringLiteral("Drives"));
        QDir().mkpath(drives + QStringLiteral("/Shuttle A"));
        QDir().mkpath(drives + QStringLiteral("/Shuttle B"));
        backup.setBackUpFirst(true);
        backup.setDestination(0, drives + QStringLiteral("/Shuttle A"));
        backup.setDestination(1, drives + QStringLiteral("/Shuttle B"));
        driver->scan(verified);
        bool shot = waitFor(phaseIs(Phase::scanned)) && shooter.shoot(QStringLiteral("17-backup-first"));
        fixture.session.context->backupFirst()->convert();
        shot = shot && waitFor([driver] {
                   return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == 1;
               });
        shot = shot && shooter.shoot(QStringLiteral("18-finished-backed-up"));
        // A drive that went away: the backup fails, and the history shows both runs.
        backup.setDestination(1, QString());
        backup.setDestination(0, drives + QStringLiteral("/Shuttle C"));
        driver->scan(verified);
        shot = shot && waitFor(phaseIs(Phase::scanned));
        BackupFirst* const backupFirst = fixture.session.context->backupFirst();
        backupFirst->convert();
        shot = shot && waitFor([backupFirst] { return !backupFirst->isBackingUp(); });
        QObject* const sheets = fixture.find(QStringLiteral("sheetHost"));
        shot = shot && sheets && QMetaObject::invokeMethod(sheets, "openHistory") &&
               shooter.shoot(QStringLiteral("19-sheet-history-backups"));
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
        ok = ok && sheets && QMetaObject::invokeMethod(sheets, open);
        // The settings are shown at their end, where the conversion behaviour is.
        if (ok && QLatin1String(open) == QLatin1String("openSettings"))
            scrollToEnd(fixture, QStringLiteral("settingsScroller"));
        ok = ok && shooter.shoot(QString::fromLatin1(name));
        QTest::keyClick(fixture.window(), Qt::Key_Escape);
    }
    FFmpegService::setToolDirectoriesForTesting({});
    return ok ? 0 : 1;
}
