#include "platform/iclogger/log.h"

#include <cxxabi.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <syslog.h>

#include <cstdlib>
#include <vector>

#include "platform/iclogger/bundlingsink.h"
#include "platform/iclogger/logconfig.h"

namespace {

spdlog::level::level_enum ToSinkLevel(Log::ELogLevel level)
{
  // Both scales run from trace 0 to critical 5.
  return static_cast<spdlog::level::level_enum>(level);
}

// The end of spdlog's syslog sink closes the connection of the whole process, also the one that a newer sink has
// opened. So those that were replaced are kept.
void KeepForever(spdlog::sink_ptr sink)
{
  static CMutex mutex;
  static auto& sinks = *new std::vector<spdlog::sink_ptr>();
  CLock lock(mutex);
  sinks.push_back(std::move(sink));
}

class CLogConfigService : public ILogConfig {
 public:
  Log::ELogLevel GetLevel() const override { return Log::GetLogLevel(); }
  void SetLevel(Log::ELogLevel level) override { Log::SetLogLevel(level); }
  bool IsConsoleEnabled() const override { return Log::mConsoleLoggingEnabled; }
  void SetConsoleEnabled(bool enabled) override { Log::EnableConsoleLogging(enabled); }
};

}  // namespace

CLogSink Log::mSyslogSink;
CLogSink Log::mConsoleSink;
std::atomic<bool> Log::mConsoleLoggingEnabled{true};
std::atomic<Log::ELogLevel> Log::mLevel{Log::ELogLevel::EInfo};

void Log::Init(const std::string& name, ELogLevel level)
{
  auto syslogSink = std::make_shared<spdlog::sinks::syslog_sink_mt>(name, LOG_PID, LOG_USER, false);
  auto consoleSink = std::make_shared<spdlog::sinks::stdout_color_sink_mt>();
  KeepForever(syslogSink);
  const auto open = [&name](spdlog::sink_ptr sink, spdlog::level::level_enum flushedLevel) {
    auto logger = std::make_shared<spdlog::logger>(name, std::move(sink));
    // Log's own level decides.
    logger->set_level(spdlog::level::trace);
    logger->flush_on(flushedLevel);
    return logger;
  };
  auto console = open(std::move(consoleSink), spdlog::level::trace);
  console->set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %n %^%l%$ %v", spdlog::pattern_time_type::utc);
  SetLogLevel(level);
  // The daemon may be slow, and a line to it costs more than all else that an incoming message does. A critical line
  // may be the last one of the process.
  mSyslogSink = open(std::make_shared<CBundlingSink>(std::move(syslogSink)), spdlog::level::critical);
  mConsoleSink = std::move(console);
}

void Log::SetLogLevel(ELogLevel level) { mLevel = level; }

Log::ELogLevel Log::GetLogLevel() { return mLevel; }

Log::ELogLevel Log::GetLowerLogLevel(ELogLevel level)
{
  return level == ELogLevel::ETrace ? level : static_cast<ELogLevel>(static_cast<int>(level) - 1);
}

void Log::EnableConsoleLogging(bool enabled) { mConsoleLoggingEnabled = enabled; }

std::string Log::Demangle(const char* name)
{
  if (*name == '*') ++name;
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status), std::free);
  return status == 0 ? std::string(text.get()) : std::string();
}

std::shared_ptr<ILogConfig> Log::CreateLogConfigService() { return std::make_shared<CLogConfigService>(); }

void Log::WriteLine(ELogLevel level, std::string_view line)
{
  const spdlog::string_view_t text(line.data(), line.size());
  if (const auto syslogSink = mSyslogSink.Get()) syslogSink->log(ToSinkLevel(level), text);
  if (!mConsoleLoggingEnabled) return;
  if (const auto consoleSink = mConsoleSink.Get()) consoleSink->log(ToSinkLevel(level), text);
}
