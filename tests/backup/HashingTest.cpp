#include "backup/C4Id.h"
#include "backup/DirectoryHashes.h"
#include "backup/MhlHistory.h"
#include "backup/MhlXml.h"
#include "backup/Xxh64.h"
#include "BackupTests.h"

#include <QtTest>

namespace {

Mhl::FileRecord file(const QString& path, quint64 hash)
{
    return {path, 10, QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC), hash, Mhl::Action::original};
}

} // namespace

class HashingTest : public QObject
{
    Q_OBJECT

private slots:
    void xxh64OfNothingIsTheReferenceValue()
    {
        QCOMPARE(Xxh64::of(QByteArray()), Q_UINT64_C(0xEF46DB3751D8E999));
        QCOMPARE(Xxh64::hex(Q_UINT64_C(0xEF46DB3751D8E999)), QStringLiteral("ef46db3751d8e999"));
    }

    void xxh64IsWrittenBigEndianAndReadBack()
    {
        QCOMPARE(Xxh64::bytes(Q_UINT64_C(0x0102030405060708)), QByteArray::fromHex("0102030405060708"));
        QCOMPARE(Xxh64::hex(Q_UINT64_C(0x00000000000000ff)), QStringLiteral("00000000000000ff"));
        QCOMPARE(Xxh64::fromHex(QStringLiteral("00000000000000ff")), std::optional<quint64>(0xff));
        QCOMPARE(Xxh64::fromHex(QStringLiteral("ff")), std::nullopt);
        QCOMPARE(Xxh64::fromHex(QStringLiteral("zz00000000000000")), std::nullopt);
    }

    void xxh64InPiecesEqualsAtOnce()
    {
        const QByteArray bytes = QByteArray("the bytes of a clip, in two pieces").repeated(1000);
        Xxh64 pieces;
        pieces.add(bytes.left(777));
        pieces.add(bytes.mid(777));
        QCOMPARE(pieces.digest(), Xxh64::of(bytes));
    }

    void c4IdOfNothingIsTheStandardsValue()
    {
        const QString id = C4Id::of(QByteArray());
        QCOMPARE(id.size(), 90);
        QCOMPARE(id, QStringLiteral("c459dsjfscH38cYeXXYogktxf4Cd9ibshE3BHUo6a58hBXmRQdZrAkZzsWcbWtDg5oQstpDu"
                                    "ni4Hirj75GEmTc1sFT"));
    }

    void c4IdIsAlwaysNinetyCharacters()
    {
        for (const QByteArray& bytes : {QByteArray("a"), QByteArray("manifest"), QByteArray(5000, 'x')}) {
            const QString id = C4Id::of(bytes);
            QCOMPARE(id.size(), 90);
            QVERIFY(id.startsWith(QLatin1String("c4")));
        }
        QVERIFY(C4Id::of("a") != C4Id::of("b"));
    }

    void directoryHashesFollowTheHashOfHashes()
    {
        const quint64 a = Xxh64::of("a");
        const quint64 b = Xxh64::of("b");
        const DirectoryHashes::Result result = DirectoryHashes::compute(
            {file(QStringLiteral("a.txt"), a), file(QStringLiteral("D/b.txt"), b)}, {});
        const auto named = [](const QByteArray& name, quint64 hash) {
            return Xxh64::of(name + Xxh64::bytes(hash));
        };
        const auto hashOf = [](QList<quint64> hashes) {
            std::sort(hashes.begin(), hashes.end());
            QByteArray bytes;
            for (const quint64 hash : hashes)
                bytes += Xxh64::bytes(hash);
            return Xxh64::of(bytes);
        };
        const quint64 folderContent = hashOf({b});
        const quint64 folderStructure = hashOf({named("b.txt", b)});
        QCOMPARE(result.folders.value(QStringLiteral("D")).content, folderContent);
        QCOMPARE(result.folders.value(QStringLiteral("D")).structure, folderStructure);
        QCOMPARE(result.root.content, hashOf({a, folderContent}));
        QCOMPARE(result.root.structure, hashOf({named("a.txt", a), named("D", folderStructure)}));
    }

