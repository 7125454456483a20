#pragma once
// A profile a person may share: every BSSID and the name of every network other than the joined
// and the selected one replaced by a pseudonym that stays the same throughout the profile
// ("BSSID-1", "Network-1", numbered in order of first appearance, so two profiles cannot be
// matched by them), public IP addresses left out ("(public address)"), and the machine's host
// name removed. Private, loopback and link-local addresses, the joined and selected networks'
// names and every measurement stay.

#include "host/report/Profile.h"

namespace report {

Profile redacted(const Profile& profile);

}  // namespace report
