#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "platform/worker/timerslot.h"
#include "src/components/backofficeid.h"

class IOcpp;
class ISystemAccessInterface;

// Time until the next clock-aligned reading: `sinceMidnight` is the time of day in UTC, the readings lie on multiples
// of `interval` (above 0) from midnight, and midnight itself is always one. Never 0.
std::chrono::nanoseconds ClockAlignedDelay(std::chrono::nanoseconds sinceMidnight, std::chrono::seconds interval);

// The two timers of meter values: the periodic one of a session on a connector, and the clock-aligned one of the
// station. Both serve the primary backoffice alone.
class CMeterValueTimers {
 public:
  // `worker` runs the timers and outlives this object's use.
  CMeterValueTimers(IOcpp& ocpp, ISystemAccessInterface& systemAccess, std::shared_ptr<CWorker> worker);
  ~CMeterValueTimers();
  CMeterValueTimers(const CMeterValueTimers&) = delete;
  CMeterValueTimers& operator=(const CMeterValueTimers&) = delete;

  void ScheduleSession(uint32_t connector);
  void CancelSession(uint32_t connector);
  // A changed sample interval; 0 stops the samples but keeps the session's entry.
  void ChangeSampleInterval(std::chrono::seconds interval);

  void StartClockAligned(EBackofficeId id);
  std::chrono::seconds GetClockAlignedInterval() const { return std::chrono::seconds(mClockAlignedInterval); }

 private:
  struct SSession {
    bool active = false;
    CCallHandle timer;
    IClock::SteadyTime lastSample{};
  };

  void StartSamples(uint32_t connector, IClock::SteadyTime first, std::chrono::seconds interval);
  void TakeSample(uint32_t connector);
  void ScheduleNextClockAligned(IClock::SystemTime from, bool isFirst);
  void TakeClockAligned(IClock::SystemTime scheduled);
  bool ReadBaseline(uint32_t connector, bool isClockAligned);
  bool IsConnector(uint32_t connector) const;

  // Constant after construction.
  IOcpp& mOcpp;
  ISystemAccessInterface& mSystemAccess;
  const std::shared_ptr<CWorker> mWorker;

  // Owned by the worker; index 0 is connector 1.
  std::vector<SSession> mSessions;

  CTimerSlot mClockAlignedTimer;
  std::atomic<int64_t> mClockAlignedInterval{0};  // seconds
};
