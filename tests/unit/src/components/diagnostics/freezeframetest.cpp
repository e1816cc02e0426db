#include "platform/clock/thread.h"
#include "tests/unit/src/components/diagnostics/diagnosticsfixture.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kError = Log::ELogLevel::EError;
constexpr const char* kFailed = "Failed to create freeze frame";

// Somebody who asks for a freeze frame on a thread of its own.
class CRequester {
 public:
  CRequester(IClock& clock, CDiagnosticsClientHandler& handler, const std::string& reason)
      : mThread(clock, "requester", [this, &handler, reason] { mResult = handler.CreateFreezeFrame(reason); })
  {}
  std::optional<std::string> Await()
  {
    mThread.Join();
    return mResult;
  }

 private:
  std::optional<std::string> mResult;
  CThread mThread;
};

class CFreezeFrameTest : public CDiagnosticsFixture {};

TEST_F(CFreezeFrameTest, FinishedFreezeFrameGivesItsPath)
{
  CRequester requester(mClock, mHandler, "GetDiagnostics");
  mClock.AdvanceBy(5s);
  mHandler.HandleFreezeFrameDone("/data/log/freezeframe1.tar");
  EXPECT_EQ(requester.Await(), "/data/log/freezeframe1.tar");
  EXPECT_EQ(mDiagnostics->FreezeFrameTags(), std::vector<std::string>{"OCPP GetDiagnostics"});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "FreezeFrame is done @ /data/log/freezeframe1.tar"), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Freeze frame created at /data/log/freezeframe1.tar"), 1U);
  EXPECT_FALSE(mLog.Contains(kFailed));
}

TEST_F(CFreezeFrameTest, MissingNotificationTimesOutAfterAMinute)
{
  const auto before = mClock.SteadyNow();
  EXPECT_EQ(mHandler.CreateFreezeFrame("GetDiagnostics"), std::nullopt);
  EXPECT_EQ(mClock.SteadyNow() - before, 60s);
  EXPECT_EQ(mLog.Count(kError, "Timeout while creating freezeframe"), 1U);
  EXPECT_EQ(mLog.Count(kError, kFailed), 1U);
}

TEST_F(CFreezeFrameTest, RefusedRequestFailsAtOnce)
{
  mDiagnostics->SetResult("CreateFreezeFrame", ipc::EResultIllegal);
  const auto before = mClock.SteadyNow();
  EXPECT_EQ(mHandler.CreateFreezeFrame("GetDiagnostics"), std::nullopt);
  EXPECT_EQ(mClock.SteadyNow(), before);
  EXPECT_EQ(mLog.Count(kError, "CreateFreezeFrame call failed"), 1U);
  EXPECT_EQ(mLog.Count(kError, kFailed), 1U);
}

TEST_F(CFreezeFrameTest, AbsentDiagnosticsProcessFailsAtOnce)
{
  mDiagnostics->SetUnreachable("gone");
  EXPECT_EQ(mHandler.CreateFreezeFrame("GetDiagnostics"), std::nullopt);
  EXPECT_EQ(mLog.Count(kError, "Cannot communicate with Diagnostics, error: gone"), 1U);
  EXPECT_EQ(mLog.Count(kError, kFailed), 1U);
}

TEST_F(CFreezeFrameTest, NotificationWithoutAFileNameFails)
{
  CRequester requester(mClock, mHandler, "GetDiagnostics");
  mClock.AdvanceBy(1s);
  mHandler.HandleFreezeFrameDone("");
  EXPECT_EQ(requester.Await(), std::nullopt);
  EXPECT_EQ(mLog.Count(kError, "No filename received for freezeframe"), 1U);
  EXPECT_EQ(mLog.Count(kError, kFailed), 1U);
}

TEST_F(CFreezeFrameTest, NotificationWithoutARequestIsLogged)
{
  mHandler.HandleFreezeFrameDone("/data/log/freezeframe1.tar");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Unexpected freezeframe promise /data/log/freezeframe1.tar"), 1U);
  EXPECT_FALSE(mLog.ContainsPart("FreezeFrame is done"));
}

TEST_F(CFreezeFrameTest, NotificationAfterTheTimeoutIsUnexpected)
{
  mHandler.CreateFreezeFrame("GetDiagnostics");
  mHandler.HandleFreezeFrameDone("late");
  EXPECT_EQ(mLog.Count("Unexpected freezeframe promise late"), 1U);
}

// Tells the end of the freeze frame before it answers the request.
class CHastyDiagnostics : public CFakeDiagnostics {
 public:
  ipc::MResult CreateFreezeFrame(const std::string& tag) override
  {
    const auto result = CFakeDiagnostics::CreateFreezeFrame(tag);
    EmitFreezeFrameDone("early");
    return result;
  }
};

TEST_F(CFreezeFrameTest, NotificationBeforeTheAnswerIsNotLost)
{
  const auto diagnostics = std::make_shared<CHastyDiagnostics>();
  CDiagnosticsClientHandler handler(mClock, diagnostics, mAccess);
  diagnostics->SetFreezeFrameDoneHandler(
      [&handler](const std::string& fileName) { handler.HandleFreezeFrameDone(fileName); });
  EXPECT_EQ(handler.CreateFreezeFrame("GetDiagnostics"), "early");
}

TEST_F(CFreezeFrameTest, SecondWaitForTheSameReasonFailsWithoutASecondFreezeFrame)
{
  CRequester requester(mClock, mHandler, "GetDiagnostics");
  mClock.AdvanceBy(1s);
  EXPECT_EQ(mHandler.CreateFreezeFrame("GetDiagnostics"), std::nullopt);
  EXPECT_EQ(mLog.Count(kError, "Future already retrieved: GetDiagnostics"), 1U);
  EXPECT_EQ(mLog.Count(kError, kFailed), 1U);
  EXPECT_EQ(mDiagnostics->FreezeFrameTags().size(), 1U);
  mHandler.HandleFreezeFrameDone("path");
  EXPECT_EQ(requester.Await(), "path");
}

TEST_F(CFreezeFrameTest, RequestsOfDifferentReasonsAreServedInTheirOrder)
{
  CRequester first(mClock, mHandler, "first");
  mClock.AdvanceBy(1s);
  CRequester second(mClock, mHandler, "second");
  mClock.AdvanceBy(1s);
  mHandler.HandleFreezeFrameDone("one");
  mHandler.HandleFreezeFrameDone("two");
  EXPECT_EQ(first.Await(), "one");
  EXPECT_EQ(second.Await(), "two");
}

TEST_F(CFreezeFrameTest, ReasonIsFreeAgainAfterItsEnd)
{
  mHandler.CreateFreezeFrame("GetDiagnostics");
  CRequester requester(mClock, mHandler, "GetDiagnostics");
  mClock.AdvanceBy(1s);
  mHandler.HandleFreezeFrameDone("path");
  EXPECT_EQ(requester.Await(), "path");
}

}  // namespace
