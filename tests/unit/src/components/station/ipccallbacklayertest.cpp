#include "src/components/ipccallbacklayer.h"

#include <gtest/gtest.h>

#include "src/components/seccutils.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

namespace {

class CIpcCallbackLayerTest : public testing::Test {
 protected:
  SIpcClients MakeClients()
  {
    SIpcClients clients;
    clients.basicCharge = mBasicCharge;
    clients.boardControl = mBoardControl;
    clients.currentControl = mCurrentControl;
    clients.diagnostics = mDiagnostics;
    clients.feedback = std::make_shared<CFakeFeedback>();
    clients.meter = std::make_shared<CFakeMeter>();
    clients.safetyMcuComm = mSafetyMcuComm;
    clients.sessionManagerAuth = mSessionManagerAuth;
    clients.sessionManager = mSessionManager;
    return clients;
  }

  CLogCapture mLog;
  std::shared_ptr<CFakeBasicCharge2> mBasicCharge = std::make_shared<CFakeBasicCharge2>();
  std::shared_ptr<CFakeBoardControl> mBoardControl = std::make_shared<CFakeBoardControl>();
  std::shared_ptr<CFakeCurrentControl> mCurrentControl = std::make_shared<CFakeCurrentControl>();
  std::shared_ptr<CFakeDiagnostics> mDiagnostics = std::make_shared<CFakeDiagnostics>();
  std::shared_ptr<CFakeSafetyMcuComm> mSafetyMcuComm = std::make_shared<CFakeSafetyMcuComm>();
  std::shared_ptr<CFakeSessionManagerAuth> mSessionManagerAuth = std::make_shared<CFakeSessionManagerAuth>();
  std::shared_ptr<CFakeSessionManager> mSessionManager = std::make_shared<CFakeSessionManager>();
  CIpcCallbackLayer mLayer{MakeClients()};
};

template <typename TException, typename TCall>
std::string TextOf(TCall call)
{
  try {
    call();
  } catch (const TException& error) {
    return error.what();
  }
  return "no exception";
}

TEST(IpcServiceNames, ConnectorOneHasNoSuffix)
{
  EXPECT_EQ(GetConnectorSpecificServiceName("SessionManager", 1), "SessionManager");
  EXPECT_EQ(GetConnectorSpecificServiceName("SessionManager", 2), "SessionManager2");
  EXPECT_EQ(GetMeterServiceName(1), "Meter");
}

TEST_F(CIpcCallbackLayerTest, SecondMainsLostHandlerThrowsAndNamesTheNotification)
{
  mLayer.RegisterBoardControlMainsLostHandler(0, [] {});
  EXPECT_EQ(TextOf<SeccUtils::CMultipleRegisterInstanceException>(
                [&] { mLayer.RegisterBoardControlMainsLostHandler(0, [] {}); }),
            "[BoardControlMainsLost] Handler may only be registered once per component");
}

TEST_F(CIpcCallbackLayerTest, AnotherKeyMayRegisterTheSameNotification)
{
  mLayer.RegisterBoardControlMainsLostHandler(0, [] {});
  EXPECT_NO_THROW(mLayer.RegisterBoardControlMainsLostHandler(1, [] {}));
}

TEST_F(CIpcCallbackLayerTest, EachNotificationIsNamedWhenItsKeyIsTakenThoseOfAConnectorWithIt)
{
  const std::vector<std::pair<std::string, std::function<void()>>> registrations{
      {"BasicChargeSocketUnlocked[1]", [&] { mLayer.RegisterBasicChargeSocketUnlockedHandler(0, 1, {}); }},
      {"BoardControlFwUpdateStatus", [&] { mLayer.RegisterBoardControlFwUpdateStatusHandler(0, {}); }},
      {"BoardControlMainsLost", [&] { mLayer.RegisterBoardControlMainsLostHandler(0, {}); }},
      {"DiagnosticsFreezeFrameDone", [&] { mLayer.RegisterDiagnosticsFreezeFrameDoneHandler(0, {}); }},
      {"DiagnosticsNotification", [&] { mLayer.RegisterDiagnosticsNotificationHandler(0, {}); }},
      {"SafetyMcuCommMcuTemperatures[1]", [&] { mLayer.RegisterSafetyMcuCommMcuTemperaturesHandler(0, 1, {}); }},
      {"SessionManagerStateChanged[1]", [&] { mLayer.RegisterSessionManagerStateChangedHandler(0, 1, {}); }},
      {"SessionManagerSessionStarted[1]", [&] { mLayer.RegisterSessionManagerSessionStartedHandler(0, 1, {}); }},
      {"SessionManagerSessionStopped[1]", [&] { mLayer.RegisterSessionManagerSessionStoppedHandler(0, 1, {}); }},
      {"SessionManagerAuthAuthorizeId", [&] { mLayer.RegisterSessionManagerAuthAuthorizeIdHandler(0, {}); }},
  };
  for (const auto& [name, registerHandler] : registrations) {
    registerHandler();
    EXPECT_EQ(TextOf<SeccUtils::CMultipleRegisterInstanceException>(registerHandler),
              "[" + name + "] Handler may only be registered once per component");
  }
}

TEST_F(CIpcCallbackLayerTest, CurrentControlOfInstanceTwoThrowsAndNamesIt)
{
  EXPECT_EQ(TextOf<SeccUtils::CInvalidInstanceException>([&] { mLayer.GetCurrentControlClient(2); }),
            "[CurrentControl] Invalid instance [2] selected");
  EXPECT_EQ(mLayer.GetCurrentControlClient(0), mLayer.GetCurrentControlClient(1));
}

TEST_F(CIpcCallbackLayerTest, EveryConnectorsClientExistsForConnectorOneOnly)
{
  EXPECT_EQ(TextOf<SeccUtils::CInvalidInstanceException>([&] { mLayer.GetBasicChargeClient(0); }),
            "[BasicCharge] Invalid instance [0] selected");
  EXPECT_EQ(TextOf<SeccUtils::CInvalidInstanceException>([&] { mLayer.GetMeterClient(2); }),
            "[Meter] Invalid instance [2] selected");
  EXPECT_EQ(TextOf<SeccUtils::CInvalidInstanceException>([&] { mLayer.GetSafetyMcuCommClient(2); }),
            "[SafetyMcuComm] Invalid instance [2] selected");
  EXPECT_EQ(TextOf<SeccUtils::CInvalidInstanceException>([&] { mLayer.GetSessionManagerClient(0); }),
            "[SessionManager] Invalid instance [0] selected");
  EXPECT_EQ(mLayer.GetSessionManagerClient(1), mSessionManager);
}

TEST_F(CIpcCallbackLayerTest, SessionEventBetweenDisableAndEnableIsLost)
{
  int started = 0;
  mLayer.RegisterSessionManagerSessionStartedHandler(0, 1, [&](const ipc::MMeterData&) { ++started; });
  mSessionManager->EmitSessionStarted({});
  EXPECT_EQ(started, 0);  // registered disabled
  mLayer.EnableHandlers(0);
  mSessionManager->EmitSessionStarted({});
  EXPECT_EQ(started, 1);
  mLayer.DisableHandlers(0);
  mSessionManager->EmitSessionStarted({});
  EXPECT_EQ(started, 1);
  mLayer.EnableHandlers(0);
  EXPECT_EQ(started, 1);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Enabling IPC handlers"), 2U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Disabling IPC handlers"), 1U);
}

