// A network's radio environment: crowded channels and bands, the signal, and the scan itself.
#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/Channels.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/Nl80211Radio.h"
#include "platform/wifi/linux/SignalLevels.h"

namespace platform::linuxwifi {

using namespace handlers;

TestAnswer LinuxBackend::congestedChannel(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    const auto aps = scan(request);
    const auto count = accessPointsOnOrOverlappingChannel(frequenciesOf(aps), static_cast<int>(ap.frequency));
    const auto current = currentChannel(static_cast<int>(ap.frequency));
    if (!count || !current) {
        fail(servicecode::kSystem,
             QStringLiteral("the access point's frequency %1 MHz is no Wi-Fi channel").arg(ap.frequency));
    }
    auto info = Dictionary::make(
        {{QStringLiteral("CurrentChannel"), Value::record(std::make_shared<WiFiChannel>(*current))}});
    putBandChannels(*info, aps);
    return finding(isChannelCongested(*count), info);
}

TestAnswer LinuxBackend::congested2GHz(const Request& request) {
    const auto aps = scan(request);
    auto info = Dictionary::make();
    putBandChannels(*info, aps);
    return finding(is2GHzBandCongested(accessPointsOn2GHz(frequenciesOf(aps))), info);
}

TestAnswer LinuxBackend::congested5GHz(const Request& request) {
    const auto aps = scan(request);
    auto info = Dictionary::make();
    putBandChannels(*info, aps);
    return finding(is5GHzBandCongested(accessPointsOn5GHz(frequenciesOf(aps))), info);
}

TestAnswer LinuxBackend::poorSignal(const Request& request) {
    // The kernel's signal (the station's for the joined network, the BSS's last frame for another)
    // and the noise of its channel where the driver surveys it; else NetworkManager's strength.
    std::optional<RadioTarget> target;
    try {
        target = radioTarget(request, QStringLiteral("the signal"));
    } catch (const ServiceFailure& failure) {
        if (failure.error->code == servicecode::kCancelled) {
            throw;
        }
    }
    std::optional<int> rssi;
    std::optional<int> noise;
    if (target) {
        if (target->station && target->station->signal) {
            rssi = target->station->signal;
        } else if (target->bss->signalMbm) {
            rssi = dbmFromMbm(*target->bss->signalMbm);
        }
        if (rssi && target->bss->frequency) {
            noise = target->radio->noiseAt(*target->bss->frequency);
        }
    }
    if (!rssi) {
        const NMAccessPoint ap = targetAccessPoint(request);
        QString problem;
        rssi = dbmFromStrength(ap.strength, &problem);
        if (!rssi) {
            fail(servicecode::kSystem, problem);
        }
    }
    auto info = Dictionary::make({{QStringLiteral("RSSI"), Value::integer(*rssi)}});
    if (noise) {
        info->set(QStringLiteral("Noise"), Value::integer(*noise));
    }
    return finding(isSignalPoor(*rssi, noise), info);
}

TestAnswer LinuxBackend::hiddenScanResults(const Request& request) {
    auto hidden = std::make_shared<Array>();
    // The scan first: a scan that fails ends the request before the kernel is asked.
    const auto aps = scan(request);
    const auto kernel = radioIfReadable(request);
    for (const NMAccessPoint& ap : aps) {
        if (ap.ssid.isEmpty()) {
            hidden->push_back(scanResultValue(ap, kernel.get()));
        }
    }
    return finding(!hidden->empty(),
                   Dictionary::make({{QStringLiteral("ScanResults"), Value::array(hidden)}}));
}

TestAnswer LinuxBackend::noScanResults(const Request& request) {
    auto all = std::make_shared<Array>();
    const auto aps = scan(request);
    const auto kernel = radioIfReadable(request);
    for (const NMAccessPoint& ap : aps) {
        all->push_back(scanResultValue(ap, kernel.get()));
    }
    // Passing always: the scan's entries are the details every caller reads.
    return verdict(all->empty(), true,
                   Dictionary::make({{QStringLiteral("ScanResults"), Value::array(all)}}));
}

}  // namespace platform::linuxwifi
