// The session manager cannot know what a process that was killed had come to, and tells again: nothing may be lost, and
// nothing reported twice, whenever the kill came.

#include "platform/commutil/communicationexception.h"
#include "src/components/isampledvalueshandler.h"
#include "src/components/sessionrecord.h"
#include "tests/unit/src/components/sessionclienthandler/sessionclientfixture.h"

namespace {

// A meter that shows one reading, or is out of reach.
class CShownReading : public ISampledValuesHandler {
 public:
  ipc::MMeterData GetMeterData() override
  {
    if (unreachable) throw Rpc::CommunicationException("meter is away");
    return reading;
  }
  SSampledValues GetSampledValues() override { return {}; }
  ipc::MMeterSessions GetMeterSessions() override { return {}; }
  std::string GetOngoingSessionStartTime() override { return {}; }
  int64_t UpdateSampleIntervalBaseline(int64_t) override { return 0; }
  int64_t UpdateClockAlignedBaseline(int64_t) override { return 0; }
  void UpdateTemperatures(const ipc::MMcuStatus&) override {}

  ipc::MMeterData reading;
  bool unreachable = false;
};

class SessionToldAgain : public CSessionClientTest {
 protected:
  std::shared_ptr<CShownReading> Show(const ipc::MMeterData& reading)
  {
    auto meter = std::make_shared<CShownReading>();
    meter->reading = reading;
    mAccess.RegisterHandle(std::shared_ptr<ISampledValuesHandler>(meter), 1);
    return meter;
  }
  // Takes the connector's data back to what they were while the last StopTransaction was pushed.
  void StopAndDieWhilePushing(const ipc::MMeterData& end)
  {
    CFakeConfig::CState atStop;
    mOcpp->onPush = [&](const CFakeOcpp::SPush&) { atStop = mData->GetState(); };
    mHandler->HandleSessionStopped(end, 4);
    for (const auto& [key, value] : atStop) mData->Preset(key, value);
    BeginSessions();
  }
};

}  // namespace

TEST_F(SessionToldAgain, StartToldTwiceToOneProcessIsStartedOnce)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStarted(mFirst);
  EXPECT_EQ(Pushed(), (std::vector{kStart}));
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
}

TEST_F(SessionToldAgain, StopToldAgainAfterARestartIsIgnoredAndLogged)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  Restart();
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
  EXPECT_EQ(mLog.Count("[1] The end of a session was told again, ignoring it"), 1U);
}

TEST_F(SessionToldAgain, StartAndStopOfAnEndedSessionToldAgainAreIgnored)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  Restart();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
  EXPECT_FALSE(IsOpened());
  EXPECT_EQ(mLog.Count("[1] The start of a session that has ended was told again, ignoring it"), 1U);
}

TEST_F(SessionToldAgain, StopOfTheSessionBeforeToldAgainLeavesTheRunningOneAlone)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  mHandler->HandleSessionStarted(mSecond);
  Restart();
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart}));
  EXPECT_EQ(mHandler->GetTransactionKey(), "start2");
  mHandler->HandleSessionStopped(mSecondEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionToldAgain, ProcessKilledBeforeItsStopWasStoredReportsTheStopThatIsToldAgain)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  StopAndDieWhilePushing(mFirstEnd);
  Restart();
  // The push of the former life never came to the store.
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStop}));
  EXPECT_EQ(mHandler->GetTransactionKey(), "");
}

TEST_F(SessionToldAgain, ProcessKilledAfterItsStopWasStoredIgnoresTheStopThatIsToldAgain)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  StopAndDieWhilePushing(mFirstEnd);
  mStorage->Preset({"stop1", kStop, R"({"meterStop":9000,"timestamp":"2026-01-15T10:30:00Z","transactionId":-1})"});
  Restart();
  EXPECT_FALSE(IsOpened());
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart}));
}

TEST_F(SessionToldAgain, ProcessKilledTwiceWhileStoppingOneSessionReportsItsStopOnce)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  StopAndDieWhilePushing(mFirstEnd);
  Restart();
  StopAndDieWhilePushing(mFirstEnd);
  mStorage->Preset({"stop1", kStop, R"({"meterStop":9000,"timestamp":"2026-01-15T10:30:00Z","transactionId":-1})"});
  Restart();
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStop}));
}

