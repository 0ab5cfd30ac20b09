#include "RunNamingTests.h"

#include <ctime>
#include <QCoreApplication>

int main(int argc, char* argv[])
{
    // Set before anything reads the clock, so every local time below is known.
    qputenv("TZ", testTimeZone);
    tzset();
    QCoreApplication app(argc, argv);

    int failures = 0;
    for (const auto run : {runOutputNamingTests, runLogWriterTests})
        failures += run(argc, argv);
    return failures == 0 ? 0 : 1;
}
