#include "tests/unit/platform/iipc/genericsibling.h"

#include <grpc/support/time.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>

#include <algorithm>
#include <deque>
#include <optional>
#include <stdexcept>

namespace {

grpc::ByteBuffer ToBuffer(const std::string& bytes)
{
  const grpc::Slice slice(bytes);
  return grpc::ByteBuffer(&slice, 1);
}

std::string ToBytes(const grpc::ByteBuffer& buffer)
{
  std::vector<grpc::Slice> slices;
  std::string bytes;
  if (!buffer.Dump(&slices).ok()) return bytes;
  for (const grpc::Slice& slice : slices) bytes.append(reinterpret_cast<const char*>(slice.begin()), slice.size());
  return bytes;
}

bool IsStream(const std::string& method)
{
  const std::string suffix = "/Notifications";
  return method.size() > suffix.size() && method.compare(method.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

// One call; writes one message at a time and finishes when nothing is being written.
class CGenericSibling::CCall : public grpc::ServerGenericBidiReactor, public std::enable_shared_from_this<CCall> {
 public:
  CCall(CGenericSibling& owner, std::string method) : mOwner(owner), mMethod(std::move(method)) {}

  void Begin()
  {
    mSelf = shared_from_this();
    StartRead(&mRequest);
  }
  const std::string& GetMethod() const { return mMethod; }

  void Send(const std::string& bytes)
  {
    {
      const CLock lock(mMutex);
      mQueue.push_back(bytes);
    }
    Advance();
  }

  // After what is queued.
  void End(const grpc::Status& status)
  {
    {
      const CLock lock(mMutex);
      if (!mEnd) mEnd = status;
    }
    Advance();
  }

  void OnReadDone(bool ok) override
  {
    if (ok) {
      mOwner.HandleRequest(shared_from_this(), ToBytes(mRequest));
    } else {
      End(grpc::Status::CANCELLED);
    }
  }

  void OnWriteDone(bool ok) override
  {
    {
      const CLock lock(mMutex);
      mWriting = false;
      if (!ok) {
        mQueue.clear();
        mEnd = grpc::Status::CANCELLED;
      }
    }
    Advance();
  }

  void OnCancel() override
  {
    {
      const CLock lock(mMutex);
      mQueue.clear();
      mEnd = grpc::Status::CANCELLED;
    }
    Advance();
  }

  void OnDone() override
  {
    mOwner.Remove(this);
    const std::shared_ptr<CCall> self = std::move(mSelf);
  }

 private:
  void Advance()
  {
    std::optional<grpc::Status> end;
    {
      const CLock lock(mMutex);
      if (mWriting || mFinished) return;
      if (!mQueue.empty()) {
        mCurrent = ToBuffer(mQueue.front());
        mQueue.pop_front();
        mWriting = true;
      } else if (mEnd) {
        end = mEnd;
        mFinished = true;
      } else {
        return;
      }
    }
    if (end) {
      Finish(*end);
    } else {
      StartWrite(&mCurrent);
    }
  }

  CGenericSibling& mOwner;
  const std::string mMethod;
  std::shared_ptr<CCall> mSelf;
  grpc::ByteBuffer mRequest;

  CMutex mMutex;
  std::deque<std::string> mQueue GUARDED_BY(mMutex);
  bool mWriting GUARDED_BY(mMutex) = false;
  bool mFinished GUARDED_BY(mMutex) = false;
  std::optional<grpc::Status> mEnd GUARDED_BY(mMutex);
  grpc::ByteBuffer mCurrent;
};

CGenericSibling::CGenericSibling(const std::string& address, CallHandler handler) : mHandlerCB(std::move(handler))
{
  grpc::ServerBuilder builder;
  // Clients ping every 10 s although nothing is sent.
  builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, 5000);
  builder.AddListeningPort(address, grpc::InsecureServerCredentials());
  builder.RegisterCallbackGenericService(this);
  mServer = builder.BuildAndStart();
  if (!mServer) throw std::runtime_error("cannot serve at " + address);
}

CGenericSibling::~CGenericSibling() { mServer->Shutdown(gpr_time_0(GPR_TIMESPAN)); }

void CGenericSibling::SetReply(const std::string& method, const std::string& reply)
{
  const CLock lock(mMutex);
  mReplies[method] = reply;
}

void CGenericSibling::SetStatus(const std::string& method, const grpc::Status& status)
{
  const CLock lock(mMutex);
  mStatuses[method] = status;
}

void CGenericSibling::Hold(const std::string& method)
{
  const CLock lock(mMutex);
  mHeld[method] = true;
}

void CGenericSibling::Notify(const std::string& method, const std::string& notification)
{
  std::vector<std::shared_ptr<CCall>> streams;
  {
    const CLock lock(mMutex);
    streams = mStreams;
  }
  for (const auto& stream : streams) {
    if (stream->GetMethod() == method) stream->Send(notification);
  }
}

std::vector<std::pair<std::string, std::string>> CGenericSibling::Calls() const
{
  const CLock lock(mMutex);
  return mCalls;
}

size_t CGenericSibling::CountCalls(const std::string& method) const
{
  const CLock lock(mMutex);
  return static_cast<size_t>(
      std::count_if(mCalls.begin(), mCalls.end(), [&method](const auto& call) { return call.first == method; }));
}

grpc::ServerGenericBidiReactor* CGenericSibling::CreateReactor(grpc::GenericCallbackServerContext* context)
{
  const auto call = std::make_shared<CCall>(*this, context->method());
  call->Begin();
  return call.get();
}

void CGenericSibling::HandleRequest(const std::shared_ptr<CCall>& call, const std::string& request)
{
  const std::string method = call->GetMethod();
  grpc::Status status = grpc::Status::OK;
  std::string reply;
  bool held = false;
  {
    const CLock lock(mMutex);
    mCalls.emplace_back(method, request);
    if (mStatuses.count(method) > 0) status = mStatuses[method];
    reply = mReplies[method];
    held = mHeld.count(method) > 0;
    if (status.ok() && IsStream(method)) mStreams.push_back(call);
  }
  if (!status.ok()) {
    call->End(status);
  } else if (!held && !IsStream(method)) {
    call->Send(reply);
    call->End(status);
  }
  if (mHandlerCB) mHandlerCB(method, request);
}

void CGenericSibling::Remove(const CCall* call)
{
  const CLock lock(mMutex);
  mStreams.erase(std::remove_if(mStreams.begin(), mStreams.end(),
                                [call](const auto& candidate) { return candidate.get() == call; }),
                 mStreams.end());
}