TEST_F(SessionToldAgain, ProcessKilledAfterItsStopWasAnsweredIgnoresTheStopThatIsToldAgain)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->SettleTransaction("start1", 42);
  StopAndDieWhilePushing(mFirstEnd);
  mHandler->ClearTransactionId();
  Restart();
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
}

TEST_F(SessionToldAgain, StoredStopOfAnotherSessionIsNoReasonToIgnoreThisOne)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  StopAndDieWhilePushing(mFirstEnd);
  mStorage->Preset({"stop0", kStop, R"({"meterStop":4000,"timestamp":"2026-01-15T09:30:00Z","transactionId":7})"});
  mStorage->Preset({"broken", kStop, "{"});
  Restart();
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStop}));
}

TEST_F(SessionToldAgain, SessionWithoutEnergyMayBeFollowedByOneWithTheSameReadingInTheSameSecond)
{
  const auto end = End(mFirst, "2026-01-15T10:00:00Z", 5000000);
  BeginSessions();
  for (int i = 0; i < 2; ++i) {
    mHandler->HandleSessionStarted(mFirst);
    mHandler->HandleSessionStopped(end, 4);
  }
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionToldAgain, StopOfASessionWithoutEnergyToldTwiceToOneProcessIsReportedOnce)
{
  const auto end = End(mFirst, "2026-01-15T10:00:00Z", 5000000);
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(end, 4);
  mHandler->HandleSessionStopped(end, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
}

TEST_F(SessionToldAgain, SessionToldOfAfterItsEndIsNotSampled)
{
  Show(mFirstEnd);
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "OnTransactionStart"}));
  EXPECT_EQ(mLog.Count("[1] The session has ended by what the meter shows, no MeterValue is scheduled"), 1U);
}

TEST_F(SessionToldAgain, SessionToldOfWhenTheNextOneRunsIsNotSampled)
{
  Show(mSecond);
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "OnTransactionStart"}));
}

TEST_F(SessionToldAgain, SessionThatRunsIsSampled)
{
  Show(mFirst);
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
}

TEST_F(SessionToldAgain, MeterThatStillShowsTheSessionBeforeDoesNotKeepTheSamplesAway)
{
  Show(mFirstEnd);
  BeginSessions();
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
}

TEST_F(SessionToldAgain, MeterThatKeepsTheEndOfTheSessionBeforeDoesNotKeepTheSamplesAway)
{
  Show(End(mSecond, mFirstEnd.session_end_time(), mFirstEnd.session_end_energy()));
  BeginSessions();
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
}

TEST_F(SessionToldAgain, EndThatIsNoTimeDoesNotKeepTheSamplesAway)
{
  Show(End(mSecond, "soon", 9500000));
  BeginSessions();
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
}

TEST_F(SessionToldAgain, UnreachableMeterLeavesTheSamplesToWhoeverSchedulesThem)
{
  Show(mFirstEnd)->unreachable = true;
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  EXPECT_EQ(TakeCalls(), (CCalls{"StartTransaction", "ScheduleOcppSessionMeterValues", "OnTransactionStart"}));
}

