#pragma once
// Address classes that the network tests ask about: private IPv4 addresses (test 8, Detect
// Double NAT) and global IPv6 addresses (test 13, IPv6 Assigned).

#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform::linuxwifi {

// An IP address from its text: dotted IPv4 ("192.168.1.1", exactly four decimal parts 0 to 255
// without leading zeros) or IPv6 ("2001:db8::1"). Absent, with the reason in *problem when given,
// for any other text; short forms such as "10.1" and parts such as "010" (octal to some parsers)
// are refused rather than guessed.
std::optional<QHostAddress> parseIpAddress(const QString& text, QString* problem = nullptr);

// The address is IPv4 and private: 10.0.0.0/8, 172.16.0.0/12, 192.168.0.0/16 (RFC 1918) or the
// carrier-grade NAT range 100.64.0.0/10 (RFC 6598). An IPv4-mapped IPv6 address
// (::ffff:10.0.0.1) counts as its IPv4 address. Loopback (127.0.0.0/8) and link-local
// (169.254.0.0/16) addresses are not private in this sense.
bool isPrivateIPv4(const QHostAddress& address);

// The same for a text address; false, with the reason in *problem when given, when the text is
// not an IPv4 address.
bool isPrivateIPv4(const QString& address, QString* problem = nullptr);

// Test 8: the path out passes two NATs: the gateway and the second hop are both private.
bool isDoubleNat(const QHostAddress& gateway, const QHostAddress& secondHop);

// The address is a global IPv6 address: inside 2000::/3, the global unicast space. That leaves
// out link-local (fe80::/10), loopback (::1), unspecified (::), multicast (ff00::/8),
// IPv4-mapped (::ffff:0:0/96) and unique local addresses (fc00::/7): a unique local address
// reaches only its own site, never the internet, so it does not count as an assigned IPv6
// address for the diagnostic.
bool isGlobalIPv6(const QHostAddress& address);

// The same for a text address; false, with the reason in *problem when given, when the text is
// not an IPv6 address.
bool isGlobalIPv6(const QString& address, QString* problem = nullptr);

// Test 13: one of the device's addresses (texts, as NetworkManager's AddressData lists them) is a
// global IPv6 address. Entries that are not IPv6 addresses are passed over.
bool hasGlobalIPv6(const QStringList& addresses);

}  // namespace platform::linuxwifi
