#include "src/secc/processcontrolservice.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/clock/thread.h"
#include "tests/unit/support/logcapture.h"

namespace {

class CActionsStub : public CSeccHsmActionHandlerBase {
 public:
  void OnExitEnabled() override {}
  void OnEntryEnabled() override {}
  void IntStopAliveTimer() override {}
  void IntStartAliveTimer() override { ExtSendAlive(); }

  std::function<void()> ExtSendAlive;
};

class CProcessControlServiceTest : public testing::Test {
 protected:
  CProcessControlServiceTest()
  {
    mService->SetStateNotifier([this](const ipc::MState& state) { mStates.push_back(state.state()); });
    mService->SetAliveNotifier([this] { ++mAlives; });
    ConnectIProcessControl(mHandler, mService, std::shared_ptr<IHsmInterface>(mHsm));
  }
  ~CProcessControlServiceTest() override
  {
    mHsm->Stop();
    if (mThread) mThread->Join();
  }

  void Run()
  {
    mThread = std::make_unique<CThread>(mClock, "hsm", [this] { mHsm->Run(); });
    mClock.WaitIdle();
  }

  // As a supervisor's request comes: on a thread of its own, which waits for the machine.
  ipc::EResult Request(ipc::MResult (CProcessControlService::*operation)())
  {
    ipc::MResult result;
    {
      const CForeignWait wait(mClock);
      result = (mService.get()->*operation)();
    }
    mClock.WaitIdle();
    return result.result();
  }
  ipc::EResult Enable() { return Request(&CProcessControlService::Enable); }
  ipc::EResult Disable() { return Request(&CProcessControlService::Disable); }

  std::vector<ipc::EState> TakeStates()
  {
    std::vector<ipc::EState> states;
    states.swap(mStates);
    return states;
  }

