// How much a whole profile costs the real-system backend itself: the 56 requests of a profile with
// a selected network (11 device, 29 joined-network, 16 selected-network tests) against mocked
// NetworkManager and BlueZ on a private bus, with every probe aimed at the loopback address. Prints
// the wall time of the whole run, the time spent in the probes' own round trips (pings, second
// hop, DNS, HTTP: the tests 3, 6, 8, 7, 9, 11 and 46), the rest (the backend's own cost), and the
// scans it asked NetworkManager for: once with NetworkManager's last scan within the cache age
// (60 s), once with it two minutes old.
// Run by hand: ./build/benchmarks/wifiprofile-linux-bench
#include "platform/foundation/Value.h"
#include "platform/wifi/linux/LinuxBackend.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "unittests/linux/mock/MockSystemBus.h"
#include "unittests/support/ExpectedTestOrder.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <set>

using namespace std::chrono;
using platform::DiagnosticsTestRequest;
using platform::Dictionary;
using platform::Value;
using platform::linuxwifi::LinuxBackend;
using platform::linuxwifi::LinuxBackendOptions;
using testsupport::MockSystemBus;
namespace nm = platform::linuxwifi::nm;

namespace {

qint64 bootTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<qint64>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// A joined WPA2 network among 40 access points, a saved connection, an address and a gateway on
// the loopback, and a Bluetooth adapter. The Wi-Fi device's interface is the loopback one, so the
// probes (which must leave through the Wi-Fi device) make their round trips on this machine.
QString shapeWorld(MockSystemBus& bus, qint64 lastScanAgeMs) {
    MockSystemBus::WiFiDeviceExtras extras;
    extras.lastScan = bootTimeMs() - lastScanAgeMs;
    const QString device =
        bus.addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("lo"), nm::kDeviceStateActivated, extras);
    QString home;
    for (int i = 0; i < 40; ++i) {
        const QString ssid = i == 0   ? QStringLiteral("Home")
                             : i == 1 ? QStringLiteral("Cafe")
                                      : QStringLiteral("Net %1").arg(i);
        const QString ap = bus.addAccessPoint(
            device, QStringLiteral("ap%1").arg(i), ssid,
            QStringLiteral("00:1A:2B:00:00:%1").arg(i, 2, 16, QLatin1Char('0')), 2,
            i % 2 ? 5180 + 20 * (i % 8) : 2412 + 5 * (i % 13), 300000, static_cast<uchar>(30 + i), 0x100);
        if (i == 0) {
            home = ap;
        }
    }
    const QString connection = bus.addWiFiConnection(device, QStringLiteral("home"), QStringLiteral("Home"),
                                                     QStringLiteral("wpa-psk"));
    bus.updateProperties(device, nm::kWirelessInterface,
                         {{QStringLiteral("ActiveAccessPoint"), MockSystemBus::objectPath(home)}});
    bus.addActiveConnection({device}, connection, home, QStringLiteral("activeHome"), 2);
    bus.addIp4Config(device, QStringLiteral("ip4"), {{QStringLiteral("127.0.0.1"), 8}},
                     QStringLiteral("127.0.0.1"));
    bus.addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    bus.finishScansAfter(device, 0);
    return device;
}

struct Figures {
    double totalMs = 0;
    double probesMs = 0;
    int scans = 0;
};

Figures profile(MockSystemBus& bus, std::int64_t maxScanCacheAge) {
    LinuxBackendOptions options;
    options.bus = bus.connection();
    options.targets.wanPingAddress = QStringLiteral("127.0.0.1");
    options.targets.dnsName = QStringLiteral("localhost");
    options.targets.checkUrl = QUrl(QStringLiteral("http://127.0.0.1:9/"));
    LinuxBackend backend(options, nullptr);
    const auto current =
        Dictionary::make({{QStringLiteral("MaxScanCacheAge"), Value::integer(maxScanCacheAge)}});
    const auto selected =
        Dictionary::make({{QStringLiteral("MaxScanCacheAge"), Value::integer(maxScanCacheAge)},
                          {QStringLiteral("NetworkName"), Value::string(QStringLiteral("Cafe"))}});
    static const std::set<std::int64_t> kProbes = {3, 6, 8, 7, 9, 11, 46};
    Figures figures;
    const auto start = steady_clock::now();
    auto run = [&](const std::vector<std::int64_t>& ids, const platform::DictionaryRef& configuration) {
        for (const std::int64_t id : ids) {
            const auto before = steady_clock::now();
            platform::ErrorRef error;
            backend.runDiagnosticsTests({DiagnosticsTestRequest::requestWithTestID(id, configuration)},
                                        &error);
            if (kProbes.count(id) && configuration == current) {
                figures.probesMs += duration<double, std::milli>(steady_clock::now() - before).count();
            }
        }
    };
    run(testsupport::kDeviceTestIDs, current);
    run(testsupport::kCurrentNetworkTestIDs, current);
    run(testsupport::kSelectedNetworkTestIDs, selected);
    figures.totalMs = duration<double, std::milli>(steady_clock::now() - start).count();
    figures.scans = backend.scansRequested();
    return figures;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (const auto missing = MockSystemBus::missingTools()) {
        std::fprintf(stderr, "cannot start a mocked NetworkManager here: %s\n", qPrintable(*missing));
        return 1;
    }
    for (const qint64 lastScanAgeMs : {1000, 120000}) {
        MockSystemBus::Options busOptions;
        busOptions.bluez = true;
        MockSystemBus bus(busOptions);
        shapeWorld(bus, lastScanAgeMs);
        const Figures f = profile(bus, 60);
        std::printf(
            "last scan %3llds old, MaxScanCacheAge 60: 56 requests in %7.1f ms; probes' round trips "
            "%7.1f ms; the backend's own cost %6.1f ms; scans asked for: %d\n",
            static_cast<long long>(lastScanAgeMs / 1000), f.totalMs, f.probesMs, f.totalMs - f.probesMs,
            f.scans);
    }
    return 0;
}
