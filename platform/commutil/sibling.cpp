#include "platform/commutil/sibling.h"

#include <grpc/support/time.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/channel_arguments.h>

#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"

namespace Rpc {

namespace {

struct SArgument {
  const char* name;
  int value;
};

// What makes a restarted sibling reachable within half a second, and a frozen one noticed within 12 seconds.
constexpr SArgument kChannelArguments[] = {
    {GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, 100},
    {GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, 500},
    // Time-out of one attempt to connect.
    {GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, 1000},
    {GRPC_ARG_KEEPALIVE_TIME_MS, 10000},
    {GRPC_ARG_KEEPALIVE_TIMEOUT_MS, 2000},
    {GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0},
    // Each sibling has a channel of its own, so that one in trouble does not hold up another.
    {GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1},
    // A channel that never goes idle is connected when a call needs it.
    {GRPC_ARG_CLIENT_IDLE_TIMEOUT_MS, INT_MAX},
    // Retries by the library would hide that a call may have been made twice.
    {GRPC_ARG_ENABLE_RETRIES, 0},
    // The environment's proxies are not meant for siblings on this board.
    {GRPC_ARG_ENABLE_HTTP_PROXY, 0},
};

struct SStatusText {
  grpc::StatusCode code;
  const char* text;
};

constexpr SStatusText kStatusTexts[] = {
    {grpc::StatusCode::OK, "OK"},
    {grpc::StatusCode::CANCELLED, "CANCELLED"},
    {grpc::StatusCode::UNKNOWN, "UNKNOWN"},
    {grpc::StatusCode::INVALID_ARGUMENT, "INVALID_ARGUMENT"},
    {grpc::StatusCode::DEADLINE_EXCEEDED, "DEADLINE_EXCEEDED"},
    {grpc::StatusCode::NOT_FOUND, "NOT_FOUND"},
    {grpc::StatusCode::ALREADY_EXISTS, "ALREADY_EXISTS"},
    {grpc::StatusCode::PERMISSION_DENIED, "PERMISSION_DENIED"},
    {grpc::StatusCode::UNAUTHENTICATED, "UNAUTHENTICATED"},
    {grpc::StatusCode::RESOURCE_EXHAUSTED, "RESOURCE_EXHAUSTED"},
    {grpc::StatusCode::FAILED_PRECONDITION, "FAILED_PRECONDITION"},
    {grpc::StatusCode::ABORTED, "ABORTED"},
    {grpc::StatusCode::OUT_OF_RANGE, "OUT_OF_RANGE"},
    {grpc::StatusCode::UNIMPLEMENTED, "UNIMPLEMENTED"},
    {grpc::StatusCode::INTERNAL, "INTERNAL"},
    {grpc::StatusCode::UNAVAILABLE, "UNAVAILABLE"},
    {grpc::StatusCode::DATA_LOSS, "DATA_LOSS"},
};

std::shared_ptr<grpc::Channel> CreateChannel(const std::string& address)
{
  grpc::ChannelArguments arguments;
  for (const SArgument& argument : kChannelArguments) arguments.SetInt(argument.name, argument.value);
  return grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments);
}

}  // namespace

const char* StatusCodeToString(grpc::StatusCode code)
{
  for (const SStatusText& entry : kStatusTexts) {
    if (entry.code == code) return entry.text;
  }
  return "unknown status";
}

CSibling::CSibling(std::string name, const std::string& address, std::chrono::milliseconds deadline)
    : mName(std::move(name)), mDeadline(deadline), mChannel(CreateChannel(address))
{}

void CSibling::Stop()
{
  const CLock lock(mMutex);
  mStopped = true;
  // A context leaves the set before it is destroyed, and TryCancel does not call back.
  for (grpc::ClientContext* context : mInFlight) context->TryCancel();
}

void CSibling::Throw(const char* call, const grpc::Status& status)
{
  const std::string reason = status.error_code() == grpc::StatusCode::DEADLINE_EXCEEDED
                                 ? fmt::format("no answer within {} ms", mDeadline.count())
                                 : status.error_message();
  throw CommunicationException(
      fmt::format("{}::{}: {} ({})", mName, call, reason, StatusCodeToString(status.error_code())));
}

CSibling::CCallInFlight::CCallInFlight(CSibling& sibling, const char* call, grpc::ClientContext& context)
    : mSibling(sibling), mContext(context)
{
  // A span is counted on the monotonic clock: a jump of the system time does not touch it.
  context.set_deadline(gpr_time_from_millis(mSibling.mDeadline.count(), GPR_TIMESPAN));
  const CLock lock(mSibling.mMutex);
  if (mSibling.mStopped) {
    throw CommunicationException(fmt::format("{}::{}: the communication is stopped", mSibling.mName, call));
  }
  mSibling.mInFlight.insert(&mContext);
}

CSibling::CCallInFlight::~CCallInFlight()
{
  const CLock lock(mSibling.mMutex);
  mSibling.mInFlight.erase(&mContext);
}

}  // namespace Rpc
