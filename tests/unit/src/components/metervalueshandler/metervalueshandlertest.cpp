#include "src/components/metervalueshandler.h"

#include <gtest/gtest.h>

#include "platform/clock/simulatedclock.h"
#include "platform/commutil/communicationexception.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

namespace {

using CIntegers = std::vector<int32_t>;
using CFloats = std::vector<float>;

class SampledValues : public testing::Test {
 protected:
  SampledValues() { mMeter->SetMeterData(Reading()); }

  static ipc::MMeterData Reading()
  {
    ipc::MMeterData data;
    data.set_energy_register(12345678);
    for (const int32_t current : {16000, 15900, 15800}) data.add_current(current);
    for (const int32_t voltage : {230000, 231000, 229000}) data.add_voltage(voltage);
    for (const int32_t power : {3680, 3670, -5}) data.add_power(power);
    for (const float factor : {0.5F, 0.25F, 1.0F}) data.add_power_factor(factor);
    data.set_frequency(49.5F);
    data.set_session_start_energy(1000999);
    data.set_session_end_energy(2000000);
    data.set_session_start_time("2026-01-15T10:00:00Z");
    data.set_session_end_time("2026-01-15T11:00:00Z");
    return data;
  }
  void SetTimes(const std::string& start, const std::string& end)
  {
    ipc::MMeterData data;
    if (!start.empty()) data.set_session_start_time(start);
    if (!end.empty()) data.set_session_end_time(end);
    mMeter->SetMeterData(data);
  }
  void Offer(int32_t currentMa)
  {
    ipc::MCurrentControlLimit limit;
    limit.set_current(currentMa);
    mCurrentControl->SetLimitInForce(limit);
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeMeter> mMeter = std::make_shared<CFakeMeter>();
  std::shared_ptr<CFakeCurrentControl> mCurrentControl = std::make_shared<CFakeCurrentControl>();
  std::shared_ptr<CFakeSafetyMcuComm> mSafetyMcu = std::make_shared<CFakeSafetyMcuComm>();
  CSampledValuesHandler mHandler{mClock, mMeter, mCurrentControl, mSafetyMcu, 3};
  CSampledValuesHandler mOnePhase{mClock, mMeter, mCurrentControl, mSafetyMcu, 1};
};

}  // namespace

TEST_F(SampledValues, SnapshotConvertsWhatTheMeterMeasures)
{
  const auto values = mHandler.GetSampledValues();
  EXPECT_EQ(values.timestamp, "2026-01-15T10:15:00Z");
  EXPECT_TRUE(values.hasEnergy);
  EXPECT_EQ(values.energyWh, 12345);
  EXPECT_EQ(values.currentMa, (CIntegers{16000, 15900, 15800}));
  EXPECT_EQ(values.voltageMv, (CIntegers{230000, 231000, 229000}));
  EXPECT_EQ(values.powerW, (CIntegers{3680, 3670, -5}));
  EXPECT_EQ(values.powerFactor, (CFloats{0.5F, 0.25F, 1.0F}));
  EXPECT_EQ(values.frequencyHz, 49.5F);
  EXPECT_EQ(values.sessionStartEnergyWh, 1000);
  EXPECT_EQ(values.sessionEndEnergyWh, 2000);
  EXPECT_EQ(values.sessionStartTime, "2026-01-15T10:00:00Z");
  EXPECT_EQ(values.sessionEndTime, "2026-01-15T11:00:00Z");
}

TEST_F(SampledValues, OnePhaseStationTakesTheFirstPhase)
{
  Offer(10000);
  const auto values = mOnePhase.GetSampledValues();
  EXPECT_EQ(values.currentMa, CIntegers{16000});
  EXPECT_EQ(values.voltageMv, CIntegers{230000});
  EXPECT_EQ(values.powerW, CIntegers{3680});
  EXPECT_EQ(values.powerFactor, CFloats{0.5F});
  EXPECT_EQ(values.powerOfferedW, CFloats{2300.0F});
}

TEST_F(SampledValues, OneMeasuredPhaseOnAThreePhaseStationStaysOne)
{
  ipc::MMeterData data;
  data.add_current(16000);
  mMeter->SetMeterData(data);
  const auto values = mHandler.GetSampledValues();
  EXPECT_EQ(values.currentMa, CIntegers{16000});
  EXPECT_TRUE(values.voltageMv.empty());
}

TEST_F(SampledValues, OfferIsTheLimitInForceAndItsPowerByEachVoltage)
{
  Offer(16000);
  const auto values = mHandler.GetSampledValues();
  EXPECT_EQ(values.currentOfferedA, 16.0F);
  EXPECT_EQ(values.powerOfferedW, (CFloats{3680.0F, 3696.0F, 3664.0F}));
}

TEST_F(SampledValues, NoLimitInForceIsAnOfferOfZero)
{
  const auto values = mHandler.GetSampledValues();
  EXPECT_EQ(values.currentOfferedA, 0.0F);
  EXPECT_EQ(values.powerOfferedW, (CFloats{0.0F, 0.0F, 0.0F}));
}

TEST_F(SampledValues, UnreachableMeterGivesZeroesAndEmptyListsWithTheTimeOfReading)
{
  Offer(16000);
  mMeter->SetUnreachable("gone");
  const auto values = mHandler.GetSampledValues();
  EXPECT_EQ(values.timestamp, "2026-01-15T10:15:00Z");
  EXPECT_FALSE(values.hasEnergy);
  EXPECT_EQ(values.energyWh, 0);
  EXPECT_TRUE(values.currentMa.empty());
  EXPECT_TRUE(values.powerOfferedW.empty());
  EXPECT_EQ(values.currentOfferedA, 16.0F);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with Meter, error: gone"), 1U);
}

TEST_F(SampledValues, UnreachableCurrentControlLeavesTheReadingAlone)
{
  mCurrentControl->SetUnreachable("gone");
  const auto values = mHandler.GetSampledValues();
  EXPECT_EQ(values.energyWh, 12345);
  EXPECT_EQ(values.currentOfferedA, 0.0F);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with CurrentControl, error: gone"), 1U);
}

TEST_F(SampledValues, MeterWithoutRegisterGivesZeroAndSaysSo)
{
  mMeter->SetMeterData(ipc::MMeterData());
  const auto values = mHandler.GetSampledValues();
  EXPECT_FALSE(values.hasEnergy);
  EXPECT_EQ(values.energyWh, 0);
}

TEST_F(SampledValues, HighestTemperatureOfTheMessageCounts)
{
  ipc::MMcuStatus status;
  status.set_relay1_temperature(20.5F);
  status.set_relay2_temperature(41.25F);
  status.set_eld_temperature(-3.0F);
  status.set_mcu_temperature(40.0F);
  mHandler.UpdateTemperatures(status);
  EXPECT_EQ(mHandler.GetSampledValues().temperatureCelsius, 41.25F);
  EXPECT_EQ(mSafetyMcu->CountCalls("GetMcuStatus"), 0U);
}

TEST_F(SampledValues, AbsentTemperaturesDoNotCountAsZero)
{
  ipc::MMcuStatus status;
  status.set_eld_temperature(-7.5F);
  mHandler.UpdateTemperatures(status);
  EXPECT_EQ(mHandler.GetSampledValues().temperatureCelsius, -7.5F);
}

TEST_F(SampledValues, MessageWithoutTemperaturesKeepsTheLastOneAndALowerOneReplacesIt)
{
  ipc::MMcuStatus status;
  status.set_relay1_temperature(60.0F);
  mHandler.UpdateTemperatures(status);
  mHandler.UpdateTemperatures(ipc::MMcuStatus());
  EXPECT_EQ(mHandler.GetSampledValues().temperatureCelsius, 60.0F);
  status.set_relay1_temperature(30.0F);
  mHandler.UpdateTemperatures(status);
  EXPECT_EQ(mHandler.GetSampledValues().temperatureCelsius, 30.0F);
}

TEST_F(SampledValues, TemperatureThatWasNeverToldIsAskedForOnce)
{
  ipc::MMcuStatus status;
  status.set_mcu_temperature(33.0F);
  mSafetyMcu->SetMcuStatus(status);
  EXPECT_EQ(mHandler.GetSampledValues().temperatureCelsius, 33.0F);
  EXPECT_EQ(mHandler.GetSampledValues().temperatureCelsius, 33.0F);
  EXPECT_EQ(mSafetyMcu->CountCalls("GetMcuStatus"), 1U);
}

TEST_F(SampledValues, UnreachableSafetyControllerIsATemperatureOfZero)
{
  mSafetyMcu->SetUnreachable("gone");
  EXPECT_EQ(mHandler.GetSampledValues().temperatureCelsius, 0.0F);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with SafetyMcuComm, error: gone"), 1U);
}

TEST_F(SampledValues, MeterRequestsArePassedOnWithTheirFailures)
{
  ipc::MMeterSessions sessions;
  sessions.set_meter_version("2.0");
  mMeter->SetMeterSessions(sessions);
  EXPECT_EQ(mHandler.GetMeterData().energy_register(), 12345678);
  EXPECT_EQ(mHandler.GetMeterSessions().meter_version(), "2.0");
  mMeter->SetUnreachable("gone");
  EXPECT_THROW(mHandler.GetMeterData(), Rpc::CommunicationException);
  EXPECT_THROW(mHandler.GetMeterSessions(), Rpc::CommunicationException);
}

TEST_F(SampledValues, SessionRunsFromItsStartUntilAnEndThatIsNotBeforeIt)
{
  const std::string early = "2026-01-15T09:00:00Z";
  const std::string late = "2026-01-15T10:00:00Z";
  struct SRow {
    std::string start;
    std::string end;
    std::string ongoing;
  };
  const SRow rows[] = {
      {"", "", ""},
      {late, "", late},
      {late, early, late},
      {early, late, ""},
      {late, late, ""},
      {"", late, ""},
      {"yesterday", late, ""},
      {late, "yesterday", ""},
      {late, "2026-01-15T10:30:00+01:00", late},
  };
  for (const auto& row : rows) {
    SetTimes(row.start, row.end);
    EXPECT_EQ(mHandler.GetOngoingSessionStartTime(), row.ongoing) << row.start << " " << row.end;
  }
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "meterData.sessionstarttime: " + early + ", meterData.sessionendtime: " + late),
            1U);
}

TEST_F(SampledValues, UnreachableMeterMeansNoOngoingSession)
{
  mMeter->SetUnreachable("gone");
  EXPECT_EQ(mHandler.GetOngoingSessionStartTime(), "");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with Meter, error: gone"), 1U);
}

TEST_F(SampledValues, BaselinesGiveTheDifferenceAndAreIndependent)
{
  EXPECT_EQ(mHandler.UpdateSampleIntervalBaseline(100), 0);
  EXPECT_EQ(mHandler.UpdateClockAlignedBaseline(150), 0);
  EXPECT_EQ(mHandler.UpdateSampleIntervalBaseline(170), 70);
  EXPECT_EQ(mHandler.UpdateClockAlignedBaseline(180), 30);
  EXPECT_EQ(mHandler.UpdateSampleIntervalBaseline(170), 0);
}
