#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "src/components/isampledvalueshandler.h"
#include "src/components/operation/ocpp16/implementation/sampledvalues.h"

namespace Operation::MeterValues {

// Builds the list of sampled values of one MeterValues from one reading. The order of the list is fixed, whatever the
// order of the configured measurands; per-phase values come in the order of the phases.
class CSampleValuesCreator {
 public:
  // Gives the energy since the last value of its kind, in Wh, for the register of the reading.
  using CUpdateBaseline = std::function<int64_t(int64_t registerWh)>;

  // `phases` (1 or 3) bounds how many phases are reported; a reading with fewer reports those that it has.
  CSampleValuesCreator(const SSampledValues& values, EReadingContext context, size_t phases,
                       CUpdateBaseline updateBaseline);

  // `measurands` are names as the configuration lists them; unknown ones give nothing.
  std::vector<sampledValue> Create(const std::vector<std::string>& measurands);

 private:
  void AddCurrentImport();
  void AddPowerActiveImport();
  void AddPowerFactor();
  void AddPowerOffered();
  void AddVoltage();
  void AddTemperature();
  void AddCurrentOffered();
  void AddEnergyRegister();
  void AddFrequency();
  void AddEnergyInterval();

  const SSampledValues& mValues;
  const EReadingContext mContext;
  const size_t mPhases;
  const CUpdateBaseline mUpdateBaseline;
  std::vector<sampledValue> mSamples;
};

}  // namespace Operation::MeterValues
