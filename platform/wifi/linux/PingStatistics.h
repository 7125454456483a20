#pragma once
// Statistics of a series of pings (tests 3 Ping LAN and 6 Ping WAN), as the ping program reports
// them: loss and round-trip times.

#include "platform/foundation/Value.h"
#include "platform/wifi/WiFiRecords.h"

#include <QString>

#include <optional>
#include <vector>

namespace platform::linuxwifi {

// Loss in percent (0 to 100) and round-trip times in milliseconds.
struct PingSummary {
    double packetLoss = 0.0;
    double min = 0.0;
    double max = 0.0;
    double avg = 0.0;
    double stddev = 0.0;  // population standard deviation, as ping's "mdev"
};

// The summary of `sent` echo requests whose replies came back after the given round-trip times
// (one entry per reply). Loss is the share of requests without a reply; with no reply at all,
// loss is 100 and every time is 0. Nothing sent is no loss: every value is 0.
// Absent, with the reason in *problem when given, when sent is negative, when there are more
// replies than requests, or when a round-trip time is negative, infinite or NaN.
std::optional<PingSummary> summarizePings(int sent, const std::vector<double>& roundTripsMs,
                                          QString* problem = nullptr);

// The WiFiPingResult record of such a series: count = sent, the summary's values, the interface
// that sent the pings (absent when not known) and when they were made. Absent on the same bad
// input as summarizePings.
std::optional<WiFiPingResult> pingResult(const std::optional<QString>& interfaceName, int sent,
                                         const std::vector<double>& roundTripsMs, const Date& madeAt,
                                         QString* problem = nullptr);

}  // namespace platform::linuxwifi
