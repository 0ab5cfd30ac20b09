#include "UiTestSupport.h"

#include "store/MemoryKeyValueStore.h"
#include "ui/AppStyle.h"

#include <QCoreApplication>
#include <QThreadPool>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(TolvanePlugin)

void prepareUiTestProcess()
{
    applyAppStyle();
}

UiSession::UiSession(std::shared_ptr<DesktopSession> desktopSession)
    : context(std::make_unique<AppContext>(std::make_shared<MemoryKeyValueStore>(), desktop,
                                           std::move(desktopSession)))
{
    AppContext::setCurrent(context.get());
}

UiSession::~UiSession()
{
    // The driver's background work ends before the stores it may reach go away.
    AppContext::setCurrent(nullptr);
    context.reset();
    for (int round = 0; round < 3; ++round) {
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
    }
}

MainWindowFixture::MainWindowFixture(std::shared_ptr<DesktopSession> desktopSession)
    : session(std::move(desktopSession))
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
