#pragma once
// The diagnostic's inputs: validates the host's parameters once and keeps the three values the
// diagnostic reads (scan cache age, whether to show the network list, the selected network name).

#include "platform/host/HostDiagnostic.h"

#include <QString>

#include <mutex>
#include <optional>

namespace wifiprofile {

// The input key of the selected network's name; also the result key of the network name detail.
inline const QString kNetworkName = QStringLiteral("networkName");

class WiFiProfileInputs final : public platform::HostDiagnosticInputs {
  public:
    bool validateAndInitializeParameters(platform::DictionaryRef parameters) override;

    // Absent only when validation failed to read it.
    std::optional<platform::Value> maxScanCacheAge;
    bool reprofileWithNetworksListUI = false;
    platform::DictionaryRef parameters;

    // The selected network name is read and replaced from the list's background jobs and the main
    // queue, so it is kept behind a lock.
    std::optional<QString> selectedNetworkName() const;
    void setSelectedNetworkName(std::optional<QString> name);

  private:
    mutable std::mutex mutex_;
    std::optional<QString> selectedNetworkName_;
};

}  // namespace wifiprofile
