// tolvane-cli where a day's faults meet the user's own files: a settings file
// damaged or replaced, a card reached by a second path, names with line breaks
// and a card's folders holding more than camera files. Each test runs the real
// program on a real synthetic card.
#include "base/DisplayText.h"
#include "CommandRun.h"
#include "store/QSettingsKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>

namespace {

const QRegularExpression datedFolderName(QStringLiteral("^\\d\\d-\\d\\d-\\d\\d\\d\\d$"));

// The one dated run folder below `base`, or nothing.
QString runFolderIn(const QString& base)
{
    const QStringList folders = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    if (folders.size() != 1 || !datedFolderName.match(folders.first()).hasMatch())
        return QString();
    return QDir(base).filePath(folders.first());
}

// Every path below `folder`, hidden ones included, sorted.
QStringList treeOf(const QString& folder)
{
    QStringList paths;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next());
    paths.sort();
    return paths;
}

// `folder` mounted a second time at `path` for the lifetime of the object.
class BindMount
{
public:
    BindMount(const QString& folder, const QString& path) : m_path(path)
    {
        QDir().mkpath(path);
        m_mounted = QProcess::execute(QStringLiteral("mount"), {QStringLiteral("--bind"), folder, path}) == 0;
    }
    ~BindMount()
    {
        if (m_mounted)
            QProcess::execute(QStringLiteral("umount"), {QStringLiteral("-l"), m_path});
    }
    BindMount(const BindMount&) = delete;
    BindMount& operator=(const BindMount&) = delete;

    bool mounted() const { return m_mounted; }

private:
    QString m_path;
    bool m_mounted = false;
};

const QString refusalPattern =
    QStringLiteral("^The output folder “.*/\\d\\d-\\d\\d-\\d\\d\\d\\d” is inside the card\\. Choose a "
                   "folder outside the card: nothing is ever written to a card\\.\n$");

} // namespace

class SafetyTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;
    QString m_home;

    QString preferencesFile() const { return m_home + QStringLiteral("/.config/Tolvane/Tolvane.json"); }

    QStringList keptAside() const
    {
        return QDir(QFileInfo(preferencesFile()).path())
            .entryList({QStringLiteral("Tolvane.json.unreadable-*")}, QDir::Files);
    }

    CommandRun runCli(const QStringList& arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), m_home);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/.config"));
        return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments, QString(), environment);
    }

    QString freshFolder(const QString& name)
    {
        const QString path = m_root.filePath(name);
        QDir(path).removeRecursively();
        return path;
    }

    // A card of `clips` in a fresh folder `name`, or nothing after saying why not.
    std::optional<SyntheticCard::WrittenCard> writeCard(std::vector<SyntheticCard::ClipSpec> clips,
                                                        const QString& name)
    {
        SyntheticCard::CardSpec plan;
        plan.clips = std::move(clips);
        try {
            return SyntheticCard::write(plan, freshFolder(name));
        } catch (const SyntheticCard::Error& error) {
            qWarning("%s", error.what());
            return std::nullopt;
        }
    }

    static SyntheticCard::ClipSpec shortClip(int n)
    {
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, 1);
        clip.frames = 2;
        return clip;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        TOLVANE_REQUIRE_INSTALLED_TOOLS();
        m_home = m_root.filePath(QStringLiteral("home"));
    }

    void init() { QDir(m_home).removeRecursively(); }

    // A damaged settings file is kept aside, never written over; standard
    // error says so once, and the defaults are saved.
    void aDamagedStoreIsKeptAsideAndSaidOnce()
    {
        const QByteArray damaged("{\n    \"conversionHistoryV1\": {\"base64\": \"W3siaWQiOi");
        writeFile(preferencesFile(), damaged);

        const CommandRun first = runCli({QStringLiteral("history")});
        QCOMPARE(first.exitStatus, 0);
        QCOMPARE(keptAside().size(), 1);
        const QString keptAs = QFileInfo(preferencesFile()).dir().filePath(keptAside().first());
        QCOMPARE(readFile(keptAs), damaged);
        QCOMPARE(first.standardError,
                 QSettingsKeyValueStore::unreadableNotice(preferencesFile(), keptAs) + QLatin1Char('\n'));
        QVERIFY2(first.standardOutput.startsWith(QStringLiteral("Recent Conversions — 0 batches\n")),
                 qPrintable(first.standardOutput));
        QCOMPARE(QJsonDocument::fromJson(readFile(preferencesFile())).object(), QJsonObject());

        const CommandRun second = runCli({QStringLiteral("history")});
        QCOMPARE(second.standardError, QString());
        QCOMPARE(second.exitStatus, 0);
        QCOMPARE(keptAside().size(), 1);
    }

    // A store over the limit is refused the same way, without being read.
    void aStoreOverTheLimitIsKeptAside()
    {
        writeFile(preferencesFile(),
                  QByteArray("{\"pad\": \"") + QByteArray(QSettingsKeyValueStore::sizeLimit, ' ') + "\"}");
        const CommandRun run = runCli({QStringLiteral("history")});
        QCOMPARE(run.exitStatus, 0);
        QCOMPARE(keptAside().size(), 1);
        const QString keptAs = QFileInfo(preferencesFile()).dir().filePath(keptAside().first());
        QCOMPARE(run.standardError,
                 QSettingsKeyValueStore::tooLargeNotice(preferencesFile(), keptAs) + QLatin1Char('\n'));
        QCOMPARE(QFileInfo(keptAs).size(), QSettingsKeyValueStore::sizeLimit + 11);
    }

    // A store that cannot be written fails the run's history step out loud;
    // the movies stay.
    void aStoreThatCannotBeWrittenFailsTheRun()
    {
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({shortClip(1)}, QStringLiteral("unrecorded card"));
        QVERIFY(card);
        QVERIFY(QDir().mkpath(preferencesFile()));
        const QString output = freshFolder(QStringLiteral("unrecorded out"));

        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        const QString failure =
            QStringLiteral("Could not write the history (“%1”: Is a directory).").arg(preferencesFile());
        QCOMPARE(run.standardError, failure + QLatin1Char('\n'));
        QCOMPARE(run.exitStatus, 1);
        const QString folder = runFolderIn(output);
        QVERIFY(!folder.isEmpty());
        QVERIFY(QFileInfo(QDir(folder).filePath(QStringLiteral("001.mov"))).size() > 0);
        QVERIFY2(run.standardOutput.endsWith(failure + QStringLiteral(" All done. 1 clip converted.\n") +
                                             folder + QLatin1Char('\n')),
                 qPrintable(run.standardOutput));
        QVERIFY(QFileInfo(preferencesFile()).isDir());
    }

    // The card reached by a second path is still the card.
    void anOutputFolderInsideTheCardByAnotherPathIsRefused_data()
    {
        QTest::addColumn<bool>("bindMount");
        QTest::newRow("a bind mount of the card") << true;
        QTest::newRow("a link to the card's CONTENTS") << false;
    }

    void anOutputFolderInsideTheCardByAnotherPathIsRefused()
    {
        QFETCH(bool, bindMount);
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({shortClip(1)}, QStringLiteral("guarded card"));
        QVERIFY(card);
        const QStringList before = treeOf(card->rootPath);
        const QString second = freshFolder(QStringLiteral("second path"));
        std::optional<BindMount> mount;
        if (bindMount) {
            mount.emplace(card->rootPath, second);
            if (!mount->mounted())
                QSKIP("a bind mount needs root");
        } else {
            QVERIFY(QFile::link(card->contentsPath, second));
        }
        const auto removeLink = qScopeGuard([&] {
            if (!bindMount)
                QFile::remove(second);
        });

        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"),
                    second + QStringLiteral("/movies")});
        QCOMPARE(run.exitStatus, 2);
        QVERIFY2(QRegularExpression(refusalPattern).match(run.standardError).hasMatch(),
                 qPrintable(run.standardError));
        mount.reset();
        QCOMPARE(treeOf(card->rootPath), before);
    }

    // A line break in a card's or a folder's name is shown escaped on the
    // terminal and in the history, so the output folder stays the last line.
    void namesWithLineBreaksAreEscapedEverywhere()
    {
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({shortClip(1)}, QStringLiteral("card\nsecond line"));
        QVERIFY(card);
        const QString output = freshFolder(QStringLiteral("out\nput"));

        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(run.standardError, QString());
        QCOMPARE(run.exitStatus, 0);
        const QString folder = runFolderIn(output);
        QVERIFY(!folder.isEmpty());
        const QStringList lines = run.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.last(), DisplayText::escaped(folder));
        QVERIFY(lines.last().contains(QLatin1String("out\\nput/")));
        QCOMPARE(lines.at(lines.size() - 2), QStringLiteral("All done. 1 clip converted."));

        const CommandRun history = runCli({QStringLiteral("history")});
        QCOMPARE(history.exitStatus, 0);
        const QStringList historyLines = history.standardOutput.split(QLatin1Char('\n'));
        QCOMPARE(historyLines.value(2), QStringLiteral("✔ card\\nsecond line"));
        QCOMPARE(historyLines.value(4), DisplayText::escaped(folder));
    }

    // Everything in a card's folders is accounted for in the pairing report:
    // what was used, and what was not considered and why.
    void everyEntryOfTheCardsFoldersIsAccountedFor()
    {
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({shortClip(1), shortClip(2)}, QStringLiteral("crowded card"));
        QVERIFY(card);
        const QString contents = card->contentsPath;
        QCOMPARE(
            ::mkfifo(QFile::encodeName(contents + QStringLiteral("/VIDEO/0009AB.MXF")).constData(), 0644), 0);
        QVERIFY(QFile::link(QStringLiteral("/dev/null"), contents + QStringLiteral("/CLIP/0008AB.XML")));
        writeFile(contents + QStringLiteral("/video/0007AB.MXF"), "beside");
        writeFile(contents + QStringLiteral("/AUDIO/.DS_Store"), "finder");
        writeFile(contents + QStringLiteral("/CLIP/notes.txt"), "shot list");
        // The second clip's video keeps its name and size, not its header.
        const QString damaged = card->clips.at(1).videoPath;
        QFile video(damaged);
        QVERIFY(video.open(QIODevice::ReadWrite));
        QVERIFY(video.write(QByteArray(std::min<qint64>(video.size(), 4096), '\xab')) > 0);
        video.close();

        const CommandRun run = runCli({QStringLiteral("scan"), card->rootPath});
        QCOMPARE(run.standardError, QString());
        const QStringList lines = run.standardOutput.split(QLatin1Char('\n'));
        for (const QString& expected :
             {QStringLiteral("“%1/AUDIO/.DS_Store” was not considered: hidden (its name starts with a dot).")
                  .arg(contents),
              QStringLiteral("“%1/VIDEO/0009AB.MXF” was not considered: not a regular file.").arg(contents),
              QStringLiteral("“%1/CLIP/0008AB.XML” was not considered: not a regular file.").arg(contents),
              QStringLiteral("“%1/CLIP/notes.txt” was not considered: not a .xml file.").arg(contents),
              QStringLiteral("“%1/video” was not considered: folder `video` beside `VIDEO` was not read.")
                  .arg(contents),
              QStringLiteral(
                  "“0002AB.MXF”: header cannot be read: neither its MXF header nor ffprobe states a "
                  "UMID."),
              QStringLiteral("Status: NOT CONVERTED — No VIDEO file's UMID matches this clip's GlobalClipID; "
                             "VIDEO file 0002AB.MXF: "
                             "header cannot be read: neither its MXF header nor ffprobe states a UMID")})
            QVERIFY2(lines.contains(expected),
                     qPrintable(expected + QStringLiteral("\n—\n") + run.standardOutput));
    }
};

QTEST_GUILESS_MAIN(SafetyTest)

#include "SafetyTest.moc"
