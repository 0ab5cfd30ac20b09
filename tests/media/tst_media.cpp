#include "MediaTests.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    bool failed = false;
    for (const auto run :
         {runParsersTests, runMXFHeaderReaderTests, runMXFCrossCheckTests, runProbeCacheTests,
          runDiscoveryTests, runFakeToolsTests, runRealToolsTests, runPictureCodingRealToolsTests})
        failed = run(argc, argv) != 0 || failed;
    return failed ? 1 : 0;
}
