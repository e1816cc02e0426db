#include "tests/unit/support/logcapture.h"

#include <spdlog/sinks/base_sink.h>

#include <algorithm>
#include <mutex>

class CLogCapture::CSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  std::vector<SLine> GetLines()
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    return mLines;
  }

  void Clear()
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    mLines.clear();
  }

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override
  {
    std::string text(message.payload.data(), message.payload.size());
    const auto prefix = text.find(") ");
    if (prefix != std::string::npos) text.erase(0, prefix + 2);
    mLines.push_back({static_cast<Log::ELogLevel>(message.level), std::move(text)});
  }
  void flush_() override {}

 private:
  std::vector<SLine> mLines;
};

CLogCapture::CLogCapture()
    : mSink(std::make_shared<CSink>()),
      mPreviousSyslog(Log::mSyslogSink),
      mPreviousConsole(Log::mConsoleSink),
      mPreviousLevel(Log::GetLogLevel())
{
  auto logger = std::make_shared<spdlog::logger>("capture", mSink);
  logger->set_level(spdlog::level::trace);
  Log::mSyslogSink = std::move(logger);
  Log::mConsoleSink.reset();
  Log::SetLogLevel(Log::ELogLevel::ETrace);
}

CLogCapture::~CLogCapture()
{
  Log::mSyslogSink = mPreviousSyslog;
  Log::mConsoleSink = mPreviousConsole;
  Log::SetLogLevel(mPreviousLevel);
}

std::vector<CLogCapture::SLine> CLogCapture::GetLines() const { return mSink->GetLines(); }

size_t CLogCapture::Count(const std::string& text) const
{
  const auto lines = GetLines();
  return static_cast<size_t>(
      std::count_if(lines.begin(), lines.end(), [&](const SLine& line) { return line.text == text; }));
}

size_t CLogCapture::Count(Log::ELogLevel level, const std::string& text) const
{
  const auto lines = GetLines();
  return static_cast<size_t>(std::count_if(
      lines.begin(), lines.end(), [&](const SLine& line) { return line.level == level && line.text == text; }));
}

bool CLogCapture::ContainsPart(const std::string& part) const
{
  const auto lines = GetLines();
  return std::any_of(lines.begin(), lines.end(),
                     [&](const SLine& line) { return line.text.find(part) != std::string::npos; });
}

void CLogCapture::Clear() { mSink->Clear(); }
