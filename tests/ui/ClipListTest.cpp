#include "media/FFmpegService.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"
#include "ui/ClipListPresenter.h"
#include "ui/ClipThumbnails.h"
#include "ui/RunSummaryPresenter.h"
#include "UiTests.h"
#include "UiTestSupport.h"

#include <algorithm>
#include <memory>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace {

P2Clip clipAt(const QString& folder, const QString& name, int order, int audio)
{
    P2Clip clip;
    clip.videoURL = QDir(folder).filePath(QStringLiteral("VIDEO/%1.MXF").arg(name));
    for (int i = 0; i < audio; ++i)
        clip.audioURLs.append(QDir(folder).filePath(QStringLiteral("AUDIO/%1%2.MXF").arg(name).arg(i)));
    clip.pairingMethod = P2Clip::PairingMethod::xmlVerified;
    clip.exportOrderNumber = order;
    return clip;
}

// Points the service at the tools of `folder` until the guard it gives goes.
[[nodiscard]] auto useTools(const QString& folder)
{
    FFmpegService::setToolDirectoriesForTesting({folder});
    FFmpegService::recheckAvailability();
    return qScopeGuard([] {
        FFmpegService::setToolDirectoriesForTesting({});
        FFmpegService::recheckAvailability();
    });
}

} // namespace

class ClipListTest : public QObject
{
    Q_OBJECT

private slots:
    void listsEveryMovieThenTheExcludedAndChoosesAllThatWouldConvert()
    {
        UiSession session;
        ConversionViewModel& driver = *session.context->driver();
        ClipListPresenter presenter;
        presenter.setDriver(&driver);
        presenter.setActive(true);
        QSignalSpy changed(&presenter, &DriverPresenter::changed);
        QSignalSpy counted(presenter.model(), &ClipListModel::countChanged);
        loadListedCard(driver, QStringLiteral("/card"));
        QVERIFY(!counted.isEmpty());

        ClipListModel& model = *presenter.model();
        QTRY_COMPARE(model.rowCount(), 4);
        const auto value = [&model](int row, ClipListModel::Role role) {
            return model.data(model.index(row), role);
        };
        QCOMPARE(value(0, ClipListModel::OutputNameRole).toString(), QStringLiteral("001.mov"));
        QCOMPARE(value(3, ClipListModel::NameRole).toString(), QStringLiteral("0009ZZ"));
        QCOMPARE(value(3, ClipListModel::PairingRole).toString(),
                 QStringLiteral("excluded — no audio file carries the clip's UMID"));
        QCOMPARE(value(3, ClipListModel::ChosenRole).toBool(), false);
        QCOMPARE(value(3, ClipListModel::StatusRole).toString(), QStringLiteral("excluded"));
        QCOMPARE(value(1, ClipListModel::ChosenRole).toBool(), true);
        QCOMPARE(value(1, ClipListModel::AccessibleNameRole).toString(), QStringLiteral("0002AB, verified"));
        QCOMPARE(presenter.chosenText(), QStringLiteral("3 of 3 clips chosen"));
        QVERIFY(!presenter.canSelectAll());
        QVERIFY(presenter.canSelectNone());

        QSignalSpy rowsChanged(&model, &QAbstractItemModel::dataChanged);
        changed.clear();
        presenter.selectNone();
        QCOMPARE(changed.size(), 1);
        QVERIFY(!rowsChanged.isEmpty());
        QCOMPARE(presenter.chosenText(), QStringLiteral("0 of 3 clips chosen"));
        QVERIFY(!driver.canConvert());
        presenter.setChosen(value(2, ClipListModel::KeyRole).toString(), true);
        QCOMPARE(presenter.chosenText(), QStringLiteral("1 of 3 clips chosen"));
        QCOMPARE(value(2, ClipListModel::ChosenRole).toBool(), true);
        // An excluded clip cannot be chosen.
        presenter.setChosen(value(3, ClipListModel::KeyRole).toString(), true);
        QCOMPARE(presenter.chosenText(), QStringLiteral("1 of 3 clips chosen"));
        presenter.selectAll();
        QCOMPARE(presenter.chosenText(), QStringLiteral("3 of 3 clips chosen"));
        presenter.toggle(0);
        QCOMPARE(presenter.chosenText(), QStringLiteral("2 of 3 clips chosen"));
        presenter.toggle(3);
        QCOMPARE(presenter.chosenText(), QStringLiteral("2 of 3 clips chosen"));
        presenter.toggle(0);
        QCOMPARE(presenter.chosenText(), QStringLiteral("3 of 3 clips chosen"));
    }

