#include "backup/BackupProgress.h"
#include "backup/BackupText.h"
#include "media/FFmpegService.h"
#include "PrivateBus.h"
#include "session/DBusDesktopSession.h"
#include "store/QSettingsKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"
#include "ui/RunSummaryPresenter.h"
#include "ui/SessionPresenter.h"
#include "UiTests.h"
#include "UiTestSupport.h"

#include <optional>
#include <QDir>
#include <QDirIterator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

// What the desktop around the window sees of a run, over stand-ins for its
// services on a private bus, and how the window ends during a run.
namespace {

using Phase = ConversionViewModel::Phase;
constexpr int workTimeoutMs = 300000;

const QString launcherUpdate = QStringLiteral("com.canonical.Unity.LauncherEntry.Update(");
const QString notify = QStringLiteral("org.freedesktop.Notifications.Notify(");

QStringList callsStartingWith(const QStringList& calls, const QString& prefix)
{
    QStringList found;
    for (const QString& call : calls)
        if (call.startsWith(prefix))
            found.append(call);
    return found;
}

QStringList filesIn(const QString& folder)
{
    QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden);
    names.sort();
    return names;
}

} // namespace

class DesktopSessionTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;
    QString card_;
    QString longCard_;
    // A card with a large file beside CONTENTS, so a backup of it is surely
    // seen copying.
    QString backupCard_;
    const QString backupCardName_ = QStringLiteral("BACKUP CARD");
    int connections_ = 0;
    int drives_ = 0;
    // Where the backup under test goes, and the run folders before it.
    QString destination_;
    std::optional<SmallDisk> disk_;
    QStringList runsBefore_;

    std::shared_ptr<DBusDesktopSession> sessionOn(const PrivateBus& bus)
    {
        const QDBusConnection connection =
            QDBusConnection::connectToBus(bus.address(), QStringLiteral("window-%1").arg(++connections_));
        return std::make_shared<DBusDesktopSession>(connection, connection, false);
    }

    bool openOn(MainWindowFixture& fixture, const QString& card)
    {
        fixture.session.context->settings()->setOutputFolderPath(work_->filePath(QStringLiteral("movies")));
        if (!fixture.window() || !QTest::qWaitForWindowExposed(fixture.window()))
            return false;
        ConversionViewModel* const driver = fixture.session.context->driver();
        driver->scan(card);
        return QTest::qWaitFor([driver] { return driver->phase() == Phase::scanned; }, workTimeoutMs);
    }

    QString bigCopyInProgress() const
    {
        return destination_ + QLatin1Char('/') + backupCardName_ + QStringLiteral("/.BIG.BIN.tolvane-part");
    }

    QStringList runFolders() const
    {
        return QDir(work_->filePath(QStringLiteral("movies")))
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }

    // Opens the window on the backup card with "Back Up First" to a drive in
    // memory, presses Convert and waits until the card's large file is being
    // copied.
    void startBackingUp(MainWindowFixture& fixture)
    {
        destination_ = work_->filePath(QStringLiteral("drive %1").arg(++drives_));
        disk_.emplace(destination_, QStringLiteral("size=4g"));
        QVERIFY2(disk_->mounted(), "the tests mount a tmpfs, which needs root");
        runsBefore_ = runFolders();
        QVERIFY(openOn(fixture, backupCard_));
        BackupSettings* const settings = fixture.session.context->backupSettings();
        settings->setBackUpFirst(true);
        settings->setDestination(0, destination_);
        BackupFirst* const backup = fixture.session.context->backupFirst();
        backup->convert();
        QVERIFY(backup->isBackingUp());
        QVERIFY(QTest::qWaitFor([&] { return QFileInfo(bigCopyInProgress()).size() > 0; }, workTimeoutMs));
        QVERIFY(backup->isBackingUp());
        QCOMPARE(backup->stage(), BackupProgress::Stage::copying);
    }

    // The backup stopped as Cancel stops it: recorded in the history as
    // cancelled, nothing converted, and nothing incomplete in the copy.
    void verifyStoppedAndRecorded(MainWindowFixture& fixture)
    {
        ConversionViewModel* const driver = fixture.session.context->driver();
        QVERIFY(!fixture.session.context->backupFirst()->isBackingUp());
        QCOMPARE(fixture.session.context->backupFirst()->resultText(), BackupText::cancelledSentence());
        const QString copy = destination_ + QLatin1Char('/') + backupCardName_;
        const QList<ConversionHistoryEntry> entries = fixture.session.context->history()->entries();
        QCOMPARE(entries.size(), 1);
        QCOMPARE(entries.first().cardName, backupCardName_);
        QCOMPARE(entries.first().converted, 0);
        QCOMPARE(entries.first().backup,
                 std::optional(BackupRecord{BackupRecord::Outcome::cancelled, {copy}}));
        // What the copy holds is whole: each file as large as the card's, and no temporary.
        const QStringList left = everyFileBelow(copy);
        QVERIFY(!left.contains(QStringLiteral("BIG.BIN")));
        for (const QString& file : left) {
            QVERIFY2(!file.endsWith(QLatin1String(".tolvane-part")), qPrintable(file));
            QCOMPARE(QFileInfo(copy + QLatin1Char('/') + file).size(),
                     QFileInfo(backupCard_ + QLatin1Char('/') + file).size());
        }
        // Nothing converted, and no conversion starts after it.
        QTest::qWait(500);
        QCOMPARE(driver->phase(), Phase::scanned);
        QVERIFY(driver->jobs().isEmpty());
        QCOMPARE(runFolders(), runsBefore_);
    }

    static bool runWritten(MainWindowFixture& fixture, int debugTick)
    {
        ConversionViewModel* const driver = fixture.session.context->driver();
        return QTest::qWaitFor(
            [&] {
                return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == debugTick;
            },
            workTimeoutMs);
    }

