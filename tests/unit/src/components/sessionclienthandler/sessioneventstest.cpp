// What the session manager tells: state changes, starts and ends of sessions.

#include "tests/unit/src/components/sessionclienthandler/sessionclientfixture.h"

namespace {

class SessionEvents : public CSessionClientTest {
 protected:
  void ChangeState(ipc::EConnectorState value)
  {
    ipc::MConnectorState state;
    state.set_state(value);
    mHandler->HandleStateChanged(state);
  }
  int32_t ConfirmedStatus(EBackofficeId id) { return mBackoffices[id]->GetConfirmedStatus(1); }
  void ConfirmStatus(int32_t status)
  {
    for (const auto& [id, backoffice] : mBackoffices) backoffice->SetConfirmedStatus(1, status);
  }
};

const IOcpp::CBackofficeIds kBoth = {EBackofficeId::EPrimary, EBackofficeId::EAuxiliary};

}  // namespace

TEST_F(SessionEvents, StateChangeIsLoggedAndReportedToAllBackoffices)
{
  mHandler->Init();
  ConfirmStatus(9);
  ChangeState(ipc::EConnectorStateCharging);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[1] Receiving StateChanged notification, to EConnectorStateCharging"),
            1U);
  EXPECT_EQ(TakeCalls(), CCalls{"PushStatusNotification to all"});
  EXPECT_EQ(mOcpp->connectors, std::vector<uint32_t>{1});
  EXPECT_EQ(ConfirmedStatus(EBackofficeId::EPrimary), 9);
}

TEST_F(SessionEvents, StartingForgetsTheConfirmedStatusSoThatTheFirstOneOfASessionIsSent)
{
  mHandler->Init();
  ConfirmStatus(9);
  ChangeState(ipc::EConnectorStateStarting);
  EXPECT_EQ(ConfirmedStatus(EBackofficeId::EPrimary), 0);
  EXPECT_EQ(ConfirmedStatus(EBackofficeId::EAuxiliary), 0);
  EXPECT_EQ(TakeCalls(), CCalls{"PushStatusNotification to all"});
}

TEST_F(SessionEvents, StartingWithAnOpenTransactionAfterARestartKeepsTheConfirmedStatus)
{
  mData->Preset("OpenedTransaction", true);
  mHandler->Init();
  ConfirmStatus(6);
  ChangeState(ipc::EConnectorStateStarting);
  EXPECT_EQ(ConfirmedStatus(EBackofficeId::EPrimary), 6);
  EXPECT_EQ(TakeCalls(), CCalls{"PushStatusNotification to all"});
}

TEST_F(SessionEvents, StartedSessionIsTransactionSamplesAndProfilesInThisOrder)
{
  mHandler->Init();
  mHandler->HandleSessionStarted(Reading(5000));
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
  const auto& push = mOcpp->pushes.at(0);
  EXPECT_EQ(push.backofficeIds, kBoth);
  EXPECT_FALSE(push.force);
  EXPECT_EQ(push.parameters.size(), 2U);
  EXPECT_EQ(GetIntParameter(push.parameters, EOperationParameter::EConnectorId), 1);
  EXPECT_EQ(GetParameter<ipc::MMeterData>(push.parameters, EOperationParameter::EMeterData).value().energy_register(),
            5000);
  EXPECT_TRUE(IsOpened());
}

TEST_F(SessionEvents, StartedSessionIsMarkedOpenOnlyOnceItsTransactionIsPushed)
{
  mHandler->Init();
  mOcpp->onPush = [this](const CFakeOcpp::SPush&) { EXPECT_FALSE(IsOpened()); };
  mHandler->HandleSessionStarted(Reading(5000));
  EXPECT_TRUE(IsOpened());
}

TEST_F(SessionEvents, StoppedSessionIsSamplesTransactionAndProfilesInThisOrder)
{
  mHandler->Init();
  mHandler->HandleSessionStarted(Reading(5000));
  TakeCalls();
  mOcpp->onPush = [this](const CFakeOcpp::SPush&) { EXPECT_TRUE(IsOpened()); };
  mHandler->HandleSessionStopped(Reading(9000), 4);
  EXPECT_EQ(TakeCalls(), (CCalls{"CancelOcppSessionMeterValues", "StopTransaction", "OnTransactionEnd"}));
  const auto& push = mOcpp->pushes.at(1);
  EXPECT_EQ(push.backofficeIds, kBoth);
  EXPECT_TRUE(push.force);
  EXPECT_EQ(push.parameters.size(), 3U);
  EXPECT_EQ(GetIntParameter(push.parameters, EOperationParameter::EConnectorId), 1);
  EXPECT_EQ(GetIntParameter(push.parameters, EOperationParameter::EStopReason), 4);
  EXPECT_EQ(GetParameter<ipc::MMeterData>(push.parameters, EOperationParameter::EMeterData).value().energy_register(),
            9000);
  EXPECT_FALSE(IsOpened());
}

TEST_F(SessionEvents, SessionStartWithOpenedTransactionPushesNoStartAndSamplesAgain)
{
  mData->Preset("OpenedTransaction", true);
  mHandler->Init();
  mHandler->HandleSessionStarted(Reading(5000));
  EXPECT_EQ(TakeCalls(), (CCalls{"ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
  EXPECT_TRUE(IsOpened());
}

TEST_F(SessionEvents, SessionAfterTheStopOfASurvivingOneIsStartedAgain)
{
  mData->Preset("OpenedTransaction", true);
  mHandler->Init();
  mHandler->HandleSessionStarted(Reading(5000));
  mHandler->HandleSessionStopped(Reading(9000), 4);
  EXPECT_FALSE(IsOpened());
  TakeCalls();
  mHandler->HandleSessionStarted(Reading(9000));
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
}

TEST_F(SessionEvents, EverySessionOfOneProcessIsStarted)
{
  mHandler->Init();
  for (int i = 0; i < 3; ++i) {
    mHandler->HandleSessionStarted(Reading(5000));
    mHandler->HandleSessionStopped(Reading(9000), 4);
  }
  EXPECT_EQ(mOcpp->pushes.size(), 6U);
}

TEST_F(SessionEvents, SessionsGoOnWithoutSmartCharging)
{
  mAccess.RegisterHandle(std::shared_ptr<ISmartChargingComponent>());
  mHandler->Init();
  mHandler->HandleSessionStarted(Reading(5000));
  mHandler->HandleSessionStopped(Reading(9000), 4);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "CancelOcppSessionMeterValues",
                                 "StopTransaction"}));
}

TEST_F(SessionEvents, InitIsTraced)
{
  mHandler->Init();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::ETrace, "CSessionClientHandler::Init"), 1U);
}
