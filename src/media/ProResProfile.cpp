#include "media/ProResProfile.h"

namespace ProResProfiles {

std::optional<ProResProfile> fromRawValue(int value)
{
    for (const ProResProfile profile : all) {
        if (rawValue(profile) == value)
            return profile;
    }
    return std::nullopt;
}

QString label(ProResProfile profile)
{
    switch (profile) {
    case ProResProfile::proxy:
        return QStringLiteral("ProRes 422 Proxy");
    case ProResProfile::standard:
        return QStringLiteral("ProRes 422");
    case ProResProfile::hq:
        return QStringLiteral("ProRes 422 HQ");
    }
    Q_UNREACHABLE();
}

} // namespace ProResProfiles