private slots:
    void initTestCase()
    {
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);
        FFmpegService::setToolDirectoriesForTesting({tools_->path()});
        work_ = std::make_unique<QTemporaryDir>();
        const RunCards cards = writeRunCards(*work_);
        card_ = cards.card;
        longCard_ = cards.longCard;
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(1, 1)};
        backupCard_ = SyntheticCard::write(plan, work_->filePath(backupCardName_)).rootPath;
        QFile big(backupCard_ + QStringLiteral("/BIG.BIN"));
        QVERIFY(big.open(QIODevice::WriteOnly));
        // Sparse: costs no disk here, and still takes a while to copy.
        QVERIFY(big.resize(qint64(3) * 1024 * 1024 * 1024));
    }

    void cleanup() { disk_.reset(); }

    void cleanupTestCase()
    {
        FFmpegService::setToolDirectoriesForTesting({});
        work_.reset();
        tools_.reset();
    }

    void theTitleCarriesThePercentageOnlyWhileConverting()
    {
        QCOMPARE(SessionPresenter::windowTitleFor(true, 0.42), QStringLiteral("42% — Tolvane"));
        QCOMPARE(SessionPresenter::windowTitleFor(true, 0), QStringLiteral("0% — Tolvane"));
        QCOMPARE(SessionPresenter::windowTitleFor(false, 0.42), QStringLiteral("Tolvane"));
    }

    void aFailedRunsNotificationSaysHowManyFailed()
    {
        ConversionSummary summary;
        summary.converted = 3;
        summary.failed = 1;
        QCOMPARE(RunSummaryPresenter::notificationBodyFor(summary),
                 QStringLiteral("3 clips converted · 1 clip failed"));
        summary.failed = 2;
        summary.skipped = 1;
        QCOMPARE(RunSummaryPresenter::notificationBodyFor(summary),
                 QStringLiteral("3 clips converted · 1 skipped (already existed) · 2 clips failed"));
        summary.failed = 0;
        QCOMPARE(RunSummaryPresenter::notificationBodyFor(summary),
                 RunSummaryPresenter::detailLineFor(summary));
    }

    void theWindowReturnsOnlyOntoAScreenThatIsThere()
    {
        const QList<QRect> screens{{0, 0, 1920, 1080}, {1920, 0, 1280, 1024}};
        QCOMPARE(SessionPresenter::geometryOnScreens({100, 50, 860, 760}, screens), QRect(100, 50, 860, 760));
        QCOMPARE(SessionPresenter::geometryOnScreens({2000, 100, 860, 760}, screens),
                 QRect(2000, 100, 860, 760));
        // The screen on the right was unplugged.
        QCOMPARE(SessionPresenter::geometryOnScreens({2000, 100, 860, 760}, {screens.first()}), std::nullopt);
        // Only a sliver of the title bar would be reachable.
        QCOMPARE(SessionPresenter::geometryOnScreens({1880, 100, 860, 760}, {screens.first()}), std::nullopt);
        QCOMPARE(SessionPresenter::geometryOnScreens({100, 1070, 860, 760}, {screens.first()}), std::nullopt);
        QCOMPARE(SessionPresenter::geometryOnScreens(QRect(), screens), std::nullopt);
    }

    void theWindowRemembersItsPlaceAcrossLaunches()
    {
        UiSession session;
        const QString file = work_->filePath(QStringLiteral("place/Tolvane.json"));
        const auto presenterOver = [&session](const QString& path) {
            return std::make_unique<SessionPresenter>(
                *session.context->driver(), *session.context->backupFirst(), session.desktop, nullptr,
                std::make_shared<QSettingsKeyValueStore>(path));
        };
        QCOMPARE(presenterOver(file)->restoredGeometry(), QRect());
        presenterOver(file)->saveGeometry({20, 30, 700, 500});
        QCOMPARE(presenterOver(file)->restoredGeometry(), QRect(20, 30, 700, 500));
        presenterOver(file)->saveGeometry({-5000, 30, 700, 500});
        QCOMPARE(presenterOver(file)->restoredGeometry(), QRect());
    }

    void aRunSeenFromTheDesktop()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns(
            {QStringLiteral("logind"), QStringLiteral("notifications"), QStringLiteral("launcher")},
            QStringLiteral("open")));
        MainWindowFixture fixture(nullptr, sessionOn(bus));
        QVERIFY(openOn(fixture, card_));
        ConversionViewModel* const driver = fixture.session.context->driver();
        QCOMPARE(fixture.window()->title(), QStringLiteral("Tolvane"));

        // Another window is the active one when the run ends.
        QWindow other;
        other.show();
        other.requestActivate();
        QTRY_VERIFY(!fixture.window()->isActive());
        QVERIFY(!fixture.session.context->session()->windowActive());

        QStringList titles;
        connect(fixture.window(), &QWindow::windowTitleChanged, this,
                [&titles](const QString& title) { titles.append(title); });
        driver->start();
        QVERIFY(runWritten(fixture, 1));
        const QString folder = *driver->outputFolderURL();
        QVERIFY(bus.waitForCall(QStringLiteral("logind lock released")));
        QCOMPARE(titles.first(), QStringLiteral("0% — Tolvane"));
        QVERIFY(titles.contains(QStringLiteral("50% — Tolvane")));
        QCOMPARE(titles.last(), QStringLiteral("Tolvane"));
        QCOMPARE(fixture.window()->title(), QStringLiteral("Tolvane"));

        const QStringList calls = bus.calls();
        QCOMPARE(callsStartingWith(calls, QStringLiteral("org.freedesktop.login1.")),
                 QStringList{QStringLiteral("org.freedesktop.login1.Manager.Inhibit(sleep:idle|Tolvane|"
                                            "Converting 2 clips to ProRes|block)")});
        QCOMPARE(callsStartingWith(calls, notify),
                 QStringList{QStringLiteral(
                     "org.freedesktop.Notifications.Notify(Tolvane|0|org.tolvane.Tolvane|Conversion Complete|"
                     "2 clips converted|[default,Open Output Folder,open,Open Output Folder]|"
                     "{desktop-entry=org.tolvane.Tolvane}|-1)")});
        // Chosen at once by the stand-in: the folder is shown.
        QTRY_COMPARE_WITH_TIMEOUT(fixture.session.desktop->revealed.value(0), QStringList{folder}, 60000);
        const QString update = QStringLiteral(
            "com.canonical.Unity.LauncherEntry.Update(application://org.tolvane.Tolvane.desktop|{%1})");
        const QStringList updates = callsStartingWith(calls, launcherUpdate);
        QVERIFY(updates.size() >= 3);
        QCOMPARE(updates.first(), update.arg(QStringLiteral("progress=0,progress-visible=true")));
        QVERIFY(updates.contains(update.arg(QStringLiteral("progress=0.5,progress-visible=true"))));
        QCOMPARE(updates.last(), update.arg(QStringLiteral("progress=0,progress-visible=false")));
        QCOMPARE(calls.last(), QStringLiteral("logind lock released"));

        // With the window active again, a run ends without a notification.
        fixture.window()->requestActivate();
        QTRY_VERIFY(fixture.session.context->session()->windowActive());
        driver->start();
        QVERIFY(runWritten(fixture, 2));
        QVERIFY(bus.waitForCall(QStringLiteral("logind lock released")));
        QTest::qWait(100);
        QCOMPARE(callsStartingWith(bus.calls(), notify).size(), 1);
    }

    void closingDuringARunAsksAndKeepsConverting()
    {
        MainWindowFixture fixture;
        QVERIFY(openOn(fixture, longCard_));
        ConversionViewModel* const driver = fixture.session.context->driver();
        QSignalSpy quits(fixture.session.context->session(), &SessionPresenter::quitRequested);
        fixture.session.desktop->alertAnswers = {0};
        driver->start();
        QVERIFY(driver->isConverting());
        const QString left = SessionPresenter::clipsLeftText(driver->totalCount() - driver->completedCount());
        QVERIFY(!fixture.window()->close());
        QCOMPARE(fixture.session.desktop->alertRequests.size(), 1);
        const ScriptedDesktop::AlertRequest& asked = fixture.session.desktop->alertRequests.first();
        QCOMPARE(asked.style, AlertStyle::warning);
        QCOMPARE(asked.message, QStringLiteral("Stop converting and quit?"));
        QCOMPARE(asked.informativeText, left);
        QCOMPARE(asked.buttons,
                 (QStringList{QStringLiteral("Keep Converting"), QStringLiteral("Stop and Quit")}));
        QVERIFY(fixture.window()->isVisible());
        QVERIFY(driver->isConverting());
        QCOMPARE(quits.size(), 0);
        driver->cancel();
        QVERIFY(runWritten(fixture, 1));
    }

    void quitDuringARunStopsCleanlyThenQuits()
    {
        MainWindowFixture fixture;
        QVERIFY(openOn(fixture, longCard_));
        ConversionViewModel* const driver = fixture.session.context->driver();
        QSignalSpy quits(fixture.session.context->session(), &SessionPresenter::quitRequested);
        fixture.session.desktop->alertAnswers = {1};
        driver->start();
        QVERIFY(QTest::qWaitFor([driver] { return driver->completedCount() == 1; }, workTimeoutMs));
        QCOMPARE(
            SessionPresenter::clipsLeftText(driver->totalCount() - driver->completedCount()),
            QStringLiteral("2 clips still to convert. Stopping ends the running clip without leaving part "
                           "of a movie, and the reports are written."));
        QObject* const commands = fixture.find(QStringLiteral("commands"));
        QVERIFY(commands);
        QVERIFY(QMetaObject::invokeMethod(commands->property("quit").value<QObject*>(), "trigger"));
        QCOMPARE(fixture.session.desktop->alertRequests.size(), 1);
        QVERIFY(quits.wait(workTimeoutMs));
        QCOMPARE(driver->phase(), Phase::finished);
        QCOMPARE(driver->debugReportGenerationTick(), 1);
        QCOMPARE(driver->summary()->failed, 1);
        const QString folder = *driver->outputFolderURL();
        QCOMPARE(filesIn(folder),
                 (QStringList{QStringLiteral("001.mov"), QStringLiteral("CONVERSION_REPORT.txt"),
                              QStringLiteral("DEBUG_REPORT.txt"), QStringLiteral("FFMPEG_ERRORS.txt"),
                              QStringLiteral("PAIRING_REPORT.txt")}));
    }

    void theSessionManagersQuitStopsWithoutAsking()
    {
        MainWindowFixture fixture;
        QVERIFY(openOn(fixture, longCard_));
        ConversionViewModel* const driver = fixture.session.context->driver();
        QSignalSpy quits(fixture.session.context->session(), &SessionPresenter::quitRequested);
        driver->start();
        QVERIFY(driver->isConverting());
        fixture.session.context->session()->stopAndQuit();
        QVERIFY(quits.wait(workTimeoutMs));
        QCOMPARE(fixture.session.desktop->alertRequests.size(), 0);
        QCOMPARE(driver->phase(), Phase::finished);
        QVERIFY(QFile::exists(QDir(*driver->outputFolderURL()).filePath(QStringLiteral("DEBUG_REPORT.txt"))));
    }

    // Closing the window during Back Up First asks in the backup's words;
    // keeping it changes nothing, stopping cancels the backup as Cancel does,
    // records it, converts nothing and then quits.
    void closingDuringABackupAsksThenStopsRecordsAndQuits()
    {
        MainWindowFixture fixture;
        startBackingUp(fixture);
        if (QTest::currentTestFailed())
            return;
        BackupFirst* const backup = fixture.session.context->backupFirst();
        QSignalSpy quits(fixture.session.context->session(), &SessionPresenter::quitRequested);
        QSignalSpy ended(fixture.session.context->driver(), &ConversionViewModel::sessionEnded);
        fixture.session.desktop->alertAnswers = {0, 1};

        const QString stopping = QStringLiteral(
            "The card is not backed up yet: stopping leaves no partial copy, and the backup is recorded in "
            "the history as cancelled.");
        const QRegularExpression copyLeft(QStringLiteral("^[0-9.]+ (bytes|kB|MB|GB) still to copy\\. "));
        for (int answer : {0, 1}) {
            QVERIFY(!fixture.window()->close());
            QCOMPARE(fixture.session.desktop->alertRequests.size(), answer + 1);
            const ScriptedDesktop::AlertRequest& asked = fixture.session.desktop->alertRequests.last();
            QCOMPARE(asked.style, AlertStyle::warning);
            QCOMPARE(asked.message, QStringLiteral("Stop the backup and quit?"));
            QVERIFY2(asked.informativeText.contains(copyLeft) && asked.informativeText.endsWith(stopping),
                     qPrintable(asked.informativeText));
            QCOMPARE(asked.buttons,
                     (QStringList{QStringLiteral("Keep Backing Up"), QStringLiteral("Stop and Quit")}));
            if (answer == 0) {
                // Kept: the backup goes on and the window stays.
                QVERIFY(backup->isBackingUp());
                QVERIFY(backup->progressLine() != QStringLiteral("Cancelling…"));
                QVERIFY(fixture.window()->isVisible());
                QCOMPARE(quits.size(), 0);
            }
        }
        QVERIFY(quits.wait(workTimeoutMs));
        QCOMPARE(ended.size(), 1);
        verifyStoppedAndRecorded(fixture);
        QCOMPARE(quits.size(), 1);
    }

    // Logging out during Back Up First stops and records the backup as
    // closing the window does, without asking.
    void loggingOutDuringABackupStopsRecordsAndQuitsWithoutAsking()
    {
        MainWindowFixture fixture;
        startBackingUp(fixture);
        if (QTest::currentTestFailed())
            return;
        QSignalSpy quits(fixture.session.context->session(), &SessionPresenter::quitRequested);
        QSignalSpy ended(fixture.session.context->driver(), &ConversionViewModel::sessionEnded);

        // What main.cpp connects QGuiApplication::commitDataRequest to.
        fixture.session.context->session()->stopAndQuit();
        // Not before the backup has stopped and is recorded.
        QCOMPARE(quits.size(), 0);
        QVERIFY(quits.wait(workTimeoutMs));
        QCOMPARE(ended.size(), 1);
        QCOMPARE(fixture.session.desktop->alertRequests.size(), 0);
        verifyStoppedAndRecorded(fixture);
    }

    // Closing the window once the backup is proven, while its copy is scanned
    // for the conversion: nothing to ask, the backup is recorded, nothing is
    // converted, and then the app quits.
    void closingWhileTheProvenCopyIsScannedRecordsTheBackupAndQuits()
    {
        const QString destination = work_->filePath(QStringLiteral("drive %1").arg(++drives_));
        QVERIFY(QDir().mkpath(destination));
        MainWindowFixture fixture;
        QVERIFY(openOn(fixture, card_));
        const QStringList runsBefore = runFolders();
        ConversionViewModel* const driver = fixture.session.context->driver();
        BackupFirst* const backup = fixture.session.context->backupFirst();
        fixture.session.context->backupSettings()->setBackUpFirst(true);
        fixture.session.context->backupSettings()->setDestination(0, destination);
        QSignalSpy quits(fixture.session.context->session(), &SessionPresenter::quitRequested);
        std::optional<bool> closed;
        connect(driver, &ConversionViewModel::phaseChanged, this, [&] {
            if (!closed && !backup->isBackingUp() && backup->isUnderWay() &&
                driver->phase() == Phase::scanning)
                closed = fixture.window()->close();
        });
        backup->convert();
        QVERIFY(QTest::qWaitFor([&] { return !quits.isEmpty(); }, workTimeoutMs));

        QCOMPARE(closed, std::optional(false));
        QCOMPARE(fixture.session.desktop->alertRequests.size(), 0);
        const QList<ConversionHistoryEntry> entries = fixture.session.context->history()->entries();
        QCOMPARE(entries.size(), 1);
        QCOMPARE(entries.first().converted, 0);
        QCOMPARE(entries.first().backup,
                 std::optional(BackupRecord{BackupRecord::Outcome::proven,
                                            {destination + QLatin1Char('/') + QFileInfo(card_).fileName()}}));
        QTest::qWait(200);
        QCOMPARE(driver->phase(), Phase::scanned);
        QCOMPARE(runFolders(), runsBefore);
        QCOMPARE(quits.size(), 1);
    }

    void outsideARunQuitIsAtOnce()
    {
        MainWindowFixture fixture;
        QVERIFY(fixture.window());
        QSignalSpy quits(fixture.session.context->session(), &SessionPresenter::quitRequested);
        QVERIFY(fixture.session.context->session()->requestQuit());
        QCOMPARE(quits.size(), 1);
        QCOMPARE(fixture.session.desktop->alertRequests.size(), 0);
    }
};

int runDesktopSessionTests(int argc, char* argv[])
{
    DesktopSessionTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DesktopSessionTest.moc"
