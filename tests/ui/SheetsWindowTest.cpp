#include "media/FFmpegService.h"
#include "SyntheticCard.h"
#include "ToolFolder.h"
#include "ui/Tone.h"
#include "UiTests.h"
#include "UiTestSupport.h"

#include <QQuickItem>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Every item named `name` beneath `root`, in the order they are drawn.
QList<QQuickItem*> itemsNamed(QQuickItem* root, const QString& name)
{
    QList<QQuickItem*> found;
    if (!root)
        return found;
    for (QQuickItem* child : root->childItems()) {
        if (child->objectName() == name)
            found.append(child);
        found.append(itemsNamed(child, name));
    }
    return found;
}

QQuickItem* part(QObject* sheet, const char* which)
{
    return sheet->property(which).value<QQuickItem*>();
}

QString subtitleOf(QObject* sheet)
{
    const QList<QQuickItem*> subtitles = itemsNamed(part(sheet, "header"), QStringLiteral("sheetSubtitle"));
    return subtitles.isEmpty() ? QString() : subtitles.first()->property("text").toString();
}

QStringList textsOf(const QList<QQuickItem*>& items)
{
    QStringList texts;
    for (const QQuickItem* item : items)
        texts.append(item->property("text").toString());
    return texts;
}

void click(QQuickItem* item)
{
    QVERIFY(item);
    // A sheet that has just opened may still be placing its rows: click once the item stays put.
    const auto centreOf = [item] {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    };
    QPoint centre = centreOf();
    for (int steady = 0; steady < 3;) {
        QTest::qWait(20);
        const QPoint now = centreOf();
        steady = now == centre ? steady + 1 : 0;
        centre = now;
    }
    QTest::mouseClick(item->window(), Qt::LeftButton, Qt::NoModifier, centre);
}

bool isOpen(QObject* sheet)
{
    return sheet && sheet->property("opened").toBool();
}

} // namespace

class SheetsWindowTest : public QObject
{
    Q_OBJECT

private:
    // Triggers the item titled `title` of the menu named `menuName`.
    static bool triggerMenuItem(MainWindowFixture& fixture, const QString& menuName, const QString& title)
    {
        QObject* const menu = fixture.find(menuName);
        if (!menu)
            return false;
        const int count = menu->property("count").toInt();
        for (int index = 0; index < count; ++index) {
            QQuickItem* item = nullptr;
            QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, index));
            if (!item || item->property("text").toString() != title)
                continue;
            QObject* const action = item->property("action").value<QObject*>();
            return action && QMetaObject::invokeMethod(action, "trigger", Q_ARG(QObject*, item));
        }
        return false;
    }

    static QObject* openHistory(MainWindowFixture& fixture)
    {
        if (!QTest::qWaitForWindowExposed(fixture.window()) ||
            !triggerMenuItem(fixture, QStringLiteral("historyMenu"),
                             QStringLiteral("Show Recent Conversions")))
            return nullptr;
        QObject* const sheet = fixture.find(QStringLiteral("historySheet"));
        if (!QTest::qWaitFor([sheet] { return isOpen(sheet); }))
            return nullptr;
        return sheet;
    }

    static void closeWithEscape(MainWindowFixture& fixture, QObject* sheet)
    {
        QTest::keyClick(fixture.window(), Qt::Key_Escape);
        QTRY_VERIFY(!sheet->property("visible").toBool());
    }

