#include "host/HostObservers.h"

#include "host/HostOutput.h"

#include "platform/foundation/Log.h"
#include "platform/host/HostDiagnostic.h"
#include "platform/ui/Toolkit.h"

namespace host {

using platform::Dictionary;
using platform::Value;

HostObservers::HostObservers(EventStream& events) : events_(events) {
    platform::setLogSink([this](int category, platform::LogLevel level, const QString& message) {
        const QString name = QString::fromUtf8(platform::logLevelName(level));
        writeOut(stderr,
                 QStringLiteral("[%1] cat %2: %3\n").arg(name, QString::number(category), message).toUtf8());
        {
            std::lock_guard lock(logMutex_);
            log_.push_back(report::LogLine{category, static_cast<int>(level), message});
        }
        events_.write(QStringLiteral("log"), Dictionary::make({
                                                 {QStringLiteral("category"), Value::integer(category)},
                                                 {QStringLiteral("level"), Value::string(name)},
                                                 {QStringLiteral("message"), Value::string(message)},
                                             }));
    });

    platform::ui::setScreenEventObserver([this](const QString& kind, platform::DictionaryRef fields) {
        events_.write(kind, std::move(fields));
    });

    // The diagnostic posts its configuration only when the host turns test automation on.
    platform::TestAutomation::sharedInstance()->setConfigurationObserver(
        [this](platform::DictionaryRef configuration) {
            events_.write(
                QStringLiteral("configuration"),
                Dictionary::make({{QStringLiteral("configuration"),
                                   configuration ? Value::dictionary(configuration) : Value::null()}}));
        });
}

std::vector<report::LogLine> HostObservers::logLines() const {
    std::lock_guard lock(logMutex_);
    return log_;
}

HostObservers::~HostObservers() {
    if (backend_) {
        backend_->setRequestObserver(nullptr);
    }
    platform::TestAutomation::sharedInstance()->setConfigurationObserver(nullptr);
    platform::ui::setScreenEventObserver(nullptr);
    platform::setLogSink(nullptr);
}

void HostObservers::observeRequests(std::shared_ptr<platform::RecordingBackend> backend) {
    if (backend_) {
        backend_->setRequestObserver(nullptr);
    }
    backend_ = std::move(backend);
    backend_->setRequestObserver([this](const platform::RecordedRequest& request) {
        auto fields = Dictionary::make();
        if (request.kind == platform::RecordedRequest::Kind::Status) {
            fields->set(QStringLiteral("kind"), Value::string(QStringLiteral("status")));
        } else {
            fields->set(QStringLiteral("kind"), Value::string(QStringLiteral("test")));
            fields->set(QStringLiteral("testID"), Value::integer(request.testID));
            fields->set(QStringLiteral("configuration"),
                        request.configuration ? Value::dictionary(request.configuration) : Value::null());
        }
        events_.write(QStringLiteral("request"), fields);
    });
}

}  // namespace host
