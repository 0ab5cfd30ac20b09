#include "UiTestSupport.h"

#include "store/MemoryKeyValueStore.h"

#include <QCoreApplication>
#include <QIcon>
#include <QQuickStyle>
#include <QThreadPool>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(TolvanePlugin)

void prepareUiTestProcess()
{
    QIcon::setFallbackThemeName(QStringLiteral("breeze"));
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
}

UiSession::UiSession()
    : context(std::make_unique<AppContext>(std::make_shared<MemoryKeyValueStore>(), desktop))
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

MainWindowFixture::MainWindowFixture()
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

QObject* MainWindowFixture::find(const QString& name) const
{
    QQuickWindow* const root = window();
    if (!root)
        return nullptr;
    if (QObject* found = root->findChild<QObject*>(name))
        return found;
    return root->contentItem()->findChild<QObject*>(name);
}
