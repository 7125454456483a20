#include "platform/ui/RuntimeDirectory.h"

#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QtGlobal>

namespace platform::ui {

void ensureRuntimeDirectory() {
    if (!qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        return;
    }
    const QString path =
        QDir::temp().absoluteFilePath(QStringLiteral("wifi-profile-runtime-%1").arg(getuid()));
    if (QDir().mkpath(path)) {
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(path));
    }
}

}  // namespace platform::ui
