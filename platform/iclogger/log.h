#pragma once

#include <spdlog/logger.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

// fmt as spdlog brings it; FMT_STRING checks the arguments against the text at compile time.
#include <spdlog/fmt/fmt.h>

#include "platform/clock/mutex.h"

class ILogConfig;

// The place of one sink: a logger, or nothing. It may be replaced while other threads write through it; a line in
// flight keeps the logger it began with.
class CLogSink {
 public:
  using CLogger = std::shared_ptr<spdlog::logger>;

  CLogSink& operator=(CLogger logger) EXCLUDES(mMutex)
  {
    Exchange(std::move(logger));
    return *this;
  }
  void reset() EXCLUDES(mMutex) { Exchange(nullptr); }
  CLogger Get() const EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mLogger;
  }
  operator CLogger() const { return Get(); }  // NOLINT(google-explicit-constructor): is used like the pointer itself
  CLogger operator->() const { return Get(); }
  explicit operator bool() const { return Get() != nullptr; }

 private:
  // The old logger ends outside the lock.
  void Exchange(CLogger logger) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    std::swap(mLogger, logger);
    lock.Unlock();
    logger.reset();
  }

  mutable CMutex mMutex;
  CLogger mLogger GUARDED_BY(mMutex);
};

// The process's log: every line goes to the syslog sink, and to the console sink while console logging is enabled.
//
// Lines start with their source path and line in parentheses: "(src/components/messagehandler.cpp:25) ". Write them by
// the macros below. Safe from any thread; before Init lines are dropped.
class Log {
 public:
  enum class ELogLevel : int { ETrace = 0, EDebug = 1, EInfo = 2, EWarning = 3, EError = 4, ECritical = 5 };

  // Opens both sinks under the process name `name`. A second call replaces the sinks, also while other threads log. A
  // console line carries time (UTC), name and level before the text; syslog adds its own.
  static void Init(const std::string& name, ELogLevel level);
  static void SetLogLevel(ELogLevel level);
  static ELogLevel GetLogLevel();
  // One step more verbose; trace stays trace.
  static ELogLevel GetLowerLogLevel(ELogLevel level);
  static void EnableConsoleLogging(bool enabled);
  // The readable form of a type name as typeid gives it, a leading '*' skipped; empty when it cannot be demangled.
  static std::string Demangle(const char* name);
  // The run-time service for level and console switch.
  static std::shared_ptr<ILogConfig> CreateLogConfigService();

  static bool IsEnabled(ELogLevel level) { return level >= mLevel.load(std::memory_order_relaxed); }

  template <typename TFormat, typename... TArgs>
  static void Write(ELogLevel level, const char* file, int line, const TFormat& format, const TArgs&... args)
  {
    fmt::memory_buffer buffer;
    fmt::format_to(std::back_inserter(buffer), FMT_STRING("({}:{}) "), file, line);
    fmt::format_to(std::back_inserter(buffer), format, args...);
    WriteLine(level, std::string_view(buffer.data(), buffer.size()));
  }

  // Empty before Init; a test may put its own in place.
  static CLogSink mSyslogSink;
  static CLogSink mConsoleSink;
  static std::atomic<bool> mConsoleLoggingEnabled;

 private:
  static void WriteLine(ELogLevel level, std::string_view line);

  static std::atomic<ELogLevel> mLevel;
};

#define SECC_LOG(level, text, ...)                                                                     \
  do {                                                                                                 \
    if (Log::IsEnabled(level)) Log::Write(level, __FILE__, __LINE__, FMT_STRING(text), ##__VA_ARGS__); \
  } while (false)

#define LOG_TRACE(text, ...) SECC_LOG(Log::ELogLevel::ETrace, text, ##__VA_ARGS__)
#define LOG_DEBUG(text, ...) SECC_LOG(Log::ELogLevel::EDebug, text, ##__VA_ARGS__)
#define LOG_INFO(text, ...) SECC_LOG(Log::ELogLevel::EInfo, text, ##__VA_ARGS__)
#define LOG_WARNING(text, ...) SECC_LOG(Log::ELogLevel::EWarning, text, ##__VA_ARGS__)
#define LOG_ERROR(text, ...) SECC_LOG(Log::ELogLevel::EError, text, ##__VA_ARGS__)
#define LOG_CRITICAL(text, ...) SECC_LOG(Log::ELogLevel::ECritical, text, ##__VA_ARGS__)
// The line that a public operation writes at its entry: class and method name.
#define LOG_ENTRY(className) LOG_TRACE("{}{}::{}", "", className, __func__)
