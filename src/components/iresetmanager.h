#pragma once

#include <chrono>
#include <cstdint>

// Decides when a Reset really reaches the board control process.
class IResetManager {
 public:
  virtual ~IResetManager() = default;

  virtual void QueueReset(bool isHard, uint32_t retryLimit) = 0;
  // Marks the connector's transaction as one that a reset has to wait for.
  virtual void RegisterTransaction(uint32_t connectorId) = 0;
  virtual void ClearTransaction(uint32_t connectorId) = 0;
  // True if a reset was started.
  virtual bool TryReset() = 0;
  virtual void ScheduleHardReboot(std::chrono::seconds delay) = 0;
};
