// The information-element reader: every element kind, well-formed and malformed, built with the
// radio fixtures' element builders; the PHY modes and Passpoint helpers; and agreement with
// Wireshark's decoding of real beacons and probe responses where those captures are present next
// to the repository.
#include "platform/wifi/linux/InformationElements.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <iostream>

using namespace platform::linuxwifi;
using radiofixtures::element;
using radiofixtures::htCapabilitiesElement;
using radiofixtures::wpsAttribute;

namespace {

QByteArray hex(const char* text) {
    return QByteArray::fromHex(QByteArray(text));
}

QByteArray zeros(int n) {
    return QByteArray(n, '\0');
}

// HT Operation: primary channel, then the first info byte (secondary offset and STA width) as given,
// so that the tests below check where the reader finds each bit.
QByteArray htOperation(int primary, int infoByte) {
    QByteArray body;
    body.append(static_cast<char>(primary));
    body.append(static_cast<char>(infoByte));
    return element(ie::kHtOperation, body + zeros(20));
}

const QByteArray kRates = element(ie::kSupportedRates, hex("82848b960c121824"));
const QByteArray kExtendedRates = element(ie::kExtendedSupportedRates, hex("3048606c"));
// RSN: version 1, group CCMP, pairwise CCMP and TKIP, AKM PSK and SAE, capabilities MFP required
// and capable.
const QByteArray kRsn = element(ie::kRsn, hex("0100"
                                              "000fac04"
                                              "0200000fac04000fac02"
                                              "0200000fac02000fac08"
                                              "c000"));
// WPA: version 1, group TKIP, pairwise TKIP, AKM PSK.
const QByteArray kWpa = element(ie::kVendorSpecific, hex("0050f201"
                                                         "0100"
                                                         "0050f202"
                                                         "01000050f202"
                                                         "01000050f202"));

bool mentions(const QStringList& problems, const QString& text) {
    for (const QString& p : problems) {
        if (p.contains(text)) {
            return true;
        }
    }
    return false;
}

}  // namespace

TEST(InformationElements, EmptyInputHoldsNothing) {
    const ParsedElements p = parseInformationElements(QByteArray());
    EXPECT_TRUE(p.elements.empty());
    EXPECT_TRUE(p.problems.isEmpty());
    EXPECT_FALSE(p.ssid.has_value());
    EXPECT_FALSE(p.rsn.has_value());
    EXPECT_TRUE(phyModesOffered(p).isEmpty());
    EXPECT_FALSE(isPasspoint(p));
}

TEST(InformationElements, ListsEveryElementInOrderWithOffsetsAndBodies) {
    const QByteArray bytes = element(ie::kSsid, "home") + element(42, hex("0a")) +
                             element(ie::kExtension, hex("23aabb")) + element(ie::kDsParameterSet, hex("06"));
    const ParsedElements p = parseInformationElements(bytes);
    ASSERT_EQ(p.elements.size(), 4u);
    EXPECT_EQ(p.elements[0], (InformationElement{0, std::nullopt, 0, "home"}));
    EXPECT_EQ(p.elements[1], (InformationElement{42, std::nullopt, 6, hex("0a")}));
    EXPECT_EQ(p.elements[2], (InformationElement{255, 35, 9, hex("23aabb")}));
    EXPECT_EQ(p.elements[3], (InformationElement{3, std::nullopt, 14, hex("06")}));
    EXPECT_TRUE(p.problems.isEmpty()) << p.problems.join('\n').toStdString();
}

TEST(InformationElements, SsidIsRawBytesAndMayBeEmpty) {
    const QByteArray gbk = hex("b2e2cad4");
    EXPECT_EQ(parseInformationElements(element(ie::kSsid, gbk)).ssid, gbk);
    const ParsedElements hidden = parseInformationElements(element(ie::kSsid, {}));
    ASSERT_TRUE(hidden.ssid.has_value());
    EXPECT_TRUE(hidden.ssid->isEmpty());
    EXPECT_TRUE(hidden.problems.isEmpty());
    EXPECT_FALSE(parseInformationElements(element(ie::kDsParameterSet, hex("01"))).ssid.has_value());
}

TEST(InformationElements, RatesKeepTheBasicBit) {
    const ParsedElements p = parseInformationElements(kRates + kExtendedRates);
    EXPECT_EQ(p.supportedRates, hex("82848b960c121824"));
    EXPECT_EQ(p.extendedRates, hex("3048606c"));
    EXPECT_TRUE(isBasicRate(0x82));
    EXPECT_FALSE(isBasicRate(0x0c));
    EXPECT_EQ(rateMbps(0x82), 1.0);
    EXPECT_EQ(rateMbps(0x8b), 5.5);
    EXPECT_EQ(rateMbps(0x6c), 54.0);
    EXPECT_EQ(ratesMbps(p), (std::vector<double>{1, 2, 5.5, 11, 6, 9, 12, 18, 24, 36, 48, 54}));
    EXPECT_FALSE(parseInformationElements(kRates).extendedRates.has_value());
}

