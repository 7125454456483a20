#include "wifiprofile/controller/WiFiProfileInputs.h"

namespace wifiprofile {

using platform::Value;

bool WiFiProfileInputs::validateAndInitializeParameters(platform::DictionaryRef parameters) {
    bool failed = false;
    this->parameters = parameters;
    const platform::Dictionary empty;
    const platform::Dictionary& d = parameters ? *parameters : empty;
    // Every look-up runs, even after an earlier one failed, so the host hears of every bad key.
    maxScanCacheAge =
        platform::numberFromRequiredKey(d, QStringLiteral("maxScanCacheAge"), Value::unsignedInteger(0),
                                        Value::unsignedInteger(600), &failed);
    reprofileWithNetworksListUI =
        platform::boolFromRequiredKey(d, QStringLiteral("reprofileWithUI"), &failed);
    setSelectedNetworkName(platform::stringFromKey(d, kNetworkName, 32, std::nullopt, &failed));
    return !failed;
}

std::optional<QString> WiFiProfileInputs::selectedNetworkName() const {
    std::lock_guard lock(mutex_);
    return selectedNetworkName_;
}

void WiFiProfileInputs::setSelectedNetworkName(std::optional<QString> name) {
    std::lock_guard lock(mutex_);
    selectedNetworkName_ = std::move(name);
}

}  // namespace wifiprofile
