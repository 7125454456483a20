#pragma once
// A thread's run loop: where platform notifications scheduled on it are delivered. The main
// thread's run loop is the main queue. A thread that turns a Qt event loop of its own has its own
// run loop; a thread that does not (a global-queue worker, a plain thread) has none to turn, so it
// is given the main run loop rather than one whose jobs would never run.

#include <functional>
#include <mutex>

class QThread;
class QObject;

namespace platform {

class RunLoop {
  public:
    // The run loop of the calling thread (the main run loop for a thread without an event loop).
    static RunLoop* current();
    static RunLoop* main();
    // Runs job on this run loop's thread, later. Once that thread has ended, its jobs run on the
    // main run loop instead, so none is lost.
    void perform(std::function<void()> job);

  private:
    explicit RunLoop(QThread* thread);
    void threadEnded();

    QThread* thread_;
    std::mutex mutex_;
    QObject* receiver_ = nullptr;  // lives in thread_ while it turns its loop; null for the main loop
};

}  // namespace platform