TEST(InformationElements, MembershipSelectorsAreNoRate) {
    EXPECT_FALSE(rateMbps(0xff).has_value());  // HT PHY
    EXPECT_FALSE(rateMbps(0xfe).has_value());  // VHT PHY
    EXPECT_FALSE(rateMbps(0xfa).has_value());  // HE PHY
    EXPECT_EQ(rateMbps(0x7f), 63.5);           // without the basic bit it is a rate
    const ParsedElements p = parseInformationElements(element(ie::kSupportedRates, hex("8c12ff")));
    EXPECT_EQ(ratesMbps(p), (std::vector<double>{6, 9}));
}

TEST(InformationElements, DsParameterSetAndTim) {
    const ParsedElements p = parseInformationElements(element(ie::kDsParameterSet, hex("0b")) +
                                                      element(ie::kTim, hex("00030000")));
    EXPECT_EQ(p.dsChannel, 11);
    EXPECT_EQ(p.dtimPeriod, 3);
    const ParsedElements none = parseInformationElements(kRates);
    EXPECT_FALSE(none.dsChannel.has_value());
    EXPECT_FALSE(none.dtimPeriod.has_value());
}

TEST(InformationElements, Country) {
    const ParsedElements p =
        parseInformationElements(element(ie::kCountry, QByteArray("DE") + hex("49010d14")));
    ASSERT_TRUE(p.country.has_value());
    EXPECT_EQ(p.country->code, "DE");
    EXPECT_EQ(p.country->environment, 0x49);
    EXPECT_FALSE(parseInformationElements(kRates).country.has_value());
}

TEST(InformationElements, HtCapabilitiesAndOperation) {
    const ParsedElements wide =
        parseInformationElements(htCapabilitiesElement(0x09ef) + htOperation(64, 0x07));
    EXPECT_EQ(wide.htCapabilities, 0x09ef);
    ASSERT_TRUE(wide.htOperation.has_value());
    EXPECT_EQ(wide.htOperation->primaryChannel, 64);
    EXPECT_EQ(wide.htOperation->secondaryChannelOffset, 3);
    EXPECT_TRUE(wide.htOperation->staChannelWidthAny);

    const ParsedElements above = parseInformationElements(htOperation(1, 0x05));
    EXPECT_EQ(above.htOperation->secondaryChannelOffset, 1);

    const ParsedElements narrow = parseInformationElements(htOperation(6, 0x00));
    EXPECT_EQ(narrow.htOperation->secondaryChannelOffset, 0);
    EXPECT_FALSE(narrow.htOperation->staChannelWidthAny);
    EXPECT_FALSE(narrow.htCapabilities.has_value());
}

TEST(InformationElements, VhtCapabilitiesAndOperation) {
    const ParsedElements p =
        parseInformationElements(element(ie::kVhtCapabilities, hex("fa198833") + zeros(8)) +
                                 element(ie::kVhtOperation, hex("012a000000")));
    EXPECT_EQ(p.vhtCapabilities, 0x338819fau);
    ASSERT_TRUE(p.vhtOperation.has_value());
    EXPECT_EQ(p.vhtOperation->channelWidth, 1);
    EXPECT_EQ(p.vhtOperation->centerSegment0, 42);
    EXPECT_EQ(p.vhtOperation->centerSegment1, 0);
    const ParsedElements narrow = parseInformationElements(element(ie::kVhtOperation, hex("0024000000")));
    EXPECT_EQ(narrow.vhtOperation->channelWidth, 0);
    EXPECT_FALSE(narrow.vhtCapabilities.has_value());
}

TEST(InformationElements, ExtensionElements) {
    const ParsedElements p = parseInformationElements(element(ie::kExtension, hex("23") + zeros(20)) +
                                                      element(ie::kExtension, hex("24") + zeros(6)) +
                                                      element(ie::kExtension, hex("26aabb")));
    EXPECT_EQ(p.extensionIds, (std::vector<int>{35, 36, 38}));
    EXPECT_TRUE(p.hasHeCapabilities());
    EXPECT_TRUE(p.hasHeOperation());
    EXPECT_FALSE(p.hasExtension(ie::kEhtCapabilities));
    const ParsedElements other = parseInformationElements(element(ie::kExtension, hex("27")));
    EXPECT_FALSE(other.hasHeCapabilities());
    EXPECT_FALSE(other.hasHeOperation());
}

