#include "run/ClipChoice.h"

#include "run/ClipJson.h"
#include "run/ClipRow.h"
#include "run/ConversionViewModel.h"
#include "run/HistoryText.h"
#include "run/LogWriter.h"
#include "store/ConversionHistoryStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

P2Clip clipNamed(const QString& name, int order, P2Clip::PairingMethod method, int audio)
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/CONTENTS/VIDEO/%1.MXF").arg(name);
    for (int i = 0; i < audio; ++i)
        clip.audioURLs.append(QStringLiteral("/card/CONTENTS/AUDIO/%1%2.MXF").arg(name).arg(i));
    clip.pairingMethod = method;
    clip.exportOrderNumber = order;
    clip.durationFrames = 250;
    clip.frameRate = 25;
    clip.startTimecode = QStringLiteral("01:00:00:00");
    return clip;
}

// Five clips of which the last two are one spanned shot: four movies.
struct Card
{
    QList<P2Clip> clips{clipNamed("0001AB", 1, P2Clip::PairingMethod::xmlVerified, 2),
                        clipNamed("0002CD", 2, P2Clip::PairingMethod::xmlVerified, 2),
                        clipNamed("0003CD", 3, P2Clip::PairingMethod::xmlVerified, 2),
                        clipNamed("0004EF", 4, P2Clip::PairingMethod::xmlVerified, 2),
                        clipNamed("0005EF", 5, P2Clip::PairingMethod::xmlVerified, 2)};
    QList<SpannedShot> shots{SpannedShot{{clips.at(3), clips.at(4)}}};

    QString key(int clip) const { return clips.at(clip).videoURL; }
    ClipChoice choice() const
    {
        ClipChoice choice;
        choice.setMovies(clips, shots);
        return choice;
    }
};

const QDateTime noon(QDate(2026, 7, 1), QTime(12, 0), Qt::UTC);

} // namespace

class ClipChoiceTest : public QObject
{
    Q_OBJECT

private slots:
    void summarySaysHowManyWereLeftOutByChoice()
    {
        ConversionSummary summary{.converted = 2, .notChosen = 3, .outputFolder = {}};
        QCOMPARE(ConversionViewModel::summarySentence(summary),
                 QStringLiteral("All done. 2 clips converted. 3 clips left out by choice."));
        summary = {.converted = 1, .failed = 1, .notChosen = 1, .outputFolder = {}};
        QCOMPARE(
            ConversionViewModel::summarySentence(summary),
            QStringLiteral("Done with 1 error. See logs in the output folder. 1 clip left out by choice."));
    }

    void everyMovieIsChosenAndAJoinedShotIsOneMovie()
    {
        const Card card;
        ClipChoice choice = card.choice();
        QCOMPARE(choice.movieCount(), 4);
        QCOMPARE(choice.chosenCount(), 4);
        QVERIFY(choice.allChosen());
        QCOMPARE(choice.sentence(), QStringLiteral("4 of 4 clips chosen"));
        choice.setMovies(card.clips.mid(0, 1), {});
        QCOMPARE(choice.sentence(), QStringLiteral("1 of 1 clip chosen"));
        QVERIFY(choice.chooseNone());
        QCOMPARE(choice.sentence(), QStringLiteral("0 of 1 clip chosen"));
        choice.setMovies({}, {});
        QCOMPARE(choice.sentence(), QStringLiteral("0 of 0 clips chosen"));
    }

    void onlyMoviesAreChosenAndEachChangeSaysWhetherItChangedAnything()
    {
        const Card card;
        ClipChoice choice = card.choice();
        QVERIFY(choice.setChosen(card.key(1), false));
        QVERIFY(!choice.setChosen(card.key(1), false));
        QVERIFY(!choice.isChosen(card.key(1)));
        QVERIFY(!choice.allChosen());
        // The later piece of a joined shot is no movie of its own, nor is a file of no clip.
        QVERIFY(!choice.setChosen(card.key(4), false));
        QVERIFY(!choice.setChosen(QStringLiteral("/card/CONTENTS/VIDEO/0099ZZ.MXF"), false));
        QCOMPARE(choice.sentence(), QStringLiteral("3 of 4 clips chosen"));
        QVERIFY(choice.chooseNone());
        QVERIFY(!choice.chooseNone());
        QCOMPARE(choice.chosenCount(), 0);
        QVERIFY(choice.setChosen(card.key(3), true));
        QCOMPARE(choice.sentence(), QStringLiteral("1 of 4 clips chosen"));
        QVERIFY(choice.chooseAll());
        QVERIFY(!choice.chooseAll());
        QVERIFY(choice.allChosen());
    }

