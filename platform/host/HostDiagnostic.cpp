#include "platform/host/HostDiagnostic.h"

#include "platform/foundation/Dispatch.h"

#include <QCoreApplication>
#include <QThread>

#include <cmath>

namespace platform {

void HostDiagnosticResult::setStatusCode(Value statusCode) {
    std::lock_guard lock(mutex_);
    statusCode_ = std::move(statusCode);
}

std::optional<Value> HostDiagnosticResult::statusCode() const {
    std::lock_guard lock(mutex_);
    return statusCode_;
}

void HostDiagnosticResult::setData(DictionaryRef data) {
    std::lock_guard lock(mutex_);
    data_ = std::move(data);
}

DictionaryRef HostDiagnosticResult::data() const {
    std::lock_guard lock(mutex_);
    return data_;
}

HostDiagnosticViewController::HostDiagnosticViewController() = default;

HostDiagnosticViewController::~HostDiagnosticViewController() {
    if (!view_) {
        return;
    }
    // Widgets belong to the main thread; the last reference may go away on a worker.
    if (dispatch::isMainThread()) {
        delete view_;
    } else {
        view_->deleteLater();
    }
}

void HostDiagnosticViewController::setFinished(bool finished) {
    FinishedObserver observer;
    {
        std::lock_guard lock(finishedMutex_);
        finished_ = finished;
        observer = finishedObserver_;
    }
    if (observer) {
        observer(finished, result_.statusCode());
    }
}

bool HostDiagnosticViewController::isFinished() const {
    std::lock_guard lock(finishedMutex_);
    return finished_;
}

void HostDiagnosticViewController::setFinishedObserver(FinishedObserver observer) {
    std::lock_guard lock(finishedMutex_);
    finishedObserver_ = std::move(observer);
}

ui::View* HostDiagnosticViewController::view() {
    if (!view_) {
        view_ = new ui::View;
        // The pass may come after the controller is gone (the view outlives it until the main
        // loop deletes it), so it holds the controller weakly.
        view_->setUpdateConstraintsHandler([weakSelf = weak_from_this()] {
            if (const auto self = weakSelf.lock()) {
                self->updateViewConstraints();
            }
        });
    }
    return view_;
}

void HostDiagnosticViewController::presentViewController(std::shared_ptr<ui::AlertController> alert,
                                                         bool /*animated*/,
                                                         std::function<void()> completion) {
    if (!alert || presented_) {
        return;  // one modal presentation at a time, as on the device
    }
    presented_ = alert;
    std::weak_ptr<HostDiagnosticViewController> weakSelf = weak_from_this();
    std::weak_ptr<ui::AlertController> weakAlert = alert;
    alert->presentOver(view(), [weakSelf, weakAlert] {
        const auto self = weakSelf.lock();
        if (self && self->presented_ == weakAlert.lock()) {
            self->presented_.reset();
        }
    });
    if (completion) {
        completion();
    }
}

// ---- Dictionary readers -----------------------------------------------------------------------

namespace {

thread_local InputValidationReport* tCurrentReport = nullptr;

bool inBounds(const Value& v, const Value& lower, const Value& upper) {
    if (v.kind() == Value::Kind::Double && std::isnan(v.toDouble())) {
        return false;
    }
    auto less = [](const Value& a, const Value& b) {
        if (a.kind() == Value::Kind::Double || b.kind() == Value::Kind::Double) {
            return a.toDouble() < b.toDouble();
        }
        const bool aNegative = a.kind() == Value::Kind::Int && a.toInt() < 0;
        const bool bNegative = b.kind() == Value::Kind::Int && b.toInt() < 0;
        if (aNegative != bNegative) {
            return aNegative;
        }
        return aNegative ? a.toInt() < b.toInt() : a.toUInt() < b.toUInt();
    };
    return !less(v, lower) && !less(upper, v);
}

QString describeKind(const Value& v) {
    return QString::fromUtf8(Value::kindName(v.kind()));
}

}  // namespace

InputValidationReport::InputValidationReport() : previous_(tCurrentReport) {
    tCurrentReport = this;
}

InputValidationReport::~InputValidationReport() {
    tCurrentReport = previous_;
}

void InputValidationReport::add(const QString& key, const QString& why) {
    if (tCurrentReport) {
        tCurrentReport->problems_.append(QStringLiteral("\"%1\": %2").arg(key, why));
    }
}

std::optional<Value> numberFromRequiredKey(const Dictionary& d, const QString& key, const Value& lowerBound,
                                           const Value& upperBound, bool* failed) {
    const std::optional<Value> v = d.value(key);
    QString problem;
    if (!v) {
        problem = QStringLiteral("is required but missing");
    } else if (!v->isNumber()) {
        problem = QStringLiteral("must be a number, got %1 %2").arg(describeKind(*v), v->description());
    } else if (!inBounds(*v, lowerBound, upperBound)) {
        problem = QStringLiteral("must be between %1 and %2, got %3")
                      .arg(lowerBound.description(), upperBound.description(), v->description());
    }
    if (problem.isEmpty()) {
        return v;
    }
    InputValidationReport::add(key, problem);
    if (failed) {
        *failed = true;
    }
    return std::nullopt;
}

bool boolFromRequiredKey(const Dictionary& d, const QString& key, bool* failed) {
    const std::optional<Value> v = d.value(key);
    if (v && v->isBool()) {
        return v->toBool();
    }
    InputValidationReport::add(
        key, v ? QStringLiteral("must be a boolean, got %1 %2").arg(describeKind(*v), v->description())
               : QStringLiteral("is required but missing"));
    if (failed) {
        *failed = true;
    }
    return false;
}

std::optional<QString> stringFromKey(const Dictionary& d, const QString& key, qsizetype maxLength,
                                     const std::optional<QString>& defaultValue, bool* failed) {
    const std::optional<Value> v = d.value(key);
    if (!v) {
        return defaultValue;
    }
    QString problem;
    if (!v->isString()) {
        problem = QStringLiteral("must be a string, got %1 %2").arg(describeKind(*v), v->description());
    } else if (v->toString().size() > maxLength) {
        problem = QStringLiteral("must be at most %1 characters long, got %2")
                      .arg(maxLength)
                      .arg(v->toString().size());
    }
    if (problem.isEmpty()) {
        return v->toString();
    }
    InputValidationReport::add(key, problem);
    if (failed) {
        *failed = true;
    }
    return std::nullopt;
}

// ---- Test automation ---------------------------------------------------------------------------

TestAutomation* TestAutomation::sharedInstance() {
    static TestAutomation instance;
    return &instance;
}

bool TestAutomation::testAutomationEnabled() const {
    std::lock_guard lock(mutex_);
    return enabled_;
}

void TestAutomation::setTestAutomationEnabled(bool enabled) {
    std::lock_guard lock(mutex_);
    enabled_ = enabled;
}

void TestAutomation::postConfiguration(DictionaryRef configuration) {
    ConfigurationObserver observer;
    {
        auto* shared = sharedInstance();
        std::lock_guard lock(shared->mutex_);
        observer = shared->observer_;
    }
    if (observer) {
        observer(std::move(configuration));
    }
}

void TestAutomation::setConfigurationObserver(ConfigurationObserver observer) {
    std::lock_guard lock(mutex_);
    observer_ = std::move(observer);
}

}  // namespace platform
