#pragma once
// Picks the Wi-Fi backend of a run: the real system through NetworkManager, or the simulated
// device, as the command line asks; for "auto" the real one when NetworkManager answers on the
// system bus and lists a Wi-Fi device. Says on stderr which it took when it chose by itself.

#include "host/HostOptions.h"

#include "platform/wifi/linux/LinuxBackend.h"

#include <QString>

#include <memory>

namespace host {

// Whether this machine's Wi-Fi can be profiled through NetworkManager on the system bus; when it
// cannot, *why says what is missing and what to do, in one line.
bool realWiFiAvailable(QString* why);

// The real system's backend, once realWiFiAvailable said yes. warn prints one line of the
// backend's own complaints (a refused power switch).
// nl80211 is where its radio details come from (none: the kernel).
std::shared_ptr<platform::linuxwifi::LinuxBackend> makeLinuxBackend(
    const HostOptions& options, std::shared_ptr<platform::linuxwifi::Nl80211Source> nl80211 = nullptr);

}  // namespace host