TEST_F(SessionToldAgain, ReadingWithoutStartIsNeverTakenForAnEarlierSession)
{
  BeginSessions();
  for (int i = 0; i < 2; ++i) {
    mHandler->HandleSessionStarted(Reading(1));
    mHandler->HandleSessionStopped(Reading(2), 4);
    Restart();
  }
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionToldAgain, StopWithoutStartIsThatOfTheRunningSessionAndKnownWhenToldAgain)
{
  const auto end = Reading(9000000);
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(end, 4);
  mHandler->HandleSessionStopped(end, 4);
  Restart();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(end, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
}

TEST_F(SessionToldAgain, StopWithoutStartToldAgainAfterARestartLeavesTheNextSessionAlone)
{
  const auto end = Reading(9000000);
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(end, 4);
  mHandler->HandleSessionStarted(mSecond);
  Restart();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(end, 4);
  mHandler->HandleSessionStarted(mSecond);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart}));
  EXPECT_EQ(mHandler->GetTransactionKey(), "start2");
  mHandler->HandleSessionStopped(mSecondEnd, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionToldAgain, StopThatSaysOnlyItsEndIsKnownByItWhileTheNextSessionRuns)
{
  const auto end = End({}, "2026-01-15T10:30:00Z", 9000000);
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(end, 4);
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStopped(end, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart}));
  mHandler->HandleSessionStopped(End({}, "2026-01-15T10:45:00Z", 9000000), 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionToldAgain, EverySessionOfAMeterThatIsAwayIsStopped)
{
  BeginSessions();
  for (const auto& end : {ipc::MMeterData(), Reading(5)}) {
    mOcpp->pushes.clear();
    for (int i = 0; i < 2; ++i) {
      mHandler->HandleSessionStarted(ipc::MMeterData());
      mHandler->HandleSessionStopped(end, 4);
    }
    EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
  }
  mHandler->HandleSessionStarted(ipc::MMeterData());
  Restart();
  mHandler->HandleSessionStopped(ipc::MMeterData(), 4);
  EXPECT_EQ(mOcpp->pushes.size(), 6U);
}

TEST_F(SessionToldAgain, SessionWithoutStartThatAKilledProcessStoppedIsNotTakenForTheNextOne)
{
  const auto end = End({}, "2026-01-15T10:30:00Z", 9000000);
  BeginSessions();
  mHandler->HandleSessionStarted(Reading(5000000));
  StopAndDieWhilePushing(end);
  mStorage->Preset({"stop1", kStop, R"({"meterStop":9000,"timestamp":"2026-01-15T10:30:00Z","transactionId":-1})"});
  BeginSessions();
  mHandler->HandleSessionStopped(end, 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop}));
  mHandler->HandleSessionStarted(Reading(9000000));
  mHandler->HandleSessionStopped(Reading(9500000), 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionToldAgain, StopWithoutStartThatAKilledProcessDidNotStoreIsReported)
{
  BeginSessions();
  mOcpp->onPush = {};  // no backoffice takes the start
  mHandler->HandleSessionStarted(mFirst);
  StopAndDieWhilePushing(Reading(9000000));
  Restart();
  mHandler->HandleSessionStopped(Reading(9000000), 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStop}));
}

TEST_F(SessionToldAgain, SessionThatReachesNoBackofficeIsNotTakenForTheOneBeforeIt)
{
  BeginSessions();
  mHandler->HandleSessionStarted(mFirst);
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  mOcpp->onPush = {};
  mHandler->HandleSessionStarted(mSecond);
  Restart();
  mHandler->HandleSessionStopped(mFirstEnd, 4);
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStopped(Reading(9500000), 4);
  Restart();
  mHandler->HandleSessionStarted(mSecond);
  mHandler->HandleSessionStopped(Reading(9500000), 4);
  EXPECT_EQ(Pushed(), (std::vector{kStart, kStop, kStart, kStop}));
}

TEST_F(SessionToldAgain, OnlyTheLatestSessionsAreRemembered)
{
  SSessionRecord record;
  for (int i = 0; i < 40; ++i) {
    record.Close(End(Start(fmt::format("2026-01-15T10:00:{:02}Z", i), i), "2026-01-15T11:00:00Z", i + 1));
  }
  const auto read = SSessionRecord::FromJson(record.ToJson());
  ASSERT_EQ(read.ended.size(), SSessionRecord::kMaxEnded);
  EXPECT_EQ(read.ended.back().start, "2026-01-15T10:00:39Z 39");
  EXPECT_TRUE(read.ended.back().hasMovedMeter);
}

TEST_F(SessionToldAgain, RecordOfAnotherFormGivesWhatCanBeRead)
{
  Json::Value json(Json::objectValue);
  json["Key"] = "start1";
  json["HasEnded"] = "yes";
  json["Ended"] = Json::Value(Json::arrayValue);
  json["Ended"].append(5);
  const auto record = SSessionRecord::FromJson(json);
  EXPECT_EQ(record.key, "start1");
  EXPECT_FALSE(record.hasEnded);
  EXPECT_TRUE(record.ended.empty());
  EXPECT_TRUE(SSessionRecord::FromJson(Json::Value("text")).key.empty());
}
