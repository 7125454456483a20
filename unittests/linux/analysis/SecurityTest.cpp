// Security types from access point flags and saved connection settings, and the security verdicts.
#include "platform/wifi/linux/Security.h"

#include <gtest/gtest.h>

using namespace platform::linuxwifi;

namespace {

constexpr std::uint32_t kPrivacy = apflags::kPrivacy;
constexpr std::uint32_t kWpaTkipPsk =
    apsecurity::kPairTkip | apsecurity::kGroupTkip | apsecurity::kKeyMgmtPsk;
constexpr std::uint32_t kRsnCcmpPsk =
    apsecurity::kPairCcmp | apsecurity::kGroupCcmp | apsecurity::kKeyMgmtPsk;
constexpr std::uint32_t kRsnTkipPsk =
    apsecurity::kPairTkip | apsecurity::kGroupTkip | apsecurity::kKeyMgmtPsk;

AccessPointSecurityFlags ap(std::uint32_t flags, std::uint32_t wpa, std::uint32_t rsn) {
    return AccessPointSecurityFlags{flags, wpa, rsn};
}

SavedSecuritySettings saved(std::optional<QString> keyMgmt, QStringList proto = {},
                            QStringList pairwise = {}) {
    return SavedSecuritySettings{std::move(keyMgmt), std::move(proto), std::move(pairwise)};
}

}  // namespace

TEST(SecurityFlags, ValuesAreNetworkManagersOwn) {
    EXPECT_EQ(apsecurity::kPairWep40, 0x1u);
    EXPECT_EQ(apsecurity::kGroupCcmp, 0x80u);
    EXPECT_EQ(apsecurity::kKeyMgmtPsk, 0x100u);
    EXPECT_EQ(apsecurity::kKeyMgmt8021X, 0x200u);
    EXPECT_EQ(apsecurity::kKeyMgmtSae, 0x400u);
    EXPECT_EQ(apsecurity::kKeyMgmtOwe, 0x800u);
    EXPECT_EQ(apsecurity::kKeyMgmtOweTransition, 0x1000u);
    EXPECT_EQ(apsecurity::kKeyMgmtEapSuiteB192, 0x2000u);
}

TEST(AccessPointSecurity, EachTypeFromTypicalFlags) {
    EXPECT_EQ(securityOfAccessPoint(ap(0, 0, 0)), SecurityType::Open);
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, 0)), SecurityType::Wep);
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, kWpaTkipPsk, 0)), SecurityType::Wpa);
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, kRsnCcmpPsk)), SecurityType::Wpa2Personal);
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, apsecurity::kPairCcmp | apsecurity::kKeyMgmtSae)),
              SecurityType::Wpa3Personal);
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, apsecurity::kPairCcmp | apsecurity::kKeyMgmt8021X)),
              SecurityType::Enterprise);
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, apsecurity::kPairCcmp | apsecurity::kKeyMgmtOwe)),
              SecurityType::Owe);
}

TEST(AccessPointSecurity, SecurityCodesAreTheSharedCoding) {
    EXPECT_EQ(static_cast<std::int64_t>(SecurityType::Open), 0);
    EXPECT_EQ(static_cast<std::int64_t>(SecurityType::Wep), 1);
    EXPECT_EQ(static_cast<std::int64_t>(SecurityType::Wpa), 2);
    EXPECT_EQ(static_cast<std::int64_t>(SecurityType::Wpa2Personal), 3);
    EXPECT_EQ(static_cast<std::int64_t>(SecurityType::Wpa3Personal), 4);
    EXPECT_EQ(static_cast<std::int64_t>(SecurityType::Enterprise), 5);
    EXPECT_EQ(static_cast<std::int64_t>(SecurityType::Owe), 6);
}

