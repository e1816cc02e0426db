#include "statemachines/secchsm.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/clock/thread.h"
#include "tests/unit/support/logcapture.h"

namespace {

class CRecordingHandler : public CSeccHsmActionHandlerBase {
 public:
  CRecordingHandler()
  {
    ExtDisabledRsp = [this] { calls.emplace_back("ExtDisabledRsp"); };
    ExtEnabledRsp = [this] { calls.emplace_back("ExtEnabledRsp"); };
    ExtErrorRsp = [this] { calls.emplace_back("ExtErrorRsp"); };
    ExtFatalErrorRsp = [this] { calls.emplace_back("ExtFatalErrorRsp"); };
    ExtUninitializedRsp = [this] { calls.emplace_back("ExtUninitializedRsp"); };
  }
  void OnExitEnabled() override { calls.emplace_back("OnExitEnabled"); }
  void OnEntryEnabled() override { calls.emplace_back("OnEntryEnabled"); }
  void IntStopAliveTimer() override { calls.emplace_back("IntStopAliveTimer"); }
  void IntStartAliveTimer() override { calls.emplace_back("IntStartAliveTimer"); }

  std::vector<std::string> calls;
};

// Runs the machine on a thread of its own; every step returns when the machine is at rest again.
class CSeccHsmTest : public testing::Test {
 protected:
  using CCalls = std::vector<std::string>;

  void Run()
  {
    mThread = std::make_unique<CThread>(mClock, "hsm", [this] { mHsm.Run(); });
    mClock.WaitIdle();
  }

  ~CSeccHsmTest() override
  {
    mHsm.Stop();
    if (mThread) mThread->Join();
  }

  // Gives what the sender of the event learns.
  template <int N>
  bool Send()
  {
    auto event = std::make_shared<CSeccHsmEvent<N>>();
    auto handled = event->GetFuture();
    mHsm.Post(std::move(event));
    mClock.WaitIdle();
    return handled.get();
  }

  CCalls TakeCalls()
  {
    CCalls calls;
    calls.swap(mHandler->calls);
    return calls;
  }

