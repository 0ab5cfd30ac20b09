#include "UiTestSupport.h"

#include "base/Workers.h"
#include "card/P2MetadataParser.h"
#include "store/MemoryKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ui/AppStyle.h"

#include <QCoreApplication>
#include <QDir>
#include <QTest>
#include <QThreadPool>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(TolvanePlugin)

RunCards writeRunCards(const QTemporaryDir& folder)
{
    SyntheticCard::CardSpec plan;
    plan.clips = {SyntheticCard::clip(1, 1), SyntheticCard::clip(2, 1)};
    RunCards cards;
    cards.card = SyntheticCard::write(plan, folder.filePath(awkwardName(QStringLiteral(" card")))).rootPath;
    SyntheticCard::ClipSpec longClip = SyntheticCard::clip(2, 1);
    longClip.frames = 450;
    plan.clips = {SyntheticCard::clip(1, 1), longClip, SyntheticCard::clip(3, 1)};
    cards.longCard = SyntheticCard::write(plan, folder.filePath(QStringLiteral("long card"))).rootPath;
    return cards;
}

void prepareUiTestProcess()
{
    applyAppStyle();
}

UiSession::UiSession(std::shared_ptr<KeyValueStore> store, std::shared_ptr<DesktopSession> desktopSession)
    : context(std::make_unique<AppContext>(store ? std::move(store) : std::make_shared<MemoryKeyValueStore>(),
                                           desktop, std::move(desktopSession)))
{
    AppContext::setCurrent(context.get());
}

UiSession::~UiSession()
{
    // A run's debug report goes on after the session that ran it, and would
    // ask the stand-in tools of whatever test comes next: it ends here.
    if (context && !QTest::qWaitFor([this] { return !context->driver()->runDebugReportPending(); }, 120000))
        qWarning("a run's debug report was still being gathered after two minutes");
    // The driver's background work ends before the stores it may reach go away.
    AppContext::setCurrent(nullptr);
    context.reset();
    for (int round = 0; round < 3; ++round) {
        Workers::pool()->waitForDone();
        QCoreApplication::processEvents();
    }
}

MainWindowFixture::MainWindowFixture(std::shared_ptr<KeyValueStore> store,
                                     std::shared_ptr<DesktopSession> desktopSession)
    : session(std::move(store), std::move(desktopSession))
{
    engine.load(QUrl(QStringLiteral("qrc:/Tolvane/Main.qml")));
}

MainWindowFixture::~MainWindowFixture()
{
    for (QObject* root : engine.rootObjects())
        delete root;
}

QQuickWindow* MainWindowFixture::window() const
{
    return engine.rootObjects().isEmpty() ? nullptr
                                          : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
}

namespace {

// Items made by a Repeater or a Loader have a visual parent but no QObject
// parent, so the search follows both.
QObject* findUnder(QQuickItem* item, const QString& name)
{
    if (item->objectName() == name)
        return item;
    if (QObject* found = item->findChild<QObject*>(name, Qt::FindDirectChildrenOnly))
        return found;
    for (QQuickItem* child : item->childItems())
        if (QObject* found = findUnder(child, name))
            return found;
    return nullptr;
}

} // namespace

QObject* MainWindowFixture::find(const QString& name) const
{
    QQuickWindow* const root = window();
    if (!root)
        return nullptr;
    if (QObject* found = root->findChild<QObject*>(name))
        return found;
    return findUnder(root->contentItem(), name);
}

void loadListedCard(ConversionViewModel& driver, const QString& folder, std::optional<QString> iconFolder)
{
    P2CardStructure structure;
    structure.rootURL = folder;
    structure.iconFolder = iconFolder;
    P2MetadataParser::PairingResult pairing;
    for (int n = 1; n <= 3; ++n) {
        P2Clip clip;
        const QString name = QStringLiteral("000%1AB").arg(n);
        clip.videoURL = QDir(folder).filePath(QStringLiteral("VIDEO/%1.MXF").arg(name));
        for (int i = 0; i < (n == 3 ? 0 : 2); ++i)
            clip.audioURLs.append(QDir(folder).filePath(QStringLiteral("AUDIO/%1%2.MXF").arg(name).arg(i)));
        clip.pairingMethod = P2Clip::PairingMethod::xmlVerified;
        clip.exportOrderNumber = n;
        pairing.clips.append(clip);
        structure.videoFiles.append(clip.videoURL);
        PairingReportEntry entry;
        entry.clipID = clip.id;
        entry.clipName = name;
        entry.included = true;
        pairing.entries.append(entry);
    }
    PairingReportEntry excluded;
    excluded.clipName = QStringLiteral("0009ZZ");
    excluded.note = QStringLiteral("no audio file carries the clip's UMID");
    pairing.entries.append(excluded);
    driver.applyScanResults(structure, pairing);
}
