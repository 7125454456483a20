#include "platform/wifi/linux/SignalLevels.h"

#include <cmath>

namespace platform::linuxwifi {

std::optional<int> dbmFromStrength(int strength, QString* problem) {
    if (strength < 0 || strength > 100) {
        if (problem) {
            *problem = QStringLiteral("signal strength %1 is outside 0 to 100").arg(strength);
        }
        return std::nullopt;
    }
    // In tenths of a dBm, so that the mapping is exact before the one rounding step.
    const int tenths = -1000 + 6 * strength;
    return static_cast<int>(std::lround(tenths / 10.0));
}

bool isSignalPoor(int rssiDbm, std::optional<int> noiseDbm) {
    if (rssiDbm < kPoorSignalBelowDbm) {
        return true;
    }
    return noiseDbm && rssiDbm - *noiseDbm < kPoorSnrBelowDb;
}

}  // namespace platform::linuxwifi
