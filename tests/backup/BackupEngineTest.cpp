#include "backup/BackupEngine.h"

#include "backup/BackupText.h"
#include "backup/C4Id.h"
#include "backup/MhlHistory.h"
#include "backup/MhlXml.h"
#include "backup/Xxh64.h"
#include "BackupCardTree.h"
#include "BackupTests.h"
#include "TestFiles.h"

#include <QDirIterator>
#include <QTemporaryDir>
#include <QtTest>
#include <sys/statvfs.h>

namespace {

BackupRequest requestFor(const QString& card, const QStringList& destinations)
{
    BackupRequest request;
    request.card = card;
    request.destinations = destinations;
    request.hostName = QStringLiteral("test-host");
    request.toolName = QStringLiteral("Tolvane");
    request.toolVersion = QStringLiteral("9.9.9");
    request.started = QDateTime(QDate(2026, 11, 25), QTime(13, 15, 7), Qt::UTC);
    return request;
}

BackupResult backUp(const BackupRequest& request)
{
    BackupProgress progress;
    return BackupEngine::run(request, progress);
}

// Every path below `root`, hidden ones included, with its modification time.
QMap<QString, qint64> snapshot(const QString& root)
{
    QMap<QString, qint64> entries;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        entries.insert(path.mid(root.size()), BackupCardTree::modifiedNanoseconds(path));
    }
    return entries;
}

QStringList temporaryFiles(const QString& root)
{
    QStringList found;
    const QMap<QString, qint64> entries = snapshot(root);
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        if (it.key().endsWith(QLatin1String(".tolvane-part")))
            found.append(it.key());
    }
    return found;
}

} // namespace

class BackupEngineTest : public QObject
{
    Q_OBJECT

private:
    CaseFolders m_cases;
    QString m_case;

    QString folder(const QString& name) const { return m_cases.folder(name); }

private slots:
    void init() { m_case = m_cases.next(); }

    void copiesTheWholeCardToEveryDestinationAndProvesIt()
    {
        const QString card = BackupCardTree::create(m_case);
        const QMap<QString, qint64> cardBefore = snapshot(card);
        const QString first = folder(QStringLiteral("drive one"));
        const QString second = folder(QStringLiteral("-drive \"two\" $x"));

        const BackupResult result = backUp(requestFor(card, {first, second}));

        QCOMPARE(result.status, BackupResult::Status::proven);
        QCOMPARE(result.copies,
                 QStringList({first + QStringLiteral("/CARD_A"), second + QStringLiteral("/CARD_A")}));
        QCOMPARE(result.fileCount, BackupCardTree::files().size());
        QCOMPARE(result.alreadyCopied, 0);
        QCOMPARE(snapshot(card), cardBefore);
        for (const QString& copy : result.copies) {
            for (const QString& file : BackupCardTree::files()) {
                QVERIFY2(
                    BackupCardTree::sameBytes(card + QLatin1Char('/') + file, copy + QLatin1Char('/') + file),
                    qPrintable(file));
                QCOMPARE(BackupCardTree::modifiedNanoseconds(copy + QLatin1Char('/') + file),
                         BackupCardTree::modifiedNanoseconds(card + QLatin1Char('/') + file));
            }
            QVERIFY(QFileInfo(copy + QStringLiteral("/CONTENTS/ICON")).isDir());
            QCOMPARE(BackupCardTree::modifiedNanoseconds(copy + QStringLiteral("/CONTENTS/ICON")),
                     BackupCardTree::modifiedNanoseconds(card + QStringLiteral("/CONTENTS/ICON")));
            QCOMPARE(BackupCardTree::modifiedNanoseconds(copy + QStringLiteral("/CONTENTS")),
                     BackupCardTree::modifiedNanoseconds(card + QStringLiteral("/CONTENTS")));
            QCOMPARE(temporaryFiles(copy), QStringList());
        }
    }

    void eachCopyCarriesAnAscMhlHistoryThatValidates()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        const BackupResult result = backUp(requestFor(card, {destination}));
        QCOMPARE(result.status, BackupResult::Status::proven);

