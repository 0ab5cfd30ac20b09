#include "UiTests.h"
#include "UiTestSupport.h"

#include <QGuiApplication>

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    prepareUiTestProcess();
    int failures = 0;
    for (const auto run : {runPresenterTests, runWindowTests, runSheetPresentersTests, runSheetsWindowTests,
                           runDesktopSessionTests, runClipListTests})
        failures += run(argc, argv);
    return failures == 0 ? 0 : 1;
}
