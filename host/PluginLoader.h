#pragma once
// The diagnostic plugin: where the host finds it by default, and loading it to get its diagnostic.

#include "platform/host/Extension.h"

#include <QString>

namespace host {

// libwifiprofile.so in ../lib beside the executable (a build), else in the installed program's
// library folder (relative to the executable), else where the build put it (programs of the build
// other than the host). Where none is found: the installed place, so the error names it.
QString defaultPluginPath();

// Loads the plugin at path and answers the diagnostic it makes, or sets *why (a whole message
// naming the plugin) and answers nullptr. The plugin stays loaded until the process ends: jobs it
// started may outlive the diagnostic's controller.
platform::DiagnosticExtension* loadDiagnosticPlugin(const QString& path, QString* why);

}  // namespace host