TEST(InformationElements, Rsn) {
    const ParsedElements p = parseInformationElements(kRsn);
    ASSERT_TRUE(p.rsn.has_value());
    EXPECT_EQ(p.rsn->version, 1);
    EXPECT_EQ(p.rsn->groupCipher, (Suite{kOuiIeee80211, 4}));
    EXPECT_EQ(p.rsn->pairwiseCiphers, (std::vector<Suite>{{kOuiIeee80211, 4}, {kOuiIeee80211, 2}}));
    EXPECT_EQ(p.rsn->akmSuites, (std::vector<Suite>{{kOuiIeee80211, 2}, {kOuiIeee80211, 8}}));
    EXPECT_EQ(p.rsn->capabilities, 0x00c0);
    EXPECT_TRUE(p.rsn->mfpRequired());
    EXPECT_TRUE(p.rsn->mfpCapable());
    EXPECT_TRUE(p.problems.isEmpty()) << p.problems.join('\n').toStdString();
    EXPECT_FALSE(p.wpa.has_value());
}

TEST(InformationElements, RsnWithoutManagementFrameProtection) {
    const ParsedElements p =
        parseInformationElements(element(ie::kRsn, hex("0100000fac040100000fac040100000fac060c00")));
    ASSERT_TRUE(p.rsn.has_value());
    EXPECT_EQ(p.rsn->akmSuites, (std::vector<Suite>{{kOuiIeee80211, 6}}));
    EXPECT_EQ(p.rsn->capabilities, 0x000c);
    EXPECT_FALSE(p.rsn->mfpRequired());
    EXPECT_FALSE(p.rsn->mfpCapable());
}

TEST(InformationElements, RsnMayEndAfterAnyWholeField) {
    const ParsedElements versionOnly = parseInformationElements(element(ie::kRsn, hex("0100")));
    ASSERT_TRUE(versionOnly.rsn.has_value());
    EXPECT_FALSE(versionOnly.rsn->groupCipher.has_value());
    EXPECT_TRUE(versionOnly.rsn->pairwiseCiphers.empty());
    EXPECT_FALSE(versionOnly.rsn->capabilities.has_value());
    EXPECT_FALSE(versionOnly.rsn->mfpCapable());
    EXPECT_TRUE(versionOnly.problems.isEmpty());

    const ParsedElements noCapabilities =
        parseInformationElements(element(ie::kRsn, hex("0100000fac040100000fac040100000fac02")));
    EXPECT_EQ(noCapabilities.rsn->akmSuites.size(), 1u);
    EXPECT_FALSE(noCapabilities.rsn->capabilities.has_value());
    EXPECT_TRUE(noCapabilities.problems.isEmpty());
}

TEST(InformationElements, WpaVendorElement) {
    const ParsedElements p = parseInformationElements(kWpa);
    ASSERT_TRUE(p.wpa.has_value());
    EXPECT_EQ(p.wpa->version, 1);
    EXPECT_EQ(p.wpa->groupCipher, (Suite{kOuiMicrosoft, 2}));
    EXPECT_EQ(p.wpa->pairwiseCiphers, (std::vector<Suite>{{kOuiMicrosoft, 2}}));
    EXPECT_EQ(p.wpa->akmSuites, (std::vector<Suite>{{kOuiMicrosoft, 2}}));
    EXPECT_FALSE(p.wpa->capabilities.has_value());
    EXPECT_FALSE(p.rsn.has_value());
    // Another Microsoft vendor element (WMM, type 2) is not WPA.
    EXPECT_FALSE(parseInformationElements(element(ie::kVendorSpecific, hex("0050f2020101"))).wpa.has_value());
}

TEST(InformationElements, WpsVendorElement) {
    const QByteArray body = hex("0050f204") + wpsAttribute(0x104a, hex("10")) +
                            wpsAttribute(wps::kManufacturer, "Acme Networks") +
                            wpsAttribute(wps::kModelName, "AX3000") + wpsAttribute(wps::kModelNumber, "R7") +
                            wpsAttribute(wps::kDeviceName, "Living room");
    const ParsedElements p = parseInformationElements(element(ie::kVendorSpecific, body));
    ASSERT_TRUE(p.wps.has_value());
    EXPECT_EQ(p.wps->attributes.size(), 5u);
    EXPECT_EQ(p.wps->attributes[0], (WpsAttribute{0x104a, hex("10")}));
    EXPECT_EQ(p.wps->manufacturer, "Acme Networks");
    EXPECT_EQ(p.wps->modelName, "AX3000");
    EXPECT_EQ(p.wps->modelNumber, "R7");
    EXPECT_EQ(p.wps->deviceName, "Living room");
    EXPECT_TRUE(p.problems.isEmpty()) << p.problems.join('\n').toStdString();

    const ParsedElements without = parseInformationElements(
        element(ie::kVendorSpecific, hex("0050f204") + wpsAttribute(0x104a, hex("10"))));
    ASSERT_TRUE(without.wps.has_value());
    EXPECT_FALSE(without.wps->manufacturer.has_value());
    EXPECT_FALSE(without.wps->modelName.has_value());
    EXPECT_FALSE(parseInformationElements(kWpa).wps.has_value());
}

