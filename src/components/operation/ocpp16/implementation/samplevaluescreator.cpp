#include "src/components/operation/ocpp16/implementation/samplevaluescreator.h"

#include <algorithm>
#include <utility>

namespace Operation::MeterValues {

CSampleValuesCreator::CSampleValuesCreator(const SSampledValues& values, EReadingContext context, size_t phases,
                                           CUpdateBaseline updateBaseline)
    : mValues(values),
      mContext(context),
      mPhases(std::min(phases, kPhases.size())),
      mUpdateBaseline(std::move(updateBaseline))
{}

std::vector<sampledValue> CSampleValuesCreator::Create(const std::vector<std::string>& measurands)
{
  struct SRow {
    EMeasurand measurand;
    void (CSampleValuesCreator::*add)();
  };
  static constexpr SRow kRows[] = {
      {EMeasurand::ECurrentImport, &CSampleValuesCreator::AddCurrentImport},
      {EMeasurand::EPowerActiveImport, &CSampleValuesCreator::AddPowerActiveImport},
      {EMeasurand::EPowerFactor, &CSampleValuesCreator::AddPowerFactor},
      {EMeasurand::EPowerOffered, &CSampleValuesCreator::AddPowerOffered},
      {EMeasurand::EVoltage, &CSampleValuesCreator::AddVoltage},
      {EMeasurand::ETemperature, &CSampleValuesCreator::AddTemperature},
      {EMeasurand::ECurrentOffered, &CSampleValuesCreator::AddCurrentOffered},
      {EMeasurand::EEnergyActiveImportRegister, &CSampleValuesCreator::AddEnergyRegister},
      {EMeasurand::EFrequency, &CSampleValuesCreator::AddFrequency},
      {EMeasurand::EEnergyActiveImportInterval, &CSampleValuesCreator::AddEnergyInterval},
  };
  mSamples.clear();
  for (const auto& row : kRows) {
    const bool isWanted = std::find(measurands.begin(), measurands.end(), ToText(row.measurand)) != measurands.end();
    if (isWanted) (this->*row.add)();
  }
  return std::move(mSamples);
}

void CSampleValuesCreator::AddCurrentImport()
{
  const auto& currents = mValues.currentMa;
  for (size_t phase = 0; phase < std::min(mPhases, currents.size()); ++phase) {
    mSamples.push_back(CSampledCurrentImport(mContext, currents[phase], phase));
  }
}

void CSampleValuesCreator::AddPowerActiveImport()
{
  const auto& powers = mValues.powerW;
  int64_t sum = 0;
  for (size_t phase = 0; phase < std::min(mPhases, powers.size()); ++phase) {
    mSamples.push_back(CSampledPowerActiveImport(mContext, powers[phase], phase));
    sum += powers[phase];
  }
  mSamples.push_back(CSampledPowerActiveImport(mContext, sum, std::nullopt));
}

void CSampleValuesCreator::AddPowerFactor()
{
  const auto& factors = mValues.powerFactor;
  for (size_t phase = 0; phase < std::min(mPhases, factors.size()); ++phase) {
    mSamples.push_back(CSampledPowerFactor(mContext, factors[phase], phase));
  }
}

void CSampleValuesCreator::AddPowerOffered()
{
  const auto& powers = mValues.powerOfferedW;
  float sum = 0;
  for (size_t phase = 0; phase < std::min(mPhases, powers.size()); ++phase) {
    mSamples.push_back(CSampledPowerOffered(mContext, powers[phase], phase));
    sum += powers[phase];
  }
  mSamples.push_back(CSampledPowerOffered(mContext, sum, std::nullopt));
}

void CSampleValuesCreator::AddVoltage()
{
  const auto& voltages = mValues.voltageMv;
  for (size_t phase = 0; phase < std::min(mPhases, voltages.size()); ++phase) {
    mSamples.push_back(CSampledVoltage(mContext, voltages[phase], phase));
  }
}

void CSampleValuesCreator::AddTemperature()
{
  mSamples.push_back(CSampledTemperature(mContext, mValues.temperatureCelsius));
}

void CSampleValuesCreator::AddCurrentOffered()
{
  mSamples.push_back(CSampledCurrentOffered(mContext, mValues.currentOfferedA));
}

void CSampleValuesCreator::AddEnergyRegister()
{
  mSamples.push_back(CSampledEnergyActiveImportRegister(mContext, mValues.energyWh));
}

void CSampleValuesCreator::AddFrequency() { mSamples.push_back(CSampledFrequency(mContext, mValues.frequencyHz)); }

// A reading without register leaves the baseline alone: the next interval then holds this one's energy too.
void CSampleValuesCreator::AddEnergyInterval()
{
  const int64_t energyWh = mValues.hasEnergy ? mUpdateBaseline(mValues.energyWh) : 0;
  mSamples.push_back(CSampledEnergyActiveImportInterval(mContext, energyWh));
}

}  // namespace Operation::MeterValues
