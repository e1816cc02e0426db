#pragma once

#include <string>

#include "platform/commutil/rpclogger.h"
#include "platform/iclogger/log.h"

namespace Rpc {

// The IPC layer writes into the process's log, each line at its own level.
class IcLogger : public ILogger {
 public:
  void Critical(const std::string& message) override { LOG_CRITICAL("[RPC] {}", message); }
  void Error(const std::string& message) override { LOG_ERROR("[RPC] {}", message); }
  void Warning(const std::string& message) override { LOG_WARNING("[RPC] {}", message); }
  void Info(const std::string& message) override { LOG_INFO("[RPC] {}", message); }
  void Debug(const std::string& message) override { LOG_DEBUG("[RPC] {}", message); }
  void Trace(const std::string& message) override { LOG_TRACE("[RPC] {}", message); }
};

}  // namespace Rpc
