#pragma once
// Device capability look-ups (for example "wapi"), answered by the installed device backend.

#include <QString>

#include <functional>

namespace platform {

bool queryDeviceCapability(const QString& key);

// Installed by the backend that describes the device; without one every capability is absent.
void setDeviceCapabilityProvider(std::function<bool(const QString& key)> provider);

}  // namespace platform
