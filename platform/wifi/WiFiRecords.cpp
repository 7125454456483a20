#include "platform/wifi/WiFiRecords.h"

namespace platform {

namespace {

void setIfPresent(Dictionary& d, const QString& key, const std::optional<QString>& s) {
    if (s) {
        d.set(key, Value::string(*s));
    }
}

void setIfPresent(Dictionary& d, const QString& key, const std::optional<std::int64_t>& i) {
    if (i) {
        d.set(key, Value::integer(*i));
    }
}

}  // namespace

DictionaryRef WiFiScanResult::fields() const {
    auto d = Dictionary::make({{"bssid", Value::string(bssid)}, {"rssi", Value::integer(rssi)}});
    setIfPresent(*d, "ssidString", ssidString);
    setIfPresent(*d, "channel", channel);
    return d;
}

DictionaryRef WiFiPingResult::fields() const {
    auto d = Dictionary::make({{"count", Value::integer(count)},
                               {"packetLoss", Value::number(packetLoss)},
                               {"min", Value::number(min)},
                               {"max", Value::number(max)},
                               {"avg", Value::number(avg)},
                               {"stddev", Value::number(stddev)},
                               {"timestamp", Value::number(timestamp)}});
    setIfPresent(*d, "interfaceName", interfaceName);
    return d;
}

DictionaryRef WiFiChannel::fields() const {
    auto d = Dictionary::make({{"channel", Value::integer(channel)}});
    setIfPresent(*d, "band", band);
    setIfPresent(*d, "width", width);
    return d;
}

DictionaryRef NetworkProfile::fields() const {
    auto d = Dictionary::make({{"security", Value::integer(security)},
                               {"isPasspoint", Value::boolean(isPasspoint)},
                               {"isEnabled", Value::boolean(isEnabled)},
                               {"isCaptive", Value::boolean(isCaptive)},
                               {"isHidden", Value::boolean(isHidden)},
                               {"isMultiAP", Value::boolean(isMultiAP)}});
    setIfPresent(*d, "ssidString", ssidString);
    if (lastJoinedTimestamp) {
        d->set("lastJoinedTimestamp", Value::date(*lastJoinedTimestamp));
    }
    return d;
}

}  // namespace platform
