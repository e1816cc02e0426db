#include "platform/commutil/notificationloop.h"

#include <grpc/support/time.h>

#include <algorithm>
#include <utility>

#include "platform/commutil/notificationstream.h"

namespace Rpc {

CNotificationLoop::CNotificationLoop() = default;

CNotificationLoop::~CNotificationLoop()
{
  Stop();
  CloseQueue();
}

void CNotificationLoop::Add(std::unique_ptr<CNotificationStream> stream)
{
  const CLock lock(mMutex);
  if (mStopping) return;
  mNewStreams.push_back(std::move(stream));
  WakeUp();
}

void CNotificationLoop::Run()
{
  void* tag = nullptr;
  bool ok = false;
  bool stopping = false;
  {
    const CLock lock(mMutex);
    if (mQueueClosed) return;
  }
  while (!(stopping && AllStreamsRest()) && mQueue.Next(&tag, &ok)) {
    // News first: after a stop, what is still in the queue is not delivered any more.
    if (!stopping) stopping = TakeNews(tag == this);
    if (tag != this) static_cast<CNotificationStream*>(tag)->Proceed(ok);
  }
  CloseQueue();
}

void CNotificationLoop::Stop()
{
  const CLock lock(mMutex);
  mStopping = true;
  WakeUp();
}

void CNotificationLoop::WakeUp()
{
  if (mWakePending || mQueueClosed) return;
  mWakePending = true;
  mWake.Set(&mQueue, gpr_time_0(GPR_TIMESPAN), this);
}

bool CNotificationLoop::TakeNews(bool wokenUp)
{
  std::vector<std::unique_ptr<CNotificationStream>> newStreams;
  bool stopping = false;
  {
    const CLock lock(mMutex);
    if (wokenUp) mWakePending = false;
    newStreams.swap(mNewStreams);
    stopping = mStopping;
  }
  if (stopping) {
    for (const auto& stream : mStreams) stream->Close();
    return true;
  }
  for (auto& stream : newStreams) {
    stream->Open(mQueue);
    mStreams.push_back(std::move(stream));
  }
  return false;
}

bool CNotificationLoop::AllStreamsRest() const
{
  return std::all_of(mStreams.begin(), mStreams.end(), [](const auto& stream) { return stream->IsResting(); });
}

void CNotificationLoop::CloseQueue()
{
  {
    const CLock lock(mMutex);
    if (mQueueClosed) return;
    mQueueClosed = true;
  }
  // Nothing is begun on the queue any more; what is left in it is at most a wake-up.
  mQueue.Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (mQueue.Next(&tag, &ok)) {
  }
}

}  // namespace Rpc