TEST(InformationElements, WpsSplitOverTwoElementsIsJoined) {
    const QByteArray attributes =
        wpsAttribute(wps::kManufacturer, "Acme") + wpsAttribute(wps::kModelName, "X1");
    const QByteArray bytes = element(ie::kVendorSpecific, hex("0050f204") + attributes.left(6)) +
                             element(ie::kVendorSpecific, hex("0050f204") + attributes.mid(6));
    const ParsedElements p = parseInformationElements(bytes);
    ASSERT_TRUE(p.wps.has_value());
    EXPECT_EQ(p.wps->manufacturer, "Acme");
    EXPECT_EQ(p.wps->modelName, "X1");
    EXPECT_TRUE(p.problems.isEmpty()) << p.problems.join('\n').toStdString();
}

TEST(InformationElements, InterworkingHotspotAndPasspoint) {
    const QByteArray interworking = element(ie::kInterworking, hex("12"));
    const QByteArray hotspot = element(ie::kVendorSpecific, hex("506f9a1000"));
    const ParsedElements both = parseInformationElements(interworking + hotspot);
    ASSERT_TRUE(both.interworking.has_value());
    EXPECT_EQ(both.interworking->accessNetworkType, 2);
    EXPECT_TRUE(both.interworking->internet);
    EXPECT_TRUE(both.hotspot20Indication);
    EXPECT_TRUE(isPasspoint(both));

    const ParsedElements noInternet = parseInformationElements(element(ie::kInterworking, hex("03")));
    EXPECT_EQ(noInternet.interworking->accessNetworkType, 3);
    EXPECT_FALSE(noInternet.interworking->internet);
    EXPECT_FALSE(isPasspoint(noInternet));

    EXPECT_FALSE(isPasspoint(parseInformationElements(hotspot)));
    // Another Wi-Fi Alliance element (P2P, type 9) is not the Hotspot 2.0 indication.
    EXPECT_FALSE(parseInformationElements(interworking + element(ie::kVendorSpecific, hex("506f9a0900")))
                     .hotspot20Indication);
}

TEST(InformationElements, ExtendedCapabilities) {
    const ParsedElements p = parseInformationElements(element(ie::kExtendedCapabilities, hex("04000080")));
    EXPECT_EQ(p.extendedCapabilities, hex("04000080"));
    EXPECT_TRUE(hasExtendedCapability(p, 2));
    EXPECT_TRUE(hasExtendedCapability(p, 31));
    EXPECT_FALSE(hasExtendedCapability(p, 0));
    EXPECT_FALSE(hasExtendedCapability(p, 19));
    EXPECT_FALSE(hasExtendedCapability(p, 32));  // past the element
    EXPECT_FALSE(hasExtendedCapability(p, -1));
    EXPECT_FALSE(hasExtendedCapability(parseInformationElements(kRates), 2));
}

TEST(InformationElements, PhyModesOffered) {
    const ParsedElements bOnly = parseInformationElements(element(ie::kSupportedRates, hex("82848b96")) +
                                                          element(ie::kDsParameterSet, hex("01")));
    EXPECT_EQ(phyModesOffered(bOnly), (QStringList{"802.11b"}));

    const ParsedElements bgn = parseInformationElements(kRates + element(ie::kDsParameterSet, hex("06")) +
                                                        kExtendedRates + htCapabilitiesElement(0x11ee));
    EXPECT_EQ(phyModesOffered(bgn), (QStringList{"802.11b", "802.11g", "802.11n"}));

    const QByteArray fiveGHz = element(ie::kSupportedRates, hex("8c129824b048606c")) +
                               element(ie::kDsParameterSet, hex("24")) + htCapabilitiesElement(0x09ef) +
                               element(ie::kVhtCapabilities, hex("fa198833") + zeros(8)) +
                               element(ie::kExtension, hex("23") + zeros(20));
    EXPECT_EQ(phyModesOffered(parseInformationElements(fiveGHz)),
              (QStringList{"802.11a", "802.11n", "802.11ac", "802.11ax"}));
    // The band given wins over the DS Parameter Set: on 2.4 GHz OFDM is g and VHT is not 802.11ac.
    EXPECT_EQ(phyModesOffered(parseInformationElements(fiveGHz), 2),
              (QStringList{"802.11g", "802.11n", "802.11ax"}));

    // OFDM only, no DS Parameter Set and no band: not 2.4 GHz.
    EXPECT_EQ(phyModesOffered(parseInformationElements(element(ie::kSupportedRates, hex("8c1298")))),
              (QStringList{"802.11a"}));
    EXPECT_EQ(phyModesOffered(parseInformationElements(element(ie::kSupportedRates, hex("8c1298"))), 2),
              (QStringList{"802.11g"}));
    EXPECT_EQ(phyModesOffered(parseInformationElements(element(ie::kExtension, hex("6c") + zeros(4)))),
              (QStringList{"802.11be"}));
}

