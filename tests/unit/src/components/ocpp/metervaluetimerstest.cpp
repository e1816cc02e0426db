#include "src/components/metervaluetimers.h"

#include <atomic>
#include <future>
#include <thread>

#include "platform/clock/timetext.h"
#include "tests/unit/src/components/ocpp/ocppfixture.h"

namespace {

using namespace std::chrono_literals;

TEST(ClockAlignedDelay, LiesOnMultiplesOfTheIntervalFromMidnight)
{
  EXPECT_EQ(ClockAlignedDelay(10h + 20min, 3600s), 2400s);
  EXPECT_EQ(ClockAlignedDelay(7min + 30s, 900s), 450s);
  EXPECT_EQ(ClockAlignedDelay(0s, 900s), 900s);
}

TEST(ClockAlignedDelay, EndsAtMidnightWhenTheIntervalDoesNotFitAnyMore)
{
  EXPECT_EQ(ClockAlignedDelay(23h + 50min, 7000s), 600s);
  // 84000 s is the last multiple of 7000 in a day.
  EXPECT_EQ(ClockAlignedDelay(77000s, 7000s), 7000s);
  EXPECT_EQ(ClockAlignedDelay(84000s, 7000s), 2400s);
}

TEST(ClockAlignedDelay, CountsFractionsSoThatTheReadingIsOnTheBoundary)
{
  EXPECT_EQ(ClockAlignedDelay(59s + 250ms, 60s), 750ms);
}

class CMeterValueTimersTest : public COcppFixture {};

TEST_F(CMeterValueTimersTest, SessionIsSampledAtOnceAndAtItsInterval)
{
  const auto primary = AddAccepted(kPrimary);
  const auto auxiliary = AddAccepted(kAuxiliary);
  mOcpp->ScheduleOcppSessionMeterValues(1);
  mClock.AdvanceBy(180s);
  const auto operations = primary->TakeOperations();
  ASSERT_EQ(operations.size(), 4U);
  EXPECT_EQ(GetIntParameter(ParametersOf(operations[0]), EOperationParameter::EConnectorId), 1);
  EXPECT_FALSE(GetIntParameter(ParametersOf(operations[0]), EOperationParameter::EReadingContext));
  EXPECT_TRUE(auxiliary->TakeActions().empty());
  EXPECT_EQ(mMeter->sampleBaselines, std::vector<int64_t>{5000});
  mOcpp->CancelOcppSessionMeterValues(1);
  mClock.AdvanceBy(10min);
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(CMeterValueTimersTest, SampleBeingTakenWhenTheSessionEndsIsPushedBeforeTheCancellationReturns)
{
  const auto primary = AddAccepted(kPrimary);
  std::promise<void> begun;
  std::promise<void> goOn;
  mFactory->prepareFailure = [&] {
    begun.set_value();
    goOn.get_future().wait();
  };
  mOcpp->ScheduleOcppSessionMeterValues(1);
  begun.get_future().wait();
  std::atomic<bool> isCancelling{false};
  std::vector<std::string> pushed;
  std::thread session([&] {
    isCancelling = true;
    mOcpp->CancelOcppSessionMeterValues(1);
    pushed = primary->TakeActions();
  });
  while (!isCancelling) std::this_thread::yield();
  goOn.set_value();
  session.join();
  EXPECT_EQ(pushed, CActions{"MeterValues"});
}

TEST_F(CMeterValueTimersTest, WithoutAPrimaryNothingIsSampled)
{
  const auto auxiliary = AddAccepted(kAuxiliary);
  mOcpp->ScheduleOcppSessionMeterValues(1);
  mClock.AdvanceBy(180s);
  EXPECT_TRUE(auxiliary->TakeActions().empty());
  EXPECT_TRUE(mMeter->sampleBaselines.empty());
}

TEST_F(CMeterValueTimersTest, UnreachableMeterSchedulesNoSamplesForTheSession)
{
  const auto primary = AddAccepted(kPrimary);
  mMeter->unreachable = true;
  mOcpp->ScheduleOcppSessionMeterValues(1);
  mMeter->unreachable = false;
  mClock.AdvanceBy(10min);
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "Cannot communicate with Meter, no MeterValue is scheduled, error: meter is away"),
            1U);
}

TEST_F(CMeterValueTimersTest, IntervalZeroAtTheStartIsTakenUpWhenItChanges)
{
  const auto primary = AddAccepted(kPrimary);
  mConfig->SetInt("MeterValueSampleInterval", 0);
  mOcpp->ScheduleOcppSessionMeterValues(1);
  mClock.AdvanceBy(30s);
  EXPECT_TRUE(primary->TakeActions().empty());
  mConfig->SetInt("MeterValueSampleInterval", 60);
  mClock.AdvanceBy(29s);
  EXPECT_TRUE(primary->TakeActions().empty());
  mClock.AdvanceBy(61s);
  EXPECT_EQ(primary->TakeActions(), CActions(2, "MeterValues"));
}

TEST_F(CMeterValueTimersTest, ChangedIntervalCountsFromTheLastSample)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->ScheduleOcppSessionMeterValues(1);
  mClock.AdvanceBy(90s);  // samples at 0 and 60
  primary->TakeActions();
  mConfig->SetInt("MeterValueSampleInterval", 100);
  mClock.AdvanceBy(69s);
  EXPECT_TRUE(primary->TakeActions().empty());
  mClock.AdvanceBy(1s);  // 160
  EXPECT_EQ(primary->TakeActions(), CActions{"MeterValues"});
  mConfig->SetInt("MeterValueSampleInterval", 10);
  mClock.AdvanceBy(30s);
  EXPECT_EQ(primary->TakeActions(), CActions(3, "MeterValues"));
}

