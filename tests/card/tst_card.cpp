#include "CardTests.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    bool failed = false;
    for (const auto run : {runFileNameOrderTests, runScannerTests, runFolderWatchTests, runClipModelTests,
                           runMetadataParserTests, runSyntheticCardScanTests, runSpannedShotTests})
        failed = run(argc, argv) != 0 || failed;
    return failed ? 1 : 0;
}