        const QString history = destination + QStringLiteral("/CARD_A/ascmhl");
        const QString manifestPath = history + QStringLiteral("/0001_CARD_A_2026-11-25_131507Z.mhl");
        QCOMPARE(result.manifests, QStringList{manifestPath});
        QCOMPARE(QDir(history).entryList(QDir::Files),
                 QStringList({QStringLiteral("0001_CARD_A_2026-11-25_131507Z.mhl"),
                              QStringLiteral("ascmhl_chain.xml")}));
        QCOMPARE(BackupCardTree::schemaProblems(manifestPath, QStringLiteral("ASCMHL.xsd")), QString());
        QCOMPARE(BackupCardTree::schemaProblems(history + QStringLiteral("/ascmhl_chain.xml"),
                                                QStringLiteral("ASCMHLDirectory.xsd")),
                 QString());

        const QByteArray bytes = readFile(manifestPath);
        QString error;
        const std::optional<Mhl::Manifest> manifest = MhlXml::readManifest(bytes, error);
        QVERIFY2(manifest, qPrintable(error));
        QCOMPARE(manifest->process, Mhl::Process::transfer);
        QCOMPARE(manifest->hostName, QStringLiteral("test-host"));
        QCOMPARE(manifest->toolName, QStringLiteral("Tolvane"));
        QCOMPARE(manifest->toolVersion, QStringLiteral("9.9.9"));
        QCOMPARE(manifest->files.size(), BackupCardTree::files().size());
        for (const Mhl::FileRecord& file : manifest->files) {
            const QString path = card + QLatin1Char('/') + file.path;
            QCOMPARE(file.action, Mhl::Action::original);
            QCOMPARE(file.xxh64, Xxh64::of(readFile(path)));
            QCOMPARE(file.size, QFileInfo(path).size());
            QCOMPARE(file.lastModified.toSecsSinceEpoch(),
                     BackupCardTree::modifiedNanoseconds(path) / 1000000000);
        }
        QStringList folders;
        for (const Mhl::DirectoryRecord& record : manifest->directories)
            folders.append(record.path);
        QCOMPARE(folders, QStringList({QStringLiteral("CONTENTS"), QStringLiteral("CONTENTS/AUDIO"),
                                       QStringLiteral("CONTENTS/CLIP"), QStringLiteral("CONTENTS/ICON"),
                                       QStringLiteral("CONTENTS/VIDEO")}));
        QVERIFY(manifest->root);

