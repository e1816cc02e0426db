// Both families of sampled values, class by class.

#include "src/components/operation/ocpp16/implementation/sampledvalues.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "src/components/operation/ocpp16/messages/metervalues.h"
#include "src/components/operation/ocpp16/messages/stoptransaction.h"

namespace {

using nlohmann::json;
using Operation::EReadingContext;

constexpr auto kContext = EReadingContext::ESampleClock;

template <typename TBase>
json Written(const TBase& sample)
{
  json written;
  to_json(written, static_cast<const TBase&>(sample));
  return written;
}

// `rest` beside what all have in common.
json Expected(const std::string& measurand, const std::string& value, json rest)
{
  rest["measurand"] = measurand;
  rest["value"] = value;
  rest["format"] = "Raw";
  rest["context"] = "Sample.Clock";
  if (!rest.contains("location")) rest["location"] = "Outlet";
  return rest;
}

template <typename TSampledValue>
class SampledValueFamily : public testing::Test {};

using CFamilies = testing::Types<Ocpp16::MeterValues::sampledValue, Ocpp16::StopTransaction::sampledValue>;
TYPED_TEST_SUITE(SampledValueFamily, CFamilies);

}  // namespace

TYPED_TEST(SampledValueFamily, EveryClassFillsMeasurandPhaseLocationUnitAndValue)
{
  using TValue = TypeParam;
  const auto written = [](const TValue& sample) { return Written<TValue>(sample); };
  EXPECT_EQ(written(Operation::CSampledCurrentImport<TValue>(kContext, 16001, 0)),
            Expected("Current.Import", "16.001", {{"phase", "L1"}, {"unit", "A"}}));
  EXPECT_EQ(written(Operation::CSampledPowerActiveImport<TValue>(kContext, -5, 1)),
            Expected("Power.Active.Import", "-5", {{"phase", "L2"}, {"unit", "W"}}));
  EXPECT_EQ(written(Operation::CSampledPowerActiveImport<TValue>(kContext, int64_t{1} << 33, std::nullopt)),
            Expected("Power.Active.Import", "8589934592", {{"unit", "W"}}));
  EXPECT_EQ(written(Operation::CSampledPowerFactor<TValue>(kContext, 0.5F, 2)),
            Expected("Power.Factor", "0.500", {{"phase", "L3"}}));
  EXPECT_EQ(written(Operation::CSampledPowerOffered<TValue>(kContext, 3680.0F, 2)),
            Expected("Power.Offered", "3680.000", {{"phase", "L3"}, {"unit", "W"}}));
  EXPECT_EQ(written(Operation::CSampledPowerOffered<TValue>(kContext, 7.25F, std::nullopt)),
            Expected("Power.Offered", "7.250", {{"unit", "W"}}));
  EXPECT_EQ(written(Operation::CSampledVoltage<TValue>(kContext, 230050, 0)),
            Expected("Voltage", "230.050", {{"phase", "L1"}, {"unit", "V"}}));
  EXPECT_EQ(written(Operation::CSampledCurrentOffered<TValue>(kContext, 16.0F)),
            Expected("Current.Offered", "16.000", {{"unit", "A"}}));
  EXPECT_EQ(written(Operation::CSampledEnergyActiveImportRegister<TValue>(kContext, int64_t{1} << 40)),
            Expected("Energy.Active.Import.Register", "1099511627776", {{"unit", "Wh"}}));
  EXPECT_EQ(written(Operation::CSampledFrequency<TValue>(kContext, 49.5F)), Expected("Frequency", "49.500", {}));
}

TEST(SampledValueFamilies, OnlyMeterValuesHasTemperatureAndIntervalEnergy)
{
  using TValue = Ocpp16::MeterValues::sampledValue;
  EXPECT_EQ(Written<TValue>(Operation::MeterValues::CSampledTemperature(kContext, 41.25F)),
            Expected("Temperature", "41.250", {{"location", "Body"}, {"unit", "Celsius"}}));
  EXPECT_EQ(Written<TValue>(Operation::MeterValues::CSampledEnergyActiveImportInterval(kContext, 70)),
            Expected("Energy.Active.Import.Interval", "70", {{"unit", "Wh"}}));
}

TEST(SampledValueFamilies, NumberOfWhDiffersByTheSecondCelsius)
{
  EXPECT_EQ(static_cast<int>(Ocpp16::MeterValues::EUnitOfMeasure::EWh), 16);
  EXPECT_EQ(static_cast<int>(Ocpp16::StopTransaction::EUnitOfMeasure::EWh), 15);
}
