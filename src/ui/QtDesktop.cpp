#include "ui/QtDesktop.h"

#include <memory>
#include <QCoro/QCoroSignal>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QUrl>

namespace {

// The dialogs report through this object: a QML signal cannot be awaited from
// C++, but a call to `finish` from the dialog's handlers can.
class DialogReply : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void finish(const QVariant& result) { emit finished(result); }

signals:
    void finished(const QVariant& result);
};

struct DeleteLater
{
    void operator()(QObject* object) const { object->deleteLater(); }
};

const QByteArray folderDialogQml = R"qml(
import QtQuick
import QtQuick.Dialogs
FolderDialog {
    property QtObject reply
    onAccepted: reply.finish(selectedFolder)
    onRejected: reply.finish(undefined)
}
)qml";

const QByteArray saveDialogQml = R"qml(
import QtQuick
import QtQuick.Dialogs
FileDialog {
    property QtObject reply
    fileMode: FileDialog.SaveFile
    nameFilters: ["Plain text (*.txt)"]
    onAccepted: reply.finish(selectedFile)
    onRejected: reply.finish(undefined)
}
)qml";

// Qt Quick's MessageDialog offers only the standard buttons, and alerts need
// their own titles ("Reset", "Cancel"), so alerts are a plain modal dialog.
const QByteArray alertDialogQml = R"qml(
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
Dialog {
    id: alert
    property QtObject reply
    property string message
    property string informativeText
    property bool warning
    property var buttonTitles: []
    modal: true
    closePolicy: Popup.NoAutoClose
    anchors.centerIn: parent
    // The parent is set with the other initial properties, after this is first evaluated.
    width: parent ? Math.min(parent.width - 48, 440) : 440
    contentItem: RowLayout {
        spacing: 16
        Label {
            visible: alert.warning
            text: "\u26A0"
            font.pixelSize: 32
            Layout.alignment: Qt.AlignTop
        }
        ColumnLayout {
            spacing: 8
            Layout.fillWidth: true
            Label {
                text: alert.message
                font.bold: true
                wrapMode: Text.Wrap
                Layout.fillWidth: true
            }
            Label {
                visible: alert.informativeText.length > 0
                text: alert.informativeText
                wrapMode: Text.Wrap
                Layout.fillWidth: true
            }
        }
    }
    footer: RowLayout {
        layoutDirection: Qt.RightToLeft
        spacing: 8
        Repeater {
            model: alert.buttonTitles
            Button {
                required property int index
                required property string modelData
                text: modelData
                highlighted: index === 0
                Layout.margins: 12
                onClicked: {
                    alert.close()
                    alert.reply.finish(index)
                }
            }
        }
    }
}
)qml";

std::optional<QString> localPath(const QVariant& result)
{
    const QUrl url = result.toUrl();
    if (!url.isLocalFile())
        return std::nullopt;
    return url.toLocalFile();
}

