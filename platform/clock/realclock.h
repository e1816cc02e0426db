#pragma once

#include "platform/clock/clock.h"

// The operating system's clocks and waits. Stateless: any number may exist side by side.
class CRealClock : public IClock {
 public:
  SystemTime SystemNow() const override;
  SteadyTime SteadyNow() const override;
  void Wait(CLock& lock, CCondition& condition) override;
  bool WaitUntil(CLock& lock, CCondition& condition, SteadyTime deadline) override;
  void NotifyAll(CCondition& condition) override;
  void RegisterThread() override {}
  void UnregisterThread() override {}
  void AnnounceThread() override {}
  void EnterForeignWait() override {}
  void LeaveForeignWait() override {}
};