TEST(AccessPointSecurity, StrongestOfferedWayInDecides) {
    // WPA2/WPA3 transition: PSK and SAE.
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, kRsnCcmpPsk | apsecurity::kKeyMgmtSae)),
              SecurityType::Wpa3Personal);
    // WPA/WPA2 mixed mode with CCMP on the RSN side.
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, kWpaTkipPsk, kRsnCcmpPsk)), SecurityType::Wpa2Personal);
    // Suite-B 192 is enterprise, also on the WPA side only.
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, apsecurity::kKeyMgmtEapSuiteB192)),
              SecurityType::Enterprise);
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, apsecurity::kPairTkip | apsecurity::kKeyMgmt8021X, 0)),
              SecurityType::Enterprise);
    // The open half of an OWE transition pair.
    EXPECT_EQ(securityOfAccessPoint(ap(0, 0, apsecurity::kKeyMgmtOweTransition)), SecurityType::Owe);
}

TEST(AccessPointSecurity, RsnWithTkipOnlyIsWpa) {
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0, kRsnTkipPsk)), SecurityType::Wpa);
}

TEST(AccessPointSecurity, WpsBitsOfFlagsDoNotMakeEncryption) {
    EXPECT_EQ(securityOfAccessPoint(ap(0x2 | 0x4 | 0x8, 0, 0)), SecurityType::Open);
}

TEST(AccessPointSecurity, FlagsWithoutKnownKeyManagementGiveNoType) {
    QString problem;
    EXPECT_EQ(
        securityOfAccessPoint(ap(kPrivacy, 0, apsecurity::kPairCcmp | apsecurity::kGroupCcmp), &problem),
        std::nullopt);
    EXPECT_TRUE(problem.contains(QStringLiteral("RsnFlags (0x88)"))) << problem.toStdString();
    EXPECT_TRUE(problem.contains(QStringLiteral("WpaFlags (0x0)"))) << problem.toStdString();
    // No problem text asked for: still no type, and nothing breaks.
    EXPECT_EQ(securityOfAccessPoint(ap(kPrivacy, 0x4000, 0)), std::nullopt);
}

TEST(OpenAccessPoint, OnlyWhenAllThreeAreClear) {
    EXPECT_TRUE(isOpenAccessPoint(ap(0, 0, 0)));
    EXPECT_FALSE(isOpenAccessPoint(ap(kPrivacy, 0, 0)));
    EXPECT_FALSE(isOpenAccessPoint(ap(0, kWpaTkipPsk, 0)));
    EXPECT_FALSE(isOpenAccessPoint(ap(0, 0, apsecurity::kKeyMgmtOweTransition)));
    EXPECT_TRUE(isOpenAccessPoint(ap(0x2, 0, 0)));  // WPS alone is not encryption
}

TEST(WepAccessPoint, PrivacyWithoutWpaOrRsn) {
    EXPECT_TRUE(isWepAccessPoint(ap(kPrivacy, 0, 0)));
    EXPECT_FALSE(isWepAccessPoint(ap(0, 0, 0)));
    EXPECT_FALSE(isWepAccessPoint(ap(kPrivacy, kWpaTkipPsk, 0)));
    EXPECT_FALSE(isWepAccessPoint(ap(kPrivacy, 0, kRsnCcmpPsk)));
}

TEST(LegacyWpaAccessPoint, Wpa1OnlyOrTkipOnly) {
    EXPECT_TRUE(isLegacyWpaAccessPoint(ap(kPrivacy, kWpaTkipPsk, 0)));
    // WPA1 only, even with CCMP.
    EXPECT_TRUE(isLegacyWpaAccessPoint(ap(kPrivacy, kRsnCcmpPsk, 0)));
    // RSN with TKIP as the only pairwise cipher.
    EXPECT_TRUE(isLegacyWpaAccessPoint(ap(kPrivacy, 0, kRsnTkipPsk)));
    // TKIP on both sides, nothing else.
    EXPECT_TRUE(isLegacyWpaAccessPoint(ap(kPrivacy, kWpaTkipPsk, kRsnTkipPsk)));
}

