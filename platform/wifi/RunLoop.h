#pragma once
// A thread's run loop: where platform notifications scheduled on it are delivered. The main
// thread's run loop is the main queue.

#include <functional>

class QThread;
class QObject;

namespace platform {

class RunLoop {
  public:
    // The run loop of the calling thread.
    static RunLoop* current();
    static RunLoop* main();
    // Runs job on this run loop's thread, later.
    void perform(std::function<void()> job);

  private:
    explicit RunLoop(QThread* thread);
    QThread* thread_;
    QObject* receiver_ = nullptr;
};

}  // namespace platform
