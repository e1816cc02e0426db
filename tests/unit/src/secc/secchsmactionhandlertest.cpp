#include "src/secc/secchsmactionhandler.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/clock/simulatedclock.h"
#include "platform/clock/thread.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/logcapture.h"

namespace {

using namespace std::chrono_literals;

class CComponentStub : public IOcppComponent {
 public:
  void Enable() override { ++enabled; }
  void Disable() override { ++disabled; }

  int enabled = 0;
  int disabled = 0;
};

class CSeccHsmActionHandlerTest : public testing::Test {
 protected:
  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeConfig> mSettings = std::make_shared<CFakeConfig>();
  std::shared_ptr<CComponentStub> mComponent = std::make_shared<CComponentStub>();
  CSeccHsmActionHandler mHandler{mClock, mSettings, mComponent};
};

TEST_F(CSeccHsmActionHandlerTest, EntryWithBothSwitchesOffEnablesNothing)
{
  mHandler.OnEntryEnabled();
  EXPECT_EQ(mComponent->enabled, 0);
}

TEST_F(CSeccHsmActionHandlerTest, EntryWithPrimaryActiveEnables)
{
  mSettings->SetBool("SeccOcppActive", true);
  mHandler.OnEntryEnabled();
  EXPECT_EQ(mComponent->enabled, 1);
}

TEST_F(CSeccHsmActionHandlerTest, EntryWithAuxiliaryAllowedEnables)
{
  mSettings->SetBool("SboAllowed", true);
  mHandler.OnEntryEnabled();
  EXPECT_EQ(mComponent->enabled, 1);
}

TEST_F(CSeccHsmActionHandlerTest, ExitDisablesInEveryCase)
{
  mHandler.OnExitEnabled();
  EXPECT_EQ(mComponent->disabled, 1);
}

TEST_F(CSeccHsmActionHandlerTest, AliveIsSentAtOnceAndEveryFourSeconds)
{
  std::atomic<int> alives{0};
  mHandler.ExtSendAlive = [&] { ++alives; };
  mHandler.IntStartAliveTimer();
  mClock.WaitIdle();
  EXPECT_EQ(alives, 1);
  mClock.AdvanceBy(12s);
  EXPECT_EQ(alives, 4);
  mHandler.IntStopAliveTimer();
  mClock.AdvanceBy(60s);
  EXPECT_EQ(alives, 4);
}

TEST_F(CSeccHsmActionHandlerTest, EnabledWithBothSwitchesOffIsAliveAndEnablesNothing)
{
  const auto handler = std::make_shared<CSeccHsmActionHandler>(mClock, mSettings, mComponent);
  std::atomic<int> alives{0};
  handler->ExtSendAlive = [&] { ++alives; };
  CSeccHsm hsm(handler, mClock);
  CThread thread(mClock, "hsm", [&] { hsm.Run(); });
  hsm.Post(std::make_shared<CSeccHsmEvent<EExtDisableReq>>());
  mClock.WaitIdle();
  hsm.Post(std::make_shared<CSeccHsmEvent<EExtEnableReq>>());
  mClock.AdvanceBy(4s);
  EXPECT_EQ(hsm.GetStateId(), EEnabled);
  EXPECT_EQ(alives, 2);
  EXPECT_EQ(mComponent->enabled, 0);
  hsm.Post(std::make_shared<CSeccHsmEvent<EIntTerminate>>());
  thread.Join();
  EXPECT_EQ(mComponent->disabled, 1);
}

TEST_F(CSeccHsmActionHandlerTest, HandlerThatGoesWithItsTimerRunningSendsNothingMore)
{
  auto handler = std::make_unique<CSeccHsmActionHandler>(mClock, mSettings, mComponent);
  std::atomic<int> alives{0};
  handler->ExtSendAlive = [&] { ++alives; };
  handler->IntStartAliveTimer();
  mClock.WaitIdle();
  handler.reset();
  mClock.AdvanceBy(60s);
  EXPECT_EQ(alives, 1);
}

TEST_F(CSeccHsmActionHandlerTest, StopWithoutTimerDoesNothing)
{
  mHandler.IntStopAliveTimer();
  EXPECT_EQ(mComponent->disabled, 0);
}

TEST_F(CSeccHsmActionHandlerTest, UnsetAliveCallbackIsLoggedAndTheTimerGoesOn)
{
  mHandler.IntStartAliveTimer();
  mClock.AdvanceBy(4s);
  EXPECT_TRUE(mLog.ContainsPart("bad_function_call"));
  std::atomic<int> alives{0};
  mHandler.BlockingCall([&] { mHandler.ExtSendAlive = [&] { ++alives; }; });
  mClock.AdvanceBy(4s);
  EXPECT_EQ(alives, 1);
  mHandler.IntStopAliveTimer();
}

}  // namespace