TEST(LegacyWpaAccessPoint, NotWhenCcmpIsOfferedWithRsnOrWhenThereIsNoWpa) {
    EXPECT_FALSE(isLegacyWpaAccessPoint(ap(kPrivacy, 0, kRsnCcmpPsk)));
    EXPECT_FALSE(isLegacyWpaAccessPoint(ap(kPrivacy, kWpaTkipPsk, kRsnCcmpPsk)));
    EXPECT_FALSE(isLegacyWpaAccessPoint(ap(kPrivacy, 0, kRsnTkipPsk | apsecurity::kPairCcmp)));
    EXPECT_FALSE(isLegacyWpaAccessPoint(ap(0, 0, 0)));
    EXPECT_FALSE(isLegacyWpaAccessPoint(ap(kPrivacy, 0, 0)));
}

TEST(SavedConnectionSecurity, EachKeyManagement) {
    EXPECT_EQ(securityOfSavedConnection(saved(std::nullopt)), SecurityType::Open);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("none"))), SecurityType::Wep);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("ieee8021x"))), SecurityType::Wep);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("wpa-psk"))), SecurityType::Wpa2Personal);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("sae"))), SecurityType::Wpa3Personal);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("wpa-eap"))), SecurityType::Enterprise);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("wpa-eap-suite-b-192"))),
              SecurityType::Enterprise);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("owe"))), SecurityType::Owe);
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("WPA-PSK"))), SecurityType::Wpa2Personal);
}

TEST(SavedConnectionSecurity, ProtoAndPairwiseTellWpaFromWpa2) {
    const QString psk = QStringLiteral("wpa-psk");
    EXPECT_EQ(securityOfSavedConnection(saved(psk, {QStringLiteral("wpa")})), SecurityType::Wpa);
    EXPECT_EQ(securityOfSavedConnection(saved(psk, {}, {QStringLiteral("tkip")})), SecurityType::Wpa);
    EXPECT_EQ(securityOfSavedConnection(saved(psk, {QStringLiteral("rsn")})), SecurityType::Wpa2Personal);
    EXPECT_EQ(securityOfSavedConnection(saved(psk, {QStringLiteral("wpa"), QStringLiteral("rsn")})),
              SecurityType::Wpa2Personal);
    EXPECT_EQ(securityOfSavedConnection(saved(psk, {}, {QStringLiteral("tkip"), QStringLiteral("ccmp")})),
              SecurityType::Wpa2Personal);
    EXPECT_EQ(securityOfSavedConnection(saved(psk, {}, {QStringLiteral("ccmp")})),
              SecurityType::Wpa2Personal);
}

TEST(SavedConnectionSecurity, UnknownOrEmptyKeyManagementIsNamed) {
    QString problem;
    EXPECT_EQ(securityOfSavedConnection(saved(QStringLiteral("wpa-none")), &problem), std::nullopt);
    EXPECT_EQ(problem,
              QStringLiteral("802-11-wireless-security.key-mgmt \"wpa-none\" is not a known key management"));
    EXPECT_EQ(securityOfSavedConnection(saved(QString()), &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("802-11-wireless-security.key-mgmt is empty"));
}

TEST(ConflictingSavedSecurity, SameSsidDifferentSecurityConflicts) {
    EXPECT_TRUE(conflictingSecurityInSavedNetworks({{"Home", SecurityType::Wpa2Personal},
                                                    {"Office", SecurityType::Enterprise},
                                                    {"Home", SecurityType::Wpa3Personal}}));
}

TEST(ConflictingSavedSecurity, SameSsidSameSecurityDoesNot) {
    EXPECT_FALSE(conflictingSecurityInSavedNetworks(
        {{"Home", SecurityType::Wpa2Personal}, {"Home", SecurityType::Wpa2Personal}}));
}

TEST(ConflictingSavedSecurity, SsidsAreComparedByteForByte) {
    EXPECT_FALSE(
        conflictingSecurityInSavedNetworks({{"Home", SecurityType::Open}, {"home", SecurityType::Wep}}));
    EXPECT_FALSE(conflictingSecurityInSavedNetworks(
        {{QByteArray("Cafe\0", 5), SecurityType::Open}, {"Cafe", SecurityType::Wep}}));
}

TEST(ConflictingSavedSecurity, EmptyAndSingleListsDoNot) {
    EXPECT_FALSE(conflictingSecurityInSavedNetworks({}));
    EXPECT_FALSE(conflictingSecurityInSavedNetworks({{"Home", SecurityType::Open}}));
}
