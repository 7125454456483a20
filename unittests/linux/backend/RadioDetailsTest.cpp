// The radio tests of LinuxBackend answered from nl80211 dumps the tests lay out (the kernel's view
// of the radio), with NetworkManager on a mocked bus: each of 34, 35, 45, 36, 37, 33, 27 and 28 true
// and false with its details, the signal and noise of 32, the rates of 41 and the scan's dBm of 30
// and 31, a selected network's strongest BSS, and the errors where the kernel cannot tell.
#include "platform/wifi/linux/LinuxBackend.h"

#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/linux/Nl80211Radio.h"
#include "platform/wifi/linux/Nl80211Sources.h"
#include "unittests/linux/mock/MockSystemBus.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <QDir>
#include <QObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <linux/nl80211.h>

#include <chrono>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

using namespace platform;
using namespace std::chrono_literals;
using platform::linuxwifi::LinuxBackend;
using platform::linuxwifi::LinuxBackendOptions;
using platform::linuxwifi::MemoryNl80211Source;
using radiofixtures::BitrateFixture;
using radiofixtures::BssFixture;
using radiofixtures::RadioFixture;
using radiofixtures::StationFixture;
using ::testing::HasSubstr;
using testsupport::MockSystemBus;
namespace nm = platform::linuxwifi::nm;
namespace rf = radiofixtures;

namespace {

constexpr uint kActivated = 100;
constexpr uint kInfrastructure = 2;
constexpr uint kKeyMgmtPsk = 0x100;
const QString kHomeBssid = QStringLiteral("ac:de:48:00:00:01");

std::int64_t bootTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

struct Outcome {
    DiagnosticsTestResultRef result;
    ErrorRef error;

