#pragma once

#include <array>
#include <optional>
#include <QString>

// The ProRes flavours offered. The raw value is both the stored setting and the
// encoder's own profile number, which is why 1 is skipped.
enum class ProResProfile { proxy = 0, standard = 2, hq = 3 };

namespace ProResProfiles {

// In the order the settings offer them.
inline constexpr std::array<ProResProfile, 3> all{ProResProfile::proxy, ProResProfile::standard,
                                                  ProResProfile::hq};

constexpr int rawValue(ProResProfile profile)
{
    return static_cast<int>(profile);
}

// No profile for a stored value other than 0, 2 or 3.
std::optional<ProResProfile> fromRawValue(int rawValue);

QString label(ProResProfile profile);

} // namespace ProResProfiles