    // A scan changes the clips, the pairing and the joined shots one by one:
    // a list not on screen builds no rows for them, and takes them all at
    // once when it is shown.
    // The window builds the rows it shows in the frame that adds them: a card's
    // rows come a few at first, then twice as many a frame, in order.
    void aCardsRowsComeAFewAtFirstThenTwiceAsManyAFrame()
    {
        UiSession session;
        ConversionViewModel& driver = *session.context->driver();
        ClipListPresenter presenter;
        presenter.setDriver(&driver);
        presenter.setActive(true);
        ClipListModel& model = *presenter.model();
        QList<std::pair<int, int>> inserted;
        connect(&model, &QAbstractItemModel::rowsInserted, &model,
                [&inserted](const QModelIndex&, int first, int last) {
                    inserted.append({first, last});
                });
        QSignalSpy counted(&model, &ClipListModel::countChanged);
        loadListedCard(driver, QStringLiteral("/card"));
        QCOMPARE(model.rowCount(), ClipListModel::firstRows);
        QCOMPARE(model.count(), ClipListModel::firstRows);
        QVERIFY(!model.index(ClipListModel::firstRows).isValid());
        QTRY_COMPARE(model.rowCount(), 4);
        QCOMPARE(inserted, (QList<std::pair<int, int>>{{2, 3}}));
        QCOMPARE(model.count(), 4);
        QCOMPARE(model.index(3).data(ClipListModel::NameRole).toString(), QStringLiteral("0009ZZ"));
        QVERIFY(!counted.isEmpty());
    }

    void aHiddenListTakesTheClipsWhenShown()
    {
        UiSession session;
        ConversionViewModel& driver = *session.context->driver();
        ClipListPresenter presenter;
        presenter.setDriver(&driver);
        ClipListModel& model = *presenter.model();
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        loadListedCard(driver, QStringLiteral("/card"));
        QVERIFY(resets.isEmpty());
        QElapsedTimer shown;
        shown.start();
        presenter.setActive(true);
        // Not in the same turn as the switch that shows it, but a frame later.
        QCoreApplication::processEvents();
        QVERIFY(resets.isEmpty());
        QTRY_COMPARE(resets.size(), 1);
        // A timer may fire a little early.
        QVERIFY(shown.elapsed() >= ClipListModel::buildDelayMs / 2);
        QTRY_COMPARE(model.rowCount(), 4);
        QCOMPARE(model.index(3).data(ClipListModel::NameRole).toString(), QStringLiteral("0009ZZ"));
        // Shown, it follows the driver at once.
        loadListedCard(driver, QStringLiteral("/other card"));
        QTRY_COMPARE(model.rowCount(), 4);
        QVERIFY(resets.size() > 1);
        QCOMPARE(model.index(0).data(ClipListModel::KeyRole).toString(),
                 QStringLiteral("/other card/VIDEO/0001AB.MXF"));
        presenter.setActive(false);
        resets.clear();
        presenter.setActive(true);
        QVERIFY(resets.isEmpty());
    }

    void aRowSaysHowItsMovieIsDoing()
    {
        const P2Clip clip = clipAt(QStringLiteral("/card"), QStringLiteral("0001AB"), 1, 2);
        const ClipRow row = ClipRows::of({clip}, {}, {}, true).first();
        QCOMPARE(ClipListModel::statusText(row, false, nullptr), QString());
        QCOMPARE(ClipListModel::statusText(row, true, nullptr), QStringLiteral("not chosen"));
        ConversionJob job(clip, QStringLiteral("/out/001.mov"));
        QCOMPARE(ClipListModel::statusText(row, true, &job), QStringLiteral("waiting"));
        job.setStatus(ClipStatus::converting(0.42));
        job.setProgress(0.42);
        QCOMPARE(ClipListModel::statusText(row, true, &job), QStringLiteral("converting 42 %"));
        job.setStatus(ClipStatus::failed(QStringLiteral("ffmpeg exited with code 1\nmore detail")));
        QCOMPARE(ClipListModel::statusText(row, true, &job),
                 QStringLiteral("failed — ffmpeg exited with code 1"));
        job.setStatus(ClipStatus::skippedExisting());
        QCOMPARE(ClipListModel::statusText(row, true, &job), QStringLiteral("skipped (already existed)"));
        job.setStatus(ClipStatus::notStarted(RunStop::cancelled));
        QCOMPARE(ClipListModel::statusText(row, true, &job),
                 QStringLiteral("not started — the run was cancelled"));
        job.setStatus(ClipStatus::completed());
        QCOMPARE(ClipListModel::statusText(row, true, &job), QStringLiteral("converted"));
        const ClipRow silent =
            ClipRows::of({clipAt(QStringLiteral("/card"), QStringLiteral("0002AB"), 2, 0)}, {}, {}, true)
                .first();
        QCOMPARE(ClipListModel::statusText(silent, true, &job), QStringLiteral("missing audio"));
        QCOMPARE(ClipListModel::accessibleName(row, QStringLiteral("converted")),
                 QStringLiteral("0001AB, converted, verified"));
    }

