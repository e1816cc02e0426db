#include "platform/iclogger/bundlingsink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spdlog/sinks/base_sink.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

// Keeps the lines; while it is held back, whoever hands one on waits.
class CRecordingSink : public spdlog::sinks::sink {
 public:
  void log(const spdlog::details::log_msg& line) override
  {
    CLock lock(mMutex);
    while (mIsHeldBack) mClock.Wait(lock, mChanged);
    if (mThrows) throw std::runtime_error("no log");
    mLines.emplace_back(line.payload.data(), line.payload.size());
    mClock.NotifyAll(mChanged);
  }
  void flush() override {}
  void set_pattern(const std::string&) override {}
  void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

  void HoldBack(bool holdBack)
  {
    CLock lock(mMutex);
    mIsHeldBack = holdBack;
    mClock.NotifyAll(mChanged);
  }
  void Throw(bool throws)
  {
    CLock lock(mMutex);
    mThrows = throws;
  }
  std::vector<std::string> GetLines() const
  {
    CLock lock(mMutex);
    return mLines;
  }
  void AwaitLines(size_t count)
  {
    CLock lock(mMutex);
    while (mLines.size() < count) mClock.Wait(lock, mChanged);
  }

 private:
  CRealClock mClock;
  mutable CMutex mMutex;
  CCondition mChanged;
  std::vector<std::string> mLines GUARDED_BY(mMutex);
  bool mIsHeldBack GUARDED_BY(mMutex) = false;
  bool mThrows GUARDED_BY(mMutex) = false;
};

class CBundlingSinkTest : public ::testing::Test {
 protected:
  void Write(const std::string& text) const { mSink->log(spdlog::details::log_msg("name", spdlog::level::info, text)); }

  const std::shared_ptr<CRecordingSink> mTarget = std::make_shared<CRecordingSink>();
  std::unique_ptr<CBundlingSink> mSink = std::make_unique<CBundlingSink>(mTarget);
};

TEST_F(CBundlingSinkTest, LinesArriveByThemselvesAndInOrder)
{
  Write("one");
  Write("two");
  mTarget->AwaitLines(2);
  Write("three");
  mTarget->AwaitLines(3);
  EXPECT_THAT(mTarget->GetLines(), ElementsAre("one", "two", "three"));
}

TEST_F(CBundlingSinkTest, FlushReturnsWhenAllLinesHaveBeenHandedOn)
{
  for (int i = 0; i < 100; ++i) {
    Write("line");
    mSink->flush();
    ASSERT_THAT(mTarget->GetLines(), SizeIs(i + 1));
  }
}

TEST_F(CBundlingSinkTest, AWriterDoesNotWaitForASlowLog)
{
  mTarget->HoldBack(true);
  for (int i = 0; i < 100; ++i) Write("line");
  EXPECT_THAT(mTarget->GetLines(), SizeIs(0));
  mTarget->HoldBack(false);
  mTarget->AwaitLines(100);
}

TEST_F(CBundlingSinkTest, TheEndHandsOnWhatIsLeft)
{
  Write("last");
  mSink.reset();
  EXPECT_THAT(mTarget->GetLines(), ElementsAre("last"));
}

TEST_F(CBundlingSinkTest, MoreLinesThanItHoldsAreHandedOnByTheirWriters)
{
  constexpr size_t kLines = 20000;
  for (size_t i = 0; i < kLines; ++i) Write(std::to_string(i));
  mSink->flush();
  const auto lines = mTarget->GetLines();
  ASSERT_THAT(lines, SizeIs(kLines));
  for (size_t i = 0; i < kLines; ++i) ASSERT_EQ(lines[i], std::to_string(i));
}

TEST_F(CBundlingSinkTest, LinesOfEachOfManyThreadsKeepTheirOrder)
{
  constexpr int kThreads = 4;
  constexpr int kLines = 3000;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread] {
      for (int line = 0; line < kLines; ++line) {
        Write(std::to_string(thread) + ":" + std::to_string(line));
        if (line % 500 == thread) mSink->flush();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  mSink.reset();
  std::map<std::string, int> next;
  for (const auto& line : mTarget->GetLines()) {
    const auto colon = line.find(':');
    ASSERT_EQ(line.substr(colon + 1), std::to_string(next[line.substr(0, colon)]++));
  }
  for (int thread = 0; thread < kThreads; ++thread) EXPECT_EQ(next[std::to_string(thread)], kLines);
}

TEST_F(CBundlingSinkTest, ALogThatFailsDoesNotEndTheProcess)
{
  mTarget->Throw(true);
  Write("lost");
  mSink->flush();
  mTarget->Throw(false);
  Write("kept");
  mSink->flush();
  EXPECT_THAT(mTarget->GetLines(), ElementsAre("kept"));
}

}  // namespace