// Malformed input: what is reported, and what is still read.

TEST(InformationElementsMalformed, LengthPastTheEndStopsReading) {
    const QByteArray bytes = element(ie::kSsid, "ab") + hex("2d1aef09");  // HT Capabilities claims 26 bytes
    const ParsedElements p = parseInformationElements(bytes);
    ASSERT_EQ(p.elements.size(), 1u);
    EXPECT_EQ(p.ssid, "ab");
    EXPECT_FALSE(p.htCapabilities.has_value());
    ASSERT_EQ(p.problems.size(), 1);
    EXPECT_EQ(p.problems[0],
              "element 45 (HT Capabilities) at byte 4: length 26 runs past the end (2 bytes left); reading "
              "stops here");
}

TEST(InformationElementsMalformed, LoneTrailingIdByte) {
    const ParsedElements p = parseInformationElements(element(ie::kDsParameterSet, hex("06")) + hex("dd"));
    EXPECT_EQ(p.dsChannel, 6);
    ASSERT_EQ(p.problems.size(), 1);
    EXPECT_EQ(p.problems[0],
              "element 221 (Vendor Specific) at byte 3: length byte missing at the end of the elements");
}

TEST(InformationElementsMalformed, TruncatedRsn) {
    const ParsedElements tooShort = parseInformationElements(element(ie::kRsn, hex("01")));
    EXPECT_FALSE(tooShort.rsn.has_value());
    ASSERT_EQ(tooShort.problems.size(), 1);
    EXPECT_EQ(tooShort.problems[0],
              "element 48 (RSN) at byte 0: body of 1 byte, shorter than the 2 it needs; not decoded");

    const ParsedElements groupCut = parseInformationElements(element(ie::kRsn, hex("0100000f")));
    ASSERT_TRUE(groupCut.rsn.has_value());
    EXPECT_FALSE(groupCut.rsn->groupCipher.has_value());
    EXPECT_TRUE(mentions(groupCut.problems, "group cipher suite cut off"));

    // Two pairwise suites announced, one sent: the one sent is kept.
    const ParsedElements listCut =
        parseInformationElements(kRates + element(ie::kRsn, hex("0100000fac040200000fac04")));
    ASSERT_TRUE(listCut.rsn.has_value());
    EXPECT_EQ(listCut.rsn->pairwiseCiphers, (std::vector<Suite>{{kOuiIeee80211, 4}}));
    EXPECT_TRUE(listCut.rsn->akmSuites.empty());
    ASSERT_EQ(listCut.problems.size(), 1);
    EXPECT_EQ(listCut.problems[0],
              "element 48 (RSN) at byte 10: pairwise cipher suite list cut off at byte 12 of the body");

    const ParsedElements capabilitiesCut =
        parseInformationElements(element(ie::kRsn, hex("0100000fac040100000fac040100000fac02c0")));
    EXPECT_EQ(capabilitiesCut.rsn->akmSuites.size(), 1u);
    EXPECT_FALSE(capabilitiesCut.rsn->capabilities.has_value());
    EXPECT_TRUE(mentions(capabilitiesCut.problems, "RSN capabilities cut off"));
}

TEST(InformationElementsMalformed, TruncatedWpa) {
    const ParsedElements p = parseInformationElements(element(ie::kVendorSpecific, hex("0050f20101")));
    EXPECT_FALSE(p.wpa.has_value());
    ASSERT_EQ(p.problems.size(), 1);
    EXPECT_TRUE(mentions(p.problems, "shorter than the 6 it needs"));
}

TEST(InformationElementsMalformed, TruncatedHtAndVht) {
    const ParsedElements p = parseInformationElements(
        element(ie::kHtCapabilities, hex("ef09")) + element(ie::kHtOperation, hex("0607")) +
        element(ie::kVhtCapabilities, hex("fa198833")) + element(ie::kVhtOperation, hex("01")));
    EXPECT_EQ(p.elements.size(), 4u);
    EXPECT_FALSE(p.htCapabilities.has_value());
    EXPECT_FALSE(p.htOperation.has_value());
    EXPECT_FALSE(p.vhtCapabilities.has_value());
    EXPECT_FALSE(p.vhtOperation.has_value());
    ASSERT_EQ(p.problems.size(), 4);
    EXPECT_EQ(
        p.problems[0],
        "element 45 (HT Capabilities) at byte 0: body of 2 bytes, shorter than the 26 it needs; not decoded");
    EXPECT_TRUE(p.problems[1].startsWith("element 61 (HT Operation) at byte 4:"));
    EXPECT_TRUE(p.problems[2].startsWith("element 191 (VHT Capabilities) at byte 8:"));
    EXPECT_TRUE(p.problems[3].startsWith("element 192 (VHT Operation) at byte 14:"));
    EXPECT_TRUE(phyModesOffered(p).isEmpty());
}