    std::int64_t errorCode() const { return error ? error->code : -1; }
    std::string errorText() const { return error ? error->text.toStdString() : std::string(); }
    bool verdict() const { return result && result->result; }
    bool passed() const { return result && result->didPass; }
    std::optional<Value> info(const char* key) const {
        if (!result || !result->info) {
            return std::nullopt;
        }
        return result->info->value(QString::fromLatin1(key));
    }
    std::optional<std::int64_t> intInfo(const char* key) const {
        const auto v = info(key);
        return v && v->isNumber() ? std::optional<std::int64_t>(v->toInt()) : std::nullopt;
    }
    QString description(const char* key) const {
        const auto v = info(key);
        return v ? v->description() : QStringLiteral("(absent)");
    }
};

DictionaryRef selecting(const char* network) {
    return Dictionary::make({{QStringLiteral("NetworkName"), Value::string(QString::fromUtf8(network))},
                             {QStringLiteral("MaxScanCacheAge"), Value::integer(60)}});
}

// The home network's elements on channel 6: 802.11b/g/n, country US.
QByteArray homeElements() {
    return rf::ssidElement("Home") + rf::supportedRatesElement("82848b960c121824") +
           rf::extendedRatesElement("30486c") + rf::dsParameterSetElement(6) + rf::countryElement("US") +
           rf::htCapabilitiesElement(0x01ad) + rf::htOperationElement(6, 0, false) + rf::rsnElement();
}

class RadioDetailsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = MockSystemBus::missingTools()) {
            GTEST_SKIP() << "needs a private D-Bus with python-dbusmock: " << missing->toStdString();
        }
        mock_ = std::make_unique<MockSystemBus>(MockSystemBus::Options{});
        MockSystemBus::WiFiDeviceExtras extras;
        extras.lastScan = bootTimeMs();
        device_ = mock_->addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated, extras);
        // The kernel's side: the same device, joined to Home on channel 6.
        radio_.interfaceName = QStringLiteral("wlp2s0");
        radio_.frequency = 2437;
        radio_.channelWidth = NL80211_CHAN_WIDTH_20;
        radio_.bands = {{NL80211_BAND_2GHZ, 0x01ef, std::nullopt, true, false},
                        {NL80211_BAND_5GHZ, 0x01ef, 0x038071b2u, true, false}};
        home_.bssid = kHomeBssid;
        home_.frequency = 2437;
        home_.associated = true;
        home_.informationElements = homeElements();
        home_.beaconElements = homeElements() + rf::timElement(1);
        home_.signalMbm = -5200;
        station_.mac = kHomeBssid;
        station_.signal = -52;
        station_.txBitrate = BitrateFixture{1300, 15, std::nullopt, std::nullopt, std::nullopt, 20};
        station_.dtimPeriod = 1;
        station_.beaconInterval = 100;
    }
    void TearDown() override {
        backend_.reset();
        mock_.reset();
    }

    // Home on NetworkManager's side, joined; frequency and max bit rate as given.
    void joinHome(uint frequency = 2437, uint maxBitrate = 144000) {
        const QString ap = addAp("ap1", QStringLiteral("Home"), kHomeBssid, frequency, maxBitrate, 80);
        mock_->updateProperties(device_, nm::kWirelessInterface,
                                {{QStringLiteral("ActiveAccessPoint"), MockSystemBus::objectPath(ap)}});
    }
    QString addAp(const char* name, const QString& ssid, const QString& bssid, uint frequency,
                  uint maxBitrate, uchar strength) {
        return mock_->addAccessPoint(device_, QString::fromLatin1(name), ssid, bssid.toUpper(),
                                     kInfrastructure, frequency, maxBitrate, strength, kKeyMgmtPsk);
    }

    // NetworkManager's last scan of the device: a long time ago, and no scan it is asked for ends.
    void neverScanned() {
        mock_->updateProperties(
            device_, nm::kWirelessInterface,
            {{QStringLiteral("LastScan"), QVariant::fromValue<qint64>(bootTimeMs() - 600000)}});
        scanTimeout_ = 300ms;
    }

    // Answers test id from the radio as the fixture stands (home and the station included).
    Outcome run(std::int64_t id, DictionaryRef configuration = nullptr) {
        if (!backend_) {
            RadioFixture radio = radio_;
            radio.bsses.insert(radio.bsses.begin(), home_);
            radio.station = station_;
            LinuxBackendOptions options;
            options.bus = mock_->connection();
            options.callTimeout = 1000ms;
            options.scanTimeout = scanTimeout_;
            options.sysfsRoot = QStringLiteral("/nonexistent-sysfs");
            options.routeTablePath = QStringLiteral("/nonexistent-route-table");
            options.nl80211 = nl80211_ ? nl80211_ : std::make_shared<MemoryNl80211Source>(radio.dumps());
            backend_ = std::make_shared<LinuxBackend>(options, &context_);
        }
        Outcome o;
        const auto results = backend_->runDiagnosticsTests(
            {DiagnosticsTestRequest::requestWithTestID(id, std::move(configuration))}, &o.error);
        if (results && results->size() == 1) {
            o.result = results->front();
        }
        return o;
    }

    QObject context_;
    std::chrono::milliseconds scanTimeout_ = 2000ms;
    std::unique_ptr<MockSystemBus> mock_;
    std::shared_ptr<LinuxBackend> backend_;
    std::shared_ptr<platform::linuxwifi::Nl80211Source> nl80211_;  // none: the fixture's dumps
    QString device_;
    RadioFixture radio_;
    BssFixture home_;
    StationFixture station_;
};

}  // namespace

TEST_F(RadioDetailsTest, TheBeaconIntervalIsTheJoinedBssOwn) {
    joinHome();
    const Outcome usual = run(34);
    EXPECT_FALSE(usual.verdict());
    EXPECT_TRUE(usual.passed());
    EXPECT_EQ(usual.intInfo("BeaconInterval"), 100);
    backend_.reset();
    home_.beaconInterval = 1024;
    const Outcome slow = run(34);
    EXPECT_TRUE(slow.verdict());
    EXPECT_FALSE(slow.passed());
    EXPECT_EQ(slow.intInfo("BeaconInterval"), 1024);
}

