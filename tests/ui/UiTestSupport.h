#pragma once

#include "ScriptedDesktop.h"
#include "ui/AppContext.h"

#include <memory>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>

// Once the application object exists: the style and the icons the app uses.
void prepareUiTestProcess();

// The application's state as a test owns it: stores kept in memory and a
// scripted desktop, made current for the QML loaded next.
struct UiSession
{
    std::shared_ptr<ScriptedDesktop> desktop = std::make_shared<ScriptedDesktop>();
    std::unique_ptr<AppContext> context;

    UiSession();
    ~UiSession();
};

// Three clips of `folder` (the third without audio) and one clip pairing left
// out, as a scan would give them, without files; ICON bitmaps come from
// `iconFolder` when given.
void loadListedCard(ConversionViewModel& driver, const QString& folder,
                    std::optional<QString> iconFolder = {});

// The real main window over a UiSession, shown offscreen.
class MainWindowFixture
{
public:
    MainWindowFixture();
    ~MainWindowFixture();

    UiSession session;
    QQmlApplicationEngine engine;

    QQuickWindow* window() const;
    // The object named `name` anywhere under the window; null when there is none.
    QObject* find(const QString& name) const;
    QQuickItem* item(const QString& name) const { return qobject_cast<QQuickItem*>(find(name)); }
};
