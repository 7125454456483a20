#pragma once
// The report's plots, drawn as inline SVG by hand (no chart library, no script): the access points
// of a band by channel and signal, the signal of the joined and the selected network against the
// good / fair / poor bands, and the gateway and internet ping statistics.
//
// Everything a plot shows of a profile is text made safe here: a network name can neither end an
// element nor turn the text around it, and a number that is not finite never becomes a coordinate.
// The plots take plain values; HtmlReport reads them out of the profile.

#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace report {

// Text from a profile made safe to show: C0 and C1 controls, bidirectional embeddings, overrides,
// isolates and marks, line and paragraph separators, invisible zero-width characters and halves of
// surrogate pairs are written as a visible "⟨U+202E⟩", so that a reader sees them instead of
// the text obeying them. Tab stays as it is.
QString visibleText(const QString& s);
// The characters visibleText writes as their code point.
bool isShownAsCodePoint(char32_t c);
// visibleText, then escaped for HTML and SVG text and attribute values (&, <, >, " and ').
QString escapedText(const QString& s);
// A number as a report shows it: integers without a fraction, others with up to the given decimals
// and no trailing zeros; NaN and the infinities in words.
QString numberText(double value, int decimals = 2);

namespace svg {

// The signal bands of the signal plot and of the link's wording, in dBm.
inline constexpr double kGoodSignalFrom = -60.0;   // at or above: good
inline constexpr double kPoorSignalBelow = -75.0;  // below: poor; in between: fair

enum class SignalQuality { Good, Fair, Poor };
SignalQuality signalQuality(double rssi);

enum class Band { GHz2, GHz5 };
// The band a channel number belongs to: 1-14 is 2.4 GHz, 32-177 is 5 GHz; other numbers (the 6 GHz
// band numbers its channels from 1 too, but a scan entry says no band) belong to neither plot.
std::optional<Band> bandOfChannel(std::int64_t channel);

struct AccessPoint {
    enum class Mark { None, JoinedNetwork, Joined, Selected };
    std::optional<QString> name;  // absent for a hidden network
    QString bssid;
    std::int64_t rssi = 0;  // dBm
    std::int64_t channel = 0;
    int widthMHz = 20;
    Mark mark = Mark::None;
};

struct ChannelPlot {
    QString svg;
    std::size_t drawn = 0;  // shapes drawn
    std::size_t total = 0;  // access points of the band
};

// At most this many access points of a band are drawn as shapes: the joined and selected ones and
// then the strongest. Every access point of the band is counted in the row under the axis.
inline constexpr std::size_t kMaxDrawnAccessPoints = 120;

// The access points of one band (entries of another band are left out) as shapes at their channel,
// as high as their signal and as wide as their channel. id names the SVG element.
ChannelPlot channelPlot(Band band, const std::vector<AccessPoint>& accessPoints, const QString& id);

struct SignalRow {
    QString label;  // "Joined network: Home"
    std::optional<double> rssi;
    std::optional<double> noise;
    bool selected = false;
};
QString signalPlot(const std::vector<SignalRow>& rows, const QString& id);

struct PingRow {
    QString label;  // "Gateway (LAN)"
    std::optional<double> min, avg, max, stddev;
    std::optional<double> loss;  // per cent
};
QString pingPlot(const std::vector<PingRow>& rows, const QString& id);

}  // namespace svg
}  // namespace report
