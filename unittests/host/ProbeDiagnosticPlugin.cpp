// A probe diagnostic for the host's tests: a plugin that misbehaves on request, so that the host's
// own handling (a second finish, handles held or released too often, a main thread that hangs
// before or after finishing, a set-up that throws, disabled buttons) can be checked apart from the real
// diagnostic. The parameter "behaviour" picks what it does.

#include "platform/foundation/Dispatch.h"
#include "platform/host/Extension.h"
#include "platform/ui/Toolkit.h"
#include "platform/wifi/WiFiManager.h"

#include <QtGlobal>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;
using platform::Dictionary;
using platform::Value;

class ProbeInputs final : public platform::HostDiagnosticInputs {
  public:
    bool validateAndInitializeParameters(platform::DictionaryRef parameters) override {
        bool failed = false;
        behaviour = platform::stringFromKey(*parameters, QStringLiteral("behaviour"), 64,
                                            QStringLiteral("finish"), &failed)
                        .value_or(QString());
        return !failed;
    }
    QString behaviour;
};

class ProbeController final : public platform::HostDiagnosticViewController {
  public:
    void setupWithInputs(std::shared_ptr<platform::HostDiagnosticInputs> inputs, void*) override {
        behaviour_ = std::static_pointer_cast<ProbeInputs>(inputs)->behaviour;
        if (behaviour_ == QLatin1String("throwInSetup")) {
            throw std::runtime_error("the probe refuses to be set up");
        }
    }

    void start() override {
        const auto self = std::static_pointer_cast<ProbeController>(shared_from_this());
        if (behaviour_ == QLatin1String("finishTwice")) {
            // Ends from a worker, then once more a little later, as a diagnostic may.
            platform::dispatch::asyncAfter(platform::dispatch::globalQueue(), 50ms,
                                           [self] { self->end(-5); });
            platform::dispatch::asyncAfter(platform::dispatch::globalQueue(), 400ms,
                                           [self] { self->end(0); });
        } else if (behaviour_ == QLatin1String("holdHandle")) {
            held_ = platform::createManagerClient(nullptr, 0);
            end(0);
        } else if (behaviour_ == QLatin1String("releaseTwice")) {
            auto* manager = platform::createManagerClient(nullptr, 0);
            platform::releaseHandle(manager);
            platform::releaseHandle(manager);
            end(0);
        } else if (behaviour_ == QLatin1String("hangMainThread")) {
            std::this_thread::sleep_for(60s);
        } else if (behaviour_ == QLatin1String("finishThenHangMainThread")) {
            // The finish is seen at once, but the main thread never gets to print it.
            end(3);
            std::this_thread::sleep_for(60s);
        } else if (behaviour_ == QLatin1String("disabledNext")) {
            showBarButton(false);
        } else if (behaviour_ == QLatin1String("enabledNext")) {
            showBarButton(true);
        } else if (behaviour_ == QLatin1String("disabledAlertButton")) {
            auto alert =
                platform::ui::AlertController::alertControllerWithTitle(QString(), QStringLiteral("Probe"));
            auto ok = std::make_shared<platform::ui::AlertAction>(
                QStringLiteral("OK"), platform::ui::AlertAction::Style::Default, nullptr);
            ok->setEnabled(false);
            alert->addAction(ok);
            presentViewController(alert, true, nullptr);
        } else {
            end(0);
        }
    }

    void teardown() override {}

  private:
    void end(int code) {
        result().setStatusCode(Value::integer(code));
        result().setData(Dictionary::make());
        setFinished(true);
    }

    void showBarButton(bool enabled) {
        auto* bar = new platform::ui::NavigationBar(view());
        auto item = std::make_shared<platform::ui::NavigationItem>(QStringLiteral("Probe"));
        const std::weak_ptr<HostDiagnosticViewController> weak = weak_from_this();
        auto next = std::make_shared<platform::ui::BarButtonItem>(
            QStringLiteral("Next"), platform::ui::BarButtonItem::Style::Done, [this, weak] {
                if (weak.lock()) {
                    end(7);
                }
            });
        next->setEnabled(enabled);
        item->setRightBarButtonItem(next);
        bar->setItems({item});
        items_.push_back(item);
    }

    QString behaviour_;
    platform::WiFiManagerRef held_ = nullptr;
    std::vector<std::shared_ptr<platform::ui::NavigationItem>> items_;
};

class ProbeExtension final : public platform::DiagnosticExtension {
  public:
    QString name() const override { return QStringLiteral("Probe"); }
    std::shared_ptr<platform::HostDiagnosticInputs> makeInputs() override {
        return std::make_shared<ProbeInputs>();
    }
    std::shared_ptr<platform::HostDiagnosticViewController> makeViewController() override {
        return std::make_shared<ProbeController>();
    }
    QString localizedString(const QString& key) const override {
        if (key == QLatin1String("NEXT")) {
            return QStringLiteral("Next");
        }
        if (key == QLatin1String("OK")) {
            return QStringLiteral("OK");
        }
        return QString();
    }
};

}  // namespace

extern "C" Q_DECL_EXPORT platform::DiagnosticExtension* platformDiagnosticExtension() {
    static ProbeExtension extension;
    return &extension;
}
