#include "src/components/operation/ocpp16/implementation/metervaluesoperation.h"

#include "tests/unit/src/components/operation/ocpp16/implementation/transactionfixture.h"

namespace {

using EKey = EOperationParameter;
using nlohmann::json;

constexpr int64_t kClock = 3;
constexpr int64_t kPeriodic = 4;
constexpr int64_t kTrigger = 7;

const std::string kAllMeasurands =
    "Voltage,Temperature,Power.Offered,Power.Factor,Power.Active.Import,Frequency,Energy.Active.Import.Register,"
    "Energy.Active.Import.Interval,Current.Offered,Current.Import";

class MeterValues : public CTransactionTest {
 protected:
  MeterValues()
  {
    ipc::MMeterData data;
    data.set_energy_register(12345678);
    for (const int32_t current : {16000, 15900, 15800}) data.add_current(current);
    for (const int32_t voltage : {230000, 231000, 229000}) data.add_voltage(voltage);
    for (const int32_t power : {3680, 3670, 3600}) data.add_power(power);
    for (const float factor : {1.0F, 0.5F, 0.25F}) data.add_power_factor(factor);
    data.set_frequency(50.0F);
    mReading = data;
    mMeter->SetMeterData(data);
    ipc::MCurrentControlLimit limit;
    limit.set_current(16000);
    mCurrentControl->SetLimitInForce(limit);
    ipc::MMcuStatus status;
    status.set_mcu_temperature(41.5F);
    mMeterValues->UpdateTemperatures(status);
  }

  static COperationParameters Parameters(int64_t context = kPeriodic)
  {
    return {{EKey::EConnectorId, int64_t{1}}, {EKey::EReadingContext, context}};
  }
  CMeterValuesOutCall Sampled(const COperationParameters& parameters = Parameters())
  {
    return Make<CMeterValuesOutCall>(parameters);
  }
  json Payload(const COperationParameters& parameters = Parameters())
  {
    return Checked("MeterValues.req", Sampled(parameters).GetPayload());
  }
  // Each sample as "measurand phase location unit value", with "-" for what it lacks.
  static std::vector<std::string> Lines(const json& payload)
  {
    std::vector<std::string> lines;
    for (const auto& sample : payload.at("meterValue").at(0).at("sampledValue")) {
      EXPECT_EQ(sample.at("format"), "Raw");
      std::string line;
      for (const char* member : {"measurand", "phase", "location", "unit", "value"}) {
        line += (line.empty() ? "" : " ") + sample.value(member, "-");
      }
      lines.push_back(line);
    }
    return lines;
  }
  void AdvanceRegister(int64_t milliWh)
  {
    mReading.set_energy_register(mReading.energy_register() + milliWh);
    mMeter->SetMeterData(mReading);
  }
  std::string IntervalEnergy(int64_t context)
  {
    return Payload(Parameters(context))["meterValue"][0]["sampledValue"][0]["value"];
  }

  using CLines = std::vector<std::string>;
  ipc::MMeterData mReading;
};

}  // namespace

TEST_F(MeterValues, EmptyListOfMeasurandsIsTheRegisterAlone)
{
  const auto operation = Sampled();
  EXPECT_EQ(operation.GetPayload(),
            R"({"connectorId":1,"meterValue":[{"sampledValue":[{"context":"Sample.Periodic","format":"Raw",)"
            R"("location":"Outlet","measurand":"Energy.Active.Import.Register","unit":"Wh","value":"12345"}],)"
            R"("timestamp":"2026-01-15T10:15:00Z"}]})");
  EXPECT_EQ(Lines(Payload(Parameters(kClock))), CLines{"Energy.Active.Import.Register - Outlet Wh 12345"});
}

TEST_F(MeterValues, AllMeasurandsOnThreePhasesComeInTheirFixedOrder)
{
  mConfig->SetString("MeterValuesSampledData", kAllMeasurands);
  mMeterValues->UpdateSampleIntervalBaseline(12000);
  EXPECT_EQ(Lines(Payload()),
            (CLines{
                "Current.Import L1 Outlet A 16.000",    "Current.Import L2 Outlet A 15.900",
                "Current.Import L3 Outlet A 15.800",    "Power.Active.Import L1 Outlet W 3680",
                "Power.Active.Import L2 Outlet W 3670", "Power.Active.Import L3 Outlet W 3600",
                "Power.Active.Import - Outlet W 10950", "Power.Factor L1 Outlet - 1.000",
                "Power.Factor L2 Outlet - 0.500",       "Power.Factor L3 Outlet - 0.250",
                "Power.Offered L1 Outlet W 3680.000",   "Power.Offered L2 Outlet W 3696.000",
                "Power.Offered L3 Outlet W 3664.000",   "Power.Offered - Outlet W 11040.000",
                "Voltage L1 Outlet V 230.000",          "Voltage L2 Outlet V 231.000",
                "Voltage L3 Outlet V 229.000",          "Temperature - Body Celsius 41.500",
                "Current.Offered - Outlet A 16.000",    "Energy.Active.Import.Register - Outlet Wh 12345",
                "Frequency - Outlet - 50.000",          "Energy.Active.Import.Interval - Outlet Wh 345",
            }));
}