TEST(InformationElementsMalformed, RepeatedSsidAndTimKeepTheFirst) {
    const QByteArray bytes = element(ie::kSsid, "first") + element(ie::kTim, hex("00010000")) +
                             element(ie::kSsid, "second") + element(ie::kTim, hex("00050000"));
    const ParsedElements p = parseInformationElements(bytes);
    EXPECT_EQ(p.elements.size(), 4u);
    EXPECT_EQ(p.ssid, "first");
    EXPECT_EQ(p.dtimPeriod, 1);
    ASSERT_EQ(p.problems.size(), 2);
    EXPECT_EQ(p.problems[0], "element 0 (SSID) at byte 13: repeated SSID, which must appear once; ignored");
    EXPECT_EQ(p.problems[1], "element 5 (TIM) at byte 21: repeated TIM, which must appear once; ignored");
}

TEST(InformationElementsMalformed, RepeatedRsn) {
    const ParsedElements p = parseInformationElements(kRsn + element(ie::kRsn, hex("0100000fac02")));
    EXPECT_EQ(p.rsn->groupCipher, (Suite{kOuiIeee80211, 4}));
    EXPECT_TRUE(mentions(p.problems, "repeated RSN"));
}

TEST(InformationElementsMalformed, ZeroLengthElements) {
    const QByteArray bytes = element(ie::kSsid, {}) + element(ie::kSupportedRates, {}) +
                             element(ie::kDsParameterSet, {}) + element(ie::kTim, {}) +
                             element(ie::kCountry, {}) + element(ie::kRsn, {}) +
                             element(ie::kInterworking, {}) + element(ie::kExtension, {}) + element(42, {});
    const ParsedElements p = parseInformationElements(bytes);
    EXPECT_EQ(p.elements.size(), 9u);
    EXPECT_EQ(p.ssid, QByteArray());
    EXPECT_EQ(p.supportedRates, QByteArray());
    EXPECT_FALSE(p.dsChannel.has_value());
    EXPECT_FALSE(p.dtimPeriod.has_value());
    EXPECT_FALSE(p.country.has_value());
    EXPECT_FALSE(p.rsn.has_value());
    EXPECT_FALSE(p.interworking.has_value());
    EXPECT_TRUE(p.extensionIds.empty());
    EXPECT_FALSE(p.elements[7].extensionId.has_value());
    // The SSID (hidden network), the rates and the unknown element may be empty; the others are
    // reported.
    ASSERT_EQ(p.problems.size(), 6) << p.problems.join('\n').toStdString();
    EXPECT_TRUE(p.problems[0].startsWith("element 3 (DS Parameter Set) at byte 4:"));
    EXPECT_EQ(p.problems[5], "element 255 (Extension) at byte 14: no extension ID (empty body)");
}

TEST(InformationElementsMalformed, VendorElementShorterThanItsOui) {
    const ParsedElements p = parseInformationElements(element(ie::kVendorSpecific, hex("0050")) +
                                                      element(ie::kVendorSpecific, hex("0050f2")));
    EXPECT_EQ(p.elements.size(), 2u);
    EXPECT_FALSE(p.wpa.has_value());
    EXPECT_FALSE(p.wps.has_value());
    ASSERT_EQ(p.problems.size(), 1);
    EXPECT_EQ(p.problems[0],
              "element 221 (Vendor Specific) at byte 0: body of 2 bytes, shorter than its OUI");
}

TEST(InformationElementsMalformed, WpsAttributeRunningPastItsElement) {
    const QByteArray body =
        hex("0050f204") + wpsAttribute(wps::kManufacturer, "Acme") + hex("10230010") + "short";
    const ParsedElements p = parseInformationElements(kRates + element(ie::kVendorSpecific, body));
    ASSERT_TRUE(p.wps.has_value());
    EXPECT_EQ(p.wps->manufacturer, "Acme");
    EXPECT_FALSE(p.wps->modelName.has_value());
    ASSERT_EQ(p.problems.size(), 1);
    EXPECT_EQ(
        p.problems[0],
        "element 221 (Vendor Specific) at byte 10: WPS attribute 0x1023 at byte 8 of the WPS data: length 16 "
        "runs past the end (5 left)");

    const ParsedElements headerCut =
        parseInformationElements(element(ie::kVendorSpecific, hex("0050f2041021")));
    ASSERT_TRUE(headerCut.wps.has_value());
    EXPECT_TRUE(headerCut.wps->attributes.empty());
    EXPECT_TRUE(mentions(headerCut.problems, "WPS attribute header cut off at byte 0"));
}

