#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/clock/clock.h"

// A named thread that takes part in its clock's time: announced before it starts, registered while it runs, and joined
// by a wait of the clock, so that simulated time passes while one waits for its end only as far as the thread needs it.
class CThread {
 public:
  // Starts `function` at once. An exception that leaves it ends the process, as with std::thread. At most 15 characters
  // of `name` are kept. The clock must outlive the thread.
  CThread(IClock& clock, const std::string& name, std::function<void()> function);
  // Joins.
  ~CThread();
  CThread(const CThread&) = delete;
  CThread& operator=(const CThread&) = delete;

  // Waits for the end of the thread. On the thread itself it lets go of it instead. A second call does nothing. One
  // caller at a time.
  void Join();
  // Lets go of the thread, which ends on its own.
  void Detach();
  bool IsThisThread() const { return mId == std::this_thread::get_id(); }

 private:
  // Shared with the thread, which may outlive this object when it was let go of.
  struct SEnd {
    CMutex mutex;
    CCondition changed;
    bool ended GUARDED_BY(mutex) = false;
  };

  IClock& mClock;
  const std::shared_ptr<SEnd> mEnd;
  std::thread mThread;
  std::thread::id mId;
};
