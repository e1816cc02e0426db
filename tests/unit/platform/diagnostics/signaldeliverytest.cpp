#include "platform/diagnostics/signaldelivery.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "platform/clock/simulatedclock.h"
#include "platform/diagnostics/diagnosticscommclient.h"
#include "tests/unit/platform/diagnostics/frozendiagnostics.h"
#include "tests/unit/support/logcapture.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kIdentifier = ipc::ESignalUptime;

// Signals are told apart by a number.
ipc::MDiagnosticsSignal Numbered(int32_t number)
{
  ipc::MDiagnosticsSignal signal;
  signal.set_identifier(kIdentifier);
  signal.add_int_values(number);
  return signal;
}

std::vector<int32_t> NumbersOf(const CFakeDiagnostics& diagnostics)
{
  std::vector<int32_t> numbers;
  for (const auto& signal : diagnostics.SentSignals()) numbers.push_back(signal.int_values(0));
  return numbers;
}

std::vector<int32_t> Range(int32_t first, int32_t last)
{
  std::vector<int32_t> numbers;
  for (int32_t number = first; number <= last; ++number) numbers.push_back(number);
  return numbers;
}

class CSignalDeliveryTest : public testing::Test {
 protected:
  CSignalDeliveryTest() { CDiagnosticsCommClient::Initialize(mDiagnostics, mClock); }
  ~CSignalDeliveryTest() override
  {
    CDiagnosticsCommClient::Terminate();
    // A call that was left to its deadline ends before the clock does.
    mClock.AdvanceBy(3s);
  }

  static void Send(int32_t number) { CDiagnosticsCommClient::Send(Numbered(number)); }
  std::vector<int32_t> Delivered()
  {
    mClock.WaitIdle();
    return NumbersOf(*mDiagnostics);
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFrozenDiagnostics> mDiagnostics = std::make_shared<CFrozenDiagnostics>(mClock);
};

using CNumbers = std::vector<int32_t>;

TEST_F(CSignalDeliveryTest, SignalsArriveInTheOrderOfSending)
{
  for (int32_t number = 1; number <= 100; ++number) Send(number);
  EXPECT_EQ(Delivered(), Range(1, 100));
}

TEST_F(CSignalDeliveryTest, SignalsOfFourThreadsAllArriveEachThreadsInOrder)
{
  std::vector<std::thread> threads;
  for (int32_t thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      for (int32_t i = 0; i < 100; ++i) Send(thread * 1000 + i);
    });
  }
  for (auto& thread : threads) thread.join();
  const auto delivered = Delivered();
  EXPECT_EQ(delivered.size(), 400U);
  for (int32_t thread = 0; thread < 4; ++thread) {
    CNumbers own;
    for (const auto number : delivered) {
      if (number / 1000 == thread) own.push_back(number);
    }
    EXPECT_EQ(own, Range(thread * 1000, thread * 1000 + 99));
  }
}

// Sends a second signal while the first one is on its way.
class CAnsweringDiagnostics : public CFakeDiagnostics {
 public:
  ipc::MResult SendSignal(const ipc::MDiagnosticsSignal& signal) override
  {
    if (signal.int_values(0) == 1) {
      CDiagnosticsCommClient::Send(Numbered(2));
      std::thread([] { CDiagnosticsCommClient::Send(Numbered(3)); }).join();
    }
    return CFakeDiagnostics::SendSignal(signal);
  }
};

TEST_F(CSignalDeliveryTest, SignalSentWhileAnotherIsBeingDeliveredFollowsIt)
{
  const auto diagnostics = std::make_shared<CAnsweringDiagnostics>();
  CDiagnosticsCommClient::Initialize(diagnostics, mClock);
  Send(1);
  mClock.WaitIdle();
  EXPECT_EQ(NumbersOf(*diagnostics), (CNumbers{1, 2, 3}));
}

TEST_F(CSignalDeliveryTest, AbsentDiagnosticsGetsEverythingInOrderOnceItIsBack)
{
  mDiagnostics->SetUnreachable("gone");
  Send(1);
  Send(2);
  mClock.AdvanceBy(10min);
  Send(3);
  EXPECT_EQ(Delivered(), CNumbers{});
  mDiagnostics->SetReachable();
  mClock.AdvanceBy(1s);
  EXPECT_EQ(Delivered(), (CNumbers{1, 2, 3}));
  Send(4);
  EXPECT_EQ(Delivered(), (CNumbers{1, 2, 3, 4}));
}

