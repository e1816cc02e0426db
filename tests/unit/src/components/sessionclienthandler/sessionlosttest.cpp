// The end of a session was never told, as by a session manager that lost its data, and the next session starts.

#include "tests/unit/src/components/sessionclienthandler/sessionclientfixture.h"

namespace {

class SessionWhoseStopIsLost : public CSessionClientTest {
 protected:
  // What each StopTransaction finds while it is made.
  struct SStop {
    std::string key;
    std::string idTag;
    int64_t reason = -1;
    ipc::MMeterData reading;
  };

  void BeginSessions()
  {
    CSessionClientTest::BeginSessions();
    ipc::MConnectorInfo info;
    info.set_id_tag("SECOND");
    mSessionManager->SetConnectorInfo(info);
    mOcpp->onPush = [this, begin = mOcpp->onPush](const CFakeOcpp::SPush& push) {
      begin(push);
      if (push.operation != kStop) return;
      mStops.push_back({mHandler->GetTransactionKey(), mHandler->GetSessionIdTag(),
                        GetIntParameter(push.parameters, EOperationParameter::EStopReason).value_or(-1),
                        GetParameter<ipc::MMeterData>(push.parameters, EOperationParameter::EMeterData).value()});
    };
  }

  std::vector<SStop> mStops;
};

}  // namespace

TEST_F(SessionWhoseStopIsLost, IsClosedWithTheRegisterAtTheStartOfTheNextOneWhichIsStarted)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  Restart();
  TakeCalls();
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(TakeCalls(), (CCalls{"CancelOcppSessionMeterValues", "StopTransaction", "OnTransactionEnd",
                                 "StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
  ASSERT_EQ(mStops.size(), 1U);
  EXPECT_EQ(mStops[0].key, "start1");
  EXPECT_EQ(mStops[0].reason, static_cast<int64_t>(ipc::EStopSessionReasonOther));
  EXPECT_EQ(mStops[0].reading.session_start_time(), mFirst.session_start_time());
  EXPECT_EQ(mStops[0].reading.session_start_energy(), mFirst.session_start_energy());
  EXPECT_EQ(mStops[0].reading.session_end_time(), mSecond.session_start_time());
  EXPECT_EQ(mStops[0].reading.session_end_energy(), mSecond.session_start_energy());
  EXPECT_EQ(mHandler->GetTransactionKey(), "start2");
  EXPECT_TRUE(IsOpened());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "[1] The end of the session that began with '2026-01-15T10:00:00Z 5000000' was never told, "
                       "closing it with what the meter shows at the start of the next one"),
            1U);
  mHandler->HandleSessionStopped(mSecondEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionWhoseStopIsLost, IsClosedByTheProcessThatStartedIt)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStopped(mSecondEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

// Whoever starts the next session has not stopped this one.
TEST_F(SessionWhoseStopIsLost, DoesNotBearTheTagOfTheNextOne)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStopped(mSecondEnd, 4);
  ASSERT_EQ(mStops.size(), 2U);
  EXPECT_EQ(mStops[0].idTag, "");
  EXPECT_EQ(mStops[1].idTag, "SECOND");
}

TEST_F(SessionWhoseStopIsLost, IsNotClosedTwiceWhenItsStopIsFoundAgain)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  Restart();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStopped(mSecondEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionWhoseStopIsLost, IsClosedWithItsOwnStartWhenTheMeterWasReplaced)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStarted(Start("2026-01-15T10:31:00Z", 0));
  ASSERT_EQ(mStops.size(), 1U);
  EXPECT_EQ(mStops[0].reading.session_end_energy(), mFirst.session_start_energy());
}

TEST_F(SessionWhoseStopIsLost, IsClosedThoughAFormerProcessDiedWhileStoppingIt)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  CFakeConfig::CState atStop;
  mOcpp->onPush = [&](const CFakeOcpp::SPush&) { atStop = mData->GetState(); };
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  for (const auto& [key, value] : atStop) mData->Preset(key, value);
  BeginSessions();
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStop, kStart}));
  ASSERT_EQ(mStops.size(), 1U);
  EXPECT_EQ(mStops[0].key, "start1");
}

TEST_F(SessionWhoseStopIsLost, SessionWithoutEnergyToldAgainWhileTheNextOneRunsClosesNothing)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(End(mFirst, "2026-01-15T10:30:00Z", 5000000), 4);
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(End(mFirst, "2026-01-15T10:30:00Z", 5000000), 4);
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart}));
  EXPECT_EQ(mHandler->GetTransactionKey(), "start2");
}

TEST_F(SessionWhoseStopIsLost, StartThatDoesNotSayWhoseItIsClosesNothing)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  Restart();
  mHandler->HandleSessionStarted(Reading(9000000));
  EXPECT_EQ(Pushed(), (std::vector{kStart}));
}