    void renamingChangesTheStructureHashOnly()
    {
        const quint64 a = Xxh64::of("a");
        const DirectoryHashes::Result before = DirectoryHashes::compute({file(QStringLiteral("X/a"), a)}, {});
        const DirectoryHashes::Result after =
            DirectoryHashes::compute({file(QStringLiteral("X/renamed"), a)}, {});
        QCOMPARE(after.root.content, before.root.content);
        QVERIFY(after.root.structure != before.root.structure);
        QVERIFY(after.folders.value(QStringLiteral("X")).structure !=
                before.folders.value(QStringLiteral("X")).structure);
    }

    void anEmptyFolderCountsInItsParent()
    {
        const quint64 a = Xxh64::of("a");
        const DirectoryHashes::Result without = DirectoryHashes::compute({file(QStringLiteral("a"), a)}, {});
        const DirectoryHashes::Result with =
            DirectoryHashes::compute({file(QStringLiteral("a"), a)}, {QStringLiteral("E/F")});
        QVERIFY(with.folders.contains(QStringLiteral("E")));
        QVERIFY(with.folders.contains(QStringLiteral("E/F")));
        QVERIFY(with.root.content != without.root.content);
        QCOMPARE(with.folders.value(QStringLiteral("E/F")).content, Xxh64::of(QByteArray()));
    }

    void aManifestReadsBackAsWritten()
    {
        Mhl::Manifest manifest;
        manifest.created = QDateTime(QDate(2026, 11, 25), QTime(13, 15, 0), Qt::UTC);
        manifest.hostName = QStringLiteral("host");
        manifest.toolName = QStringLiteral("Tolvane");
        manifest.toolVersion = QStringLiteral("1.2.3");
        manifest.files = {
            file(QStringLiteral("CONTENTS/VIDEO/a <&> \"b\".MXF"), 42),
            {QStringLiteral("x"), 7, QDateTime::fromSecsSinceEpoch(5, Qt::UTC), 9, Mhl::Action::failed}};
        manifest.directories = {
            {QStringLiteral("CONTENTS"), QDateTime::fromSecsSinceEpoch(6, Qt::UTC), {1, 2}}};
        manifest.root = Mhl::DirectoryHash{3, 4};
        QString error;
        const std::optional<Mhl::Manifest> read = MhlXml::readManifest(MhlXml::manifest(manifest), error);
        QVERIFY2(read, qPrintable(error));
        QCOMPARE(read->created, manifest.created);
        QCOMPARE(read->hostName, manifest.hostName);
        QCOMPARE(read->toolVersion, manifest.toolVersion);
        QCOMPARE(read->files.size(), 2);
        QCOMPARE(read->files.at(0).path, manifest.files.at(0).path);
        QCOMPARE(read->files.at(0).xxh64, quint64(42));
        QCOMPARE(read->files.at(0).size, qint64(10));
        QCOMPARE(read->files.at(0).lastModified, manifest.files.at(0).lastModified);
        QCOMPARE(read->files.at(1).action, Mhl::Action::failed);
        QCOMPARE(read->directories.size(), 1);
        QCOMPARE(read->directories.at(0).hash.structure, quint64(2));
        QVERIFY(read->root);
        QCOMPARE(read->root->content, quint64(3));
    }

    void anotherDocumentIsNoManifest()
    {
        QString error;
        QVERIFY(!MhlXml::readManifest("<hashlist version=\"2.0\"/>", error));
        QCOMPARE(error, QStringLiteral("not an ASC MHL manifest"));
        QVERIFY(!MhlXml::readChain("<x/>", error));
    }

    void manifestsAreNamedByNumberFolderAndUtcTime()
    {
        const QDateTime started(QDate(2026, 1, 7), QTime(9, 2, 28), QTimeZone(3600));
        QCOMPARE(MhlHistory::manifestFileName(1, QStringLiteral("A002R2EC"), started),
                 QStringLiteral("0001_A002R2EC_2026-01-07_080228Z.mhl"));
        QCOMPARE(MhlHistory::manifestFileName(12345, QStringLiteral("X"), started),
                 QStringLiteral("12345_X_2026-01-07_080228Z.mhl"));
    }
};

int runHashingTests(int argc, char* argv[])
{
    HashingTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "HashingTest.moc"
