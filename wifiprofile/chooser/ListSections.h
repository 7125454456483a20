#pragma once
// The network list's sections (the network chosen so far on top, the networks around below) and
// the animation its rows come and go with.

#include "platform/ui/table/TableView.h"

namespace wifiprofile {

inline constexpr long kSelectedNetworkSection = 0;
inline constexpr long kNetworksSection = 1;
inline constexpr auto kFade = platform::ui::TableViewRowAnimation::Fade;

}  // namespace wifiprofile