    void choosingByNameTakesAnyPieceOfAShotAndRefusesUnknownNames()
    {
        const Card card;
        ClipChoice choice = card.choice();
        QVERIFY(choice.setChosen(card.key(1), false));
        QCOMPARE(choice.chooseOnlyNamed({"0005EF", "0042XX", "0042XX", "0043XX"}),
                 (QStringList{"0042XX", "0043XX"}));
        QCOMPARE(choice.sentence(), QStringLiteral("3 of 4 clips chosen"));
        QCOMPARE(choice.chooseOnlyNamed({"0005EF", "0001AB"}), QStringList());
        QVERIFY(choice.isChosen(card.key(0)));
        QVERIFY(choice.isChosen(card.key(3)));
        QVERIFY(!choice.isChosen(card.key(1)));
        QVERIFY(!choice.isChosen(card.key(2)));
        QCOMPARE(choice.chosenCount(), 2);
    }

    void aMovieLeftOutStaysOutWhenTheCardIsPairedAgain()
    {
        const Card card;
        ClipChoice choice = card.choice();
        QVERIFY(choice.setChosen(card.key(3), false));
        // Without joining, the shot's first piece is still the same movie.
        choice.setMovies(card.clips, {});
        QCOMPARE(choice.movieCount(), 5);
        QVERIFY(!choice.isChosen(card.key(3)));
        QCOMPARE(choice.sentence(), QStringLiteral("4 of 5 clips chosen"));
    }

    void aRunTakesTheChosenMoviesAndNamesTheOthersInCardOrder()
    {
        const Card card;
        ClipChoice choice = card.choice();
        QVERIFY(choice.setChosen(card.key(0), false));
        QVERIFY(choice.setChosen(card.key(2), false));
        const ClipChoice::Run run =
            choice.split(ConversionViewModel::makeJobs(card.clips, card.shots, true, QStringLiteral("/out")));
        QStringList names;
        for (const std::shared_ptr<ConversionJob>& job : run.jobs)
            names.append(job->clipName());
        QCOMPARE(names, (QStringList{"0002CD", "0004EF + 0005EF"}));
        QCOMPARE(run.jobs.at(0)->outputURL(), QStringLiteral("/out/002.mov"));
        QCOMPARE(run.notChosenNames, (QStringList{"0001AB", "0003CD"}));
    }

    void rowsKeepTheirWholeCardNumbersAndNameTheirPairing()
    {
        const QList<P2Clip> clips{clipNamed("0001AB", 1, P2Clip::PairingMethod::xmlVerified, 2),
                                  clipNamed("0002CD", 2, P2Clip::PairingMethod::filenamePrefixUnsafe, 1),
                                  clipNamed("0003EF", 3, P2Clip::PairingMethod::sortedOrderUnsafe, 0)};
        PairingReportEntry excluded;
        excluded.clipName = QStringLiteral("0004GH");
        excluded.videoFile = QStringLiteral("0004GH.MXF");
        excluded.note = QStringLiteral("UMID mismatch");
        const QList<ClipRow> rows = ClipRows::of(clips, {excluded}, {}, true);
        QCOMPARE(rows.size(), 4);
        QCOMPARE(rows.at(2).outputName, QStringLiteral("003.mov"));
        QCOMPARE(rows.at(0).pairing, QStringLiteral("verified"));
        QCOMPARE(rows.at(1).pairing, QStringLiteral("by file name — unverified"));
        QCOMPARE(rows.at(2).pairing, QStringLiteral("by order — unverified"));
        QCOMPARE(rows.at(3).pairing, QStringLiteral("excluded — UMID mismatch"));
        QVERIFY(!rows.at(3).included);
        QCOMPARE(rows.at(0).durationSeconds, std::optional(10.0));
        QCOMPARE(rows.at(0).audioChannels, 2);
    }

    void aJoinedShotIsOneRowNamingItsPieces()
    {
        const P2Clip first = clipNamed("0158Q5", 1, P2Clip::PairingMethod::xmlVerified, 1);
        const P2Clip second = clipNamed("0159E2", 2, P2Clip::PairingMethod::xmlVerified, 1);
        const QList<ClipRow> rows = ClipRows::of({first, second}, {}, {SpannedShot{{first, second}}}, true);
        QCOMPARE(rows.size(), 1);
        QCOMPARE(rows.at(0).pieces, (QStringList{"0158Q5", "0159E2"}));
        QCOMPARE(rows.at(0).durationSeconds, std::optional(20.0));
        QCOMPARE(rows.at(0).outputName, QStringLiteral("001.mov"));
    }

    void durationText()
    {
        QCOMPARE(ClipRows::durationText(42), QStringLiteral("0:42"));
        QCOMPARE(ClipRows::durationText(725), QStringLiteral("12:05"));
        QCOMPARE(ClipRows::durationText(3723), QStringLiteral("1:02:03"));
    }

