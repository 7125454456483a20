#include "platform/wifi/linux/PingStatistics.h"

#include "platform/wifi/linux/Problem.h"

#include <algorithm>
#include <cmath>

namespace platform::linuxwifi {

std::optional<PingSummary> summarizePings(int sent, const std::vector<double>& roundTripsMs,
                                          QString* problem) {
    if (sent < 0) {
        tell(problem, QStringLiteral("the number of pings sent is negative (%1)").arg(sent));
        return std::nullopt;
    }
    const auto received = static_cast<qsizetype>(roundTripsMs.size());
    if (received > sent) {
        tell(problem, QStringLiteral("%1 replies came back for %2 pings sent").arg(received).arg(sent));
        return std::nullopt;
    }
    for (std::size_t i = 0; i < roundTripsMs.size(); ++i) {
        const double time = roundTripsMs[i];
        if (!std::isfinite(time) || time < 0.0) {
            tell(problem, QStringLiteral("round-trip time %1 (reply %2) is not a time of zero or more")
                              .arg(time)
                              .arg(i + 1));
            return std::nullopt;
        }
    }

    PingSummary summary;
    if (sent > 0) {
        summary.packetLoss = 100.0 * static_cast<double>(sent - received) / sent;
    }
    if (received == 0) {
        return summary;
    }
    const auto [lowest, highest] = std::minmax_element(roundTripsMs.begin(), roundTripsMs.end());
    summary.min = *lowest;
    summary.max = *highest;
    double sum = 0.0;
    for (double time : roundTripsMs) {
        sum += time;
    }
    summary.avg = sum / received;
    double squares = 0.0;
    for (double time : roundTripsMs) {
        squares += (time - summary.avg) * (time - summary.avg);
    }
    summary.stddev = std::sqrt(squares / received);
    return summary;
}

std::optional<WiFiPingResult> pingResult(const std::optional<QString>& interfaceName, int sent,
                                         const std::vector<double>& roundTripsMs, const Date& madeAt,
                                         QString* problem) {
    const auto summary = summarizePings(sent, roundTripsMs, problem);
    if (!summary) {
        return std::nullopt;
    }
    WiFiPingResult result;
    result.interfaceName = interfaceName;
    result.count = sent;
    result.packetLoss = summary->packetLoss;
    result.min = summary->min;
    result.max = summary->max;
    result.avg = summary->avg;
    result.stddev = summary->stddev;
    result.timestamp = madeAt.secondsSinceReferenceDate();
    return result;
}

}  // namespace platform::linuxwifi