TEST_F(CMeterValueTimersTest, ShorterIntervalThatHasPassedAlreadySamplesAtOnce)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->ScheduleOcppSessionMeterValues(1);
  mClock.AdvanceBy(50s);
  primary->TakeActions();
  mConfig->SetInt("MeterValueSampleInterval", 20);
  mClock.WaitIdle();
  EXPECT_EQ(primary->TakeActions(), CActions{"MeterValues"});
}

TEST_F(CMeterValueTimersTest, ChangedIntervalOutsideASessionStartsNothing)
{
  const auto primary = AddAccepted(kPrimary);
  mConfig->SetInt("MeterValueSampleInterval", 10);
  mClock.AdvanceBy(1min);
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(CMeterValueTimersTest, ClockAlignedReadingsLieOnTheBoundaryAndOverMidnight)
{
  const auto primary = AddAccepted(kPrimary);
  mClock.SetSystemTime(*ParseTimeText("2026-03-01T23:37:30Z"));
  mOcpp->StartClockAlignedMeterValue(kPrimary);
  EXPECT_TRUE(mLog.Contains("First clock-aligned meter value will be sent in 450 seconds"));
  EXPECT_EQ(mOcpp->GetClockAlignedScheduledInterval(), 900s);
  EXPECT_EQ(mMeter->clockBaselines, std::vector<int64_t>{5000});
  std::vector<std::string> times;
  for (int second = 0; second < 3600; ++second) {
    mClock.AdvanceBy(1s);
    for (const auto& operation : primary->TakeOperations()) {
      EXPECT_EQ(GetIntParameter(ParametersOf(operation), EOperationParameter::EReadingContext), 3);
      times.push_back(ToTimeText(mClock.SystemNow()));
    }
  }
  EXPECT_EQ(times, (std::vector<std::string>{"2026-03-01T23:45:00Z", "2026-03-02T00:00:00Z", "2026-03-02T00:15:00Z",
                                             "2026-03-02T00:30:00Z"}));
}

TEST_F(CMeterValueTimersTest, IntervalThatDoesNotDivideTheDayStartsAnewAtMidnight)
{
  const auto primary = AddAccepted(kPrimary);
  mConfig->SetInt("ClockAlignedDataInterval", 7000);
  mClock.SetSystemTime(*ParseTimeText("2026-03-01T21:30:00Z"));  // 77400 s
  mOcpp->StartClockAlignedMeterValue(kPrimary);
  std::vector<std::string> times;
  for (int minute = 0; minute < 300; ++minute) {
    mClock.AdvanceBy(1min);
    for (size_t i = 0; i < primary->TakeActions().size(); ++i) times.push_back(ToTimeText(mClock.SystemNow()));
  }
  // 84000 s, midnight, 7000 s; told to the minute in which they fell.
  EXPECT_EQ(times, (std::vector<std::string>{"2026-03-01T23:20:00Z", "2026-03-02T00:00:00Z", "2026-03-02T01:57:00Z"}));
}

TEST_F(CMeterValueTimersTest, ClockAlignedReadingsNeedAnAcceptedPrimary)
{
  const auto primary = Add(kPrimary);
  AddAccepted(kAuxiliary);
  mOcpp->StartClockAlignedMeterValue(kAuxiliary);
  mOcpp->StartClockAlignedMeterValue(kPrimary);
  mClock.AdvanceBy(1h);
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "Not scheduling OCPP clock-aligned MeterValue because the charge point has not yet been "
                       "accepted."),
            1U);
}

TEST_F(CMeterValueTimersTest, ClockAlignedIntervalZeroSchedulesNothing)
{
  const auto primary = AddAccepted(kPrimary);
  mConfig->SetInt("ClockAlignedDataInterval", 0);
  mOcpp->StartClockAlignedMeterValue(kPrimary);
  mClock.AdvanceBy(24h);
  EXPECT_TRUE(primary->TakeActions().empty());
  EXPECT_TRUE(mLog.Contains("ClockAligned MeterValue interval is configured as 0 seconds"));
  EXPECT_TRUE(mLog.Contains("ClockAlignedDataInterval is 0, clock aligned meter value is not scheduled."));
}

TEST_F(CMeterValueTimersTest, ClockAlignedReadingsTurnedOffWhileOneIsTakenEndWithIt)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->StartClockAlignedMeterValue(kPrimary);
  mFactory->prepareFailure = [&] {
    mConfig->SetInt("ClockAlignedDataInterval", 0);
    mOcpp->StartClockAlignedMeterValue(kPrimary);
  };
  mClock.AdvanceBy(24h);
  EXPECT_EQ(primary->TakeActions(), CActions{"MeterValues"});
}

TEST_F(CMeterValueTimersTest, ClockAlignedReadingsNeedTheMeterAtTheirStart)
{
  const auto primary = AddAccepted(kPrimary);
  mMeter->unreachable = true;
  mOcpp->StartClockAlignedMeterValue(kPrimary);
  mClock.AdvanceBy(1h);
  EXPECT_TRUE(primary->TakeActions().empty());
}

}  // namespace
