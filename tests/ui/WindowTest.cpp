#include "backup/BackupText.h"
#include "base/DisplayText.h"
#include "base/Workers.h"
#include "media/FFmpegService.h"
#include "media/ProbeCache.h"
#include "store/QSettingsKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"
#include "ui/ClipListModel.h"
#include "ui/FreeSpaceConfirmation.h"
#include "ui/QtDesktop.h"
#include "UiTests.h"
#include "UiTestSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QQmlListReference>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <QtQuickTest/quicktest.h>

namespace {

using Phase = ConversionViewModel::Phase;
constexpr int workTimeoutMs = 300000;

// The menus as shown: each menu's title, then its items' texts, "-" for a separator.
QStringList menuOutline(QObject* menuBar)
{
    QStringList outline;
    QQmlListReference menus(menuBar, "menus");
    for (qsizetype m = 0; m < menus.count(); ++m) {
        QObject* const menu = menus.at(m);
        outline << QStringLiteral("[") + menu->property("title").toString() + QStringLiteral("]");
        const int count = menu->property("count").toInt();
        for (int i = 0; i < count; ++i) {
            QQuickItem* item = nullptr;
            QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, i));
            if (!item)
                continue;
            const bool separator = QByteArray(item->metaObject()->className()).contains("Separator");
            outline << (separator ? QStringLiteral("-") : item->property("text").toString());
        }
    }
    return outline;
}

// The texts of a menu's items that are shown, separators left out; the menu
// is opened to look.
QStringList shownItemTexts(QObject* menu)
{
    QMetaObject::invokeMethod(menu, "open");
    const auto closeAgain = qScopeGuard([menu] { QMetaObject::invokeMethod(menu, "close"); });
    QStringList texts;
    for (int i = 0; i < menu->property("count").toInt(); ++i) {
        QQuickItem* item = nullptr;
        QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, i));
        if (item && item->isVisible() && !item->property("text").toString().isEmpty())
            texts << item->property("text").toString();
    }
    return texts;
}

// The command `name` of the window's AppCommands.
QObject* command(const MainWindowFixture& fixture, const char* name)
{
    QObject* const commands = fixture.find(QStringLiteral("commands"));
    return commands ? commands->property(name).value<QObject*>() : nullptr;
}

} // namespace

