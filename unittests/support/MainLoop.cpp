#include "unittests/support/MainLoop.h"

#include "platform/foundation/Dispatch.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <thread>

namespace testsupport {

bool runMainLoopUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QCoreApplication::sendPostedEvents();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

bool runMainLoopUntilIdle(std::chrono::milliseconds timeout) {
    return runMainLoopUntil([] { return platform::dispatch::activity().idle(); }, timeout);
}

}  // namespace testsupport
