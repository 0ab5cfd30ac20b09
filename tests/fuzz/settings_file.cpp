// The preferences file reader on any bytes.
#include "store/QSettingsKeyValueStore.h"

#include <cstddef>
#include <cstdint>
#include <QBuffer>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QByteArray contents(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QBuffer device(&contents);
    device.open(QIODevice::ReadOnly);
    QSettings::SettingsMap map;
    // A file that is not read leaves nothing behind.
    if (!QSettingsKeyValueStore::readJsonPreferences(device, map) && !map.isEmpty())
        __builtin_trap();
    return 0;
}