TEST_F(RadioDetailsTest, AnAccessPointTheKernelsScanDoesNotHoldIsNotGuessed) {
    joinHome();
    home_.bssid = QStringLiteral("ac:de:48:00:00:99");
    home_.associated = false;
    const Outcome o = run(34);
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("needs the access point ac:de:48:00:00:01 in the kernel's scan"));
}

TEST_F(RadioDetailsTest, TheJoinedBssIsTheAssociatedOneWhenItsBssidDiffers) {
    // NetworkManager names another BSSID (a roam it has not seen yet): the associated BSS counts.
    joinHome();
    home_.bssid = QStringLiteral("ac:de:48:00:00:99");
    home_.beaconInterval = 300;
    EXPECT_EQ(run(34).intInfo("BeaconInterval"), 300);
}

TEST_F(RadioDetailsTest, TheDtimPeriodComesFromTheStationElseTheBeaconsTim) {
    joinHome();
    station_.dtimPeriod = 3;
    const Outcome station = run(35);
    EXPECT_FALSE(station.verdict());
    EXPECT_EQ(station.intInfo("DTIMInterval"), 3);
    backend_.reset();
    station_.dtimPeriod.reset();
    station_.beaconInterval.reset();
    home_.beaconElements = homeElements() + rf::timElement(10);
    const Outcome beacon = run(35);
    EXPECT_TRUE(beacon.verdict());
    EXPECT_FALSE(beacon.passed());
    EXPECT_EQ(beacon.intInfo("DTIMInterval"), 10);
    backend_.reset();
    home_.beaconElements.clear();  // heard only through probe responses: no TIM
    home_.fromProbeResponse = true;
    const Outcome none = run(35);
    EXPECT_EQ(none.errorCode(), 95);
    EXPECT_THAT(none.errorText(), HasSubstr("neither the station's BSS parameters nor a beacon's TIM"));
}

TEST_F(RadioDetailsTest, PasspointNeedsInterworkingAndTheHotspot20Indication) {
    joinHome();
    home_.informationElements = homeElements() + rf::interworkingElement(2, true) + rf::hotspot20Element();
    EXPECT_TRUE(run(45).verdict());
    backend_.reset();
    home_.informationElements = homeElements() + rf::interworkingElement(2, true);
    home_.beaconElements = home_.informationElements;
    const Outcome interworkingOnly = run(45);
    EXPECT_FALSE(interworkingOnly.verdict());
    EXPECT_TRUE(interworkingOnly.passed());
}

TEST_F(RadioDetailsTest, An11acAccessPointJoinedBelow11acConflicts) {
    joinHome(5180);
    home_.frequency = 5180;
    radio_.frequency = 5180;
    home_.informationElements = rf::ssidElement("Home") + rf::supportedRatesElement("8c12982430486c") +
                                rf::dsParameterSetElement(36) + rf::htCapabilitiesElement(0x01ef) +
                                rf::vhtCapabilitiesElement(0x038071b2) + rf::rsnElement();
    home_.beaconElements = home_.informationElements + rf::timElement(1);
    station_.txBitrate = BitrateFixture{1300, 15, std::nullopt, std::nullopt, std::nullopt, 40};  // HT
    const Outcome ac = run(36);
    EXPECT_TRUE(ac.verdict());
    EXPECT_FALSE(ac.passed());
    EXPECT_EQ(ac.description("SupportedPHYModes"),
              QStringLiteral("[\"802.11a\", \"802.11n\", \"802.11ac\"]"));
    const Outcome n = run(37);
    EXPECT_FALSE(n.verdict());
    EXPECT_EQ(n.description("SupportedPHYModes"), QStringLiteral("[\"802.11a\", \"802.11n\", \"802.11ac\"]"));

    // A device without 802.11ac on 5 GHz explains the HT link: no conflict.
    backend_.reset();
    radio_.bands = {{NL80211_BAND_5GHZ, 0x01ef, std::nullopt, false, false}};
    EXPECT_FALSE(run(36).verdict());

    // The link at VHT rates: none either.
    backend_.reset();
    radio_.bands = {{NL80211_BAND_5GHZ, 0x01ef, 0x038071b2u, false, false}};
    station_.txBitrate = BitrateFixture{8667, std::nullopt, 9, std::nullopt, std::nullopt, 80};
    EXPECT_FALSE(run(36).verdict());
}

