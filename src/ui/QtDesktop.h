#pragma once

#include "store/Desktop.h"

#include <QPointer>
#include <QVariantMap>

class QQmlApplicationEngine;
class QQuickWindow;

// The desktop of the app: folder and save panels and alerts are Qt Quick
// dialogs opened over the main window and awaited, never run in a nested event
// loop; a reveal asks the freedesktop file manager (org.freedesktop.FileManager1)
// to show the items selected, and opens their folder when no file manager
// answers on the session bus.
class QtDesktop final : public Desktop
{
public:
    // Dialogs are made by `engine` and open over its first root window.
    explicit QtDesktop(QQmlApplicationEngine* engine);

    QCoro::Task<std::optional<QString>> chooseFolder(QString prompt, QString message) override;
    QCoro::Task<std::optional<QString>> chooseSaveLocation(QString title, QString message,
                                                           QString proposedName, QString directory) override;
    QCoro::Task<int> showAlert(AlertStyle style, QString message, QString informativeText,
                               QStringList buttons) override;
    void revealInFileManager(QStringList paths) override;
    void openFile(QString path) override;

private:
    // Opens the dialog that `qml` describes, with `properties` set, and gives
    // back what it reports when it closes (nothing when it cannot be made).
    QCoro::Task<QVariant> runDialog(QByteArray qml, QVariantMap properties);
    QQuickWindow* window() const;

    QPointer<QQmlApplicationEngine> m_engine;
};
