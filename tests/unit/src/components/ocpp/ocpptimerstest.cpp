#include "tests/unit/src/components/ocpp/ocppfixture.h"

namespace {

using namespace std::chrono_literals;

class COcppTimersTest : public COcppFixture {};

TEST_F(COcppTimersTest, HeartbeatFollowsTheAcceptanceAtOnceAndThenAtItsInterval)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->ScheduleOcppHeartbeat(kPrimary);
  mClock.WaitIdle();
  EXPECT_EQ(primary->TakeActions(), CActions{"Heartbeat"});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "OcppHeartbeat is scheduled in 300 seconds"), 1U);
  mClock.AdvanceBy(900s);
  EXPECT_EQ(primary->TakeActions(), CActions(3, "Heartbeat"));
}

TEST_F(COcppTimersTest, AuxiliaryHasItsOwnInterval)
{
  const auto auxiliary = AddAccepted(kAuxiliary);
  mOcpp->ScheduleOcppHeartbeat(kAuxiliary);
  mClock.AdvanceBy(1200s);
  EXPECT_EQ(auxiliary->TakeActions(), CActions(3, "Heartbeat"));
}

TEST_F(COcppTimersTest, HeartbeatIntervalZeroMeansFourHours)
{
  const auto primary = AddAccepted(kPrimary);
  mConfig->SetInt("HeartbeatInterval", 0);
  mOcpp->ScheduleOcppHeartbeat(kPrimary);
  mClock.AdvanceBy(14399s);
  EXPECT_EQ(primary->TakeActions(), CActions{"Heartbeat"});
  mClock.AdvanceBy(1s);
  EXPECT_EQ(primary->TakeActions(), CActions{"Heartbeat"});
}

TEST_F(COcppTimersTest, NoHeartbeatIsScheduledBeforeAcceptance)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  mOcpp->ScheduleOcppHeartbeat(kPrimary);
  mClock.AdvanceBy(1h);
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "Not scheduling OCPP heartbeat for Cpo Backoffice because the charge point has not yet been "
                       "accepted."),
            1U);
}

TEST_F(COcppTimersTest, HeartbeatThatFallsDueWithoutAcceptanceIsSkippedWithALine)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->ScheduleOcppHeartbeat(kPrimary);
  mClock.WaitIdle();
  primary->TakeActions();
  primary->SetStatus(EOcppStatus::EPending);
  mClock.AdvanceBy(300s);
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_EQ(mLog.Count("Skipping OCPP heartbeat because the charge point Cpo Backoffice has not yet been accepted."),
            1U);
}

TEST_F(COcppTimersTest, CancellingAnIdleHeartbeatWarns)
{
  Add(kPrimary);
  mOcpp->CancelOcppHeartbeat(kPrimary);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Try to kill OcppHeartbeat, but none was running."), 1U);
}

TEST_F(COcppTimersTest, BlockingTimeEndsInABootNotificationWhilePending)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  primary->SetStatus(EOcppStatus::EPending);
  mOcpp->SetOperationBlockingDuration(30s, kPrimary);
  EXPECT_TRUE(primary->GetBlockingTimer().IsSet());
  mClock.AdvanceBy(29s);
  EXPECT_TRUE(primary->TakeActions().empty());
  mClock.AdvanceBy(1s);
  EXPECT_EQ(primary->TakeActions(), CActions{"BootNotification"});
  EXPECT_FALSE(primary->GetBlockingTimer().IsSet());
  EXPECT_TRUE(mLog.Contains("Blocking time expires for Cpo Backoffice."));
}

TEST_F(COcppTimersTest, BlockingTimeZeroMeansFifteenMinutes)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  primary->SetStatus(EOcppStatus::ERejected);
  mOcpp->SetOperationBlockingDuration(0s, kPrimary);
  mClock.AdvanceBy(899s);
  EXPECT_TRUE(primary->TakeActions().empty());
  mClock.AdvanceBy(1s);
  EXPECT_EQ(primary->TakeActions(), CActions{"BootNotification"});
}

TEST_F(COcppTimersTest, NewBlockingTimeReplacesTheRunningOneWithAWarning)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  primary->SetStatus(EOcppStatus::EPending);
  mOcpp->SetOperationBlockingDuration(30s, kPrimary);
  mOcpp->SetOperationBlockingDuration(60s, kPrimary);
  mClock.AdvanceBy(59s);
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "BlockingTimer is already scheduled. Override with new duration"), 1U);
}

TEST_F(COcppTimersTest, BlockingTimeThatEndsAfterAcceptanceSendsNothing)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->SetOperationBlockingDuration(30s, kPrimary);
  mClock.AdvanceBy(60s);
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(COcppTimersTest, AbsurdIntervalsOfMeterValuesDoNotOverflow)
{
  const auto primary = AddAccepted(kPrimary);
  for (const int64_t interval : {INT64_MAX, INT64_MAX / 1000000000 + 1}) {
    mConfig->SetInt("ClockAlignedDataInterval", interval);
    mOcpp->StartClockAlignedMeterValue(kPrimary);
    mClock.AdvanceBy(24h);
    // Midnight is a reading at any interval.
    EXPECT_EQ(primary->TakeActions(), CActions{"MeterValues"}) << interval;
    mConfig->SetInt("ClockAlignedDataInterval", 0);
    mOcpp->StartClockAlignedMeterValue(kPrimary);

    mConfig->SetInt("MeterValueSampleInterval", 60);
    mOcpp->ScheduleOcppSessionMeterValues(1);
    mClock.AdvanceBy(30s);
    EXPECT_EQ(primary->TakeActions(), CActions{"MeterValues"}) << interval;
    mConfig->SetInt("MeterValueSampleInterval", interval);
    mClock.AdvanceBy(24h);
    EXPECT_TRUE(primary->TakeActions().empty()) << interval;
    mOcpp->ScheduleOcppSessionMeterValues(1);
    mClock.AdvanceBy(24h);
    EXPECT_EQ(primary->TakeActions(), CActions{"MeterValues"}) << interval;
    mOcpp->CancelOcppSessionMeterValues(1);
  }
}

TEST_F(COcppTimersTest, AbsurdIntervalsOfABackofficeDoNotOverflow)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->SetOperationBlockingDuration(std::chrono::seconds(INT64_MAX), kPrimary);
  mConfig->SetInt("HeartbeatInterval", INT64_MAX);
  mOcpp->ScheduleOcppHeartbeat(kPrimary);
  mClock.AdvanceBy(24h);
  EXPECT_EQ(primary->TakeActions(), CActions{"Heartbeat"});
}

}  // namespace
