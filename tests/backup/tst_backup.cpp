#include "BackupTests.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    int failures = 0;
    for (const auto run : {runHashingTests, runBackupEngineTests, runFileCopierTests})
        failures += run(argc, argv);
    return failures == 0 ? 0 : 1;
}