TEST(InformationElementsMalformed, EveryPrefixOfAFullFrameIsReadSafely) {
    const QByteArray frame =
        element(ie::kSsid, "home") + kRates + element(ie::kDsParameterSet, hex("06")) +
        element(ie::kTim, hex("00020000")) + kRsn + htCapabilitiesElement(0x11ee) + htOperation(6, 7) +
        kExtendedRates + kWpa + element(ie::kExtension, hex("23") + zeros(20)) +
        element(ie::kVendorSpecific, hex("0050f204") + wpsAttribute(wps::kModelName, "M"));
    const ParsedElements full = parseInformationElements(frame);
    EXPECT_TRUE(full.problems.isEmpty()) << full.problems.join('\n').toStdString();
    for (qsizetype n = 0; n < frame.size(); ++n) {
        const ParsedElements p = parseInformationElements(frame.left(n));
        qsizetype covered = 0;
        for (const InformationElement& e : p.elements) {
            covered = e.offset + 2 + e.body.size();
        }
        EXPECT_LE(covered, n);
        // A cut inside an element is always reported.
        EXPECT_EQ(p.problems.isEmpty(), covered == n) << "prefix of " << n << " bytes";
    }
}

// Wireshark's decoding of real frames, where the captures are present.

namespace {

struct Mismatch {
    QStringList lines;
    void check(const QString& where, const QString& field, const QString& expected, const QString& actual) {
        if (expected != actual) {
            lines << QStringLiteral("%1 %2: tshark says '%3', the parser '%4'")
                         .arg(where, field, expected, actual);
        }
    }
};

QString number(const QJsonValue& v) {
    if (v.isUndefined()) {
        return QStringLiteral("(absent)");
    }
    bool ok = false;
    const qlonglong n = v.toString().toLongLong(&ok, 0);
    return ok ? QString::number(n) : QStringLiteral("(not a number: %1)").arg(v.toString());
}

template <typename T>
QString number(const std::optional<T>& v) {
    return v ? QString::number(*v) : QStringLiteral("(absent)");
}

QString numbers(const QJsonValue& v) {
    if (v.isUndefined()) {
        return QStringLiteral("(absent)");
    }
    QStringList out;
    for (const QJsonValue& item : v.toArray()) {
        out << number(item);
    }
    return out.join(',');
}

QString bytesAsNumbers(const std::optional<QByteArray>& bytes) {
    if (!bytes) {
        return QStringLiteral("(absent)");
    }
    QStringList out;
    for (const char c : *bytes) {
        out << QString::number(static_cast<std::uint8_t>(c));
    }
    return out.join(',');
}

QString suiteTypes(const std::optional<SecurityElement>& rsn,
                   const std::vector<Suite> SecurityElement::*list) {
    if (!rsn || (rsn.value().*list).empty()) {
        return QStringLiteral("(absent)");
    }
    QStringList out;
    for (const Suite& s : rsn.value().*list) {
        // tshark prints the type of the 00:0f:ac suites, and the whole suite of the others.
        out << (s.oui == kOuiIeee80211 ? QString::number(s.type)
                                       : QString::number((qlonglong{s.oui} << 8) | s.type));
    }
    return out.join(',');
}

QString text(const QJsonValue& v) {
    return v.isUndefined() ? QStringLiteral("(absent)") : v.toString();
}

QString text(const std::optional<QByteArray>& v) {
    return v ? QString::fromUtf8(*v) : QStringLiteral("(absent)");
}

}  // namespace