    void separateRunsOfSingleClipsMergeIntoTheReportOfOneRun()
    {
        const QStringList all{"0001AB", "0002CD", "0003EF"};
        // Each run reports its clip and the others as not chosen.
        const auto runOf = [&](const QString& clip) {
            QStringList lines;
            for (const QString& other : all)
                if (other != clip)
                    lines.append(LogWriter::notChosenReportLine(other, noon));
            lines.append(LogWriter::commandReportLine(clip, QStringLiteral("/usr/bin/ffmpeg -i x"), noon));
            lines.append(LogWriter::convertedReportLine(clip, noon));
            return lines;
        };
        QString report;
        for (const QString& clip : {all.at(2), all.at(0), all.at(1)}) {
            QStringList others = all;
            others.removeOne(clip);
            report = LogWriter::mergedReportLines(report, runOf(clip), {clip}, others).join('\n') + '\n';
        }
        QVERIFY2(!report.contains(QStringLiteral("not chosen")), qPrintable(report));
        for (const QString& clip : all) {
            QCOMPARE(report.count(clip + QStringLiteral(": converted successfully.")), 1);
            QCOMPARE(report.count(clip + QStringLiteral(": running command:\n/usr/bin/ffmpeg -i x")), 1);
        }
        // A clip nobody chose is told of once.
        const QString partial = LogWriter::mergedReportLines(runOf(all.at(0)).join('\n'), runOf(all.at(1)),
                                                             {all.at(1)}, {all.at(0), all.at(2)})
                                    .join('\n');
        QCOMPARE(partial.count(QStringLiteral("0003EF: not chosen.")), 1);
        QVERIFY(!partial.contains(QStringLiteral("0001AB: not chosen.")));
    }

    void errorsOfAClipRunAgainAreReplaced()
    {
        const QStringList merged =
            LogWriter::mergedErrorLines(QStringLiteral("0001AB: old failure\n0002CD: other\n"),
                                        {LogWriter::errorLine("0001AB", "new")}, {QStringLiteral("0001AB")});
        QCOMPARE(merged, (QStringList{"0002CD: other", "0001AB: new"}));
    }

    void historyCountsClipsNotChosen()
    {
        ConversionHistoryEntry entry{QUuid::createUuid(), noon, "CARD", "/out", 2, 0, 0, 1, 0, 3};
        QCOMPARE(HistoryText::statsLine(entry), QStringLiteral("2 converted · 1 excluded · 3 not chosen"));
        const auto decoded = ConversionHistoryStore::decode(ConversionHistoryStore::encode({entry}));
        QVERIFY(decoded);
        QCOMPARE(decoded->first().notChosen, 3);
        // Entries written before the count existed read as none left out.
        entry.notChosen = 0;
        const QByteArray older = ConversionHistoryStore::encode({entry});
        QVERIFY(!older.contains("notChosen"));
        QCOMPARE(ConversionHistoryStore::decode(older)->first(), entry);
    }

    void jsonKeysAreStable()
    {
        const ClipRow row =
            ClipRows::of({clipNamed("0001AB", 1, P2Clip::PairingMethod::xmlVerified, 2)}, {}, {}, true)
                .first();
        const QJsonObject object = ClipJson::rowObject(row);
        QCOMPARE(object.keys(),
                 (QStringList{"audioChannels", "durationSeconds", "exclusionReason", "included", "name",
                              "number", "outputName", "pairing", "pieces", "recorded", "startTimecode"}));
        QCOMPARE(ClipJson::statusWord(ClipStatus::notChosen()), QStringLiteral("notChosen"));
        QCOMPARE(ClipJson::statusWord(ClipStatus::pending()), QStringLiteral("notStarted"));
        QCOMPARE(ClipJson::statusWord(ClipStatus::notStarted(RunStop::cancelled)),
                 QStringLiteral("notStarted"));
        QCOMPARE(ClipJson::statusWord(std::nullopt), QStringLiteral("excluded"));
        const QJsonObject run =
            QJsonDocument::fromJson(
                ClipJson::runDocument("/card", "All done.",
                                      {.converted = 1, .notChosen = 1, .outputFolder = {}},
                                      {{row, ClipStatus::failed("boom\nmore"), "/out/001.mov"}}))
                .object();
        const QJsonObject clip = run.value("clips").toArray().first().toObject();
        QCOMPARE(clip.value("status").toString(), QStringLiteral("failed"));
        QVERIFY(clip.value("outputFile").isNull());
        QCOMPARE(run.value("counts").toObject().value("notChosen").toInt(), 1);
    }
};

QTEST_GUILESS_MAIN(ClipChoiceTest)

#include "ClipChoiceTest.moc"