    void theSummarySaysHowManyWereLeftOutByChoice()
    {
        QCOMPARE(RunSummaryPresenter::detailLineFor({.converted = 2, .notChosen = 3, .outputFolder = {}}),
                 QStringLiteral("2 clips converted · 3 left out by choice"));
        QCOMPARE(RunSummaryPresenter::detailLineFor({.converted = 1, .outputFolder = {}}),
                 QStringLiteral("1 clip converted"));
    }

    void thumbnailsComeFromTheCameraBitmaps()
    {
        QTemporaryDir card;
        const QString icons = QDir(card.path()).filePath(QStringLiteral("CONTENTS/ICON"));
        QVERIFY(QDir().mkpath(icons));
        writeFile(QDir(icons).filePath(QStringLiteral("0002AB.BMP")), "BM");
        UiSession session;
        ClipListPresenter presenter;
        presenter.setDriver(session.context->driver());
        presenter.setActive(true);
        loadListedCard(*session.context->driver(), card.path(), icons);
        const QModelIndex second = presenter.model()->index(1);
        QTRY_COMPARE_WITH_TIMEOUT(
            second.data(ClipListModel::ThumbnailRole).toString(),
            QUrl::fromLocalFile(QDir(icons).filePath(QStringLiteral("0002AB.BMP"))).toString(), 60000);
        // Without a bitmap or a video file there is only the placeholder.
        QCOMPARE(presenter.model()->index(0).data(ClipListModel::ThumbnailRole).toString(), QString());
    }

    // The camera's bitmaps of a card arrive at once; the window is told of one
    // a frame, each row on its own, in the rows' order.
    void thumbnailsThatArriveTogetherAreAnnouncedOneAFrame()
    {
        QTemporaryDir card;
        const QString icons = QDir(card.path()).filePath(QStringLiteral("CONTENTS/ICON"));
        QVERIFY(QDir().mkpath(icons));
        for (int n = 1; n <= 3; ++n)
            writeFile(QDir(icons).filePath(QStringLiteral("000%1AB.BMP").arg(n)), "BM");
        UiSession session;
        ClipListPresenter presenter;
        presenter.setDriver(session.context->driver());
        // Shown once the card is there: its rows are built once and then its thumbnails come.
        loadListedCard(*session.context->driver(), card.path(), icons);
        QElapsedTimer clock;
        QList<qint64> times;
        QList<int> rows;
        QObject receiver;
        connect(presenter.model(), &QAbstractItemModel::dataChanged, &receiver,
                [&](const QModelIndex& first, const QModelIndex& last, const QList<int>& roles) {
                    if (!roles.contains(ClipListModel::ThumbnailRole))
                        return;
                    QCOMPARE(first.row(), last.row());
                    QCOMPARE(roles, QList<int>{ClipListModel::ThumbnailRole});
                    times.append(clock.elapsed());
                    rows.append(first.row());
                });
        clock.start();
        presenter.setActive(true);
        const ClipListModel& model = *presenter.model();
        QTRY_VERIFY_WITH_TIMEOUT(
            model.rowCount() == 4 &&
                std::ranges::all_of(
                    QList<int>{0, 1, 2},
                    [&model](int row) {
                        return !model.index(row).data(ClipListModel::ThumbnailRole).toString().isEmpty();
                    }),
            60000);
        QTest::qWait(3 * ClipListModel::thumbnailIntervalMs);
        // Rows added after their bitmap came read it as they are added.
        QVERIFY(!rows.isEmpty());
        QVERIFY2(std::ranges::is_sorted(rows) && std::ranges::adjacent_find(rows) == rows.end() &&
                     rows.last() <= 2,
                 qPrintable(QStringLiteral("announced rows: %1").arg(rows.size())));
        // A timer may fire a little early, never in the same turn of the loop.
        for (qsizetype i = 1; i < times.size(); ++i)
            QVERIFY2(times.at(i) - times.at(i - 1) >= ClipListModel::thumbnailIntervalMs / 2,
                     qPrintable(QStringLiteral("%1 ms apart").arg(times.at(i) - times.at(i - 1))));
    }