// The real main window over the real driver, walked as a user would.
class WindowTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;
    QString card_;
    QString longCard_;

    static bool waitForPhase(MainWindowFixture& fixture, Phase phase)
    {
        return QTest::qWaitFor([&] { return fixture.session.context->driver()->phase() == phase; },
                               workTimeoutMs);
    }

    // Waits for the run to end and for its DEBUG_REPORT.txt, the run's last piece of work.
    static bool waitForRunWritten(MainWindowFixture& fixture, int debugTick)
    {
        ConversionViewModel* const driver = fixture.session.context->driver();
        return QTest::qWaitFor(
            [&] {
                return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == debugTick;
            },
            workTimeoutMs);
    }

    static void click(MainWindowFixture& fixture, const QString& name)
    {
        QQuickItem* const item = fixture.item(name);
        QVERIFY2(item, qPrintable(name));
        QVERIFY2(item->isVisible() && item->isEnabled(), qPrintable(name));
        clickItem(fixture, item);
    }

    static QString text(MainWindowFixture& fixture, const QString& name)
    {
        QObject* const object = fixture.find(name);
        return object ? object->property("text").toString() : QStringLiteral("<no %1>").arg(name);
    }

    // The first visible item at or below `item` whose text is `text`.
    static QQuickItem* shownItemWithText(QQuickItem* item, const QString& text)
    {
        if (!item || !item->isVisible())
            return nullptr;
        if (item->property("text").toString() == text)
            return item;
        for (QQuickItem* const child : item->childItems())
            if (QQuickItem* const found = shownItemWithText(child, text))
                return found;
        return nullptr;
    }

    // Clicks `item` once its layout has placed it: layouts that were just
    // shown place their items when they are next polished.
    static void clickItem(MainWindowFixture& fixture, QQuickItem* item)
    {
        QVERIFY(item);
        if (item->parentItem())
            QVERIFY(QQuickTest::qWaitForPolish(item->parentItem()));
        const QPoint centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
        QTest::mouseClick(fixture.window(), Qt::LeftButton, Qt::NoModifier, centre);
    }

    static bool shown(MainWindowFixture& fixture, const QString& name)
    {
        QQuickItem* const item = fixture.item(name);
        return item && item->isVisible();
    }

    // Drags `mime` over the drop zone and drops it there.
    static void dropOnDropZone(MainWindowFixture& fixture, const QMimeData& mime)
    {
        QQuickItem* const zone = fixture.item(QStringLiteral("dropZone"));
        QVERIFY(zone);
        QVERIFY(QQuickTest::qWaitForPolish(fixture.window()));
        const QPoint at = zone->mapToScene(QPointF(zone->width() / 2, zone->height() / 2)).toPoint();
        QDragEnterEvent enter(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(fixture.window(), &enter);
        QDragMoveEvent move(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(fixture.window(), &move);
        QDropEvent drop(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(fixture.window(), &drop);
        // A refused drag ends as the desktop ends it: it leaves the window.
        if (!drop.isAccepted()) {
            QDragLeaveEvent leave;
            QCoreApplication::sendEvent(fixture.window(), &leave);
        }
        QCoreApplication::processEvents();
    }

    void openWindow(MainWindowFixture& fixture)
    {
        fixture.session.context->settings()->setOutputFolderPath(work_->filePath(QStringLiteral("movies")));
        QVERIFY(fixture.window());
        QVERIFY(QTest::qWaitForWindowExposed(fixture.window()));
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
    }

    void cleanupTestCase()
    {
        FFmpegService::setToolDirectoriesForTesting({});
        work_.reset();
        tools_.reset();
    }

    void init()
    {
        FFmpegService::setToolDirectoriesForTesting({tools_->path()});
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".?")));
    }

    void menusHoldEveryCommandInOrder()
    {
        MainWindowFixture fixture;
        openWindow(fixture);
        QObject* const menuBar = fixture.window()->property("menuBar").value<QObject*>();
        QVERIFY(menuBar);
        const QStringList expected{
            QStringLiteral("[File]"),
            QStringLiteral("Open P2 Folder…"),
            QStringLiteral("Open Recent"),
            QStringLiteral("Convert"),
            QStringLiteral("Show Output in File Manager"),
            QStringLiteral("-"),
            QStringLiteral("Convert Another P2 Card"),
            QStringLiteral("Choose Output Folder…"),
            QStringLiteral("-"),
            QStringLiteral("Settings…"),
            QStringLiteral("-"),
            QStringLiteral("Quit"),
            QStringLiteral("[Tools]"),
            QStringLiteral("Verify P2 Card"),
            QStringLiteral("Export Pairing Report…"),
            QStringLiteral("Export Debug Report…"),
            QStringLiteral("Check FFmpeg Install"),
            QStringLiteral("Open Logs Folder"),
            QStringLiteral("Reset Preferences"),
            QStringLiteral("[History]"),
            QStringLiteral("Show Recent Conversions"),
            QStringLiteral("Clear History"),
            QStringLiteral("[Help]"),
            QStringLiteral("Tolvane Help"),
            QStringLiteral("How to Use Tolvane"),
            QStringLiteral("Troubleshooting"),
            QStringLiteral("-"),
            QStringLiteral("Report a Problem…"),
            QStringLiteral("Tolvane Website"),
            QStringLiteral("-"),
            QStringLiteral("About Tolvane"),
        };
        QCOMPARE(menuOutline(menuBar), expected);

        // Only opening a folder and converting have shortcuts of their own;
        // Settings and Quit keep the desktop's usual keys.
        QObject* const commands = fixture.find(QStringLiteral("commands"));
        QVERIFY(commands);
        QStringList withShortcuts;
        for (int i = commands->metaObject()->propertyOffset(); i < commands->metaObject()->propertyCount();
             ++i) {
            auto* const action = commands->metaObject()->property(i).read(commands).value<QObject*>();
            if (action && !action->property("shortcut").toString().isEmpty())
                withShortcuts << action->property("text").toString();
        }
        QCOMPARE(withShortcuts, QStringList({QStringLiteral("Open P2 Folder…"), QStringLiteral("Convert"),
                                             QStringLiteral("Settings…"), QStringLiteral("Quit")}));
    }

    void openRecentListsTheRecentFolders()
    {
        MainWindowFixture fixture;
        openWindow(fixture);
        QObject* const recent = fixture.find(QStringLiteral("openRecentMenu"));
        QVERIFY(recent);
        // A submenu opens from its menu.
        QObject* const file = fixture.find(QStringLiteral("fileMenu"));
        QVERIFY(file);
        QMetaObject::invokeMethod(file, "open");
        QCOMPARE(shownItemTexts(recent),
                 QStringList({QStringLiteral("No Recent P2 Folders"), QStringLiteral("Clear Recent")}));
        fixture.session.context->recentFolders()->record(card_);
        QCOMPARE(shownItemTexts(recent), QStringList({card_, QStringLiteral("Clear Recent")}));
        // A folder's name is shown on one line, escaped as every name shown is.
        fixture.session.context->recentFolders()->record(QStringLiteral("/media/two\nlines"));
        QCOMPARE(shownItemTexts(recent),
                 QStringList({QStringLiteral("/media/two\\nlines"), card_, QStringLiteral("Clear Recent")}));
        fixture.session.context->clearRecentFolders();
        QCOMPARE(shownItemTexts(recent),
                 QStringList({QStringLiteral("No Recent P2 Folders"), QStringLiteral("Clear Recent")}));
    }

    void walksFromIdleToFinishedAndBack()
    {
        MainWindowFixture fixture;
        openWindow(fixture);
        ConversionViewModel* const driver = fixture.session.context->driver();
        QVERIFY(shown(fixture, QStringLiteral("dropZone")));
        QVERIFY(shown(fixture, QStringLiteral("outputFolderRow")));
        QVERIFY(!shown(fixture, QStringLiteral("convertButton")));
        QCOMPARE(text(fixture, QStringLiteral("footerCaption")), QStringLiteral("Ready."));

        // Choose a folder by the drop zone's button.
        fixture.session.desktop->folderAnswers = {card_};
        click(fixture, QStringLiteral("chooseFolderButton"));
        QVERIFY(waitForPhase(fixture, Phase::scanned));
        QVERIFY(shown(fixture, QStringLiteral("cardSummary")));
        QCOMPARE(text(fixture, QStringLiteral("cardStatusText")),
                 QStringLiteral("P2 card verified — 2 clips ready"));
        QCOMPARE(text(fixture, QStringLiteral("readyLine")),
                 QStringLiteral("2 clips ready to convert — pairing verified by CLIP XML/UMID"));
        QVERIFY(!shown(fixture, QStringLiteral("exclusionBox")));
        QVERIFY(!fixture.find(QStringLiteral("cardAdvancedDetails"))->property("expanded").toBool());

        // Convert by the footer's button.
        click(fixture, QStringLiteral("convertButton"));
        QVERIFY(driver->isConverting() || driver->phase() == Phase::finished);
        QVERIFY(waitForRunWritten(fixture, 1));
        QVERIFY(shown(fixture, QStringLiteral("summaryCard")));
        QCOMPARE(text(fixture, QStringLiteral("summaryHeading")), QStringLiteral("Conversion Complete"));
        QCOMPARE(text(fixture, QStringLiteral("summaryDetail")), QStringLiteral("2 clips converted"));
        QVERIFY(shown(fixture, QStringLiteral("openOutputFolderButton")));
        const QString firstFolder = *driver->outputFolderURL();
        QCOMPARE(text(fixture, QStringLiteral("footerFolder")), firstFolder);
        QVERIFY(!shown(fixture, QStringLiteral("outputFolderRow")));

        // Return on a clip of the summary's list opens the pairing details at its entry.
        auto* const summaryList =
            fixture.item(QStringLiteral("summaryCard"))->findChild<QQuickItem*>(QStringLiteral("clipList"));
        QVERIFY(summaryList && summaryList->isVisible());
        summaryList->forceActiveFocus();
        summaryList->setProperty("currentIndex", 1);
        QTest::keyClick(fixture.window(), Qt::Key_Return);
        QObject* const pairingSheet = fixture.find(QStringLiteral("pairingDetailsSheet"));
        QTRY_VERIFY(pairingSheet->property("opened").toBool());
        const auto* const rows =
            qobject_cast<ClipListModel*>(summaryList->property("model").value<QObject*>());
        QVERIFY(rows);
        const QString entry = rows->index(1).data(ClipListModel::EntryRole).toString();
        QVERIFY(!entry.isEmpty());
        QCOMPARE(pairingSheet->property("focusedEntry").toString(), entry);
        QTest::keyClick(fixture.window(), Qt::Key_Escape);
        QTRY_VERIFY(!pairingSheet->property("visible").toBool());

        // Without failures the details stay closed and no errors log is offered.
        QObject* const details = fixture.find(QStringLiteral("summaryAdvancedDetails"));
        QVERIFY(!details->property("expanded").toBool());
        click(fixture, QStringLiteral("summaryAdvancedDetailsToggle"));
        QVERIFY(details->property("expanded").toBool());
        QCOMPARE(fixture.find(QStringLiteral("logLinks"))->property("count").toInt(), 3);
        QVERIFY(!fixture.find(QStringLiteral("logLink_FFMPEG_ERRORS.txt")));
        QVERIFY(shown(fixture, QStringLiteral("logLink_CONVERSION_REPORT.txt")));
        QVERIFY(shown(fixture, QStringLiteral("logLink_DEBUG_REPORT.txt")));
        click(fixture, QStringLiteral("logLink_PAIRING_REPORT.txt"));
        QCOMPARE(fixture.session.desktop->revealed.last(),
                 QStringList({*driver->outputFolderURL() + QStringLiteral("/PAIRING_REPORT.txt")}));

        // Back to the drop zone.
        click(fixture, QStringLiteral("convertAnotherButton"));
        QCOMPARE(driver->phase(), Phase::idle);
        QVERIFY(QTest::qWaitFor([&] { return shown(fixture, QStringLiteral("dropZone")); }));

        // Ctrl+O opens the chooser; Ctrl+Return converts.
        fixture.session.desktop->folderAnswers = {card_};
        QTest::keyClick(fixture.window(), Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(fixture.session.desktop->folderRequests.size(), 2);
        QVERIFY(waitForPhase(fixture, Phase::scanned));
        QTest::keyClick(fixture.window(), Qt::Key_Return, Qt::ControlModifier);
        QVERIFY(waitForRunWritten(fixture, 2));
        // A card opened anew gets a folder of its own.
        QCOMPARE(text(fixture, QStringLiteral("summaryDetail")), QStringLiteral("2 clips converted"));
        QVERIFY(text(fixture, QStringLiteral("footerFolder")) != firstFolder);

        // The menu's "Convert Another P2 Card" does what the summary's button does.
        QMetaObject::invokeMethod(command(fixture, "convertAnother"), "trigger");
        QCOMPARE(driver->phase(), Phase::idle);
    }

    // A run that cannot fit is refused with the reason, and the window asks
    // whether to convert anyway: Cancel leaves the card as it was, "Convert
    // Anyway" in the app's own alert starts the run. A folder whose name
    // holds a line feed shows on one line in the footer.
    void aRunThatCannotFitAsksWhetherToConvertAnyway()
    {
        const QString disk = work_->filePath(QStringLiteral("small\ndisk"));
        const SmallDisk small(disk, QStringLiteral("size=64k"));
        QVERIFY2(small.mounted(), "the tests mount a tmpfs, which needs root");
        MainWindowFixture fixture;
        openWindow(fixture);
        fixture.session.context->settings()->setOutputFolderPath(disk);
        ConversionViewModel* const driver = fixture.session.context->driver();
        ScriptedDesktop& scripted = *fixture.session.desktop;
        // The card reached by a name with a line feed, shown on one line too.
        const QString card = work_->filePath(QStringLiteral("card\nlink"));
        QVERIFY(QFile::exists(card) || QFile::link(card_, card));
        driver->scan(card);
        QVERIFY(waitForPhase(fixture, Phase::scanned));
        QCOMPARE(text(fixture, QStringLiteral("cardName")), QStringLiteral("card\\nlink"));
        QCOMPARE(text(fixture, QStringLiteral("cardPath")), DisplayText::escaped(card));
        QCOMPARE(text(fixture, QStringLiteral("outputFolderPath")), DisplayText::escaped(disk));
        QVERIFY(text(fixture, QStringLiteral("outputFolderPath")).endsWith(QStringLiteral("/small\\ndisk")));

        // Cancel: nothing is converted, nothing is written, the reason stays in the footer.
        scripted.alertAnswers = {1};
        click(fixture, QStringLiteral("convertButton"));
        QVERIFY(QTest::qWaitFor([&] { return !scripted.alertRequests.isEmpty(); }, workTimeoutMs));
        const QString shortfall = driver->spaceShortfall();
        QVERIFY2(shortfall.startsWith(
                     QStringLiteral("Not enough free space in “%1/").arg(DisplayText::escaped(disk))),
                 qPrintable(shortfall));
        const ScriptedDesktop::AlertRequest asked = scripted.alertRequests.constFirst();
        QCOMPARE(asked.style, AlertStyle::warning);
        QCOMPARE(asked.message, QStringLiteral("Not enough free space"));
        QCOMPARE(asked.informativeText,
                 shortfall + QStringLiteral(" If you convert anyway, the run stops at the first movie that "
                                            "does not fit."));
        QCOMPARE(asked.buttons, QStringList({QStringLiteral("Convert Anyway"), QStringLiteral("Cancel")}));
        QCOMPARE(driver->phase(), Phase::scanned);
        QVERIFY(driver->jobs().isEmpty());
        QVERIFY(QDir(disk).isEmpty());
        QVERIFY(shown(fixture, QStringLiteral("convertButton")));
        QCOMPARE(text(fixture, QStringLiteral("footerCaption")), shortfall);

        // The app's own alert, drawn in the window: "Convert Anyway" converts.
        QtDesktop desktop(&fixture.engine);
        const FreeSpaceConfirmation confirmation(*driver, desktop);
        scripted.alertAnswers = {1};
        click(fixture, QStringLiteral("convertButton"));
        QQuickItem* anyway = nullptr;
        QVERIFY(QTest::qWaitFor(
            [&] {
                anyway = shownItemWithText(fixture.window()->contentItem(), QStringLiteral("Convert Anyway"));
                return anyway != nullptr;
            },
            workTimeoutMs));
        QVERIFY(shownItemWithText(fixture.window()->contentItem(), QStringLiteral("Not enough free space")));
        QVERIFY(shownItemWithText(fixture.window()->contentItem(), FreeSpaceConfirmation::detail(shortfall)));
        QVERIFY(shownItemWithText(fixture.window()->contentItem(), QStringLiteral("Cancel")));
        QCOMPARE(driver->phase(), Phase::scanned);
        clickItem(fixture, anyway);
        QVERIFY(waitForRunWritten(fixture, 1));
        QVERIFY(driver->spaceShortfall().isEmpty());
        QVERIFY(driver->summary());
        // The disk was too small: the first movie failed for want of space and the run stopped there.
        QCOMPARE(driver->summary()->failed, 1);
        QVERIFY(!shownItemWithText(fixture.window()->contentItem(), QStringLiteral("Convert Anyway")));
        const QString folder = *driver->outputFolderURL();
        QVERIFY(folder.startsWith(disk + QLatin1Char('/')));
        QCOMPARE(text(fixture, QStringLiteral("footerFolder")), DisplayText::escaped(folder));
        QCOMPARE(text(fixture, QStringLiteral("summaryFolder")), DisplayText::escaped(folder));
        QVERIFY(text(fixture, QStringLiteral("footerFolder")).contains(QStringLiteral("small\\ndisk/")));
    }

    void cancelEndsTheRunningClipAsCancelled()
    {
        MainWindowFixture fixture;
        openWindow(fixture);
        ConversionViewModel* const driver = fixture.session.context->driver();
        driver->scan(longCard_);
        QVERIFY(waitForPhase(fixture, Phase::scanned));
        click(fixture, QStringLiteral("convertButton"));
        QVERIFY(QTest::qWaitFor(
            [&] { return driver->jobs().size() == 3 && driver->jobs()[1]->progress() > 0; }, workTimeoutMs));
        QVERIFY(shown(fixture, QStringLiteral("progressView")));
        QCOMPARE(text(fixture, QStringLiteral("progressTitle")), QStringLiteral("Converting"));
        QCOMPARE(text(fixture, QStringLiteral("progressCount")), QStringLiteral("1 / 3"));
        QCOMPARE(text(fixture, QStringLiteral("progressClip")), QStringLiteral("0002AB"));
        QVERIFY(!shown(fixture, QStringLiteral("convertButton")));
        // The folder and verify commands wait while converting.
        QVERIFY(!command(fixture, "openFolder")->property("enabled").toBool());
        QVERIFY(!command(fixture, "verify")->property("enabled").toBool());
        QVERIFY(!command(fixture, "chooseOutputFolder")->property("enabled").toBool());

        click(fixture, QStringLiteral("cancelButton"));
        QCOMPARE(text(fixture, QStringLiteral("progressTitle")), QStringLiteral("Cancelling…"));
        QVERIFY(waitForRunWritten(fixture, 1));
        QCOMPARE(driver->jobs()[1]->status(), ClipStatus::failed(QStringLiteral("Cancelled")));
        QCOMPARE(driver->jobs()[2]->status(), ClipStatus::notStarted(RunStop::cancelled));
        QCOMPARE(text(fixture, QStringLiteral("summaryHeading")), QStringLiteral("Conversion Cancelled"));
        QCOMPARE(text(fixture, QStringLiteral("summaryDetail")),
                 QStringLiteral("1 clip converted · 1 not started — the run was cancelled"));
        // A failure opens the details by itself, with the errors log among the links.
        QVERIFY(fixture.find(QStringLiteral("summaryAdvancedDetails"))->property("expanded").toBool());
        QVERIFY(QTest::qWaitFor([&] { return shown(fixture, QStringLiteral("logLink_FFMPEG_ERRORS.txt")); }));
    }

    // A card of two clips, the second long enough that its conversion is surely
    // seen, and a large file beside CONTENTS, so the backup is seen copying.
    QString writeBackupCard(const QString& name)
    {
        SyntheticCard::CardSpec plan;
        SyntheticCard::ClipSpec longClip = SyntheticCard::clip(2, 1);
        longClip.frames = 450;
        plan.clips = {SyntheticCard::clip(1, 1), longClip};
        const QString card = SyntheticCard::write(plan, work_->filePath(name)).rootPath;
        QDir(card).mkpath(QStringLiteral("PRIVATE"));
        QFile large(card + QStringLiteral("/PRIVATE/PROXY.BIN"));
        // Sparse: reads at memory speed, and is still written out in full to the copy.
        if (!large.open(QIODevice::WriteOnly) || !large.resize(qint64(384) * 1024 * 1024))
            return QString();
        return card;
    }

    // How many files a folder holds, at any depth, and their bytes.
    static std::pair<int, qint64> filesAndBytesBelow(const QString& folder)
    {
        std::pair<int, qint64> total;
        QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            ++total.first;
            total.second += QFileInfo(it.next()).size();
        }
        return total;
    }

    QStringList runFolders() const
    {
        return QDir(work_->filePath(QStringLiteral("movies")))
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }

    // Opens the window on `card`, ticks "Back Up First" and chooses
    // `destination` as its only destination.
    void openWithBackUpFirst(MainWindowFixture& fixture, const QString& card, const QString& destination)
    {
        openWindow(fixture);
        fixture.session.context->driver()->scan(card);
        QVERIFY(waitForPhase(fixture, Phase::scanned));
        click(fixture, QStringLiteral("backUpFirstCheck"));
        QVERIFY(fixture.session.context->backupSettings()->backUpFirst());
        fixture.session.desktop->folderAnswers = {destination};
        click(fixture, QStringLiteral("chooseBackupDestination0"));
        QTRY_COMPARE(text(fixture, QStringLiteral("backupDestination0")), destination);
    }

    void backUpFirstCopiesProvesAndConvertsFromTheCopy()
    {
        const QString card = writeBackupCard(awkwardName(QStringLiteral(" backed up card")));
        QVERIFY(!card.isEmpty());
        const QString cardName = QFileInfo(card).fileName();
        const QString destination = work_->filePath(awkwardName(QStringLiteral(" drive")));
        QVERIFY(QDir().mkpath(destination));
        MainWindowFixture fixture;
        openWithBackUpFirst(fixture, card, destination);
        ConversionViewModel* const driver = fixture.session.context->driver();
        BackupFirst* const backup = fixture.session.context->backupFirst();

        // What the window shows of the backup as it goes, and at the moment it is proven.
        QStringList progressLines;
        connect(backup, &BackupFirst::progressLineChanged, this, [&] {
            if (shown(fixture, QStringLiteral("backupProgressLine")))
                progressLines.append(text(fixture, QStringLiteral("backupProgressLine")));
        });
        click(fixture, QStringLiteral("convertButton"));
        QVERIFY(backup->isBackingUp());
        QVERIFY(QTest::qWaitFor(
            [&] {
                return driver->phase() == Phase::converting && shown(fixture, QStringLiteral("ejectMessage"));
            },
            workTimeoutMs));
        QCOMPARE(text(fixture, QStringLiteral("ejectMessage")),
                 QStringLiteral("The backup is proven: the card may be ejected."));
        QVERIFY(waitForRunWritten(fixture, 1));

        const auto [cardFiles, cardBytes] = filesAndBytesBelow(card);
        const QString copying = QStringLiteral("Backing up · ");
        const QString ofTheCard = QStringLiteral(" of %1 · ").arg(BackupText::size(cardBytes));
        QVERIFY2(std::any_of(progressLines.cbegin(), progressLines.cend(),
                             [&](const QString& line) {
                                 return line.startsWith(copying) && line.contains(ofTheCard) &&
                                        !line.startsWith(copying + BackupText::size(0));
                             }),
                 qPrintable(progressLines.join(QLatin1Char('\n'))));

        // The movies came from the copy, as the summary and the report say.
        const QString copy = destination + QLatin1Char('/') + cardName;
        QCOMPARE(driver->cardStructure()->rootURL, copy);
        QCOMPARE(text(fixture, QStringLiteral("summaryDetail")), QStringLiteral("2 clips converted"));
        QCOMPARE(text(fixture, QStringLiteral("summaryBackupLine")),
                 QStringLiteral(
                     "Backed up %1 files (%2) to 1 place; every copy was read back and matches the card.")
                     .arg(cardFiles)
                     .arg(BackupText::size(cardBytes)));
        QVERIFY(shown(fixture, QStringLiteral("summaryBackupLine")));
        QCOMPARE(text(fixture, QStringLiteral("summaryBackupCopies")), copy);
        const QString report = QString::fromUtf8(
            readFile(QDir(*driver->outputFolderURL()).filePath(QStringLiteral("CONVERSION_REPORT.txt"))));
        QVERIFY2(
            report.contains(QStringLiteral("The movies were made from the verified backup copy at %1, not "
                                           "from the card.")
                                .arg(copy)),
            qPrintable(report));

        // The history's row for the run names the backup and its copy.
        const HistoryModel* const rows = fixture.session.context->historyPresenter()->entries();
        QCOMPARE(rows->rowCount(), 1);
        QCOMPARE(rows->data(rows->index(0), HistoryModel::BackupLineRole).toString(),
                 QStringLiteral("Backed up to 1 place and proven"));
        QCOMPARE(rows->data(rows->index(0), HistoryModel::BackupCopiesRole).toString(), copy);
        QCOMPARE(rows->data(rows->index(0), HistoryModel::StatsLineRole).toString(),
                 QStringLiteral("2 converted"));
    }

    void aBackupToAFullDriveSaysSoAndConvertsNothing()
    {
        const QString destination = work_->filePath(QStringLiteral("full drive"));
        const SmallDisk disk(destination, QStringLiteral("size=256k"));
        QVERIFY2(disk.mounted(), "the tests mount a tmpfs, which needs root");
        MainWindowFixture fixture;
        openWithBackUpFirst(fixture, card_, destination);
        ConversionViewModel* const driver = fixture.session.context->driver();
        BackupFirst* const backup = fixture.session.context->backupFirst();
        const QStringList runsBefore = runFolders();
        click(fixture, QStringLiteral("convertButton"));
        QVERIFY(QTest::qWaitFor([&] { return !backup->isBackingUp(); }, workTimeoutMs));

        QCOMPARE(driver->phase(), Phase::scanned);
        QTRY_VERIFY(shown(fixture, QStringLiteral("backupResultLine")));
        const QString result = text(fixture, QStringLiteral("backupResultLine"));
        QVERIFY2(result.startsWith(
                     QStringLiteral("Not enough free space on “%1”: the backup needs ").arg(destination)),
                 qPrintable(result));
        QVERIFY2(result.endsWith(
                     QStringLiteral(" is free. The backup failed; the card is the only complete copy.")),
                 qPrintable(result));
        QVERIFY(!shown(fixture, QStringLiteral("ejectMessage")));
        QCOMPARE(runFolders(), runsBefore);
        QCOMPARE(QDir(destination).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());

        const HistoryModel* const rows = fixture.session.context->historyPresenter()->entries();
        QCOMPARE(rows->rowCount(), 1);
        QCOMPARE(rows->data(rows->index(0), HistoryModel::BackupLineRole).toString(),
                 QStringLiteral("Backup failed — nothing was converted"));
        QCOMPARE(rows->data(rows->index(0), HistoryModel::StatsLineRole).toString(),
                 QStringLiteral("0 converted · 2 not started"));
        QCOMPARE(rows->data(rows->index(0), HistoryModel::StatusMarkRole).toString(), QStringLiteral("⚠"));
    }

    void dropsScanTheFirstLocalFolderOnly()
    {
        // The second drop must land while the first scan runs: with every UMID asked of
        // ffprobe the scan lasts long enough, read from the headers it may not.
        ProbeCache::reset(false);
        const auto readerBack = qScopeGuard([] { ProbeCache::reset(); });
        MainWindowFixture fixture;
        openWindow(fixture);
        ConversionViewModel* const driver = fixture.session.context->driver();

        // A plain text drop does nothing.
        QMimeData text;
        text.setText(card_);
        dropOnDropZone(fixture, text);
        QCOMPARE(driver->phase(), Phase::idle);
        QVERIFY(fixture.session.context->recentFolders()->folders().isEmpty());

        // A folder starts a scan; while scanning the zone shows the spinner and takes a new drop.
        QMimeData first;
        first.setUrls({QUrl::fromLocalFile(card_), QUrl::fromLocalFile(longCard_)});
        dropOnDropZone(fixture, first);
        QCOMPARE(driver->phase(), Phase::scanning);
        QVERIFY(shown(fixture, QStringLiteral("scanningIndicator")));
        QVERIFY(!shown(fixture, QStringLiteral("chooseFolderButton")));
        QMimeData second;
        second.setUrls({QUrl::fromLocalFile(longCard_)});
        dropOnDropZone(fixture, second);
        QCOMPARE(fixture.session.context->recentFolders()->folders(), QStringList({longCard_, card_}));
        QVERIFY(QTest::qWaitFor([&] { return driver->phase() != Phase::scanning; }, workTimeoutMs));
        drainWork();
    }

    void ffmpegMissingBannerStandsAboveTheScrollAreaInEveryPhase()
    {
        MainWindowFixture fixture;
        openWindow(fixture);
        ConversionViewModel* const driver = fixture.session.context->driver();
        const auto bannerAboveScroll = [&] {
            QQuickItem* const banner = fixture.item(QStringLiteral("ffmpegMissingBanner"));
            QQuickItem* const scroll = fixture.item(QStringLiteral("mainScrollView"));
            return banner && scroll && banner->isVisible() &&
                   banner->mapToScene(QPointF(0, banner->height())).y() <=
                       scroll->mapToScene(QPointF(0, 0)).y();
        };
        QVERIFY(!shown(fixture, QStringLiteral("ffmpegMissingBanner")));

        // A finished run, then ffmpeg goes away and the menu's check notices.
        driver->scan(card_);
        QVERIFY(waitForPhase(fixture, Phase::scanned));
        driver->start();
        QVERIFY(waitForRunWritten(fixture, 1));
        const ToolFolder noTools;
        FFmpegService::setToolDirectoriesForTesting({noTools.path()});
        fixture.session.context->maintenance()->checkFFmpegInstall();
        QVERIFY(QTest::qWaitFor(bannerAboveScroll));
        QCOMPARE(fixture.session.desktop->alertRequests.last().message, QStringLiteral("ffmpeg not found"));
        QCOMPARE(text(fixture, QStringLiteral("ffmpegInstallCommand")),
                 QStringLiteral("sudo apt install ffmpeg"));

        driver->resetToIdle();
        QVERIFY(QTest::qWaitFor(bannerAboveScroll));
        driver->scan(card_);
        // Without tools nothing is probed, so the scan may already be over when
        // scan() returns; the banner must stand in whichever phase it is.
        QVERIFY(driver->phase() == Phase::scanning || driver->phase() == Phase::scanned);
        QVERIFY(QTest::qWaitFor(bannerAboveScroll));
        QVERIFY(waitForPhase(fixture, Phase::scanned));
        QVERIFY(bannerAboveScroll());
        // Convert cannot start: the status line says why.
        driver->start();
        QCOMPARE(driver->phase(), Phase::scanned);
        QVERIFY(bannerAboveScroll());
        drainWork();
    }

    // Settings that could not be read are said in a banner above the content,
    // once, with where the file was kept.
    void aStoreKeptAsideIsSaidInABanner()
    {
        const QString file = work_->filePath(QStringLiteral("damaged prefs/Tolvane.json"));
        writeFile(file, "{\"outputFolderPath\": \"/media/o");
        MainWindowFixture fixture(std::make_shared<QSettingsKeyValueStore>(file));
        openWindow(fixture);
        const QStringList aside =
            QDir(QFileInfo(file).path()).entryList({QStringLiteral("Tolvane.json.unreadable-*")});
        QCOMPARE(aside.size(), 1);
        const QString notice =
            QSettingsKeyValueStore::unreadableNotice(file, QFileInfo(file).dir().filePath(aside.first()));
        QCOMPARE(fixture.session.context->storeNotice(), notice);
        QVERIFY(shown(fixture, QStringLiteral("storeNoticeBanner")));
        QObject* const banner = fixture.find(QStringLiteral("storeNoticeBanner"));
        QVERIFY(banner);
        QCOMPARE(banner->property("message").toString(), notice);
        QVERIFY(!shown(fixture, QStringLiteral("scanErrorBanner")));
    }

    void resetPreferencesAsksFirst()
    {
        MainWindowFixture fixture;
        openWindow(fixture);
        SettingsStore* const settings = fixture.session.context->settings();
        settings->setSkipExistingFiles(false);
        fixture.session.context->maintenance()->resetPreferences();
        QCOMPARE(fixture.session.desktop->alertRequests.last().message, QStringLiteral("Reset Preferences?"));
        QCOMPARE(
            fixture.session.desktop->alertRequests.last().informativeText,
            QStringLiteral("This restores output folder, codec, audio sync, pairing safety, and all other "
                           "settings to their defaults."));
        QCOMPARE(fixture.session.desktop->alertRequests.last().buttons,
                 QStringList({QStringLiteral("Reset"), QStringLiteral("Cancel")}));
        QVERIFY(!settings->skipExistingFiles());
        fixture.session.desktop->alertAnswers = {0};
        fixture.session.context->maintenance()->resetPreferences();
        QVERIFY(settings->skipExistingFiles());
        QCOMPARE(settings->outputFolderPath(), SettingsStore::defaultOutputBase());
    }

    void checkFFmpegInstallNamesTheToolsFound()
    {
        MainWindowFixture fixture;
        openWindow(fixture);
        fixture.session.context->maintenance()->checkFFmpegInstall();
        const ScriptedDesktop::AlertRequest alert = fixture.session.desktop->alertRequests.last();
        QCOMPARE(alert.style, AlertStyle::informational);
        QCOMPARE(alert.message, QStringLiteral("ffmpeg is installed"));
        QCOMPARE(alert.informativeText, QStringLiteral("ffmpeg: %1\nffprobe: %2")
                                            .arg(tools_->toolPath(QStringLiteral("ffmpeg")),
                                                 tools_->toolPath(QStringLiteral("ffprobe"))));
        QCOMPARE(alert.buttons, QStringList({QStringLiteral("OK")}));
        QVERIFY(fixture.session.context->driver()->ffmpegAvailable());
    }

private:
    static void drainWork()
    {
        for (int round = 0; round < 3; ++round) {
            Workers::pool()->waitForDone();
            QCoreApplication::processEvents();
        }
    }
};

int runWindowTests(int argc, char* argv[])
{
    WindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "WindowTest.moc"
