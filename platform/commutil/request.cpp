#include "platform/commutil/request.h"

#include <exception>

#include "platform/clock/realclock.h"
#include "platform/commutil/rpclogger.h"
#include "platform/iclogger/log.h"

namespace Rpc {

IClock& CRequestRunner::Clock()
{
  static CRealClock& clock = *new CRealClock;
  return clock;
}

grpc::Status CRequestRunner::Work(const std::function<void()>& work)
{
  try {
    work();
    return grpc::Status::OK;
  } catch (const std::exception& exception) {
    Write(&ILogger::Error, fmt::format("A request failed: {}", exception.what()));
    return grpc::Status(grpc::StatusCode::INTERNAL, exception.what());
  }
}

}  // namespace Rpc