TEST_F(RadioDetailsTest, A11nAccessPointJoinedAtLegacyRatesConflicts) {
    joinHome();
    station_.txBitrate = BitrateFixture{540, std::nullopt, std::nullopt, std::nullopt, std::nullopt, 20};
    station_.rxBitrate = BitrateFixture{540, std::nullopt, std::nullopt, std::nullopt, std::nullopt, 20};
    const Outcome legacy = run(37);
    EXPECT_TRUE(legacy.verdict());
    EXPECT_EQ(legacy.description("SupportedPHYModes"),
              QStringLiteral("[\"802.11b\", \"802.11g\", \"802.11n\"]"));
    EXPECT_FALSE(run(36).verdict());  // no 802.11ac on 2.4 GHz to run below
    backend_.reset();
    station_.rxBitrate =
        BitrateFixture{1300, 15, std::nullopt, std::nullopt, std::nullopt, 20};  // HT received
    EXPECT_FALSE(run(37).verdict());
}

TEST_F(RadioDetailsTest, ALinkAtRatesTheAccessPointDoesNotAnnounceConflicts) {
    joinHome();
    home_.informationElements = rf::ssidElement("Home") + rf::supportedRatesElement("82848b960c121824");
    home_.beaconElements = home_.informationElements + rf::timElement(1);
    const Outcome n = run(37);  // HT MCS on an access point without HT Capabilities
    EXPECT_TRUE(n.verdict());
    EXPECT_EQ(n.description("SupportedPHYModes"), QStringLiteral("[\"802.11b\", \"802.11g\"]"));
}

TEST_F(RadioDetailsTest, TheBaseStationNamesItsMakerAndModelInItsWpsElement) {
    joinHome();
    home_.informationElements =
        homeElements() + rf::wpsElement({" Harbex ", "Beacon", "AX3", std::optional<QByteArray>("Hall")});
    const Outcome named = run(33);
    EXPECT_TRUE(named.verdict());
    EXPECT_TRUE(named.passed());
    EXPECT_EQ(named.description("HarbexModelName"), QStringLiteral("\"Harbex Beacon AX3\""));
    backend_.reset();
    home_.informationElements =
        homeElements() + rf::wpsElement({std::nullopt, std::nullopt, std::nullopt, "Hall"});
    const Outcome unnamed = run(33);
    EXPECT_FALSE(unnamed.verdict());
    EXPECT_FALSE(unnamed.passed());
    EXPECT_FALSE(unnamed.info("HarbexModelName"));
}

TEST_F(RadioDetailsTest, A40MHzWide24GHzLinkIsHT40) {
    joinHome();
    radio_.channelWidth = NL80211_CHAN_WIDTH_40;
    EXPECT_TRUE(run(27).verdict());
    backend_.reset();
    radio_.channelWidth = NL80211_CHAN_WIDTH_20;
    // The access point allows 40 MHz, but the link runs 20 MHz wide: the interface tells.
    home_.informationElements = homeElements() + rf::htOperationElement(6, 1, true);
    const Outcome narrow = run(27);
    EXPECT_FALSE(narrow.verdict());
    EXPECT_TRUE(narrow.passed());
}

TEST_F(RadioDetailsTest, A40MHzWide5GHzLinkIsNotHT40On24GHz) {
    joinHome(5180);
    home_.frequency = 5180;
    radio_.frequency = 5180;
    radio_.channelWidth = NL80211_CHAN_WIDTH_40;
    EXPECT_FALSE(run(27).verdict());
}

