#include "UiTests.h"
#include "UiTestSupport.h"

#include <QRegularExpression>
#include <QTest>

// The real main window, loaded and walked with the real driver.
class WindowTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".?"))); }

    void loadsWithoutWarnings()
    {
        MainWindowFixture fixture;
        QVERIFY(fixture.window());
        QVERIFY(QTest::qWaitForWindowExposed(fixture.window()));
        QCOMPARE(fixture.window()->title(), QStringLiteral("Tolvane"));
    }
};

int runWindowTests(int argc, char* argv[])
{
    WindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "WindowTest.moc"