TEST(InformationElementsCaptures, AgreeWithWireshark) {
    const QDir dir(QStringLiteral(WIFIPROFILE_SOURCE_DIR "/../shared/wifi-captures"));
    if (!dir.exists()) {
        GTEST_SKIP() << "no real captures to compare with: " << dir.path().toStdString() << " does not exist";
    }
    const QStringList files = dir.entryList({QStringLiteral("*.json")}, QDir::Files, QDir::Name);
    ASSERT_FALSE(files.isEmpty()) << "no JSON file in " << dir.path().toStdString();
    int frames = 0;
    Mismatch m;
    for (const QString& name : files) {
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError)
            << name.toStdString() << ": " << error.errorString().toStdString();
        const QJsonArray list = doc.object().value(QStringLiteral("frames")).toArray();
        EXPECT_FALSE(list.isEmpty()) << name.toStdString() << " holds no frame";
        for (qsizetype i = 0; i < list.size(); ++i) {
            const QJsonObject frame = list[i].toObject();
            const QJsonObject t = frame.value(QStringLiteral("tshark")).toObject();
            const QString where = QStringLiteral("%1 frame %2 (%3)")
                                      .arg(name)
                                      .arg(i)
                                      .arg(frame.value(QStringLiteral("frame")).toString());
            const QByteArray bytes = QByteArray::fromHex(
                frame.value(QStringLiteral("informationElementsHex")).toString().toLatin1());
            ASSERT_FALSE(bytes.isEmpty()) << where.toStdString();
            ++frames;
            const ParsedElements p = parseInformationElements(bytes);
            m.check(where, "problems", QString(), p.problems.join(QStringLiteral("; ")));

            QStringList ids;
            for (const InformationElement& e : p.elements) {
                ids << QString::number(e.id);
            }
            m.check(where, "tagNumbers", numbers(t.value("tagNumbers")), ids.join(','));
            m.check(where, "ssidHex", text(t.value("ssidHex")),
                    p.ssid ? QString::fromLatin1(p.ssid->toHex(':')) : QStringLiteral("(absent)"));
            m.check(where, "channel", number(t.value("channel")), number(p.dsChannel));
            m.check(where, "dtimPeriod", number(t.value("dtimPeriod")), number(p.dtimPeriod));
            m.check(where, "country", text(t.value("country")),
                    p.country ? QString::fromLatin1(p.country->code) : QStringLiteral("(absent)"));
            m.check(where, "countryEnvironment", number(t.value("countryEnvironment")),
                    p.country ? QString::number(p.country->environment) : QStringLiteral("(absent)"));
            m.check(where, "htCapabilities", number(t.value("htCapabilities")), number(p.htCapabilities));
            m.check(where, "htSecondaryChannelOffset", number(t.value("htSecondaryChannelOffset")),
                    p.htOperation ? QString::number(p.htOperation->secondaryChannelOffset) : "(absent)");
            m.check(where, "htStaChannelWidth", number(t.value("htStaChannelWidth")),
                    p.htOperation ? QString::number(int(p.htOperation->staChannelWidthAny)) : "(absent)");
            m.check(where, "vhtCapabilities", number(t.value("vhtCapabilities")), number(p.vhtCapabilities));
            m.check(where, "vhtOperationChannelWidth", number(t.value("vhtOperationChannelWidth")),
                    p.vhtOperation ? QString::number(p.vhtOperation->channelWidth) : "(absent)");
            QStringList extensions;
            for (const int id : p.extensionIds) {
                extensions << QString::number(id);
            }
            m.check(where, "extensionTags", numbers(t.value("extensionTags")),
                    extensions.isEmpty() ? QStringLiteral("(absent)") : extensions.join(','));
            m.check(where, "rsnAkms", numbers(t.value("rsnAkms")),
                    suiteTypes(p.rsn, &SecurityElement::akmSuites));
            m.check(where, "rsnPairwise", numbers(t.value("rsnPairwise")),
                    suiteTypes(p.rsn, &SecurityElement::pairwiseCiphers));
            m.check(where, "rsnGroup", number(t.value("rsnGroup")),
                    p.rsn && p.rsn->groupCipher ? QString::number(p.rsn->groupCipher->type) : "(absent)");
            const std::optional<WpsElement> noWps;
            const std::optional<WpsElement>& w = p.wps ? p.wps : noWps;
            m.check(where, "wpsManufacturer", text(t.value("wpsManufacturer")),
                    text(w ? w->manufacturer : std::nullopt));
            m.check(where, "wpsModelName", text(t.value("wpsModelName")),
                    text(w ? w->modelName : std::nullopt));
            m.check(where, "wpsModelNumber", text(t.value("wpsModelNumber")),
                    text(w ? w->modelNumber : std::nullopt));
            m.check(where, "wpsDeviceName", text(t.value("wpsDeviceName")),
                    text(w ? w->deviceName : std::nullopt));
            m.check(where, "interworkingAccessNetworkType", number(t.value("interworkingAccessNetworkType")),
                    p.interworking ? QString::number(p.interworking->accessNetworkType) : "(absent)");
            m.check(where, "supportedRates", numbers(t.value("supportedRates")),
                    bytesAsNumbers(p.supportedRates));
            m.check(where, "extendedSupportedRates", numbers(t.value("extendedSupportedRates")),
                    bytesAsNumbers(p.extendedRates));
        }
    }
    EXPECT_GT(frames, 0);
    EXPECT_TRUE(m.lines.isEmpty()) << m.lines.join('\n').toStdString();
    std::cout << "compared " << frames << " frames of " << files.size() << " capture files\n";
}
