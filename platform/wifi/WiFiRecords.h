#pragma once
// Records of the Wi-Fi diagnostics service: the Wi-Fi status of the device, nearby networks found
// by a scan, ping statistics, channels and remembered network profiles. The last four travel as
// platform records inside a test answer's info dictionary.

#include "platform/foundation/Value.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

namespace platform {

// Status of the device's Wi-Fi interface; both fields are absent when it is not joined to a network.
struct WiFiStatus {
    std::optional<QString> ssidString;
    std::optional<QString> bssid;
};
using WiFiStatusRef = std::shared_ptr<const WiFiStatus>;

// What a status query answers; wifi is absent when the snapshot carries no Wi-Fi status.
struct StatusSnapshot {
    WiFiStatusRef wifi;
};
using StatusSnapshotRef = std::shared_ptr<const StatusSnapshot>;

// One access point found by a scan. A network that hides its name has no ssidString.
struct WiFiScanResult final : Record {
    std::optional<QString> ssidString;
    QString bssid;
    std::int64_t rssi = 0;
    std::optional<std::int64_t> channel;

    QString typeName() const override { return QStringLiteral("WiFiScanResult"); }
    DictionaryRef fields() const override;
};

// Statistics of a series of pings. timestamp counts seconds since 2001-01-01 00:00:00 UTC.
struct WiFiPingResult final : Record {
    std::optional<QString> interfaceName;
    std::int64_t count = 0;
    double packetLoss = 0.0;
    double min = 0.0;
    double max = 0.0;
    double avg = 0.0;
    double stddev = 0.0;
    double timestamp = 0.0;

    QString typeName() const override { return QStringLiteral("WiFiPingResult"); }
    DictionaryRef fields() const override;
};

struct WiFiChannel final : Record {
    std::int64_t channel = 0;
    std::optional<std::int64_t> band;   // 2 or 5 (GHz) where the service tells it
    std::optional<std::int64_t> width;  // MHz

    QString typeName() const override { return QStringLiteral("WiFiChannel"); }
    DictionaryRef fields() const override;
};

// The device's remembered profile of a network.
struct NetworkProfile final : Record {
    std::optional<QString> ssidString;
    std::int64_t security = 0;
    bool isPasspoint = false;
    bool isEnabled = false;
    bool isCaptive = false;
    bool isHidden = false;
    bool isMultiAP = false;
    std::optional<Date> lastJoinedTimestamp;

    QString typeName() const override { return QStringLiteral("NetworkProfile"); }
    DictionaryRef fields() const override;
};

}  // namespace platform