  void GoToEnabled()
  {
    Run();
    Send<EExtDisableReq>();
    Send<EExtEnableReq>();
    TakeCalls();
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CRecordingHandler> mHandler = std::make_shared<CRecordingHandler>();
  CSeccHsm mHsm{mHandler, mClock};
  std::unique_ptr<CThread> mThread;
};

TEST_F(CSeccHsmTest, StartReportsUninitializedAndLogsInitAndEntry)
{
  Run();
  EXPECT_EQ(TakeCalls(), CCalls{"ExtUninitializedRsp"});
  EXPECT_TRUE(mLog.Contains("State Statemachine: init"));
  EXPECT_TRUE(mLog.Contains("State Uninitialized: entry"));
  EXPECT_EQ(mHsm.GetStateId(), EUninitialized);
}

TEST_F(CSeccHsmTest, DisableTwiceFromUninitializedReportsDisabledTwice)
{
  Run();
  TakeCalls();
  EXPECT_TRUE(Send<EExtDisableReq>());
  EXPECT_EQ(TakeCalls(), CCalls{"ExtDisabledRsp"});
  EXPECT_EQ(mHsm.GetStateId(), EDisabled);
  EXPECT_TRUE(Send<EExtDisableReq>());
  EXPECT_EQ(TakeCalls(), CCalls{"ExtDisabledRsp"});
}

TEST_F(CSeccHsmTest, EnableInUninitializedIsUnhandledAndChangesNothing)
{
  Run();
  EXPECT_FALSE(Send<EExtEnableReq>());
  EXPECT_TRUE(mLog.Contains("State Statemachine: event unhn ExtEnableReq"));
  EXPECT_EQ(mHsm.GetStateId(), EUninitialized);
}

TEST_F(CSeccHsmTest, EnableRunsItsActionsInOrder)
{
  Run();
  Send<EExtDisableReq>();
  TakeCalls();
  EXPECT_TRUE(Send<EExtEnableReq>());
  EXPECT_EQ(TakeCalls(), (CCalls{"OnEntryEnabled", "ExtEnabledRsp", "IntStartAliveTimer"}));
  EXPECT_TRUE(Send<EExtEnableReq>());
  EXPECT_EQ(TakeCalls(), CCalls{"ExtEnabledRsp"});
}

TEST_F(CSeccHsmTest, DisableInEnabledRunsItsExitActionsAndEndsInDisabled)
{
  GoToEnabled();
  EXPECT_TRUE(Send<EExtDisableReq>());
  EXPECT_EQ(TakeCalls(), (CCalls{"OnExitEnabled", "IntStopAliveTimer", "ExtDisabledRsp"}));
  EXPECT_EQ(mHsm.GetStateId(), EDisabled);
}

TEST_F(CSeccHsmTest, DispatchLogsReceivedHandledExitAndEntryInOrder)
{
  Run();
  mLog.Clear();
  Send<EExtDisableReq>();
  std::vector<std::string> texts;
  for (const auto& line : mLog.GetLines()) {
    EXPECT_EQ(line.level, Log::ELogLevel::ETrace);
    texts.push_back(line.text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "State Uninitialized: event recv ExtDisableReq",
                       "State Uninitialized: event hndl ExtDisableReq",
                       "State Uninitialized: exit",
                       "State Initializing: entry",
                       "State Initializing: event recv IntInitializingDone",
                       "State Initializing: event hndl IntInitializingDone",
                       "State Initializing: exit",
                       "State Disabled: entry",
                   }));
}

TEST_F(CSeccHsmTest, ErrorInEnabledPassesThroughErrorAndEndsInDisabled)
{
  GoToEnabled();
  EXPECT_TRUE(Send<EExtError>());
  EXPECT_EQ(TakeCalls(), (CCalls{"OnExitEnabled", "IntStopAliveTimer", "ExtErrorRsp", "ExtDisabledRsp"}));
  EXPECT_EQ(mHsm.GetStateId(), EDisabled);
  EXPECT_TRUE(mLog.Contains("State Statemachine: event hndl ExtError"));
}

TEST_F(CSeccHsmTest, FatalErrorBeforeAnyRequestStaysAndAnswersEveryRequest)
{
  Run();
  TakeCalls();
  EXPECT_TRUE(Send<EIntFatalError>());
  EXPECT_EQ(mHsm.GetStateId(), EFatalError);
  EXPECT_TRUE(Send<EExtDisableReq>());
  EXPECT_TRUE(Send<EExtEnableReq>());
  EXPECT_TRUE(Send<EIntError>());
  EXPECT_EQ(TakeCalls(), CCalls(4, "ExtFatalErrorRsp"));
  EXPECT_EQ(mHsm.GetStateId(), EFatalError);
}

TEST_F(CSeccHsmTest, FatalErrorIsEnteredAgainFromItself)
{
  Run();
  Send<EIntFatalError>();
  mLog.Clear();
  TakeCalls();
  EXPECT_TRUE(Send<EIntFatalError>());
  EXPECT_TRUE(mLog.Contains("State FatalError: exit"));
  EXPECT_TRUE(mLog.Contains("State FatalError: entry"));
  EXPECT_EQ(TakeCalls(), CCalls{"ExtFatalErrorRsp"});
}

TEST_F(CSeccHsmTest, FatalErrorInEnabledRunsTheExitActions)
{
  GoToEnabled();
  Send<EIntFatalError>();
  EXPECT_EQ(TakeCalls(), (CCalls{"OnExitEnabled", "IntStopAliveTimer", "ExtFatalErrorRsp"}));
}

TEST_F(CSeccHsmTest, TerminateInEnabledRunsTheExitActionsAndEndsTheRun)
{
  GoToEnabled();
  EXPECT_TRUE(Send<EIntTerminate>());
  mThread->Join();
  EXPECT_EQ(TakeCalls(), (CCalls{"OnExitEnabled", "IntStopAliveTimer"}));
  EXPECT_FALSE(mHsm.IsRunning());
  EXPECT_EQ(mHsm.GetStateId(), EFinal);
  EXPECT_TRUE(mLog.Contains("State _Final_Statemachine: entry"));
}

TEST_F(CSeccHsmTest, EventsBehindTheEndAreDroppedAndTheirPromiseIsBroken)
{
  // Queued before the machine runs, so that all of them lie behind one another.
  auto late = std::make_shared<CSeccHsmEvent<EExtDisableReq>>();
  auto handled = late->GetFuture();
  mHsm.Post(std::make_shared<CSeccHsmEvent<EIntTerminate>>());
  mHsm.Post(std::make_shared<CSeccHsmEvent<EIntTerminatingDone>>());
  mHsm.Post(std::move(late));
  Run();
  mThread->Join();
  EXPECT_EQ(TakeCalls(), CCalls{"ExtUninitializedRsp"});
  EXPECT_THROW(handled.get(), std::future_error);
}

TEST_F(CSeccHsmTest, EventPostedAfterTheEndBreaksItsPromise)
{
  Run();
  Send<EIntTerminate>();
  mThread->Join();
  auto late = std::make_shared<CSeccHsmEvent<EExtEnableReq>>();
  auto handled = late->GetFuture();
  mHsm.Post(std::move(late));
  EXPECT_THROW(handled.get(), std::future_error);
}

TEST_F(CSeccHsmTest, UnsetResponseIsSkipped)
{
  mHandler->ExtUninitializedRsp = nullptr;
  Run();
  EXPECT_EQ(TakeCalls(), CCalls{});
}

TEST(CSeccHsm, NullEventThrowsBadTypeid)
{
  CSimulatedClock clock;
  CSeccHsm hsm(std::make_shared<CRecordingHandler>(), clock);
  hsm.Post(nullptr);
  EXPECT_THROW(hsm.Run(), std::bad_typeid);
}

TEST(CSeccHsm, ActionWithoutMachineThrows)
{
  auto handler = std::make_shared<CRecordingHandler>();
  {
    CSimulatedClock clock;
    const CSeccHsm hsm(handler, clock);
  }
  try {
    handler->PostInternal(std::make_shared<CSeccHsmEvent<EIntError>>());
    FAIL();
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "CHsmActionHandlerBase: IHsmInterface not set");
  }
}

