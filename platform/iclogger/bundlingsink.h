#pragma once

#include <spdlog/details/log_msg_buffer.h>
#include <spdlog/sinks/sink.h>

#include <memory>
#include <vector>

#include "platform/clock/realclock.h"
#include "platform/clock/thread.h"

// Hands lines on to another sink in bundles, on a thread of its own: whoever logs pays for a copy of the line, not for
// what the log daemon takes to receive it. The thread "log" waits a moment after the first line of a bundle, so that it
// is not woken for each.
//
// Order and time of the lines stay. `flush` returns when all lines so far have been handed on; loggers are to call it
// for whatever may be the last line of the process. A full queue makes its writers hand on as well: no line is lost.
class CBundlingSink : public spdlog::sinks::sink {
 public:
  explicit CBundlingSink(spdlog::sink_ptr target);
  // Hands on what is left.
  ~CBundlingSink() override;
  CBundlingSink(const CBundlingSink&) = delete;
  CBundlingSink& operator=(const CBundlingSink&) = delete;

  void log(const spdlog::details::log_msg& line) override;
  void flush() override;
  void set_pattern(const std::string& pattern) override { mTarget->set_pattern(pattern); }
  void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override
  {
    mTarget->set_formatter(std::move(formatter));
  }

 private:
  using CLines = std::vector<spdlog::details::log_msg_buffer>;

  void Run() EXCLUDES(mMutex);
  void HandOn() EXCLUDES(mDeliveryMutex, mMutex);

  // Constant after construction.
  const spdlog::sink_ptr mTarget;
  CRealClock mClock;

  // Held while lines are handed on, so that bundles do not overtake one another.
  CMutex mDeliveryMutex;

  // Taken inside mDeliveryMutex; a leaf.
  CMutex mMutex ACQUIRED_AFTER(mDeliveryMutex);
  CCondition mChanged;
  CLines mLines GUARDED_BY(mMutex);
  bool mIsIdle GUARDED_BY(mMutex) = false;
  bool mIsEnding GUARDED_BY(mMutex) = false;

  // The last member: it uses all others.
  std::unique_ptr<CThread> mThread;
};
