#include "UiTestSupport.h"

#include <QObject>
#include <QQmlEngine>
#include <QtQuickTest/quicktest.h>

// What the QML tests may ask of the application state beyond what App offers,
// as the test-only singleton TolvaneTest.Fixture.
class QmlTestFixture : public QObject
{
    Q_OBJECT

public:
    explicit QmlTestFixture(UiSession& session) : m_session(session) {}

    // Gives App.driver three clips and one excluded, as a scan would.
    Q_INVOKABLE void loadListedCard()
    {
        ::loadListedCard(*m_session.context->driver(), QStringLiteral("/card"));
    }

private:
    UiSession& m_session;
};

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
        m_fixture = std::make_unique<QmlTestFixture>(*m_session);
        qmlRegisterSingletonInstance("TolvaneTest", 1, 0, "Fixture", m_fixture.get());
    }
    void cleanupTestCase()
    {
        m_fixture.reset();
        m_session.reset();
    }

private:
    std::unique_ptr<UiSession> m_session;
    std::unique_ptr<QmlTestFixture> m_fixture;
};

QUICK_TEST_MAIN_WITH_SETUP(tolvane_ui_qml, QmlTestSetup)

#include "tst_ui_qml.moc"
