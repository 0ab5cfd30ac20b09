#include "base/AppInfo.h"
#include "store/QSettingsKeyValueStore.h"
#include "ui/AppContext.h"
#include "ui/QtDesktop.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QtQml/QQmlExtensionPlugin>
#include <QUrl>

Q_IMPORT_QML_PLUGIN(TolvanePlugin)

int main(int argc, char* argv[])
{
    // Standard icon names resolve the same on any desktop, Breeze filling in.
    QIcon::setFallbackThemeName(QStringLiteral("breeze"));
    QGuiApplication app(argc, argv);
    QGuiApplication::setOrganizationName(QString::fromLatin1(AppInfo::organizationName));
    QGuiApplication::setApplicationName(QString::fromLatin1(AppInfo::applicationName));
    QGuiApplication::setApplicationVersion(QString::fromLatin1(AppInfo::version));
    QQuickStyle::setStyle(QStringLiteral("Fusion"));

    QQmlApplicationEngine engine;
    AppContext context(QSettingsKeyValueStore::openApplicationStore(), std::make_shared<QtDesktop>(&engine));
    AppContext::setCurrent(&context);

    // Qt 6.4 has no loadFromModule; the module's files sit under its URI in the resources.
    const QUrl mainUrl(QStringLiteral("qrc:/Tolvane/Main.qml"));
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreated, &app,
        [mainUrl](QObject* object, const QUrl& url) {
            if (!object && url == mainUrl)
                QCoreApplication::exit(1);
        },
        Qt::QueuedConnection);
    engine.load(mainUrl);
    return app.exec();
}