  using CStates = std::vector<ipc::EState>;

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::vector<ipc::EState> mStates;
  int mAlives = 0;
  std::shared_ptr<CActionsStub> mHandler = std::make_shared<CActionsStub>();
  std::shared_ptr<CProcessControlService> mService = std::make_shared<CProcessControlService>();
  std::shared_ptr<CSeccHsm> mHsm = std::make_shared<CSeccHsm>(mHandler, mClock);
  std::unique_ptr<CThread> mThread;
};

TEST_F(CProcessControlServiceTest, StartReportsUninitializedOnce)
{
  Run();
  EXPECT_EQ(TakeStates(), CStates{ipc::EStateUninitialized});
}

TEST_F(CProcessControlServiceTest, RequestThatCameBeforeTheStartIsServedAfterTheReportOfUninitialized)
{
  auto event = std::make_shared<CSeccHsmEvent<EExtDisableReq>>();
  auto handled = event->GetFuture();
  mHsm->Post(std::move(event));
  Run();
  EXPECT_EQ(TakeStates(), (CStates{ipc::EStateUninitialized, ipc::EStateDisabled}));
  EXPECT_TRUE(handled.get());
}

TEST_F(CProcessControlServiceTest, EnableInUninitializedIsIllegalAndReportsNothing)
{
  Run();
  TakeStates();
  EXPECT_EQ(Enable(), ipc::EResultIllegal);
  EXPECT_EQ(TakeStates(), CStates{});
}

TEST_F(CProcessControlServiceTest, DisableInUninitializedSucceedsAndReportsDisabled)
{
  Run();
  TakeStates();
  EXPECT_EQ(Disable(), ipc::EResultSuccess);
  EXPECT_EQ(TakeStates(), CStates{ipc::EStateDisabled});
}

TEST_F(CProcessControlServiceTest, EnableInEnabledSucceedsAndReportsEnabledAgain)
{
  Run();
  Disable();
  Enable();
  TakeStates();
  EXPECT_EQ(Enable(), ipc::EResultSuccess);
  EXPECT_EQ(TakeStates(), CStates{ipc::EStateEnabled});
}

TEST_F(CProcessControlServiceTest, DisableInFatalErrorSucceedsAndReportsFatalErrorAgain)
{
  Run();
  mHsm->Post(std::make_shared<CSeccHsmEvent<EIntFatalError>>());
  mClock.WaitIdle();
  TakeStates();
  EXPECT_EQ(Disable(), ipc::EResultSuccess);
  EXPECT_EQ(TakeStates(), CStates{ipc::EStateFatalError});
}

TEST_F(CProcessControlServiceTest, ErrorIsReportedBeforeDisabled)
{
  Run();
  Disable();
  TakeStates();
  mHsm->Post(std::make_shared<CSeccHsmEvent<EExtError>>());
  mClock.WaitIdle();
  EXPECT_EQ(TakeStates(), (CStates{ipc::EStateError, ipc::EStateDisabled}));
}

TEST_F(CProcessControlServiceTest, AliveReachesTheNotifier)
{
  Run();
  Disable();
  Enable();
  EXPECT_EQ(mAlives, 1);
}

TEST_F(CProcessControlServiceTest, EveryCallableLogsItsName)
{
  Run();
  Disable();
  Enable();
  mHsm->Post(std::make_shared<CSeccHsmEvent<EExtError>>());
  mClock.WaitIdle();
  mHsm->Post(std::make_shared<CSeccHsmEvent<EIntFatalError>>());
  mClock.WaitIdle();
  for (const char* name : {"IEnableCall", "IDisableCall", "ExtUninitializedRsp", "ExtDisabledRsp", "ExtEnabledRsp",
                           "ExtErrorRsp", "ExtFatalErrorRsp", "ExtSendAlive"}) {
    EXPECT_GE(mLog.Count(Log::ELogLevel::ETrace, name), 1U) << name;
  }
}

TEST_F(CProcessControlServiceTest, RequestWaitingWhenTheMachineStopsLearnsOfIt)
{
  // Ends before it reaches the request behind it.
  mHsm->Post(std::make_shared<CSeccHsmEvent<EIntTerminate>>());
  mHsm->Post(std::make_shared<CSeccHsmEvent<EIntTerminatingDone>>());
  bool broken = false;
  CThread supervisor(mClock, "supervisor", [&] {
    const CForeignWait wait(mClock);
    try {
      mService->Disable();
    } catch (const std::future_error&) {
      broken = true;
    }
  });
  mClock.WaitIdle();
  Run();
  mThread->Join();
  supervisor.Join();
  EXPECT_TRUE(broken);
}

TEST_F(CProcessControlServiceTest, RequestAfterTheMachineHasGoneLearnsOfIt)
{
  mHsm.reset();
  EXPECT_THROW(mService->Enable(), std::future_error);
  EXPECT_THROW(mService->Disable(), std::future_error);
  mHsm = std::make_shared<CSeccHsm>(mHandler, mClock);
}

TEST(CProcessControlService, MachineAndHandlerGoWithTheirOwnersAlthoughTheServiceIsBoundToThem)
{
  CSimulatedClock clock;
  auto handler = std::make_shared<CActionsStub>();
  const auto service = std::make_shared<CProcessControlService>();
  auto hsm = std::make_shared<CSeccHsm>(handler, clock);
  ConnectIProcessControl(handler, service, std::shared_ptr<IHsmInterface>(hsm));
  const std::weak_ptr<CActionsStub> watchedHandler = handler;
  const std::weak_ptr<CSeccHsm> watchedMachine = hsm;
  hsm.reset();
  handler.reset();
  EXPECT_TRUE(watchedMachine.expired());
  EXPECT_TRUE(watchedHandler.expired());
}

TEST(CProcessControlService, UnboundCallablesAndNotifiersThrow)
{
  CProcessControlService service;
  EXPECT_THROW(service.Enable(), std::bad_function_call);
  EXPECT_THROW(service.Disable(), std::bad_function_call);
  EXPECT_THROW(service.ReportState({}), std::bad_function_call);
  EXPECT_THROW(service.SendAlive(), std::bad_function_call);
}

}  // namespace
