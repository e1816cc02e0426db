#include "platform/iclogger/bundlingsink.h"

#include <exception>
#include <utility>

namespace {

// How old the first line of a bundle may become.
constexpr std::chrono::milliseconds kBundleTime{5};
// Some hundred kilobytes.
constexpr size_t kMaxLines = 2000;

}  // namespace

CBundlingSink::CBundlingSink(spdlog::sink_ptr target)
    : mTarget(std::move(target)), mThread(std::make_unique<CThread>(mClock, "log", [this] { Run(); }))
{}

CBundlingSink::~CBundlingSink()
{
  {
    CLock lock(mMutex);
    mIsEnding = true;
    mClock.NotifyAll(mChanged);
  }
  mThread.reset();
  HandOn();
}

void CBundlingSink::log(const spdlog::details::log_msg& line)
{
  bool isFull = false;
  {
    spdlog::details::log_msg_buffer copy(line);
    CLock lock(mMutex);
    mLines.push_back(std::move(copy));
    isFull = mLines.size() >= kMaxLines;
    if (mIsIdle) {
      mIsIdle = false;
      mClock.NotifyAll(mChanged);
    }
  }
  if (isFull) HandOn();
}

void CBundlingSink::flush() { HandOn(); }

void CBundlingSink::Run()
{
  for (;;) {
    {
      CLock lock(mMutex);
      while (mLines.empty()) {
        if (mIsEnding) return;
        mIsIdle = true;
        mClock.Wait(lock, mChanged);
      }
      mIsIdle = false;
      const auto due = mClock.SteadyNow() + kBundleTime;
      while (!mIsEnding && mClock.WaitUntil(lock, mChanged, due)) {
      }
    }
    HandOn();
  }
}

void CBundlingSink::HandOn()
{
  CLock delivery(mDeliveryMutex);
  CLines lines;
  {
    CLock lock(mMutex);
    lines.swap(mLines);
  }
  try {
    for (const auto& line : lines) mTarget->log(line);
    mTarget->flush();
  } catch (const std::exception&) {
    // The log is where it would have been told.
  }
}
