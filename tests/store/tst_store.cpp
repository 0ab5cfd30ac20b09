#include "StoreTestSupport.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], concurrentWriterArgument) == 0)
        return runConcurrentWriter(app.arguments());

    int failures = 0;
    for (const auto run : {runKeyValueStoreTests, runOverlayKeyValueStoreTests, runSettingsStoreTests,
                           runConversionHistoryStoreTests, runRecentFoldersStoreTests, runDesktopTests,
                           runConcurrentStoreTests, runDamagedStoreTests})
        failures += run(argc, argv);
    return failures == 0 ? 0 : 1;
}
