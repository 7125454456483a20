#pragma once
// The host diagnostics framework: the base of a diagnostic's view controller (result record,
// finish, set-up hooks, root view, modal alerts, layout hook), the inputs interface with its
// dictionary readers, and the host's test automation.

#include "platform/foundation/Value.h"
#include "platform/ui/Toolkit.h"

#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace platform {

// What a diagnostic reports: a status code and a data dictionary. Safe to read on one thread while
// the diagnostic sets it on another.
class HostDiagnosticResult {
  public:
    void setStatusCode(Value statusCode);
    std::optional<Value> statusCode() const;
    void setData(DictionaryRef data);
    DictionaryRef data() const;

  private:
    mutable std::mutex mutex_;
    std::optional<Value> statusCode_;
    DictionaryRef data_;
};

class HostDiagnosticInputs {
  public:
    virtual ~HostDiagnosticInputs() = default;
    virtual bool validateAndInitializeParameters(DictionaryRef parameters) = 0;
};

class HostDiagnosticViewController : public std::enable_shared_from_this<HostDiagnosticViewController> {
  public:
    HostDiagnosticViewController();
    virtual ~HostDiagnosticViewController();
    HostDiagnosticViewController(const HostDiagnosticViewController&) = delete;
    HostDiagnosticViewController& operator=(const HostDiagnosticViewController&) = delete;

    // Hooks called by the host, on the main thread, in this order.
    virtual void setupWithInputs(std::shared_ptr<HostDiagnosticInputs> inputs, void* responder) = 0;
    virtual void start() = 0;
    virtual void teardown() = 0;

    HostDiagnosticResult& result() { return result_; }
    // Marks the diagnostic finished (or not); the host's observer hears every call with the status
    // code stored at that moment.
    void setFinished(bool finished);
    bool isFinished() const;
    using FinishedObserver = std::function<void(bool finished, std::optional<Value> statusCode)>;
    void setFinishedObserver(FinishedObserver observer);

    // The root view, made on first use (main thread only).
    ui::View* view();
    // Presents an alert modally over the root view; completion runs once it is shown.
    void presentViewController(std::shared_ptr<ui::AlertController> alert, bool animated,
                               std::function<void()> completion);
    std::shared_ptr<ui::AlertController> presentedViewController() const { return presented_; }
    // Layout hook: runs after setNeedsUpdateConstraints on the root view. The base does nothing.
    virtual void updateViewConstraints() {}

    virtual bool prefersStatusBarHidden() const { return false; }
    virtual bool shouldAutorotate() const { return true; }
    virtual unsigned supportedInterfaceOrientations() const { return 0x1e; }
    virtual long preferredInterfaceOrientationForPresentation() const { return 1; }

  private:
    HostDiagnosticResult result_;
    mutable std::mutex finishedMutex_;
    bool finished_ = false;
    FinishedObserver finishedObserver_;
    ui::View* view_ = nullptr;
    std::shared_ptr<ui::AlertController> presented_;
};

// Dictionary readers used by inputs to validate parameters. None clears failed. Each problem found
// is also reported to the active InputValidationReport, so the host can say which key is wrong.
//
// numberFromRequiredKey: the value must be an integer, unsigned integer or double number (a JSON
// boolean is not a number; NaN fails) within [lowerBound, upperBound]; on failure it answers absent.
std::optional<Value> numberFromRequiredKey(const Dictionary& d, const QString& key, const Value& lowerBound,
                                           const Value& upperBound, bool* failed);
// boolFromRequiredKey: the value must be a boolean (a number is not a boolean); on failure false.
bool boolFromRequiredKey(const Dictionary& d, const QString& key, bool* failed);
// stringFromKey: missing key gives defaultValue; the value must be a string of at most maxLength
// UTF-16 code units (the length the platform's string type reports); on failure it answers absent.
std::optional<QString> stringFromKey(const Dictionary& d, const QString& key, qsizetype maxLength,
                                     const std::optional<QString>& defaultValue, bool* failed);

// Collects the problems the readers report on this thread while it is alive.
class InputValidationReport {
  public:
    InputValidationReport();
    ~InputValidationReport();
    InputValidationReport(const InputValidationReport&) = delete;
    InputValidationReport& operator=(const InputValidationReport&) = delete;
    // One line per problem: "\"key\": why".
    const QStringList& problems() const { return problems_; }
    static void add(const QString& key, const QString& why);

  private:
    QStringList problems_;
    InputValidationReport* previous_;
};

// The host's test automation: when enabled, diagnostics post their configuration to it.
class TestAutomation {
  public:
    static TestAutomation* sharedInstance();
    bool testAutomationEnabled() const;
    void setTestAutomationEnabled(bool enabled);
    static void postConfiguration(DictionaryRef configuration);
    using ConfigurationObserver = std::function<void(DictionaryRef configuration)>;
    void setConfigurationObserver(ConfigurationObserver observer);

  private:
    TestAutomation() = default;
    mutable std::mutex mutex_;
    bool enabled_ = false;
    ConfigurationObserver observer_;
};

}  // namespace platform
