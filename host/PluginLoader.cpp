#include "host/PluginLoader.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>

#ifndef HOST_DEFAULT_PLUGIN_NAME
#error "HOST_DEFAULT_PLUGIN_NAME must name the diagnostic plugin's file"
#endif

namespace host {

QString defaultPluginPath() {
    const QString beside =
        QDir(QCoreApplication::applicationDirPath())
            .absoluteFilePath(QStringLiteral("../lib/") + QStringLiteral(HOST_DEFAULT_PLUGIN_NAME));
    if (QFileInfo::exists(beside)) {
        return QDir::cleanPath(beside);
    }
#ifdef HOST_DEFAULT_PLUGIN_PATH
    return QStringLiteral(HOST_DEFAULT_PLUGIN_PATH);
#else
    return QDir::cleanPath(beside);
#endif
}

platform::DiagnosticExtension* loadDiagnosticPlugin(const QString& path, QString* why) {
    QLibrary plugin(path);
    if (!plugin.load()) {
        *why = QStringLiteral("cannot load the diagnostic plugin %1: %2").arg(path, plugin.errorString());
        return nullptr;
    }
    const auto entry = reinterpret_cast<PlatformDiagnosticExtensionEntry>(
        plugin.resolve(PLATFORM_DIAGNOSTIC_EXTENSION_ENTRY));
    if (!entry) {
        *why = QStringLiteral("%1 is no diagnostic plugin: it does not export %2")
                   .arg(path, QStringLiteral(PLATFORM_DIAGNOSTIC_EXTENSION_ENTRY));
        return nullptr;
    }
    platform::DiagnosticExtension* extension = entry();
    if (!extension) {
        *why = QStringLiteral("the plugin %1 made no diagnostic").arg(path);
    }
    return extension;
}

}  // namespace host
