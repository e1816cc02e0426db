#pragma once

#include <grpcpp/alarm.h>
#include <grpcpp/completion_queue.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/clock/mutex.h"

namespace Rpc {

class CNotificationStream;

// Runs the notification streams of all siblings on one thread: every event of every stream comes out of one queue.
class CNotificationLoop {
 public:
  CNotificationLoop();
  ~CNotificationLoop();
  CNotificationLoop(const CNotificationLoop&) = delete;
  CNotificationLoop& operator=(const CNotificationLoop&) = delete;

  // From any thread; the stream is opened as soon as the loop runs. After Stop the stream is dropped.
  void Add(std::unique_ptr<CNotificationStream> stream);
  // Until Stop; returns at once after it. One thread at a time.
  void Run();
  // From any thread, also from within a notification. Does not wait for Run to return.
  void Stop();

 private:
  void WakeUp() REQUIRES(mMutex);
  // Opens new streams, or closes all; true when the loop is to end.
  bool TakeNews(bool wokenUp);
  bool AllStreamsRest() const;
  void CloseQueue();

  grpc::CompletionQueue mQueue;
  // Brings the loop out of its wait; set again only after it went off.
  grpc::Alarm mWake;

  CMutex mMutex;
  std::vector<std::unique_ptr<CNotificationStream>> mNewStreams GUARDED_BY(mMutex);
  bool mStopping GUARDED_BY(mMutex) = false;
  bool mWakePending GUARDED_BY(mMutex) = false;
  bool mQueueClosed GUARDED_BY(mMutex) = false;

  // Owned by the thread of Run.
  std::vector<std::unique_ptr<CNotificationStream>> mStreams;
};

}  // namespace Rpc