TEST_F(RadioDetailsTest, CountriesAroundThatDifferConflict) {
    joinHome();
    BssFixture neighbour;
    neighbour.bssid = QStringLiteral("ac:de:48:00:00:02");
    neighbour.frequency = 2412;
    neighbour.informationElements = rf::ssidElement("Next door") + rf::countryElement("DE");
    radio_.bsses = {neighbour};
    const Outcome two = run(28);
    EXPECT_TRUE(two.verdict());
    EXPECT_EQ(two.description("AdoptedCountryCode"), QStringLiteral("\"US\""));
    backend_.reset();
    radio_.bsses.clear();
    const Outcome agreeing = run(28);
    EXPECT_FALSE(agreeing.verdict());
    EXPECT_EQ(agreeing.description("AdoptedCountryCode"), QStringLiteral("\"US\""));
}

TEST_F(RadioDetailsTest, AnAnnouncedCountryOtherThanTheRegulatoryDomainConflicts) {
    joinHome();
    radio_.regulatory = {{"00", std::nullopt, false}, {"JP", 0, true}};  // the wiphy's own domain
    const Outcome o = run(28);
    EXPECT_TRUE(o.verdict());
    EXPECT_EQ(o.description("AdoptedCountryCode"), QStringLiteral("\"JP\""));
    backend_.reset();
    radio_.regulatory = {{"00", std::nullopt, false}};  // the world is no country
    const Outcome world = run(28);
    EXPECT_FALSE(world.verdict());
    EXPECT_EQ(world.description("AdoptedCountryCode"), QStringLiteral("\"00\""));
}

TEST_F(RadioDetailsTest, WithoutARegulatoryDumpTheAdoptedCountryIsLeftOut) {
    joinHome();
    radio_.leftOut = {platform::linuxwifi::Nl80211Dump::Regulatory};
    const Outcome o = run(28);
    ASSERT_TRUE(o.result) << o.errorText();
    EXPECT_FALSE(o.verdict());
    EXPECT_FALSE(o.info("AdoptedCountryCode"));
}

TEST_F(RadioDetailsTest, TheSignalIsTheStationsAndTheNoiseTheSurveysOfItsChannel) {
    joinHome();
    station_.signal = -60;
    radio_.survey = {{2412, -70, false, std::nullopt}, {2437, -88, true, std::nullopt}};
    const Outcome good = run(32);
    EXPECT_FALSE(good.verdict());
    EXPECT_EQ(good.intInfo("RSSI"), -60);
    EXPECT_EQ(good.intInfo("Noise"), -88);  // SNR 28 dB
    backend_.reset();
    radio_.survey = {{2437, -75, true, std::nullopt}};
    const Outcome noisy = run(32);  // SNR 15 dB
    EXPECT_TRUE(noisy.verdict());
    EXPECT_FALSE(noisy.passed());
    EXPECT_EQ(noisy.intInfo("Noise"), -75);
    backend_.reset();
    station_.signal = -80;
    radio_.survey = {{2437, std::nullopt, true, std::nullopt}};  // a driver that reports no noise
    const Outcome weak = run(32);
    EXPECT_TRUE(weak.verdict());
    EXPECT_EQ(weak.intInfo("RSSI"), -80);
    EXPECT_FALSE(weak.info("Noise"));
}

TEST_F(RadioDetailsTest, LegacyRatesComeFromTheRatesElements) {
    joinHome(2437, 54000);  // NetworkManager's MaxBitrate would say OFDM
    home_.informationElements = rf::ssidElement("Home") + rf::supportedRatesElement("82848b96");
    EXPECT_TRUE(run(41).verdict());
    backend_.reset();
    home_.informationElements = homeElements();
    EXPECT_FALSE(run(41).verdict());
}

