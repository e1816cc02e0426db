#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/clock/thread.h"

// Blocks SIGINT for the calling thread and all threads that it starts from now on. To be called before the process
// starts its first thread.
void BlockTerminationSignal();

// Calls back when SIGINT arrives, from within the signal handler.
//
// The handler may use ordinary mutexes and the heap: the signal is delivered to a thread of this class alone, which
// does nothing but wait for it and so can never be interrupted while it holds a lock. A signal that came while it was
// blocked arrives as soon as an object exists.
class CTerminationSignal {
 public:
  // One object at a time.
  CTerminationSignal(IClock& clock, std::function<void(int signal)> callback);
  // Restores the default action of SIGINT: a further one ends the process.
  ~CTerminationSignal();
  CTerminationSignal(const CTerminationSignal&) = delete;
  CTerminationSignal& operator=(const CTerminationSignal&) = delete;

 private:
  void Wait();

  int mStop[2];  // a pipe whose writing end is closed to end the thread
  std::unique_ptr<CThread> mThread;
};
