#include "host/PluginLoader.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>

#if !defined(HOST_DEFAULT_PLUGIN_NAME) || !defined(HOST_INSTALLED_PLUGIN_DIR) || \
    !defined(HOST_BUILD_PLUGIN_PATH)
#error "the build must say the diagnostic plugin's file name and where it is installed and built"
#endif

namespace host {

QString defaultPluginPath() {
    const QDir programDir(QCoreApplication::applicationDirPath());
    const QString name = QStringLiteral(HOST_DEFAULT_PLUGIN_NAME);
    const QString installed =
        QDir::cleanPath(programDir.absoluteFilePath(QStringLiteral(HOST_INSTALLED_PLUGIN_DIR "/") + name));
    const QStringList candidates = {
        QDir::cleanPath(programDir.absoluteFilePath(QStringLiteral("../lib/") + name)),
        installed,
        QStringLiteral(HOST_BUILD_PLUGIN_PATH),
    };
    for (const QString& path : candidates) {
        if (QFileInfo::exists(path)) {
            return path;
        }
    }
    return installed;  // where an installed program looks: the error names it
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