TEST_F(RadioDetailsTest, ScanResultsCarryTheKernelsSignal) {
    joinHome();
    addAp("ap2", QString(), QStringLiteral("ac:de:48:00:00:02"), 2412, 54000, 20);
    BssFixture hidden;
    hidden.bssid = QStringLiteral("ac:de:48:00:00:02");
    hidden.frequency = 2412;
    hidden.informationElements = rf::ssidElement("");
    hidden.signalMbm = -6751;
    radio_.bsses = {hidden};
    const Outcome o = run(30);
    ASSERT_TRUE(o.result) << o.errorText();
    const auto list = o.info("ScanResults");
    ASSERT_TRUE(list && list->kind() == Value::Kind::Array);
    ASSERT_EQ(list->toArray()->size(), 1u);
    const auto entry = list->toArray()->at(0).recordAs<WiFiScanResult>();
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->rssi, -68);  // not strength 20's -88
}

TEST_F(RadioDetailsTest, ASelectedNetworkIsReadFromItsStrongestBss) {
    joinHome();
    addAp("ap2", QStringLiteral("Cafe"), QStringLiteral("ac:de:48:00:00:02"), 5180, 300000, 90);
    addAp("ap3", QStringLiteral("Cafe"), QStringLiteral("ac:de:48:00:00:03"), 5200, 300000, 30);
    BssFixture nearer;  // weaker by NetworkManager's strength, stronger as the kernel hears it now
    nearer.bssid = QStringLiteral("ac:de:48:00:00:03");
    nearer.frequency = 5200;
    nearer.beaconInterval = 200;
    nearer.informationElements = rf::ssidElement("Cafe");
    nearer.signalMbm = -4500;
    BssFixture farther = nearer;
    farther.bssid = QStringLiteral("ac:de:48:00:00:02");
    farther.frequency = 5180;
    farther.beaconInterval = 100;
    farther.signalMbm = -7000;
    radio_.bsses = {farther, nearer};
    radio_.survey = {{5200, -91, false, std::nullopt}};
    const Outcome interval = run(34, selecting("Cafe"));
    EXPECT_EQ(interval.intInfo("BeaconInterval"), 200);
    const Outcome signal = run(32, selecting("Cafe"));
    EXPECT_EQ(signal.intInfo("RSSI"), -45);
    EXPECT_EQ(signal.intInfo("Noise"), -91);
}

TEST_F(RadioDetailsTest, ADeviceNl80211DoesNotListIsNamed) {
    joinHome();
    radio_.interfaceName = QStringLiteral("wlan9");
    const Outcome o = run(27);
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(),
                HasSubstr("the HT40 channel width needs nl80211: nl80211 does not list the Wi-Fi "
                          "device wlp2s0"));
    // The signal falls back to NetworkManager's strength (80: -52 dBm).
    EXPECT_EQ(run(32).intInfo("RSSI"), -52);
}

TEST_F(RadioDetailsTest, OnAKernelWithoutNl80211TheRadioTestsSaySo) {
    if (QDir(QStringLiteral("/sys/class/ieee80211")).exists()) {
        GTEST_SKIP() << "this kernel has nl80211";
    }
    joinHome();
    nl80211_ = std::make_shared<platform::linuxwifi::KernelNl80211Source>();
    for (const auto& [id, what] :
         std::vector<std::pair<std::int64_t, std::string>>{{34, "the beacon interval"},
                                                           {35, "the DTIM interval"},
                                                           {45, "Passpoint"},
                                                           {36, "the 802.11ac PHY mode"},
                                                           {37, "the 802.11n PHY mode"},
                                                           {33, "the base station's model"},
                                                           {27, "the HT40 channel width"},
                                                           {28, "the country code"}}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 95) << id;
        EXPECT_EQ(o.errorText(), what + " needs nl80211: this kernel does not offer nl80211") << id;
    }
    const Outcome signal = run(32);
    EXPECT_EQ(signal.intInfo("RSSI"), -52);
    EXPECT_FALSE(signal.info("Noise"));
}

TEST_F(RadioDetailsTest, LegacyRatesFollowTheElementsWhereNetworkManagerWouldSayOtherwise) {
    joinHome(2437, 11000);  // MaxBitrate 11 Mb/s: NetworkManager alone would call it 802.11b
    EXPECT_FALSE(run(41).verdict());
}