TEST_F(MeterValues, AllMeasurandsOnOnePhaseComeInTheirFixedOrder)
{
  mConfig->SetString("MeterValuesAlignedData", kAllMeasurands);
  mConfig->SetInt("HwOneOrThreePhase", 1);
  mMeterValues->UpdateClockAlignedBaseline(12300);
  EXPECT_EQ(Lines(Payload(Parameters(kClock))), (CLines{
                                                    "Current.Import L1 Outlet A 16.000",
                                                    "Power.Active.Import L1 Outlet W 3680",
                                                    "Power.Active.Import - Outlet W 3680",
                                                    "Power.Factor L1 Outlet - 1.000",
                                                    "Power.Offered L1 Outlet W 3680.000",
                                                    "Power.Offered - Outlet W 3680.000",
                                                    "Voltage L1 Outlet V 230.000",
                                                    "Temperature - Body Celsius 41.500",
                                                    "Current.Offered - Outlet A 16.000",
                                                    "Energy.Active.Import.Register - Outlet Wh 12345",
                                                    "Frequency - Outlet - 50.000",
                                                    "Energy.Active.Import.Interval - Outlet Wh 45",
                                                }));
}

TEST_F(MeterValues, AlignedVoltageOnThreePhasesIsThreeSamples)
{
  mConfig->SetString("MeterValuesAlignedData", "Voltage");
  EXPECT_EQ(Lines(Payload(Parameters(kClock))),
            (CLines{"Voltage L1 Outlet V 230.000", "Voltage L2 Outlet V 231.000", "Voltage L3 Outlet V 229.000"}));
}

TEST_F(MeterValues, SumOfThePowerStandsBehindThePhasesAndHasNone)
{
  mConfig->SetString("MeterValuesSampledData", "Power.Active.Import");
  const auto samples = Payload()["meterValue"][0]["sampledValue"];
  ASSERT_EQ(samples.size(), 4U);
  EXPECT_EQ(samples[2]["phase"], "L3");
  EXPECT_FALSE(samples[3].contains("phase"));
  EXPECT_EQ(samples[3]["value"], "10950");
}

TEST_F(MeterValues, ListOfTheContextCounts)
{
  mConfig->SetString("MeterValuesSampledData", "Frequency");
  mConfig->SetString("MeterValuesAlignedData", "Temperature");
  EXPECT_EQ(Lines(Payload(Parameters(kPeriodic))), CLines{"Frequency - Outlet - 50.000"});
  EXPECT_EQ(Lines(Payload(Parameters(kTrigger))), CLines{"Frequency - Outlet - 50.000"});
  EXPECT_EQ(Lines(Payload(Parameters(kClock))), CLines{"Temperature - Body Celsius 41.500"});
}

TEST_F(MeterValues, ContextStandsInEverySample)
{
  const std::pair<int64_t, std::string> rows[] = {
      {kClock, "Sample.Clock"}, {kPeriodic, "Sample.Periodic"}, {kTrigger, "Trigger"}};
  for (const auto& [number, text] : rows) {
    EXPECT_EQ(Payload(Parameters(number))["meterValue"][0]["sampledValue"][0]["context"], text);
  }
}

TEST_F(MeterValues, MissingContextIsSamplePeriodic)
{
  const auto payload = Payload({{EKey::EConnectorId, int64_t{1}}});
  EXPECT_EQ(payload["meterValue"][0]["sampledValue"][0]["context"], "Sample.Periodic");
  EXPECT_EQ(mLog.Count("Operation called without context arguments: Using SamplePeriodic as default."), 1U);
}

TEST_F(MeterValues, MissingAndUnsupportedConnectorsBecomeOne)
{
  EXPECT_EQ(Payload({})["connectorId"], 1);
  EXPECT_EQ(Payload({{EKey::EConnectorId, int64_t{0}}})["connectorId"], 1);
  EXPECT_EQ(Payload({{EKey::EConnectorId, int64_t{2}}})["connectorId"], 1);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "Operation called without connectorId or with unsupported connectorId arguments: Using "
                       "connectorId = 1 as fallback."),
            3U);
}

