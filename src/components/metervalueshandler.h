#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/clock/clock.h"
#include "platform/clock/mutex.h"
#include "platform/iipc/icurrentcontrol.h"
#include "platform/iipc/imeter.h"
#include "platform/iipc/isafetymcucomm.h"
#include "src/components/isampledvalueshandler.h"

// See ISampledValuesHandler. Asks the siblings anew for each reading; only the temperature is remembered, since the
// safety controller tells it by itself.
class CSampledValuesHandler : public ISampledValuesHandler {
 public:
  // `phases`: 1 or 3, how many phases of the meter count.
  CSampledValuesHandler(IClock& clock, std::shared_ptr<IMeter> meter, std::shared_ptr<ICurrentControl> currentControl,
                        std::shared_ptr<ISafetyMcuComm> safetyMcu, size_t phases);

  ipc::MMeterData GetMeterData() override;
  SSampledValues GetSampledValues() override;
  ipc::MMeterSessions GetMeterSessions() override;
  std::string GetOngoingSessionStartTime() override;
  int64_t UpdateSampleIntervalBaseline(int64_t registerWh) override;
  int64_t UpdateClockAlignedBaseline(int64_t registerWh) override;
  void UpdateTemperatures(const ipc::MMcuStatus& status) override;

 private:
  void TakeMeterData(SSampledValues& values);
  void TakeOffer(SSampledValues& values);
  float GetTemperature();

  // Constant after construction.
  IClock& mClock;
  const std::shared_ptr<IMeter> mMeter;
  const std::shared_ptr<ICurrentControl> mCurrentControl;
  const std::shared_ptr<ISafetyMcuComm> mSafetyMcu;
  const size_t mPhases;

  CMutex mMutex;
  std::optional<int64_t> mSampleIntervalBaseline GUARDED_BY(mMutex);  // Wh
  std::optional<int64_t> mClockAlignedBaseline GUARDED_BY(mMutex);    // Wh
  std::optional<float> mTemperature GUARDED_BY(mMutex);               // degrees Celsius
};
