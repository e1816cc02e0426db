#include "platform/commutil/notificationstream.h"

#include <grpc/support/time.h>

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "platform/commutil/rpclogger.h"
#include "platform/iclogger/log.h"

namespace Rpc {

namespace {

// Between the end of a stream and the next attempt. The first is short because most ends are restarts; the last keeps
// a sibling that refuses the stream from being asked in a busy loop and is still short enough to be back in a second.
constexpr std::chrono::milliseconds kFirstPause{50};
constexpr std::chrono::milliseconds kLastPause{500};

grpc::ByteBuffer ToBuffer(const std::string& bytes)
{
  const grpc::Slice slice(bytes);
  return grpc::ByteBuffer(&slice, 1);
}

bool ToBytes(const grpc::ByteBuffer& buffer, std::string& bytes)
{
  std::vector<grpc::Slice> slices;
  if (!buffer.Dump(&slices).ok()) return false;
  bytes.clear();
  bytes.reserve(buffer.Length());
  for (const grpc::Slice& slice : slices) bytes.append(reinterpret_cast<const char*>(slice.begin()), slice.size());
  return true;
}

}  // namespace

CNotificationStream::CNotificationStream(std::shared_ptr<CSibling> sibling, std::string method,
                                         const std::string& request, Deliver deliver)
    : mSibling(std::move(sibling)),
      mMethod(std::move(method)),
      mRequest(ToBuffer(request)),
      mDeliverCB(std::move(deliver)),
      mStub(mSibling->GetChannel()),
      mPause(kFirstPause)
{}

void CNotificationStream::Open(grpc::CompletionQueue& queue)
{
  mQueue = &queue;
  mReader.reset();
  mContext = std::make_unique<grpc::ClientContext>();
  mContext->set_wait_for_ready(true);
  mReader = mStub.PrepareCall(mContext.get(), mMethod, mQueue);
  mStep = EStep::EStarting;
  mReader->StartCall(this);
}

void CNotificationStream::Proceed(bool ok)
{
  switch (mStep) {
    case EStep::EResting:
      break;
    case EStep::EStarting:
      if (!ok) return BeginFinishing();
      mStep = EStep::ERequesting;
      mReader->WriteLast(mRequest, grpc::WriteOptions(), this);
      break;
    case EStep::ERequesting:
      if (!ok) return BeginFinishing();
      Write(&ILogger::Debug, fmt::format("Subscribed to the notifications of {}", mSibling->GetName()));
      BeginReading();
      break;
    case EStep::EReading:
      if (!ok) return BeginFinishing();
      HandleNotification();
      BeginReading();
      break;
    case EStep::EFinishing:
      HandleEnd();
      break;
    case EStep::EPausing:
      if (mClosed || !ok) {
        mStep = EStep::EResting;
      } else {
        Open(*mQueue);
      }
      break;
  }
}

void CNotificationStream::Close()
{
  mClosed = true;
  if (mContext) mContext->TryCancel();
  if (mStep == EStep::EPausing) mAlarm.Cancel();
}

void CNotificationStream::BeginReading()
{
  mStep = EStep::EReading;
  mReader->Read(&mNotification, this);
}

void CNotificationStream::HandleNotification()
{
  if (mClosed) return;
  // A sibling that speaks is well again.
  mPause = kFirstPause;
  if (mOutageLogged) Write(&ILogger::Info, fmt::format("Notifications of {} are back", mSibling->GetName()));
  mOutageLogged = false;
  std::string bytes;
  try {
    if (!ToBytes(mNotification, bytes) || !mDeliverCB(bytes)) {
      Write(&ILogger::Warning,
            fmt::format("Dropped an unreadable notification of {} ({} bytes)", mSibling->GetName(), bytes.size()));
    }
  } catch (const std::exception& exception) {
    Write(&ILogger::Error,
          fmt::format("A notification of {} could not be handled: {}", mSibling->GetName(), exception.what()));
  } catch (const char* text) {
    Write(&ILogger::Error, fmt::format("A notification of {} could not be handled: {}", mSibling->GetName(), text));
  }
}

void CNotificationStream::BeginFinishing()
{
  mStep = EStep::EFinishing;
  mReader->Finish(&mStatus, this);
}

void CNotificationStream::HandleEnd()
{
  if (mClosed) {
    mStep = EStep::EResting;
    return;
  }
  if (!mOutageLogged) {
    Write(&ILogger::Warning, fmt::format("Notifications of {} ended: {} ({})", mSibling->GetName(),
                                         mStatus.error_message(), StatusCodeToString(mStatus.error_code())));
  }
  mOutageLogged = true;
  mStep = EStep::EPausing;
  mAlarm.Set(mQueue, gpr_time_from_millis(mPause.count(), GPR_TIMESPAN), this);
  mPause = std::min(mPause * 2, kLastPause);
}

}  // namespace Rpc
