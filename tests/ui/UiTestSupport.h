#pragma once

#include "ScriptedDesktop.h"
#include "ui/AppContext.h"

#include <memory>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>

// The synthetic cards the window's runs convert: `card` of two short clips, and
// `longCard` of three whose second is long enough that a cancel surely finds it
// running. Written into `folder`.
struct RunCards
{
    QString card;
    QString longCard;
};
RunCards writeRunCards(const QTemporaryDir& folder);

// Once the application object exists: the style and the icons the app uses.
void prepareUiTestProcess();

// The application's state as a test owns it: stores kept in memory and a
// scripted desktop, made current for the QML loaded next.
struct UiSession
{
    std::shared_ptr<ScriptedDesktop> desktop = std::make_shared<ScriptedDesktop>();
    std::unique_ptr<AppContext> context;

    // Over stores kept in memory, or over `store`; `desktopSession` is what
    // runs tell the desktop session, none by default.
    explicit UiSession(std::shared_ptr<KeyValueStore> store = nullptr,
                       std::shared_ptr<DesktopSession> desktopSession = nullptr);
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
    explicit MainWindowFixture(std::shared_ptr<KeyValueStore> store = nullptr,
                               std::shared_ptr<DesktopSession> desktopSession = nullptr);
    ~MainWindowFixture();

    UiSession session;
    QQmlApplicationEngine engine;

    QQuickWindow* window() const;
    // The object named `name` anywhere under the window; null when there is none.
    QObject* find(const QString& name) const;
    QQuickItem* item(const QString& name) const { return qobject_cast<QQuickItem*>(find(name)); }
};