TEST_F(MeterValues, OutsideASessionThereIsNoTransactionId) { EXPECT_FALSE(Payload().contains("transactionId")); }

TEST_F(MeterValues, ValueOfARunningTransactionNamesIt)
{
  mSession->BeginTransaction("start");
  mSession->SettleTransaction("start", 42);
  EXPECT_EQ(Payload()["transactionId"], 42);
}

TEST_F(MeterValues, ValueBetweenStartAndItsConfirmationGetsTheIdLater)
{
  mSession->SettleTransaction("earlier", 41);
  mSession->BeginTransaction("start");
  auto operation = Sampled();
  EXPECT_FALSE(json::parse(operation.GetPayload()).contains("transactionId"));
  operation.UpdateTransactionId(41);
  EXPECT_FALSE(json::parse(operation.GetPayload()).contains("transactionId"));
  mSession->SettleTransaction("start", 42);
  operation.UpdateTransactionId(42);
  EXPECT_EQ(Checked("MeterValues.req", operation.GetPayload())["transactionId"], 42);
}

TEST_F(MeterValues, IdInThePayloadStaysWhenTheConnectorHasNoneAnyMore)
{
  mSession->BeginTransaction("start");
  mSession->SettleTransaction("start", 42);
  auto operation = Sampled();
  mSession->ClearTransactionId();
  operation.UpdateTransactionId(-1);
  EXPECT_EQ(json::parse(operation.GetPayload())["transactionId"], 42);
}

TEST_F(MeterValues, ValueAfterTheEndOfTheSessionIsOutsideOfItThoughItsStopWaits)
{
  mSession->BeginTransaction("start");
  mSession->SettleTransaction("start", 42);
  mSession->HandleSessionStopped(SessionReading(), 4);
  auto operation = Sampled();
  EXPECT_FALSE(json::parse(operation.GetPayload()).contains("transactionId"));
  operation.UpdateTransactionId(42);
  EXPECT_FALSE(json::parse(operation.GetPayload()).contains("transactionId"));
}

TEST_F(MeterValues, IntervalEnergiesOfClockAndSessionAreIndependent)
{
  mConfig->SetString("MeterValuesSampledData", "Energy.Active.Import.Interval");
  mConfig->SetString("MeterValuesAlignedData", "Energy.Active.Import.Interval");
  mMeterValues->UpdateSampleIntervalBaseline(12345);
  mMeterValues->UpdateClockAlignedBaseline(12345);
  AdvanceRegister(100000);
  EXPECT_EQ(IntervalEnergy(kPeriodic), "100");
  AdvanceRegister(20000);
  EXPECT_EQ(IntervalEnergy(kPeriodic), "20");
  EXPECT_EQ(IntervalEnergy(kClock), "120");
  EXPECT_EQ(IntervalEnergy(kTrigger), "0");
}

TEST_F(MeterValues, BaselineMovesOnlyWhereTheIntervalIsAskedFor)
{
  mMeterValues->UpdateSampleIntervalBaseline(12345);
  AdvanceRegister(100000);
  Sampled();
  mConfig->SetString("MeterValuesSampledData", "Energy.Active.Import.Interval");
  EXPECT_EQ(IntervalEnergy(kPeriodic), "100");
}

TEST_F(MeterValues, FailedReadingIsZeroesAndKeepsTheBaselineOfTheInterval)
{
  mConfig->SetString("MeterValuesSampledData", kAllMeasurands);
  mMeterValues->UpdateSampleIntervalBaseline(12000);
  mMeter->SetUnreachable("gone");
  EXPECT_EQ(Lines(Payload()), (CLines{
                                  "Power.Active.Import - Outlet W 0",
                                  "Power.Offered - Outlet W 0.000",
                                  "Temperature - Body Celsius 41.500",
                                  "Current.Offered - Outlet A 16.000",
                                  "Energy.Active.Import.Register - Outlet Wh 0",
                                  "Frequency - Outlet - 0.000",
                                  "Energy.Active.Import.Interval - Outlet Wh 0",
                              }));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot communicate with Meter, error: gone"), 1U);
  mMeter->SetReachable();
  mConfig->SetString("MeterValuesSampledData", "Energy.Active.Import.Interval");
  EXPECT_EQ(IntervalEnergy(kPeriodic), "345");
}

