// Test entry point: an off-screen Qt application, so that queues, timers and widgets work as they
// do in the host.
#include "platform/ui/Toolkit.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Texts in English whatever the machine's locale, for this process and the programs it runs;
    // a test of another language sets its own.
    qputenv("LANGUAGE", "en");
    platform::ui::ensureRuntimeDirectory();
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
