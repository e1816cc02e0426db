#include "platform/commutil/rpclogger.h"

#include <utility>

#include "platform/clock/mutex.h"

namespace Rpc {

namespace {

struct SLoggerSlot {
  CMutex mutex;
  std::shared_ptr<ILogger> logger GUARDED_BY(mutex);
};

// Never destroyed: threads of the transport library may still write while the process ends.
SLoggerSlot& Slot()
{
  static SLoggerSlot& slot = *new SLoggerSlot;
  return slot;
}

}  // namespace

void SetProcessLogger(std::shared_ptr<ILogger> logger)
{
  CLock lock(Slot().mutex);
  Slot().logger.swap(logger);
  // The previous logger is destroyed outside the lock, with the argument.
  lock.Unlock();
}

void Write(LogOperation operation, const std::string& message)
{
  CLock lock(Slot().mutex);
  const std::shared_ptr<ILogger> logger = Slot().logger;
  lock.Unlock();
  if (logger) (logger.get()->*operation)(message);
}

}  // namespace Rpc
