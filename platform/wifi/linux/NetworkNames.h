#pragma once
// Ambiguous network names (test 42): a name that many unrelated networks share, such as a
// router maker's default, so a device may join the wrong network of that name.

#include <QString>
#include <QStringList>

namespace platform::linuxwifi {

// The listed names, compared case-insensitively:
//   linksys, NETGEAR, default, dlink, D-Link, TP-LINK, xfinitywifi, belkin, ASUS, Tenda, ZTE,
//   Wireless, WLAN, FRITZ!Box, Vodafone.
// "eduroam" is deliberately not listed: it is the name of a federated roaming service, shared on
// purpose by networks that authenticate every user against their home institution, so it does
// not lead a device to the wrong network.
QStringList ambiguousNetworkNames();

// Test 42: the name is one of the listed names, optionally followed by a suffix that makers add
// to their defaults, and by nothing else. The name is the shown SSID text; letters and digits
// below are ASCII ones, in either case.
//   1. right after the listed name, 1 to 3 characters: a digit, then letters or digits
//      ("NETGEAR38", "belkin54g", "WLAN1"; not "NETGEARX", not "NETGEAR3851");
//   2. then at most two groups, each one separator ("_", "-" or a space) followed by 2 to 8
//      letters or digits ("NETGEAR_5G", "TP-LINK_A1B2", "linksys-guest", "NETGEAR38-5G",
//      "FRITZ!Box 7590 XY"; not "NETGEAR_5", not "NETGEAR_ABCDEFGHI", not "NETGEAR-a1-b2-c3").
// A name that only contains a listed name ("MyNETGEAR", "NETGEAR Home Office Upstairs") is not
// ambiguous, and neither is the empty name.
bool isAmbiguousNetworkName(const QString& name);

}  // namespace platform::linuxwifi
