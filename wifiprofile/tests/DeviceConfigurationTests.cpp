// Device configuration tests: how the device itself is set up, apart from any network. Each asks
// the service for one numbered test with the run's configuration and writes into deviceData.
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/service/TestStep.h"

namespace wifiprofile {

void WiFiProfileViewController::runDeviceConfigurationCustomIPv4() {
    const auto result = runTestStep(*this, 14, configuration, "Custom IPv4");
    if (!result) {
        return;
    }
    writeVerdict(*deviceData, "isUsingCustomIPv4", result->result);
    if (result->didPass) {
        return;
    }
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "IPv4ConfigMethod", *deviceData, "IPv4ConfigMethod", "IPv4ConfigMethod");
    }
}

void WiFiProfileViewController::runDeviceConfigurationCustomIPv6() {
    const auto result = runTestStep(*this, 15, configuration, "Custom IPv6");
    if (!result) {
        return;
    }
    writeVerdict(*deviceData, "isUsingCustomIPv6", result->result);
    if (result->didPass) {
        return;
    }
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "IPv6ConfigMethod", *deviceData, "IPv6ConfigMethod", "IPv6ConfigMethod");
    }
}

void WiFiProfileViewController::runDeviceConfigurationCustomDNS() {
    if (const auto result = runTestStep(*this, 16, configuration, "Custom DNS")) {
        writeVerdict(*deviceData, "isUsingCustomDNS", result->result);
    }
}

void WiFiProfileViewController::runDeviceConfigurationCustomWebProxy() {
    if (const auto result = runTestStep(*this, 17, configuration, "Custom Web Proxy")) {
        writeVerdict(*deviceData, "isUsingCustomWebProxy", result->result);
    }
}

void WiFiProfileViewController::runDeviceConfigurationVornetRealTimeMode() {
    if (const auto result = runTestStep(*this, 22, configuration, "Vornet Real Time Mode")) {
        writeVerdict(*deviceData, "isVornetInRealTimeMode", result->result);
    }
}

void WiFiProfileViewController::runDeviceConfigurationBluetoothConnected() {
    const auto result = runTestStep(*this, 19, configuration, "Bluetooth Connected");
    if (!result) {
        return;
    }
    writeVerdict(*deviceData, "isLargeConnectedBT", result->result);
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "BTConnectedCount", *deviceData, "bluetoothConnectedCount",
                   "BluetoothConnectedCount");
    }
}

void WiFiProfileViewController::runDeviceConfigurationBluetoothPaired() {
    const auto result = runTestStep(*this, 18, configuration, "Bluetooth Paired");
    if (!result) {
        return;
    }
    writeVerdict(*deviceData, "isLargePairedBT", result->result);
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "BTPairedCount", *deviceData, "bluetoothPairedCount", "BluetoothPairedCount");
    }
}

void WiFiProfileViewController::runDeviceConfigurationBTCoex() {
    if (const auto result = runTestStep(*this, 20, configuration, "Bluetooth Coex")) {
        writeVerdict(*deviceData, "isHYBRIDBTCoexistenceMode", result->result);
    }
}

void WiFiProfileViewController::runDeviceConfigurationLargePNL() {
    const auto result = runTestStep(*this, 47, configuration, "Large PNL");
    if (!result) {
        return;
    }
    writeVerdict(*deviceData, "isLargePNL", result->result);
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "PNLCount", *deviceData, "preferredNetworkListCount", "PreferredNetworkListCount");
    }
}

void WiFiProfileViewController::runDeviceConfigurationPNLContainsHidden() {
    if (const auto result = runTestStep(*this, 48, configuration, "PNL Contains Hidden")) {
        writeVerdict(*deviceData, "doesPNLContainHiddenNetworks", result->result);
    }
}

void WiFiProfileViewController::runDeviceConfigurationConflictingSecurityTypeInPNL() {
    if (const auto result = runTestStep(*this, 29, configuration, "Conflicting Security Type in PNL")) {
        writeVerdict(*deviceData, "doesPNLContainConflictingSecurityType", result->result);
    }
}

}  // namespace wifiprofile
