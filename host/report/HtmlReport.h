#pragma once
// The report a support engineer attaches to a ticket and a person opens in any browser: one
// self-contained HTML5 file that loads nothing (its Content-Security-Policy allows no network and
// no script) and prints well. It holds, in this order: the verdict and the findings that need
// attention with their advice; the link (network, security, band, channel, signal, noise, SNR,
// PHY modes and rates) with the selected network beside the joined one and the signal plot; the
// networks around, one channel plot per band from the scan; the gateway and internet ping
// statistics with their plot; every group's findings as a table; an appendix with where, when and
// with what the run was made and the diagnostic's log; and the profile's JSON as a data block
// (<script type="application/json" id="profile">) for tools.
//
// Every text of the profile is escaped and its controls shown as code points, so that no network
// name can add markup, end the data block or turn the text around it.

#include "host/report/Findings.h"
#include "host/report/Profile.h"

#include <QByteArray>

namespace report {

// The report as UTF-8 HTML.
QByteArray htmlReport(const Profile& profile, const Findings& findings);

// The profile's JSON as it stands in the report's data block: the JSON of profileToJson with every
// '<', '>' and '&' and every character that visibleText would show as a code point written as a
// \u escape, so that it never ends the block and reads back as the same JSON.
QByteArray profileDataBlock(const Profile& profile);

}  // namespace report
