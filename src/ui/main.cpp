#include "base/AppInfo.h"
#include "run/ConversionViewModel.h"
#include "run/InterruptWatcher.h"
#include "session/DBusDesktopSession.h"
#include "store/QSettingsKeyValueStore.h"
#include "ui/AppContext.h"
#include "ui/AppStyle.h"
#include "ui/QtDesktop.h"

#include <memory>
#include <optional>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QtQml/QQmlExtensionPlugin>
#include <QUrl>

Q_IMPORT_QML_PLUGIN(TolvanePlugin)

namespace {

// The card folder given as the one argument, made absolute; nothing without one.
std::optional<QString> cardArgument(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Converts a P2 camera card into one ProRes movie per clip."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("card"),
                                 QStringLiteral("A P2 card folder (its root or CONTENTS) to scan at start."),
                                 QStringLiteral("[CARD]"));
    parser.process(arguments);
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty())
        return std::nullopt;
    const QUrl url(positional.constFirst());
    const QString path = url.isLocalFile() ? url.toLocalFile() : positional.constFirst();
    return QFileInfo(path).absoluteFilePath();
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    applyAppStyle();
    QGuiApplication::setOrganizationName(QString::fromLatin1(AppInfo::organizationName));
    QGuiApplication::setApplicationName(QString::fromLatin1(AppInfo::applicationName));
    QGuiApplication::setApplicationVersion(QString::fromLatin1(AppInfo::version));
    const QString applicationId = QString::fromLatin1(AppInfo::applicationId);
    QGuiApplication::setWindowIcon(
        QIcon::fromTheme(applicationId, QIcon(QStringLiteral(":/Tolvane/icons/tolvane.svg"))));
    QGuiApplication::setDesktopFileName(applicationId);

    const std::optional<QString> card = cardArgument(app.arguments());

    auto engine = std::make_unique<QQmlApplicationEngine>();
    AppContext context(QSettingsKeyValueStore::openApplicationStore(),
                       std::make_shared<QtDesktop>(engine.get()), std::make_shared<DBusDesktopSession>());
    AppContext::setCurrent(&context);
    QObject::connect(context.session(), &SessionPresenter::quitRequested, &app, &QGuiApplication::quit,
                     Qt::QueuedConnection);
    // Logging out stops a run as "Stop and Quit" does, without asking.
    QObject::connect(&app, &QGuiApplication::commitDataRequest, context.session(),
                     &SessionPresenter::stopAndQuit);

    // Qt 6.4 has no loadFromModule; the module's files sit under its URI in the resources.
    engine->load(QUrl(QStringLiteral("qrc:/Tolvane/Main.qml")));
    if (engine->rootObjects().isEmpty())
        return 1;
    // A card named on the command line (or by a file manager's "Open With")
    // is scanned at once, as if dropped on the window.
    if (card)
        context.driver()->scan(*card);
    // A hang-up, SIGTERM or Ctrl-C (a session logging out, a system shutting
    // down) ends a backup or a run the way Cancel does, its reports and
    // history entry written, before the window closes.
    InterruptWatcher interrupts;
    QObject::connect(&interrupts, &InterruptWatcher::interrupted, context.backupFirst(),
                     &BackupFirst::endSession);
    QObject::connect(context.driver(), &ConversionViewModel::sessionEnded, &app, &QCoreApplication::quit);
    const int status = QGuiApplication::exec();
    // The window goes before the state it shows.
    engine.reset();
    return status;
}