    void withoutFFmpegTheRowsKeepThePlaceholder()
    {
        QTemporaryDir card;
        writeFile(QDir(card.path()).filePath(QStringLiteral("VIDEO/0001AB.MXF")), "not a movie");
        ToolFolder empty;
        const auto restoreTools = useTools(empty.path());
        UiSession session;
        ClipListPresenter presenter;
        presenter.setDriver(session.context->driver());
        presenter.setActive(true);
        loadListedCard(*session.context->driver(), card.path());
        QTest::qWait(300);
        QCOMPARE(presenter.model()->index(0).data(ClipListModel::ThumbnailRole).toString(), QString());
    }

    // Each progress report of the tool changes the row of its movie alone, and
    // the reports of one interval reach the window as one announcement; a list
    // that is not on screen announces nothing until it is shown again.
    void progressAnnouncesTheOneRowOfItsMovieOncePerInterval()
    {
        ToolFolder tools;
        TOLVANE_REQUIRE_REAL_TOOLS(tools);
        // The first movie's conversion runs until the run is cancelled.
        tools.remove(QStringLiteral("ffmpeg"));
        tools.addFake(QStringLiteral("ffmpeg"),
                      QStringLiteral("case \" $* \" in *\" -progress \"*) FAKE_HANG=1 ;; esac\n"));
        const auto restoreTools = useTools(tools.path());
        QTemporaryDir work;
        const RunCards cards = writeRunCards(work);
        UiSession session;
        ConversionViewModel& driver = *session.context->driver();
        session.context->settings()->setOutputFolderPath(work.filePath(QStringLiteral("movies")));
        ClipListPresenter presenter;
        presenter.setDriver(&driver);
        presenter.setActive(true);
        driver.scan(cards.card);
        QTRY_COMPARE_WITH_TIMEOUT(driver.phase(), ConversionViewModel::Phase::scanned, 60000);
        const ClipListModel& model = *presenter.model();
        QCOMPARE(model.rowCount(), 2);

        driver.startIgnoringFreeSpace();
        const auto converting = [&tools] {
            const QList<QStringList> runs = tools.runs(QStringLiteral("ffmpeg"));
            return std::ranges::count_if(
                runs, [](const QStringList& run) { return run.contains(QStringLiteral("-progress")); });
        };
        QTRY_COMPARE_WITH_TIMEOUT(converting(), 1, 60000);
        const std::shared_ptr<ConversionJob> job = driver.jobs().first();
        QCOMPARE(job->status().kind, ClipStatus::Kind::converting);
        // What the start of the run changed has been announced.
        QTest::qWait(3 * ClipListModel::announceIntervalMs);
        const auto tick = [&driver, &job](double progress) {
            job->setProgress(progress);
            job->setStatus(ClipStatus::converting(progress));
            driver.handleJobUpdate(*job);
        };
        QSignalSpy announced(&model, &QAbstractItemModel::dataChanged);
        for (int percent = 1; percent <= 10; ++percent)
            tick(percent / 100.0);
        QVERIFY(announced.isEmpty());
        QTRY_COMPARE(announced.size(), 1);
        QTest::qWait(2 * ClipListModel::announceIntervalMs);
        QCOMPARE(announced.size(), 1);
        QCOMPARE(announced.first().at(0).value<QModelIndex>().row(), 0);
        QCOMPARE(announced.first().at(1).value<QModelIndex>().row(), 0);
        QCOMPARE(announced.first().at(2).value<QList<int>>(),
                 (QList<int>{ClipListModel::StatusRole, ClipListModel::ProgressRole,
                             ClipListModel::CanOpenRole, ClipListModel::AccessibleNameRole}));
        QCOMPARE(model.index(0).data(ClipListModel::StatusRole).toString(),
                 QStringLiteral("converting 10 %"));

        presenter.setActive(false);
        announced.clear();
        QSignalSpy presenterChanged(&presenter, &DriverPresenter::changed);
        tick(0.5);
        driver.cancel();
        QTRY_COMPARE_WITH_TIMEOUT(driver.phase(), ConversionViewModel::Phase::finished, 60000);
        QTest::qWait(2 * ClipListModel::announceIntervalMs);
        QVERIFY(announced.isEmpty());
        QVERIFY(presenterChanged.isEmpty());
        // Shown again, it tells at once of both movies' ends and of the run's.
        presenter.setActive(true);
        QCOMPARE(announced.size(), 1);
        QCOMPARE(announced.first().at(0).value<QModelIndex>().row(), 0);
        QCOMPARE(announced.first().at(1).value<QModelIndex>().row(), 1);
        QCOMPARE(model.index(1).data(ClipListModel::StatusRole).toString(),
                 QStringLiteral("not started — the run was cancelled"));
        QCOMPARE(presenterChanged.size(), 1);
        QVERIFY(presenter.canChoose());
    }