TEST_F(MeterValues, UnknownMeasurandsGiveNothing)
{
  mConfig->SetString("MeterValuesSampledData", "SoC,Frequency, Voltage");
  EXPECT_EQ(Lines(Payload()), CLines{"Frequency - Outlet - 50.000"});
}

TEST_F(MeterValues, SamplesOfFifteenMinutesAreStoredAndDenserOnesAreNot)
{
  const auto operation = Sampled();
  mConfig->SetBool("MeterValuePersistentStorageEnable", true);
  mConfig->SetInt("MeterValueSampleInterval", 899);
  EXPECT_FALSE(operation.IsPersistentOp());
  mConfig->SetInt("MeterValueSampleInterval", 900);
  EXPECT_TRUE(operation.IsPersistentOp());
  mConfig->SetBool("MeterValuePersistentStorageEnable", false);
  EXPECT_FALSE(operation.IsPersistentOp());
  EXPECT_TRUE(operation.IsResendRequiredOp());
}

TEST_F(MeterValues, ClockAlignedValuesAreStoredByTheirOwnInterval)
{
  const auto aligned = Sampled(Parameters(kClock));
  const auto triggered = Sampled(Parameters(kTrigger));
  mConfig->SetBool("MeterValuePersistentStorageEnable", true);
  mConfig->SetInt("MeterValueSampleInterval", 60);
  mOcpp->clockAlignedInterval = std::chrono::seconds(899);
  EXPECT_FALSE(aligned.IsPersistentOp());
  mOcpp->clockAlignedInterval = std::chrono::seconds(900);
  EXPECT_TRUE(aligned.IsPersistentOp());
  EXPECT_FALSE(triggered.IsPersistentOp());
}

TEST_F(MeterValues, AnswerNeedsNoAction)
{
  auto operation = Sampled();
  operation.HandleResponse("{}");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "No action is needed to handle meterValuesConf"), 1U);
}

TEST_F(MeterValues, RestoredOneKeepsItsPayloadKnowsItsConnectorAndStaysStored)
{
  const std::string stored =
      R"({"connectorId":1,"meterValue":[{"sampledValue":[{"value":"7"}],"timestamp":"2026-01-15T09:00:00Z"}]})";
  CMeterValuesOutCall operation(&mAccess, "id", SStoredPayload{stored});
  EXPECT_EQ(operation.GetPayload(), stored);
  EXPECT_EQ(operation.GetConnectorIndex(), 0);
  EXPECT_TRUE(operation.IsPersistentOp());
  mSession->SettleTransaction("start", 42);
  operation.UpdateTransactionId(42);
  EXPECT_EQ(Checked("MeterValues.req", operation.GetPayload())["transactionId"], 42);
}

TEST_F(MeterValues, RestoredOneOfAnUnknownTransactionKeepsItsId)
{
  CMeterValuesOutCall operation(
      &mAccess, "id",
      SStoredPayload{
          R"({"connectorId":1,"meterValue":[{"sampledValue":[{"value":"7"}],"timestamp":"2026-01-15T09:00:00Z"}],)"
          R"("transactionId":5})"});
  mSession->SettleTransaction("start", 42);
  operation.UpdateTransactionId(42);
  EXPECT_EQ(Checked("MeterValues.req", operation.GetPayload())["transactionId"], 5);
}

TEST_F(MeterValues, RestoredOneHasTheIdOfItsTransaction)
{
  for (const std::string key : {"", "earlier", "start"}) {
    CMeterValuesOutCall operation(
        &mAccess, "id",
        SStoredPayload{
            R"({"connectorId":1,"meterValue":[{"sampledValue":[{"value":"7"}],"timestamp":"2026-01-15T09:00:00Z"}]})"});
    operation.SetTransactionKey(key);
    EXPECT_EQ(operation.GetTransactionKey(), key);
    mSession->SettleTransaction("start", 42);
    operation.UpdateTransactionId(42);
    EXPECT_EQ(Checked("MeterValues.req", operation.GetPayload()).contains("transactionId"), key == "start") << key;
  }
}

TEST_F(MeterValues, RestoredOneWithAnotherConnectorFallsBackToTheFirst)
{
  CMeterValuesOutCall operation(
      &mAccess, "id",
      SStoredPayload{
          R"({"connectorId":3,"meterValue":[{"sampledValue":[{"value":"7"}],"timestamp":"2026-01-15T09:00:00Z"}]})"});
  EXPECT_EQ(mLog.Count("Recreated MeterValues has invalid connectorId 3. Using connectorId 1 as fallback."), 1U);
  EXPECT_EQ(operation.GetConnectorIndex(), 0);
}