TEST_F(CIpcCallbackLayerTest, EnablingOneKeyLeavesTheOthersDisabled)
{
  std::string order;
  mLayer.RegisterBoardControlMainsLostHandler(1, [&] { order += "b"; });
  mLayer.RegisterBoardControlMainsLostHandler(0, [&] { order += "a"; });
  mLayer.EnableHandlers(0);
  mBoardControl->EmitMainsLost();
  EXPECT_EQ(order, "a");
  mLayer.EnableHandlers(1);
  mBoardControl->EmitMainsLost();
  EXPECT_EQ(order, "aab");
}

TEST_F(CIpcCallbackLayerTest, FirmwareStatusIsDeliveredWhileDisabled)
{
  int delivered = 0;
  mLayer.RegisterBoardControlFwUpdateStatusHandler(0, [&](const ipc::MFwUpdateStatus&) { ++delivered; });
  mBoardControl->EmitFwUpdateStatus(ipc::EFwUpdateStatusSuccess);
  EXPECT_EQ(delivered, 1);
}

TEST_F(CIpcCallbackLayerTest, EmptyHandlerThrowsBadFunctionCall)
{
  mLayer.RegisterBoardControlMainsLostHandler(0, nullptr);
  mLayer.EnableHandlers(0);
  EXPECT_THROW(mBoardControl->EmitMainsLost(), std::bad_function_call);
}

TEST_F(CIpcCallbackLayerTest, EveryNotificationReachesItsHandler)
{
  std::vector<std::string> seen;
  mLayer.RegisterBasicChargeSocketUnlockedHandler(0, 1, [&](uint32_t) { seen.emplace_back("unlocked"); });
  mLayer.RegisterSafetyMcuCommMcuTemperaturesHandler(
      0, 1, [&](const ipc::MMcuStatus&) { seen.emplace_back("temperatures"); });
  mLayer.RegisterSessionManagerStateChangedHandler(0, 1,
                                                   [&](const ipc::MConnectorState&) { seen.emplace_back("state"); });
  mLayer.RegisterSessionManagerSessionStoppedHandler(
      0, 1, [&](const ipc::MMeterData&, ipc::EStopSessionReason) { seen.emplace_back("stopped"); });
  mLayer.RegisterSessionManagerAuthAuthorizeIdHandler(
      0, [&](uint32_t, const ipc::MAuthorizeRequest&) { seen.emplace_back("authorize"); });
  mLayer.RegisterDiagnosticsNotificationHandler(
      0,
      [&](const ipc::MDiagnosticsSignal&, const ipc::MDiagnosticsNotificationType&) { seen.emplace_back("signal"); });
  mLayer.RegisterDiagnosticsFreezeFrameDoneHandler(0, [&](const std::string& name) { seen.push_back(name); });
  mLayer.EnableHandlers(0);

  mBasicCharge->EmitSocketUnlocked(1);
  mSafetyMcuComm->EmitMcuTemperatures({});
  mSessionManager->EmitStateChanged(ipc::EConnectorStateCharging);
  mSessionManager->EmitSessionStopped({}, ipc::EStopSessionReasonLocal);
  mSessionManagerAuth->EmitAuthorizeId(1, {});
  mDiagnostics->EmitNotification({}, ipc::EDiagnosticsNotificationTypeEvent);
  mDiagnostics->EmitFreezeFrameDone("frame");
  EXPECT_EQ(seen,
            (std::vector<std::string>{"unlocked", "temperatures", "state", "stopped", "authorize", "signal", "frame"}));
}

}  // namespace
