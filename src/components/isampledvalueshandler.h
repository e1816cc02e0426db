#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/iipc/messages.h"

// One reading of the station's meter and sensors. The lists hold one element per phase (1 or 3).
struct SSampledValues {
  std::string timestamp;           // UTC, moment of reading
  bool hasEnergy = false;          // the register was read; otherwise it is 0
  int64_t energyWh = 0;            // import register
  std::vector<int32_t> currentMa;  // mA
  std::vector<int32_t> voltageMv;  // mV
  std::vector<int32_t> powerW;     // W
  std::vector<float> powerFactor;
  float frequencyHz = 0;
  float currentOfferedA = 0;
  std::vector<float> powerOfferedW;
  float temperatureCelsius = 0;  // highest one reported
  int64_t sessionStartEnergyWh = 0;
  int64_t sessionEndEnergyWh = 0;
  std::string sessionStartTime;  // date-time text, empty when unknown
  std::string sessionEndTime;
};

// Gathers meter readings of one connector and keeps the baselines of the interval energy. Safe from any thread.
class ISampledValuesHandler {
 public:
  virtual ~ISampledValuesHandler() = default;

  // Throws Rpc::CommunicationException when the meter cannot be reached.
  virtual ipc::MMeterData GetMeterData() = 0;
  // What cannot be read is 0, or an empty list, and logged; the timestamp is there in any case.
  virtual SSampledValues GetSampledValues() = 0;
  // Throws Rpc::CommunicationException when the meter cannot be reached.
  virtual ipc::MMeterSessions GetMeterSessions() = 0;
  // Start of the running session as date-time text; empty without one, and when the meter cannot be reached.
  virtual std::string GetOngoingSessionStartTime() = 0;
  // Stores the register (Wh) as the new baseline; gives the difference from the previous one, 0 without one.
  virtual int64_t UpdateSampleIntervalBaseline(int64_t registerWh) = 0;
  virtual int64_t UpdateClockAlignedBaseline(int64_t registerWh) = 0;
  // The highest temperature of the message is the one that counts from here on; one without any changes nothing.
  virtual void UpdateTemperatures(const ipc::MMcuStatus& status) = 0;
};
