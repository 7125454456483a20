// The Wi-Fi Profile extension: what the host loads from this plugin.
#include "platform/host/Extension.h"
#include "wifiprofile/controller/WiFiProfileInputs.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/resources/Strings.h"

#include <QtGlobal>

namespace wifiprofile {

namespace {

class WiFiProfileExtension final : public platform::DiagnosticExtension {
  public:
    QString name() const override { return QStringLiteral("Wi-Fi Profile"); }
    std::shared_ptr<platform::HostDiagnosticInputs> makeInputs() override {
        return std::make_shared<WiFiProfileInputs>();
    }
    std::shared_ptr<platform::HostDiagnosticViewController> makeViewController() override {
        return std::make_shared<WiFiProfileViewController>();
    }
    QString localizedString(const QString& key) const override { return wifiprofile::localizedString(key); }
};

}  // namespace

}  // namespace wifiprofile

extern "C" Q_DECL_EXPORT platform::DiagnosticExtension* platformDiagnosticExtension() {
    static wifiprofile::WiFiProfileExtension extension;
    return &extension;
}