        const std::optional<QList<MhlXml::ChainEntry>> chain =
            MhlXml::readChain(readFile(history + QStringLiteral("/ascmhl_chain.xml")), error);
        QVERIFY(chain);
        QCOMPARE(chain->size(), 1);
        QCOMPARE(chain->at(0).sequence, 1);
        QCOMPARE(chain->at(0).fileName, QStringLiteral("0001_CARD_A_2026-11-25_131507Z.mhl"));
        QCOMPARE(chain->at(0).c4, C4Id::of(bytes));
    }

    void theCardsContentsFolderBacksUpItsRoot()
    {
        const QString card = BackupCardTree::create(m_case);
        QCOMPARE(BackupEngine::cardRoot(card + QStringLiteral("/CONTENTS")), card);
        QCOMPARE(BackupEngine::cardRoot(card), card);
    }

    void aRerunCompletesAnInterruptedBackup()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        QCOMPARE(backUp(requestFor(card, {destination})).status, BackupResult::Status::proven);
        // As if interrupted: the history and two files not yet written, one half-written temporary file.
        const QString copy = destination + QStringLiteral("/CARD_A");
        QVERIFY(QDir(copy + QStringLiteral("/ascmhl")).removeRecursively());
        QVERIFY(QFile::remove(copy + QStringLiteral("/LASTCLIP.TXT")));
        QVERIFY(QFile::remove(copy + QStringLiteral("/CONTENTS/VIDEO/0001AB.MXF")));
        writeFile(copy + QStringLiteral("/CONTENTS/VIDEO/.0001AB.MXF.tolvane-part"), "half");

        const BackupResult rerun = backUp(requestFor(card, {destination}));

        QCOMPARE(rerun.status, BackupResult::Status::proven);
        QCOMPARE(rerun.alreadyCopied, BackupCardTree::files().size() - 2);
        QCOMPARE(temporaryFiles(copy), QStringList());
        for (const QString& file : BackupCardTree::files())
            QVERIFY(
                BackupCardTree::sameBytes(card + QLatin1Char('/') + file, copy + QLatin1Char('/') + file));
        QVERIFY(QFileInfo::exists(copy + QStringLiteral("/ascmhl/0001_CARD_A_2026-11-25_131507Z.mhl")));
    }

    void backingUpACompleteCopyAgainAddsAVerifiedGeneration()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        QCOMPARE(backUp(requestFor(card, {destination})).status, BackupResult::Status::proven);
        BackupRequest again = requestFor(card, {destination});
        again.started = again.started.addSecs(60);
        const BackupResult result = backUp(again);
        QCOMPARE(result.status, BackupResult::Status::proven);
        QCOMPARE(result.alreadyCopied, BackupCardTree::files().size());
        const QString manifestPath =
            destination + QStringLiteral("/CARD_A/ascmhl/0002_CARD_A_2026-11-25_131607Z.mhl");
        QCOMPARE(result.manifests, QStringList{manifestPath});
        QString error;
        const std::optional<Mhl::Manifest> manifest = MhlXml::readManifest(readFile(manifestPath), error);
        QVERIFY(manifest);
        for (const Mhl::FileRecord& file : manifest->files)
            QCOMPARE(file.action, Mhl::Action::verified);
        QCOMPARE(BackupCardTree::schemaProblems(manifestPath, QStringLiteral("ASCMHL.xsd")), QString());
    }

    void aDifferingFileInTheWayIsNeverOverwritten()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        const QString inTheWay = destination + QStringLiteral("/CARD_A/LASTCLIP.TXT");
        // The same size as the card's file, other bytes: found only by reading it.
        QByteArray other = readFile(card + QStringLiteral("/LASTCLIP.TXT"));
        other[0] = char(other.at(0) ^ 0x01);
        writeFile(inTheWay, other);

        const BackupResult result = backUp(requestFor(card, {destination}));

        QCOMPARE(result.status, BackupResult::Status::failed);
        QCOMPARE(result.problems, QStringList{BackupText::existingDiffers(inTheWay)});
        QCOMPARE(readFile(inTheWay), other);
        QVERIFY(!QFileInfo::exists(destination + QStringLiteral("/CARD_A/ascmhl")));
    }

    void aFileOfAnotherSizeStopsTheBackupBeforeTheFirstByte()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        const QString inTheWay = destination + QStringLiteral("/CARD_A/CONTENTS/VIDEO/0001AB.MXF");
        writeFile(inTheWay, "not the clip");

        const BackupResult result = backUp(requestFor(card, {destination}));

        QCOMPARE(result.status, BackupResult::Status::failed);
        QCOMPARE(result.problems, QStringList{BackupText::existingDiffers(inTheWay)});
        QCOMPARE(readFile(inTheWay), QByteArray("not the clip"));
        QCOMPARE(snapshot(destination + QStringLiteral("/CARD_A")).keys(),
                 QStringList({QStringLiteral("/CONTENTS"), QStringLiteral("/CONTENTS/VIDEO"),
                              QStringLiteral("/CONTENTS/VIDEO/0001AB.MXF")}));
    }

    void aCopyThatReadsBackWrongFailsAndIsKept()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString first = folder(QStringLiteral("one"));
        const QString second = folder(QStringLiteral("two"));
        const QString damaged = second + QStringLiteral("/CARD_A/CONTENTS/VIDEO/0001AB.MXF");
        BackupRequest request = requestFor(card, {first, second});
        // Stands in for a disk that flips one bit of what it stored.
        request.beforeProving = [&damaged](const QStringList& written) {
            QVERIFY(written.contains(damaged));
            QFile file(damaged);
            QVERIFY(file.open(QIODevice::ReadWrite));
            file.seek(5 * 1024 * 1024);
            char byte = 0;
            file.getChar(&byte);
            file.seek(5 * 1024 * 1024);
            file.putChar(char(byte ^ 0x10));
        };

        const BackupResult result = backUp(request);

        QCOMPARE(result.status, BackupResult::Status::failed);
        QCOMPARE(result.mismatches, QStringList{damaged});
        QCOMPARE(result.problems, QStringList{BackupText::mismatch(damaged)});
        QVERIFY(QFileInfo::exists(damaged));
        QVERIFY(!BackupCardTree::sameBytes(damaged, card + QStringLiteral("/CONTENTS/VIDEO/0001AB.MXF")));
        QVERIFY(!QFileInfo::exists(second + QStringLiteral("/CARD_A/ascmhl")));
        QVERIFY(!QFileInfo::exists(first + QStringLiteral("/CARD_A/ascmhl")));
    }

    void aDestinationWithoutRoomIsRefusedBeforeTheFirstByte()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString roomy = folder(QStringLiteral("roomy"));
        const QString small = folder(QStringLiteral("small disk"));
        const SmallDisk disk(small, QStringLiteral("size=4m"));
        QVERIFY2(disk.mounted(), "the tests mount a tmpfs, which needs root");
        struct statvfs space
        {
        };
        QCOMPARE(::statvfs(QFile::encodeName(small).constData(), &space), 0);
        const qint64 free = qint64(space.f_bavail) * qint64(space.f_frsize);

        const BackupResult result = backUp(requestFor(card, {roomy, small}));

        QCOMPARE(result.status, BackupResult::Status::refused);
        QCOMPARE(result.problems.size(), 1);
        const QString expectedStart =
            QStringLiteral("Not enough free space on “%1”: the backup needs ").arg(small);
        QVERIFY2(result.problems.first().startsWith(expectedStart), qPrintable(result.problems.first()));
        QVERIFY(
            result.problems.first().endsWith(QStringLiteral(" and %1 is free.").arg(BackupText::size(free))));
        QCOMPARE(QDir(small).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
        QCOMPARE(QDir(roomy).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }

    void theSpaceMessageNamesNeededAndFree()
    {
        QCOMPARE(BackupText::notEnoughSpace(QStringLiteral("/media/x"), 2100000000, 1500000000),
                 QStringLiteral(
                     "Not enough free space on “/media/x”: the backup needs 2.1 GB and 1.5 GB is free."));
    }

    void aDestinationOnTheCardOrMissingIsRefused()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString missing = m_case + QStringLiteral("/no such drive");
        const BackupResult result = backUp(requestFor(card, {card + QStringLiteral("/CONTENTS"), missing}));
        QCOMPARE(result.status, BackupResult::Status::refused);
        QCOMPARE(result.problems,
                 QStringList({BackupText::destinationOnCard(card + QStringLiteral("/CONTENTS")),
                              BackupText::noSuchDestination(missing)}));
        QVERIFY(!QFileInfo::exists(card + QStringLiteral("/CONTENTS/CARD_A")));
    }

    void cancellingLeavesNoTemporaryOrIncompleteFile()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        BackupProgress progress;
        BackupRequest request = requestFor(card, {destination});
        request.beforeProving = [&progress](const QStringList&) { progress.cancelRequested.store(true); };
        const BackupResult result = BackupEngine::run(request, progress);
        QCOMPARE(result.status, BackupResult::Status::cancelled);
        QCOMPARE(result.problems, QStringList{BackupText::cancelledSentence()});
        QCOMPARE(temporaryFiles(destination), QStringList());
        QVERIFY(!QFileInfo::exists(destination + QStringLiteral("/CARD_A/ascmhl")));
    }
};

int runBackupEngineTests(int argc, char* argv[])
{
    BackupEngineTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "BackupEngineTest.moc"