// Opens the folders that hold `paths`, or the folders themselves.
void openFolders(const QStringList& paths)
{
    QStringList folders;
    for (const QString& path : paths) {
        const QFileInfo item(path);
        const QString folder = item.isDir() ? item.absoluteFilePath() : item.absolutePath();
        if (!folders.contains(folder))
            folders.append(folder);
    }
    for (const QString& folder : folders)
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

// The property maps are built outside the coroutines: g++ 12 cannot keep the
// string-literal arrays of QStringLiteral in a coroutine frame.
QVariantMap folderDialogProperties(const QString& prompt, const QString& message)
{
    return {{QStringLiteral("title"), message}, {QStringLiteral("acceptLabel"), prompt}};
}

QVariantMap saveDialogProperties(const QString& title, const QString& proposedName, const QString& directory)
{
    // A Qt Quick file dialog has a title but no separate message line; the
    // title names the command, so it is the one shown.
    if (directory.isEmpty())
        return {{QStringLiteral("title"), title},
                {QStringLiteral("selectedFile"), QUrl::fromLocalFile(proposedName)}};
    return {{QStringLiteral("title"), title},
            {QStringLiteral("currentFolder"), QUrl::fromLocalFile(directory)},
            {QStringLiteral("selectedFile"), QUrl::fromLocalFile(QDir(directory).filePath(proposedName))}};
}

QVariantMap alertProperties(AlertStyle style, const QString& message, const QString& informativeText,
                            const QStringList& buttons)
{
    return {{QStringLiteral("message"), message},
            {QStringLiteral("informativeText"), informativeText},
            {QStringLiteral("warning"), style != AlertStyle::informational},
            {QStringLiteral("buttonTitles"), buttons}};
}

// Makes the dialog over `window`, reporting to `reply`; nothing when the QML
// cannot be made into one.
QObject* createDialog(QQmlEngine* engine, const QByteArray& qml, QVariantMap properties, QQuickWindow* window,
                      DialogReply* reply)
{
    QQmlComponent component(engine);
    component.setData(qml, QUrl());
    properties.insert(QStringLiteral("reply"), QVariant::fromValue(static_cast<QObject*>(reply)));
    // Popups sit inside the window's scene; the Qt Quick dialogs are windows of their own.
    if (qml == alertDialogQml)
        properties.insert(QStringLiteral("parent"), QVariant::fromValue(window->contentItem()));
    else
        properties.insert(QStringLiteral("parentWindow"), QVariant::fromValue(window));
    QObject* const dialog = component.createWithInitialProperties(properties);
    if (!dialog)
        qWarning("Cannot open a dialog: %s", qPrintable(component.errorString()));
    return dialog;
}

} // namespace

QtDesktop::QtDesktop(QQmlApplicationEngine* engine) : m_engine(engine) {}

QCoro::Task<std::optional<QString>> QtDesktop::chooseFolder(QString prompt, QString message)
{
    co_return localPath(co_await runDialog(folderDialogQml, folderDialogProperties(prompt, message)));
}

QCoro::Task<std::optional<QString>> QtDesktop::chooseSaveLocation(QString title, QString,
                                                                  QString proposedName, QString directory)
{
    co_return localPath(
        co_await runDialog(saveDialogQml, saveDialogProperties(title, proposedName, directory)));
}

QCoro::Task<int> QtDesktop::showAlert(AlertStyle style, QString message, QString informativeText,
                                      QStringList buttons)
{
    const QVariant chosen =
        co_await runDialog(alertDialogQml, alertProperties(style, message, informativeText, buttons));
    // An alert that could not be shown is dismissed, never confirmed.
    co_return chosen.isValid() ? chosen.toInt() : static_cast<int>(buttons.size()) - 1;
}

QCoro::Task<QVariant> QtDesktop::runDialog(QByteArray qml, QVariantMap properties)
{
    QQuickWindow* const parentWindow = window();
    if (!m_engine || !parentWindow)
        co_return QVariant();
    // The dialog reports from inside its own signal handler, so neither the
    // reply nor the dialog may be deleted before that handler has returned.
    const std::unique_ptr<DialogReply, DeleteLater> reply(new DialogReply);
    const std::unique_ptr<QObject, DeleteLater> dialog(
        createDialog(m_engine, qml, std::move(properties), parentWindow, reply.get()));
    if (!dialog)
        co_return QVariant();
    QMetaObject::invokeMethod(dialog.get(), "open");
    // A dialog whose implementation is missing stays hidden and would never report.
    if (!dialog->property("visible").toBool()) {
        qWarning("A dialog could not be shown.");
        co_return QVariant();
    }
    co_return co_await qCoro(reply.get(), &DialogReply::finished);
}

QQuickWindow* QtDesktop::window() const
{
    if (!m_engine || m_engine->rootObjects().isEmpty())
        return nullptr;
    return qobject_cast<QQuickWindow*>(m_engine->rootObjects().constFirst());
}

void QtDesktop::revealInFileManager(QStringList paths)
{
    if (paths.isEmpty())
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolders(paths);
        return;
    }
    QStringList uris;
    for (const QString& path : paths)
        uris.append(QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [paths](QDBusPendingCallWatcher* finished) {
        if (finished->isError())
            openFolders(paths);
        finished->deleteLater();
    });
}

void QtDesktop::openFile(QString path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

#include "QtDesktop.moc"
