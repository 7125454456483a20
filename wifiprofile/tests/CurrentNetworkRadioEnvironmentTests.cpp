// Radio environment tests of a network: channel and band congestion, 40 MHz channels on 2.4 GHz,
// conflicting country codes, poor signal, and the scans for any networks and for hidden ones. The
// service decides every verdict; these operations copy what it reports.
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/service/TestStep.h"

namespace wifiprofile {

using platform::DictionaryRef;
using platform::Value;

namespace {

const QStringList kBandChannelKeys = {"2GHzChannel", "5GHzChannel", "5GHz40MHzChannel", "5GHzNonDFSChannel"};

// Copies each channel entry present in info as its channel number. An entry that is absent, or
// that is not a channel record, is skipped without a message.
void copyChannels(const platform::Dictionary& info, platform::Dictionary& results,
                  const std::vector<std::pair<QString, QString>>& infoToResultKeys) {
    for (const auto& [infoKey, resultKey] : infoToResultKeys) {
        const std::optional<Value> entry = info.value(infoKey);
        if (const auto channel = entry ? entry->recordAs<platform::WiFiChannel>() : nullptr) {
            results.set(resultKey, Value::integer(channel->channel));
        }
    }
}

std::vector<std::pair<QString, QString>> bandChannelKeys() {
    std::vector<std::pair<QString, QString>> keys;
    for (const QString& key : kBandChannelKeys) {
        keys.emplace_back(key, key);
    }
    return keys;
}

void runCongestionTest(const WiFiProfileViewController& controller, std::int64_t testID, const char* title,
                       const DictionaryRef& configuration, platform::Dictionary& results,
                       const QString& verdictKey,
                       const std::vector<std::pair<QString, QString>>& channelKeys) {
    const auto result = runTestStep(controller, testID, configuration, title);
    if (!result) {
        return;
    }
    writeVerdict(results, verdictKey, result->result);
    if (const auto info = infoOrLog(*result)) {
        copyChannels(*info, results, channelKeys);
    }
}

}  // namespace

void WiFiProfileViewController::runCurrentNetworkCongestedChannelWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    auto keys = bandChannelKeys();
    keys.insert(keys.begin(), {"CurrentChannel", "currentChannel"});
    runCongestionTest(*this, 24, "Congested Channel", configuration, *resultsDictionary, "isChannelCongested",
                      keys);
}

void WiFiProfileViewController::runCurrentNetworkCongested2GHzWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runCongestionTest(*this, 25, "Congested 2.4GHz", configuration, *resultsDictionary, "is2GHzCongested",
                      bandChannelKeys());
}

void WiFiProfileViewController::runCurrentNetworkCongested5GHzWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runCongestionTest(*this, 26, "Congested 5GHz", configuration, *resultsDictionary, "is5GHzCongested",
                      bandChannelKeys());
}

void WiFiProfileViewController::runCurrentNetworkHT402GHzChannelWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    if (const auto result = runTestStep(*this, 27, configuration, "HT 40 Channel")) {
        writeVerdict(*resultsDictionary, "hasHT40Channel", result->result);
    }
}

void WiFiProfileViewController::runCurrentNetworkConflictingCountryCodeWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    const auto result = runTestStep(*this, 28, configuration, "Conflicting Country Code");
    if (!result) {
        return;
    }
    writeVerdict(*resultsDictionary, "foundConflictingCountryCode", result->result);
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "AdoptedCountryCode", *resultsDictionary, "adoptedCountryCode",
                   "AdoptedCountryCode");
    }
}

void WiFiProfileViewController::runCurrentNetworkPoorSignalWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    const auto result = runTestStep(*this, 32, configuration, "Poor Signal");
    if (!result) {
        return;
    }
    writeVerdict(*resultsDictionary, "hasPoorSignal", result->result);
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "RSSI", *resultsDictionary, "RSSI", "RSSI");
        copyDetail(*info, "Noise", *resultsDictionary, "noise", "Noise");
    }
}

void WiFiProfileViewController::runCurrentNetworkNoScanResultsWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    const auto result = runTestStep(*this, 31, configuration, "No Scan Results");
    if (!result) {
        return;
    }
    // The service's verdict says the scan found nothing; the key says whether it found something,
    // as an integer 0 or 1.
    resultsDictionary->set("foundScanResults", Value::integer(result->result ? 0 : 1));
    if (!result->didPass) {
        return;
    }
    const auto info = infoOrLog(*result);
    if (!info) {
        return;
    }
    // The list is replaced whole, also by nothing; anything other than an array counts as nothing.
    const std::optional<Value> scanResults = info->value("ScanResults");
    wifiScanResults.set(scanResults ? scanResults->toArray() : nullptr);
    if (!wifiScanResults.get()) {
        logNotFound("Scan Results");
    }
}

void WiFiProfileViewController::runCurrentNetworkHiddenScanResultsWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    const auto result = runTestStep(*this, 30, configuration, "Hidden Scan Results");
    if (!result) {
        return;
    }
    writeVerdict(*resultsDictionary, "foundHiddenNetworks", result->result);
    if (result->didPass) {
        return;
    }
    const auto info = infoOrLog(*result);
    if (!info) {
        return;
    }
    const std::optional<Value> scanResults = info->value("ScanResults");
    const platform::ArrayRef hiddenNetworks = scanResults ? scanResults->toArray() : nullptr;
    if (!hiddenNetworks) {
        logNotFound("Scan Results");
        return;
    }
    resultsDictionary->set("hiddenNetworkCount", Value::unsignedInteger(hiddenNetworks->size()));
}

}  // namespace wifiprofile