TEST_F(CSignalDeliveryTest, TimestampIsThatOfSendingNotOfDelivery)
{
  mDiagnostics->SetUnreachable();
  Send(1);
  mClock.AdvanceBy(10min);
  mDiagnostics->SetReachable();
  mClock.AdvanceBy(1s);
  ASSERT_EQ(mDiagnostics->SentSignals().size(), 1U);
  EXPECT_EQ(mDiagnostics->SentSignals()[0].timestamp().seconds(), 1768472100);
}

TEST_F(CSignalDeliveryTest, SignalWithATimestampKeepsIt)
{
  auto signal = Numbered(1);
  signal.mutable_timestamp()->set_seconds(5);
  CDiagnosticsCommClient::Send(signal);
  ASSERT_EQ(Delivered(), CNumbers{1});
  EXPECT_EQ(mDiagnostics->SentSignals()[0].timestamp().seconds(), 5);
}

TEST_F(CSignalDeliveryTest, AbsenceIsTriedEverySecondAndLoggedOncePerOutage)
{
  mDiagnostics->SetUnreachable("gone");
  Send(1);
  mClock.AdvanceBy(10s);
  EXPECT_EQ(mDiagnostics->CountCalls("SendSignal"), 11U);
  const std::string text = "Cannot communicate with Diagnostics, error: gone";
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, text), 1U);
  mDiagnostics->SetReachable();
  mClock.AdvanceBy(1s);
  mDiagnostics->SetUnreachable("gone");
  Send(2);
  mClock.AdvanceBy(10s);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, text), 2U);
}

TEST_F(CSignalDeliveryTest, SendingDuringAnOutageDoesNotTryEarlier)
{
  mDiagnostics->SetUnreachable();
  Send(1);
  for (int32_t number = 2; number <= 50; ++number) Send(number);
  mClock.AdvanceBy(900ms);
  EXPECT_EQ(mDiagnostics->CountCalls("SendSignal"), 1U);
}

TEST_F(CSignalDeliveryTest, RefusedSignalIsNotRepeated)
{
  mDiagnostics->SetResult(ipc::EResultIllegal);
  Send(1);
  Send(2);
  mClock.AdvanceBy(10s);
  EXPECT_EQ(Delivered(), (CNumbers{1, 2}));
}

TEST_F(CSignalDeliveryTest, LongOutageKeepsTheNewestAndTellsTheLossOnce)
{
  mDiagnostics->SetUnreachable();
  for (int32_t number = 1; number <= 600; ++number) Send(number);
  mClock.AdvanceBy(5s);
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EWarning, "Diagnostics cannot be reached, the oldest of 500 waiting signals are lost"),
      1U);
  mDiagnostics->SetReachable();
  mClock.AdvanceBy(1s);
  EXPECT_EQ(Delivered(), Range(101, 600));
}

TEST_F(CSignalDeliveryTest, OfASignalSentAsTheLatestOnlyOneValueWaitsAndNothingElseIsLostForIt)
{
  mDiagnostics->SetUnreachable();
  auto measurement = Numbered(0);
  measurement.set_identifier(ipc::ESignalFreemem);
  Send(1);
  for (int32_t number = 1001; number <= 2000; ++number) {
    measurement.set_int_values(0, number);
    CDiagnosticsCommClient::SendLatest(measurement);
    if (number == 1500) Send(2);
  }
  measurement.set_connector(1);
  measurement.set_int_values(0, 3);
  CDiagnosticsCommClient::SendLatest(measurement);
  mDiagnostics->SetReachable();
  mClock.AdvanceBy(1s);
  EXPECT_EQ(Delivered(), (CNumbers{1, 2000, 2, 3}));
}

TEST_F(CSignalDeliveryTest, EachLatestValueIsDeliveredWhileNoneWaits)
{
  const auto measurement = Numbered(7);
  for (int i = 0; i < 3; ++i) {
    CDiagnosticsCommClient::SendLatest(measurement);
    mClock.WaitIdle();
  }
  EXPECT_EQ(Delivered(), (CNumbers{7, 7, 7}));
}

