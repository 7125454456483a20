// Selected network tests: sixteen of the joined network's tests run again for the network the
// user chose, with the run's configuration (which names that network) into selectedNetworkData.
#include "wifiprofile/controller/WiFiProfileViewController.h"

namespace wifiprofile {

void WiFiProfileViewController::runSelectedNetworkLongBeaconInterval() {
    runCurrentNetworkLongBeaconIntervalWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkNoSecurity() {
    runCurrentNetworkNoSecurityWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkLegacySecurityWEP() {
    runCurrentNetworkLegacySecurityWEPWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkLegacySecurityWPA() {
    runCurrentNetworkLegacySecurityWPAWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkLegacyRates11b() {
    runCurrentNetworkLegacyRates11bWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkAmbiguousNetworkName() {
    runCurrentNetworkAmbiguousNetworkNameWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkHiddenNetwork() {
    runCurrentNetworkHiddenNetworkWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkLumoPersonalHotspot() {
    runCurrentNetworkLumoPersonalHotspotWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkCaptivePortal() {
    runCurrentNetworkCaptivePortalWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkPasspoint() {
    runCurrentNetworkPasspointWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkConflictingPHYMode11AC() {
    runCurrentNetworkConflictingPHYMode11ACWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkConflictingPHYMode11N() {
    runCurrentNetworkConflictingPHYMode11NWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkHarbexBaseStation() {
    runCurrentNetworkHarbexBaseStationWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkCongestedChannel() {
    runCurrentNetworkCongestedChannelWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkConflictingCountryCode() {
    runCurrentNetworkConflictingCountryCodeWithConfiguration(configuration, selectedNetworkData);
}

void WiFiProfileViewController::runSelectedNetworkPoorSignal() {
    runCurrentNetworkPoorSignalWithConfiguration(configuration, selectedNetworkData);
}

}  // namespace wifiprofile