TEST_F(RadioDetailsTest, ALinkRateWithoutMcsAbove54MbpsTellsNoMode) {
    // Full-MAC drivers report HT and VHT links as bare bit rates: no conflict is made of that.
    joinHome(5180);
    home_.frequency = 5180;
    radio_.frequency = 5180;
    home_.informationElements = rf::ssidElement("Home") + rf::supportedRatesElement("8c12982430486c") +
                                rf::htCapabilitiesElement(0x01ef) + rf::vhtCapabilitiesElement(0x038071b2);
    station_.txBitrate = BitrateFixture{8667, std::nullopt, std::nullopt, std::nullopt, std::nullopt, 80};
    station_.rxBitrate.reset();
    EXPECT_FALSE(run(36).verdict());
    EXPECT_FALSE(run(37).verdict());
    backend_.reset();
    station_.txBitrate = BitrateFixture{540, std::nullopt, std::nullopt, std::nullopt, std::nullopt, 20};
    EXPECT_TRUE(run(36).verdict());  // 54 Mb/s is a legacy rate
}

TEST_F(RadioDetailsTest, StationParametersOfZeroAreNotYetKnown) {
    joinHome();
    station_.dtimPeriod = 0;
    station_.beaconInterval = 0;
    home_.beaconInterval = 0;
    home_.beaconElements = homeElements() + rf::timElement(2);
    EXPECT_EQ(run(35).intInfo("DTIMInterval"), 2);
    const Outcome interval = run(34);
    EXPECT_EQ(interval.errorCode(), 95);
    EXPECT_THAT(interval.errorText(), HasSubstr("the kernel gives no beacon interval for ac:de:48:00:00:01"));
}

TEST_F(RadioDetailsTest, WithoutTheKernelsScanTheCountryIsNotGuessed) {
    joinHome();
    radio_.leftOut = {platform::linuxwifi::Nl80211Dump::Scan};
    const Outcome o = run(28);
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("needs the kernel's scan, which nl80211 did not answer"));
}

TEST_F(RadioDetailsTest, WhenNoScanEndsTheSignalAndRatesStillComeFromNetworkManager) {
    joinHome(2437, 11000);
    neverScanned();
    const Outcome radio = run(34);
    EXPECT_EQ(radio.errorCode(), 60) << radio.errorText();
    const Outcome signal = run(32);
    EXPECT_EQ(signal.intInfo("RSSI"), -52) << signal.errorText();  // strength 80
    EXPECT_TRUE(run(41).verdict());                                // MaxBitrate 11 Mb/s
}

TEST_F(RadioDetailsTest, ASelectedNetworksElementsAnswerItsTests) {
    joinHome();
    addAp("ap2", QStringLiteral("Airport"), QStringLiteral("ac:de:48:00:00:02"), 2412, 54000, 60);
    BssFixture airport;
    airport.bssid = QStringLiteral("ac:de:48:00:00:02");
    airport.frequency = 2412;
    airport.informationElements = rf::ssidElement("Airport") + rf::supportedRatesElement("82848b96") +
                                  rf::interworkingElement(2, true) + rf::hotspot20Element() +
                                  rf::wpsElement({"Harbex", "Gate", std::nullopt, std::nullopt});
    radio_.bsses = {airport};
    EXPECT_TRUE(run(45, selecting("Airport")).verdict());
    const Outcome model = run(33, selecting("Airport"));
    EXPECT_TRUE(model.passed());
    EXPECT_EQ(model.description("HarbexModelName"), QStringLiteral("\"Harbex Gate\""));
    EXPECT_TRUE(run(41, selecting("Airport")).verdict());
    // Not joined, 802.11b only: no link to run below a mode, and it announces none above.
    const Outcome n = run(37, selecting("Airport"));
    EXPECT_FALSE(n.verdict());
    EXPECT_EQ(n.description("SupportedPHYModes"), QStringLiteral("[\"802.11b\"]"));
}