    // The window's lists take turns as it goes from the card to the run: the
    // list shown next waits for the frames the one before started.
    void noMoreThanTwoFramesAreTakenAtOnceWhenAnotherListTakesOver()
    {
        // Frames that windows of earlier tests asked for share the limit: they end first.
        QTRY_COMPARE_WITH_TIMEOUT(ClipThumbnails::framesInProgress(), 0, 120000);
        // Stand-in copies of ffmpeg wait for the gate and count how many run at once.
        ToolFolder tools;
        const QString ffmpeg = tools.toolPath(QStringLiteral("ffmpeg"));
        QVERIFY(QFile::link(QStringLiteral(TOLVANE_FAKES_DIR "/ffprobe-concurrency"), ffmpeg));
        const auto count = [&ffmpeg](const char* what) {
            return readFile(ffmpeg + QLatin1Char('.') + QLatin1String(what)).trimmed().toInt();
        };
        const auto openGate = [&ffmpeg] { writeFile(ffmpeg + QStringLiteral(".open"), {}); };
        // A failing check never leaves copies waiting for ever.
        const auto openAtTheEnd = qScopeGuard(openGate);
        const auto restoreTools = useTools(tools.path());
        QTemporaryDir card;
        for (int n = 1; n <= 3; ++n)
            writeFile(QDir(card.path()).filePath(QStringLiteral("VIDEO/000%1AB.MXF").arg(n)), "video");
        UiSession session;
        ConversionViewModel& driver = *session.context->driver();
        ClipListPresenter first;
        ClipListPresenter next;
        first.setDriver(&driver);
        next.setDriver(&driver);
        loadListedCard(driver, card.path());

        first.setActive(true);
        QTRY_COMPARE_WITH_TIMEOUT(count("running"), 2, 20000);
        first.setActive(false);
        next.setActive(true);
        // Time for the next list to find its files and ask for its frames.
        QTest::qWait(1000);
        QCOMPARE(count("running"), 2);
        openGate();
        for (int row = 0; row < 3; ++row)
            QTRY_VERIFY_WITH_TIMEOUT(
                !next.model()->index(row).data(ClipListModel::ThumbnailRole).toString().isEmpty(), 20000);
        QCOMPARE(count("peak"), 2);
    }

    void aThumbnailIsAFrameOfTheVideoWhenTheCameraLeftNoBitmap()
    {
        QTRY_COMPARE_WITH_TIMEOUT(ClipThumbnails::framesInProgress(), 0, 120000);
        ToolFolder tools;
        TOLVANE_REQUIRE_REAL_TOOLS(tools);
        const auto restoreTools = useTools(tools.path());
        QTemporaryDir root;
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(1, 1)};
        const SyntheticCard::WrittenCard written = SyntheticCard::write(plan, root.path());
        UiSession session;
        ClipListPresenter presenter;
        presenter.setDriver(session.context->driver());
        presenter.setActive(true);
        P2CardStructure structure;
        structure.rootURL = written.rootPath;
        structure.videoFiles = {written.clips.front().videoPath};
        P2MetadataParser::PairingResult pairing;
        P2Clip clip;
        clip.videoURL = written.clips.front().videoPath;
        clip.exportOrderNumber = 1;
        pairing.clips = {clip};
        session.context->driver()->applyScanResults(structure, pairing);
        const QModelIndex row = presenter.model()->index(0);
        QTRY_VERIFY_WITH_TIMEOUT(!row.data(ClipListModel::ThumbnailRole).toString().isEmpty(), 20000);
        const QString frame = QUrl(row.data(ClipListModel::ThumbnailRole).toString()).toLocalFile();
        QVERIFY(readFile(frame).startsWith("\x89PNG"));
    }
};

int runClipListTests(int argc, char* argv[])
{
    ClipListTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ClipListTest.moc"