// The states in which the machine waits for somebody.
class CSeccHsmRestingStateTest : public CSeccHsmTest, public testing::WithParamInterface<ESeccState> {
 protected:
  void Reach()
  {
    Run();
    if (GetParam() == EFatalError) Send<EIntFatalError>();
    if (GetParam() == EDisabled || GetParam() == EEnabled) Send<EExtDisableReq>();
    if (GetParam() == EEnabled) Send<EExtEnableReq>();
    ASSERT_EQ(mHsm.GetStateId(), GetParam());
    TakeCalls();
  }
};

TEST_P(CSeccHsmRestingStateTest, TerminateEndsTheRun)
{
  Reach();
  EXPECT_TRUE(Send<EIntTerminate>());
  mThread->Join();
  EXPECT_EQ(mHsm.GetStateId(), EFinal);
}

TEST_P(CSeccHsmRestingStateTest, FatalErrorIsEntered)
{
  Reach();
  EXPECT_TRUE(Send<EIntFatalError>());
  EXPECT_EQ(mHsm.GetStateId(), EFatalError);
  EXPECT_EQ(TakeCalls().back(), "ExtFatalErrorRsp");
}

TEST_P(CSeccHsmRestingStateTest, ErrorOfASiblingEndsInDisabledUnlessTheErrorIsFatal)
{
  Reach();
  EXPECT_TRUE(Send<EExtError>());
  EXPECT_EQ(mHsm.GetStateId(), GetParam() == EFatalError ? EFatalError : EDisabled);
  EXPECT_EQ(TakeCalls().back(), GetParam() == EFatalError ? "ExtFatalErrorRsp" : "ExtDisabledRsp");
}

INSTANTIATE_TEST_SUITE_P(All, CSeccHsmRestingStateTest,
                         testing::Values(EUninitialized, EDisabled, EEnabled, EFatalError), [](const auto& state) {
                           return SHsmTraits<CSeccHsmActionHandlerBase>::StateName(state.param);
                         });

TEST(CSeccHsm, TableHasExactlyTheKnownRules)
{
  using CTraits = SHsmTraits<CSeccHsmActionHandlerBase>;
  // State and event lead to a state; kHsmNoTarget is a reaction in place.
  const std::map<std::pair<int, int>, int> expected = {
      {{EUninitialized, EExtDisableReq}, EInitializing},
      {{EInitializing, EIntInitializingDone}, EDisabled},
      {{EDisabled, EExtEnableReq}, EEnabling},
      {{EDisabled, EExtDisableReq}, kHsmNoTarget},
      {{EEnabling, EIntEnablingDone}, EEnabled},
      {{EEnabled, EExtDisableReq}, EDisabling},
      {{EEnabled, EExtEnableReq}, kHsmNoTarget},
      {{EDisabling, EIntDisablingDone}, EDisabled},
      {{EError, EIntRecover}, ERecovering},
      {{ERecovering, EIntRecoveringDone}, EDisabled},
      {{EFatalError, EIntError}, kHsmNoTarget},
      {{EFatalError, EExtDisableReq}, kHsmNoTarget},
      {{EFatalError, EExtEnableReq}, kHsmNoTarget},
      {{ETerminating, EIntTerminatingDone}, EFinal},
      {{EStatemachine, EIntError}, EError},
      {{EStatemachine, EIntFatalError}, EFatalError},
      {{EStatemachine, EIntTerminate}, ETerminating},
      {{EStatemachine, EExtError}, kHsmNoTarget},
  };
  const std::type_index events[] = {typeid(CSeccHsmEvent<0>), typeid(CSeccHsmEvent<1>),  typeid(CSeccHsmEvent<2>),
                                    typeid(CSeccHsmEvent<3>), typeid(CSeccHsmEvent<4>),  typeid(CSeccHsmEvent<5>),
                                    typeid(CSeccHsmEvent<6>), typeid(CSeccHsmEvent<7>),  typeid(CSeccHsmEvent<8>),
                                    typeid(CSeccHsmEvent<9>), typeid(CSeccHsmEvent<10>), typeid(CSeccHsmEvent<11>)};
  std::map<std::pair<int, int>, int> rules;
  for (int state = EStatemachine; state <= EFinal; ++state) {
    for (int event = EExtDisableReq; event <= EIntTerminatingDone; ++event) {
      const auto* rule = CTraits::FindRule(state, events[event]);
      if (rule == nullptr) continue;
      rules[{state, event}] = rule->target;
      // A rule that leads nowhere is there for what it does.
      EXPECT_EQ(rule->action != nullptr, rule->target == kHsmNoTarget) << CTraits::StateName(state);
    }
  }
  EXPECT_EQ(rules, expected);
}

}  // namespace
