#pragma once

#include <memory>
#include <string>

namespace Rpc {

// Where the IPC layer writes its log. Called from any thread, never with a lock of the layer held.
class ILogger {
 public:
  virtual ~ILogger() = default;

  virtual void Critical(const std::string& message) = 0;
  virtual void Error(const std::string& message) = 0;
  virtual void Warning(const std::string& message) = 0;
  virtual void Info(const std::string& message) = 0;
  virtual void Debug(const std::string& message) = 0;
  virtual void Trace(const std::string& message) = 0;
};

// The logger of the process; lines that are written while none is set are dropped. A null pointer takes it away.
void SetProcessLogger(std::shared_ptr<ILogger> logger);

using LogOperation = void (ILogger::*)(const std::string& message);
// Writes one line to the process's logger: Write(&ILogger::Error, text).
void Write(LogOperation operation, const std::string& message);

}  // namespace Rpc