TEST_F(CSignalDeliveryTest, SendReturnsAtOnceWhileDiagnosticsIsFrozen)
{
  mDiagnostics->Freeze(true);
  Send(1);
  mClock.WaitIdle();
  const auto before = mClock.SteadyNow();
  for (int32_t number = 2; number <= 100; ++number) Send(number);
  EXPECT_EQ(mClock.SteadyNow(), before);
  mDiagnostics->Freeze(false);
  mClock.AdvanceBy(3s);
  EXPECT_EQ(Delivered(), Range(1, 100));
}

TEST_F(CSignalDeliveryTest, QueueThatFillsUpWhileOneIsInFlightLosesThatOne)
{
  mDiagnostics->Freeze(true);
  Send(0);
  mClock.WaitIdle();
  for (int32_t number = 1; number <= 500; ++number) Send(number);
  mClock.AdvanceBy(2s);
  EXPECT_EQ(mLog.Count("Diagnostics cannot be reached, the oldest of 500 waiting signals are lost"), 1U);
  mDiagnostics->Freeze(false);
  mClock.AdvanceBy(1s);
  EXPECT_EQ(Delivered(), Range(1, 500));
}

TEST_F(CSignalDeliveryTest, TerminateDeliversWhatWaits)
{
  for (int32_t number = 1; number <= 100; ++number) Send(number);
  CDiagnosticsCommClient::Terminate();
  EXPECT_FALSE(CDiagnosticsCommClient::IsInitialized());
  EXPECT_EQ(NumbersOf(*mDiagnostics), Range(1, 100));
}

TEST_F(CSignalDeliveryTest, TerminateWithDiagnosticsAbsentTakesNoTime)
{
  mDiagnostics->SetUnreachable();
  Send(1);
  mClock.WaitIdle();
  const auto before = mClock.SteadyNow();
  CDiagnosticsCommClient::Terminate();
  EXPECT_EQ(mClock.SteadyNow(), before);
  EXPECT_EQ(mDiagnostics->CountCalls("SendSignal"), 1U);
}

TEST_F(CSignalDeliveryTest, TerminateWithDiagnosticsFrozenTakesHalfASecond)
{
  mDiagnostics->Freeze(true);
  Send(1);
  Send(2);
  mClock.WaitIdle();
  const auto before = mClock.SteadyNow();
  CDiagnosticsCommClient::Terminate();
  EXPECT_EQ(mClock.SteadyNow() - before, 500ms);
  mDiagnostics->Freeze(false);
  mClock.AdvanceBy(1h);
  EXPECT_EQ(NumbersOf(*mDiagnostics), CNumbers{});
}

TEST_F(CSignalDeliveryTest, TerminatedClientLetsGoOfTheDiagnosticsProcess)
{
  Send(1);
  CDiagnosticsCommClient::Terminate();
  EXPECT_EQ(mDiagnostics.use_count(), 1);
}

TEST_F(CSignalDeliveryTest, SignalAfterTerminateGoesNowhere)
{
  CDiagnosticsCommClient::Terminate();
  CDiagnosticsCommClient::Terminate();
  Send(1);
  EXPECT_EQ(CDiagnosticsCommClient::Receive(kIdentifier, 0).has_value(), false);
  mClock.AdvanceBy(10s);
  EXPECT_TRUE(mDiagnostics->Calls().empty());
}

TEST_F(CSignalDeliveryTest, SecondInitializeDeliversToTheNewClient)
{
  EXPECT_TRUE(CDiagnosticsCommClient::IsInitialized());
  Send(1);
  const auto next = std::make_shared<CFakeDiagnostics>();
  CDiagnosticsCommClient::Initialize(next, mClock);
  Send(2);
  EXPECT_EQ(Delivered(), CNumbers{1});
  EXPECT_EQ(NumbersOf(*next), CNumbers{2});
}

TEST_F(CSignalDeliveryTest, SendAndTerminateMayMeet)
{
  std::thread sender([] {
    for (int32_t number = 0; number < 400; ++number) Send(number);  // fewer than can wait
  });
  CDiagnosticsCommClient::Terminate();
  sender.join();
  const auto delivered = NumbersOf(*mDiagnostics);
  EXPECT_EQ(delivered, Range(0, static_cast<int32_t>(delivered.size()) - 1));
}

}  // namespace
