#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/iclogger/log.h"

// Takes the place of the log's sinks for the life of the object and keeps every line from trace upward.
// Lines are given without their "(path:line) " prefix.
class CLogCapture {
 public:
  struct SLine {
    Log::ELogLevel level;
    std::string text;
  };

  CLogCapture();
  ~CLogCapture();
  CLogCapture(const CLogCapture&) = delete;
  CLogCapture& operator=(const CLogCapture&) = delete;

  std::vector<SLine> GetLines() const;
  // Number of lines whose text equals `text`.
  size_t Count(const std::string& text) const;
  size_t Count(Log::ELogLevel level, const std::string& text) const;
  bool Contains(const std::string& text) const { return Count(text) > 0; }
  // True when some line contains `part`.
  bool ContainsPart(const std::string& part) const;
  void Clear();

 private:
  class CSink;

  std::shared_ptr<CSink> mSink;
  std::shared_ptr<spdlog::logger> mPreviousSyslog;
  std::shared_ptr<spdlog::logger> mPreviousConsole;
  Log::ELogLevel mPreviousLevel;
};
