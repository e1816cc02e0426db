#include "src/components/metervalueshandler.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/clock/timetext.h"
#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "src/components/energyunits.h"

namespace {

template <typename TList>
auto FirstOf(const TList& list, size_t count)
{
  using TValue = typename TList::value_type;
  const auto end = list.begin() + static_cast<int>(std::min(count, static_cast<size_t>(list.size())));
  return std::vector<TValue>(list.begin(), end);
}

std::optional<float> HighestTemperature(const ipc::MMcuStatus& status)
{
  std::optional<float> highest;
  const auto take = [&](bool isPresent, float value) {
    if (isPresent) highest = std::max(highest.value_or(value), value);
  };
  take(status.has_relay1_temperature(), status.relay1_temperature());
  take(status.has_relay2_temperature(), status.relay2_temperature());
  take(status.has_eld_temperature(), status.eld_temperature());
  take(status.has_mcu_temperature(), status.mcu_temperature());
  return highest;
}

}  // namespace

CSampledValuesHandler::CSampledValuesHandler(IClock& clock, std::shared_ptr<IMeter> meter,
                                             std::shared_ptr<ICurrentControl> currentControl,
                                             std::shared_ptr<ISafetyMcuComm> safetyMcu, size_t phases)
    : mClock(clock),
      mMeter(std::move(meter)),
      mCurrentControl(std::move(currentControl)),
      mSafetyMcu(std::move(safetyMcu)),
      mPhases(phases)
{}

ipc::MMeterData CSampledValuesHandler::GetMeterData()
{
  LOG_ENTRY("CSampledValuesHandler");
  return mMeter->GetMeterData();
}

ipc::MMeterSessions CSampledValuesHandler::GetMeterSessions()
{
  LOG_ENTRY("CSampledValuesHandler");
  return mMeter->GetMeterSessions();
}

SSampledValues CSampledValuesHandler::GetSampledValues()
{
  LOG_ENTRY("CSampledValuesHandler");
  SSampledValues values;
  values.timestamp = ToTimeText(mClock.SystemNow());
  TakeMeterData(values);
  TakeOffer(values);
  values.temperatureCelsius = GetTemperature();
  return values;
}

void CSampledValuesHandler::TakeMeterData(SSampledValues& values)
{
  ipc::MMeterData data;
  try {
    data = mMeter->GetMeterData();
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Meter, error: {}", error.what());
    return;
  }
  values.hasEnergy = data.has_energy_register();
  values.energyWh = data.energy_register() / kMilliWhPerWh;
  values.currentMa = FirstOf(data.current(), mPhases);
  values.voltageMv = FirstOf(data.voltage(), mPhases);
  values.powerW = FirstOf(data.power(), mPhases);
  values.powerFactor = FirstOf(data.power_factor(), mPhases);
  values.frequencyHz = data.frequency();
  values.sessionStartEnergyWh = data.session_start_energy() / kMilliWhPerWh;
  values.sessionEndEnergyWh = data.session_end_energy() / kMilliWhPerWh;
  values.sessionStartTime = data.session_start_time();
  values.sessionEndTime = data.session_end_time();
}

// What is offered follows from the limit in force and, as power, from each phase's voltage.
void CSampledValuesHandler::TakeOffer(SSampledValues& values)
{
  try {
    values.currentOfferedA = static_cast<float>(mCurrentControl->GetLimit().current()) / 1000.0F;
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with CurrentControl, error: {}", error.what());
  }
  for (const int32_t voltageMv : values.voltageMv) {
    values.powerOfferedW.push_back(values.currentOfferedA * static_cast<float>(voltageMv) / 1000.0F);
  }
}

// Until the safety controller has told a temperature it is asked for one.
float CSampledValuesHandler::GetTemperature()
{
  {
    CLock lock(mMutex);
    if (mTemperature) return *mTemperature;
  }
  try {
    UpdateTemperatures(mSafetyMcu->GetMcuStatus());
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with SafetyMcuComm, error: {}", error.what());
  }
  CLock lock(mMutex);
  return mTemperature.value_or(0.0F);
}

std::string CSampledValuesHandler::GetOngoingSessionStartTime()
{
  LOG_ENTRY("CSampledValuesHandler");
  ipc::MMeterData data;
  try {
    data = mMeter->GetMeterData();
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Meter, error: {}", error.what());
    return {};
  }
  const std::string& start = data.session_start_time();
  const std::string& end = data.session_end_time();
  LOG_DEBUG("meterData.sessionstarttime: {}, meterData.sessionendtime: {}", start, end);
  if (start.empty() || end.empty()) return start;
  const auto startTime = ParseTimeText(start);
  const auto endTime = ParseTimeText(end);
  return startTime && endTime && *endTime < *startTime ? start : std::string();
}

int64_t CSampledValuesHandler::UpdateSampleIntervalBaseline(int64_t registerWh)
{
  LOG_ENTRY("CSampledValuesHandler");
  CLock lock(mMutex);
  return registerWh - std::exchange(mSampleIntervalBaseline, registerWh).value_or(registerWh);
}

int64_t CSampledValuesHandler::UpdateClockAlignedBaseline(int64_t registerWh)
{
  LOG_ENTRY("CSampledValuesHandler");
  CLock lock(mMutex);
  return registerWh - std::exchange(mClockAlignedBaseline, registerWh).value_or(registerWh);
}

void CSampledValuesHandler::UpdateTemperatures(const ipc::MMcuStatus& status)
{
  LOG_ENTRY("CSampledValuesHandler");
  const auto highest = HighestTemperature(status);
  if (!highest) return;
  CLock lock(mMutex);
  mTemperature = highest;
}
