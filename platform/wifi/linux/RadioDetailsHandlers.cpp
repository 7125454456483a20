// The radio details only the kernel knows, from nl80211 (or a recording of it): the beacon and DTIM
// intervals, Passpoint, the PHY modes, the base station's model, the 2.4 GHz channel width and the
// countries around.
#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/Nl80211Radio.h"
#include "platform/wifi/linux/Nl80211Sources.h"
#include "platform/wifi/linux/SsidText.h"

namespace platform::linuxwifi {

using namespace handlers;

namespace {

// Long beacon and DTIM intervals: above these.
constexpr int kLongBeaconIntervalTU = 100;
constexpr int kLongDtimPeriod = 3;
// The kernel forgets a BSS it has not heard for 30 s: the dumps follow a scan younger than this.
constexpr std::int64_t kKernelScanAgeSeconds = 25;

// A value of 0 in the station's BSS parameters means the driver has not learnt it yet.
std::optional<int> known(std::optional<int> value) {
    return value && *value > 0 ? value : std::nullopt;
}

}  // namespace

std::shared_ptr<const RadioSnapshot> LinuxBackend::radio(const Request& request, const QString& what) {
    // The dumps follow a scan the kernel still remembers. On NetworkManager's iwd backend, whose
    // access points are made up, the kernel's view is still real: the dumps are taken as they are.
    std::optional<std::int64_t> scanTime;
    if (!accessPointsAreMadeUp()) {
        Request recent = request;
        recent.maxScanCacheAge =
            std::min(request.maxScanCacheAge.value_or(kKernelScanAgeSeconds), kKernelScanAgeSeconds);
        scan(recent);
        std::lock_guard lock(mutex_);
        scanTime = cachedScanTime_;
    }
    const QString interfaceName = wifiDevice().interface;
    std::lock_guard lock(radioMutex_);
    if (cachedRadio_ && scanTime && cachedRadioScanTime_ == scanTime &&
        cachedRadio_->interface.name == interfaceName) {
        return cachedRadio_;
    }
    try {
        cachedRadio_ =
            std::make_shared<const RadioSnapshot>(takeRadioSnapshot(*options_.nl80211, interfaceName));
        cachedRadioScanTime_ = scanTime;
        return cachedRadio_;
    } catch (const Nl80211Missing& missing) {
        fail(servicecode::kNotSupported, QStringLiteral("%1 needs nl80211: %2").arg(what, missing.why));
    } catch (const Nl80211DumpError& damaged) {
        fail(servicecode::kSystem, QStringLiteral("nl80211 gave a damaged answer: %1").arg(damaged.text()));
    }
}

std::optional<QString> LinuxBackend::takeRadioDumps() {
    try {
        takeRadioSnapshot(*options_.nl80211, wifiDevice().interface);
        return std::nullopt;
    } catch (const Nl80211Missing& missing) {
        return missing.why;
    } catch (const Nl80211DumpError& damaged) {
        return damaged.text();
    } catch (const ServiceFailure& failure) {
        return failure.error->description();
    } catch (const DBusReadError& error) {
        return error.text();
    }
}

std::shared_ptr<const RadioSnapshot> LinuxBackend::radioIfReadable(const Request& request) {
    try {
        return radio(request, QString());
    } catch (const ServiceFailure& failure) {
        if (failure.error->code == servicecode::kCancelled) {
            throw;
        }
        return nullptr;
    }
}

const Nl80211Bss* LinuxBackend::bssOf(const RadioSnapshot& radio, const NMAccessPoint& ap) {
    return radio.bss(bssidFromText(ap.hwAddress));
}

LinuxBackend::RadioTarget LinuxBackend::radioTarget(const Request& request, const QString& what) {
    RadioTarget target;
    target.radio = radio(request, what);
    target.joined = !request.networkName;
    const NMAccessPoint ap = targetAccessPoint(request);
    const QByteArray bssid = bssidFromText(ap.hwAddress);
    if (target.joined) {
        target.bss = target.radio->joinedBss(bssid);
        target.station = target.radio->station(bssid);
    } else {
        // The network's strongest access point as the kernel hears it.
        for (const NMAccessPoint& candidate : scan(request)) {
            if (candidate.ssid != ap.ssid) {
                continue;
            }
            const Nl80211Bss* bss = bssOf(*target.radio, candidate);
            if (bss && (!target.bss ||
                        bss->signalMbm.value_or(INT32_MIN) > target.bss->signalMbm.value_or(INT32_MIN))) {
                target.bss = bss;
            }
        }
    }
    if (!target.bss) {
        fail(servicecode::kNotSupported,
             QStringLiteral("%1 needs the access point %2 in the kernel's scan, which does not hold it")
                 .arg(what, ap.hwAddress.toLower()));
    }
    return target;
}

TestAnswer LinuxBackend::longBeaconInterval(const Request& request) {
    const RadioTarget target = radioTarget(request, QStringLiteral("the beacon interval"));
    std::optional<int> interval = known(target.bss->beaconInterval);
    if (!interval && target.station) {
        interval = known(target.station->beaconInterval);
    }
    if (!interval) {
        fail(servicecode::kNotSupported,
             QStringLiteral("the kernel gives no beacon interval for %1").arg(bssidText(target.bss->bssid)));
    }
    return finding(*interval > kLongBeaconIntervalTU,
                   Dictionary::make({{QStringLiteral("BeaconInterval"), Value::integer(*interval)}}));
}

TestAnswer LinuxBackend::longDTIMInterval(const Request& request) {
    const RadioTarget target = radioTarget(request, QStringLiteral("the DTIM interval"));
    const auto period = dtimPeriodOf(target.station, BssElements(*target.bss));
    if (!period) {
        fail(servicecode::kNotSupported,
             QStringLiteral(
                 "neither the station's BSS parameters nor a beacon's TIM give the DTIM period of %1 "
                 "(the kernel heard no beacon of it)")
                 .arg(bssidText(target.bss->bssid)));
    }
    return finding(*period > kLongDtimPeriod,
                   Dictionary::make({{QStringLiteral("DTIMInterval"), Value::integer(*period)}}));
}

TestAnswer LinuxBackend::passpoint(const Request& request) {
    const RadioTarget target = radioTarget(request, QStringLiteral("Passpoint"));
    const BssElements elements(*target.bss);
    return finding(isPasspoint(elements.frame) || (elements.beacon && isPasspoint(*elements.beacon)));
}

TestAnswer LinuxBackend::phyModeConflict(const Request& request, const QString& mode) {
    const RadioTarget target = radioTarget(request, QStringLiteral("the %1 PHY mode").arg(mode));
    const BssElements elements(*target.bss);
    const auto band = target.bss->frequency ? bandOfFrequency(*target.bss->frequency) : std::nullopt;
    const QStringList offered = phyModesOffered(elements.frame, band);
    const std::optional<QString> link =
        target.station ? linkPhyMode(*target.station, band) : std::optional<QString>();
    const bool conflict =
        hasPhyModeConflict(mode, offered, link, target.radio->wiphy ? &*target.radio->wiphy : nullptr, band);
    auto modes = std::make_shared<Array>();
    for (const QString& offeredMode : offered) {
        modes->push_back(Value::string(offeredMode));
    }
    return finding(conflict, Dictionary::make({{QStringLiteral("SupportedPHYModes"), Value::array(modes)}}));
}

TestAnswer LinuxBackend::conflictingPHYMode11AC(const Request& request) {
    return phyModeConflict(request, QStringLiteral("802.11ac"));
}

TestAnswer LinuxBackend::conflictingPHYMode11N(const Request& request) {
    return phyModeConflict(request, QStringLiteral("802.11n"));
}

TestAnswer LinuxBackend::baseStation(const Request& request) {
    const RadioTarget target = radioTarget(request, QStringLiteral("the base station's model"));
    const auto model = baseStationModel(BssElements(*target.bss));
    if (!model) {
        return verdict(false, false);
    }
    // Named: the model is the detail, recorded only with a pass.
    return verdict(true, true,
                   Dictionary::make({{QStringLiteral("HarbexModelName"), Value::string(*model)}}));
}

TestAnswer LinuxBackend::ht40Channel(const Request& request) {
    const RadioTarget target = radioTarget(request, QStringLiteral("the HT40 channel width"));
    std::optional<Nl80211Interface> joinedInterface;
    if (target.joined && target.radio->interface.frequency == target.bss->frequency) {
        joinedInterface = target.radio->interface;
    }
    return finding(isHt40On24GHz(joinedInterface, *target.bss, BssElements(*target.bss)));
}

TestAnswer LinuxBackend::conflictingCountryCode(const Request& request) {
    // The countries of every access point around, whichever network the request is about.
    const auto snapshot = radio(request, QStringLiteral("the country code"));
    if (!snapshot->scanRead) {
        fail(servicecode::kNotSupported,
             QStringLiteral("the country code needs the kernel's scan, which nl80211 did not answer"));
    }
    const CountryFinding countries = countryFinding(*snapshot);
    auto info = Dictionary::make();
    if (countries.adopted) {
        info->set(QStringLiteral("AdoptedCountryCode"),
                  Value::string(QString::fromLatin1(*countries.adopted)));
    }
    return finding(countries.conflicting, info);
}

}  // namespace platform::linuxwifi
