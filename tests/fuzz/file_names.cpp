// The file-name order on any names: it must be a consistent order, or sorting
// a card's files could give different results on different runs.
#include "card/FileSystemUtilities.h"

#include <cstddef>
#include <cstdint>

namespace {

int sign(int value)
{
    return (value > 0) - (value < 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Up to three names, separated by line feeds.
    // Sorting orders paths by their last component, so the names hold no slash.
    const QStringList names =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size))
            .replace(QLatin1Char('/'), QLatin1Char('_'))
            .split(QLatin1Char('\n'));
    const QString& a = names.at(0);
    const QString& b = names.size() > 1 ? names.at(1) : a;
    const QString& c = names.size() > 2 ? names.at(2) : b;
    using FileSystemUtilities::compareFileNames;
    if (compareFileNames(a, a) != 0)
        __builtin_trap();
    if (sign(compareFileNames(a, b)) != -sign(compareFileNames(b, a)))
        __builtin_trap();
    if (compareFileNames(a, b) <= 0 && compareFileNames(b, c) <= 0 && compareFileNames(a, c) > 0)
        __builtin_trap();
    QStringList paths = names;
    FileSystemUtilities::sortByFileName(paths);
    for (qsizetype i = 1; i < paths.size(); ++i) {
        if (compareFileNames(paths.at(i - 1), paths.at(i)) > 0)
            __builtin_trap();
    }
    return 0;
}
