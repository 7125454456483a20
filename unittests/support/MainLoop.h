#pragma once
// Drives the main queue from a test: runs the Qt event loop until a condition holds.

#include <chrono>
#include <functional>

namespace testsupport {

// Processes main-loop events until done() answers true or timeout passes; answers done().
bool runMainLoopUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));

// Processes main-loop events until no dispatch work is queued, running or waiting on a timer.
bool runMainLoopUntilIdle(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));

}  // namespace testsupport
