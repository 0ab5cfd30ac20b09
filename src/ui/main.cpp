#include "base/AppInfo.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QUrl>

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setOrganizationName(QString::fromLatin1(AppInfo::organizationName));
    QGuiApplication::setApplicationName(QString::fromLatin1(AppInfo::applicationName));
    QGuiApplication::setApplicationVersion(QString::fromLatin1(AppInfo::version));
    QQuickStyle::setStyle(QStringLiteral("Fusion"));

    QQmlApplicationEngine engine;
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