private slots:
    void eachMenuCommandOpensItsSheet_data()
    {
        QTest::addColumn<QString>("menu");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("sheet");
        QTest::newRow("history") << "historyMenu"
                                 << "Show Recent Conversions"
                                 << "historySheet";
        QTest::newRow("help") << "helpMenu"
                              << "Tolvane Help"
                              << "howToSheet";
        QTest::newRow("how to") << "helpMenu"
                                << "How to Use Tolvane"
                                << "howToSheet";
        QTest::newRow("troubleshooting") << "helpMenu"
                                         << "Troubleshooting"
                                         << "troubleshootingSheet";
        QTest::newRow("about") << "helpMenu"
                               << "About Tolvane"
                               << "aboutSheet";
    }

    void eachMenuCommandOpensItsSheet()
    {
        QFETCH(QString, menu);
        QFETCH(QString, title);
        QFETCH(QString, sheet);
        MainWindowFixture fixture;
        QVERIFY(QTest::qWaitForWindowExposed(fixture.window()));
        QVERIFY2(triggerMenuItem(fixture, menu, title), qPrintable(title));
        QObject* const opened = fixture.find(sheet);
        QVERIFY(opened);
        QTRY_VERIFY(isOpen(opened));
        closeWithEscape(fixture, opened);
    }

    void settingsShortcutOpensSettings()
    {
        MainWindowFixture fixture;
        QVERIFY(QTest::qWaitForWindowExposed(fixture.window()));
        fixture.window()->requestActivate();
        QTest::keyClick(fixture.window(), Qt::Key_Comma, Qt::ControlModifier);
        QObject* const settings = fixture.find(QStringLiteral("settingsSheet"));
        QTRY_VERIFY(isOpen(settings));
        closeWithEscape(fixture, settings);
    }

    void pairingDetailsShowTheLoadedCard()
    {
        ToolFolder tools;
        TOLVANE_REQUIRE_REAL_TOOLS(tools);
        FFmpegService::setToolDirectoriesForTesting({tools.path()});
        const auto restoreTools = qScopeGuard([] { FFmpegService::setToolDirectoriesForTesting({}); });
        QTemporaryDir root;
        SyntheticCard::CardSpec single;
        single.clips = {SyntheticCard::clip(1, 2)};
        SyntheticCard::CardSpec withExcluded = single;
        SyntheticCard::ClipSpec unverified = SyntheticCard::clip(2, 0);
        unverified.writeXml = false;
        withExcluded.clips.push_back(unverified);
        std::optional<SyntheticCard::WrittenCard> singleCard, excludedCard;
        try {
            singleCard = SyntheticCard::write(single, root.filePath(QStringLiteral("one clip")));
            excludedCard = SyntheticCard::write(withExcluded, root.filePath(QStringLiteral("two clips")));
        } catch (const SyntheticCard::Error& error) {
            QFAIL(error.what());
        }

        MainWindowFixture fixture;
        QVERIFY(QTest::qWaitForWindowExposed(fixture.window()));
        ConversionViewModel& driver = *fixture.session.context->driver();
        QObject* const host = fixture.find(QStringLiteral("sheetHost"));
        QObject* const sheet = fixture.find(QStringLiteral("pairingDetailsSheet"));
        QVERIFY(host && sheet);

        // A single included entry, nothing excluded.
        driver.scan(singleCard->rootPath);
        QTRY_COMPARE_WITH_TIMEOUT(driver.phase(), ConversionViewModel::Phase::scanned, 60000);
        QMetaObject::invokeMethod(host, "openPairingDetails");
        QTRY_VERIFY(isOpen(sheet));
        QCOMPARE(subtitleOf(sheet), QStringLiteral("1 clip will convert"));
        QTRY_COMPARE(textsOf(itemsNamed(part(sheet, "contentItem"), QStringLiteral("statusBadge"))),
                     QStringList{QStringLiteral("Safe")});
        closeWithEscape(fixture, sheet);

        // An unverified video without audio is excluded, with a red badge and "—" for its audio.
        driver.scan(excludedCard->rootPath);
        QTRY_COMPARE_WITH_TIMEOUT(driver.phase(), ConversionViewModel::Phase::scanned, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(driver.pairingEntries().size(), 2, 60000);
        QMetaObject::invokeMethod(host, "openPairingDetails");
        QTRY_VERIFY(isOpen(sheet));
        QCOMPARE(subtitleOf(sheet), QStringLiteral("1 clip will convert · 1 excluded"));
        QTRY_COMPARE(textsOf(itemsNamed(part(sheet, "contentItem"), QStringLiteral("statusBadge"))),
                     (QStringList{QStringLiteral("Safe"), QStringLiteral("Excluded")}));
        QQuickItem* const excludedBadge =
            itemsNamed(part(sheet, "contentItem"), QStringLiteral("statusBadge")).at(1);
        QCOMPARE(excludedBadge->property("color").value<QColor>(),
                 ToneColors::color(Tone::Value::negative, false));
        const QStringList values =
            textsOf(itemsNamed(part(sheet, "contentItem"), QStringLiteral("detailValue")));
        QCOMPARE(values.size(), 16);
        QCOMPARE(values.at(8 + 3), QStringLiteral("—"));
        QCOMPARE(values.at(8 + 7), QStringLiteral("Excluded — no verified match"));
        closeWithEscape(fixture, sheet);
    }

    void historyEmptyShowsTheEmptyStateAndZeroBatches()
    {
        MainWindowFixture fixture;
        QObject* const sheet = openHistory(fixture);
        QVERIFY(sheet);
        QCOMPARE(subtitleOf(sheet), QStringLiteral("0 batches"));
        QQuickItem* const empty =
            itemsNamed(part(sheet, "contentItem"), QStringLiteral("emptyState")).value(0);
        QVERIFY(empty && empty->isVisible());
        QCOMPARE(textsOf(itemsNamed(empty, QStringLiteral("emptyText"))),
                 QStringList{QStringLiteral("No conversions yet")});
    }

    void historyCleanRunsShowTheirCountsAndAGreenSeal()
    {
        MainWindowFixture fixture;
        ConversionHistoryStore& history = *fixture.session.context->history();
        history.record(QStringLiteral("ONLY CONVERTED"), QStringLiteral("/out/a"), 5, 0, 0, 0);
        history.record(QStringLiteral("ONLY SKIPPED"), QStringLiteral("/out/b"), 0, 0, 3, 0);
        QObject* const sheet = openHistory(fixture);
        QVERIFY(sheet);
        QCOMPARE(subtitleOf(sheet), QStringLiteral("2 batches"));
        QTRY_COMPARE(textsOf(itemsNamed(part(sheet, "contentItem"), QStringLiteral("statsLine"))),
                     (QStringList{QStringLiteral("0 converted · 3 skipped"), QStringLiteral("5 converted")}));
        QTRY_COMPARE(textsOf(itemsNamed(part(sheet, "contentItem"), QStringLiteral("statusMark"))),
                     (QStringList{QStringLiteral("✔"), QStringLiteral("✔")}));
        const QList<QQuickItem*> marks = itemsNamed(part(sheet, "contentItem"), QStringLiteral("statusMark"));
        for (const QQuickItem* mark : marks)
            QCOMPARE(mark->property("color").value<QColor>(),
                     ToneColors::color(Tone::Value::positive, false));
    }

    void historyClearWithTheSheetOpenEmptiesItAtOnce()
    {
        MainWindowFixture fixture;
        ConversionHistoryStore& history = *fixture.session.context->history();
        history.record(QStringLiteral("A"), QStringLiteral("/out/a"), 1, 0, 0, 0);
        history.record(QStringLiteral("B"), QStringLiteral("/out/b"), 2, 1, 0, 0);
        QObject* const sheet = openHistory(fixture);
        QVERIFY(sheet);
        QCOMPARE(subtitleOf(sheet), QStringLiteral("2 batches"));
        click(itemsNamed(part(sheet, "footer"), QStringLiteral("clearHistoryButton")).value(0));
        QCOMPARE(subtitleOf(sheet), QStringLiteral("0 batches"));
        QVERIFY(history.entries().isEmpty());
        QTRY_VERIFY(
            itemsNamed(part(sheet, "contentItem"), QStringLiteral("emptyState")).value(0)->isVisible());
        QTRY_COMPARE(itemsNamed(part(sheet, "contentItem"), QStringLiteral("statsLine")).size(), 0);
        QVERIFY(isOpen(sheet));
    }

    void historyRevealSaysWhenTheFolderIsGone()
    {
        QTemporaryDir kept;
        MainWindowFixture fixture;
        ConversionHistoryStore& history = *fixture.session.context->history();
        history.record(QStringLiteral("KEPT"), kept.path(), 1, 0, 0, 0);
        history.record(QStringLiteral("GONE"), QStringLiteral("/nonexistent/07-01-2026"), 1, 0, 0, 0);
        QObject* const sheet = openHistory(fixture);
        QVERIFY(sheet);
        QTRY_COMPARE(itemsNamed(part(sheet, "contentItem"), QStringLiteral("revealButton")).size(), 2);
        QQuickItem* const problem =
            itemsNamed(part(sheet, "footer"), QStringLiteral("revealProblem")).value(0);
        QVERIFY(problem && !problem->isVisible());

        click(itemsNamed(part(sheet, "contentItem"), QStringLiteral("revealButton")).at(0));
        QVERIFY(fixture.session.desktop->revealed.isEmpty());
        QCOMPARE(fixture.session.context->historyPresenter()->revealProblem().isEmpty(), false);
        QVERIFY(problem->isVisible());
        QCOMPARE(problem->property("text").toString(),
                 QStringLiteral(
                     "“/nonexistent/07-01-2026” no longer exists. It was moved, renamed or deleted after "
                     "the run."));

        click(itemsNamed(part(sheet, "contentItem"), QStringLiteral("revealButton")).at(1));
        QCOMPARE(fixture.session.desktop->revealed, QList<QStringList>{{kept.path()}});
        QVERIFY(!problem->isVisible());
    }

    void historyFollowsTheStoreWhileOpen()
    {
        MainWindowFixture fixture;
        QVERIFY(QTest::qWaitForWindowExposed(fixture.window()));
        QVERIFY(triggerMenuItem(fixture, QStringLiteral("historyMenu"),
                                QStringLiteral("Show Recent Conversions")));
        QObject* const sheet = fixture.find(QStringLiteral("historySheet"));
        QTRY_VERIFY(isOpen(sheet));
        QCOMPARE(subtitleOf(sheet), QStringLiteral("0 batches"));

        fixture.session.context->history()->record(QStringLiteral("CARD"), QStringLiteral("/out"), 4, 1, 0,
                                                   2);
        QCOMPARE(subtitleOf(sheet), QStringLiteral("1 batch"));
        QTRY_COMPARE(textsOf(itemsNamed(part(sheet, "contentItem"), QStringLiteral("statsLine"))),
                     QStringList{QStringLiteral("4 converted · 1 failed · 2 excluded")});
        closeWithEscape(fixture, sheet);
    }
};

int runSheetsWindowTests(int argc, char* argv[])
{
    SheetsWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SheetsWindowTest.moc"
