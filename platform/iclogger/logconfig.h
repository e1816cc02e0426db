#pragma once

#include "platform/iclogger/log.h"

// Level and console switch of the process's log, changed at run time over IPC ("SeccLog").
class ILogConfig {
 public:
  virtual ~ILogConfig() = default;

  virtual Log::ELogLevel GetLevel() const = 0;
  virtual void SetLevel(Log::ELogLevel level) = 0;
  virtual bool IsConsoleEnabled() const = 0;
  virtual void SetConsoleEnabled(bool enabled) = 0;
};
