// Test entry point: an off-screen Qt application, so that queues, timers and widgets work as they
// do in the host.
#include <QApplication>
#include <QDir>

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        // Qt wants a private runtime directory and says so on stderr without one.
        const QString runtime = QDir::temp().absoluteFilePath(QStringLiteral("wifi-profile-tests-runtime"));
        QDir().mkpath(runtime);
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
    }
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
