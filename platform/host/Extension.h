#pragma once
// The interface between the host and a diagnostic extension loaded as a plugin: the extension
// makes its inputs object and its controller, and answers its strings table (so an automation
// script can name buttons by their strings-table key).

#include "platform/host/HostDiagnostic.h"

#include <QString>

#include <memory>

namespace platform {

class DiagnosticExtension {
  public:
    virtual ~DiagnosticExtension() = default;
    virtual QString name() const = 0;
    virtual std::shared_ptr<HostDiagnosticInputs> makeInputs() = 0;
    virtual std::shared_ptr<HostDiagnosticViewController> makeViewController() = 0;
    // The display text of a strings-table key, as the extension's screens show it.
    virtual QString localizedString(const QString& key) const = 0;
};

}  // namespace platform

// Every extension plugin exports this function; the host finds it by name.
#define PLATFORM_DIAGNOSTIC_EXTENSION_ENTRY "platformDiagnosticExtension"
extern "C" {
using PlatformDiagnosticExtensionEntry = platform::DiagnosticExtension* (*)();
}
