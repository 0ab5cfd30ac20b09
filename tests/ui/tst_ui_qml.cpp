#include "UiTestSupport.h"

#include <QObject>
#include <QQmlEngine>
#include <QtQuickTest/quicktest.h>

// Each QML test file runs against its own application state: memory-backed
// stores and a scripted desktop, made current before its engine loads.
class QmlTestSetup : public QObject
{
    Q_OBJECT

public slots:
    void applicationAvailable() { prepareUiTestProcess(); }
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        // The Tolvane module lives at qrc:/Tolvane.
        engine->addImportPath(QStringLiteral("qrc:/"));
        m_session = std::make_unique<UiSession>();
    }
    void cleanupTestCase() { m_session.reset(); }

private:
    std::unique_ptr<UiSession> m_session;
};

QUICK_TEST_MAIN_WITH_SETUP(tolvane_ui_qml, QmlTestSetup)

#include "tst_ui_qml.moc"
