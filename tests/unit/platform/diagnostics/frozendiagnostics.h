#pragma once

#include <atomic>
#include <string>

#include "platform/clock/clock.h"
#include "platform/clock/mutex.h"
#include "platform/commutil/communicationexception.h"
#include "tests/unit/support/fakesiblings.h"

// A diagnostics process that can be frozen, as a stopped one is: a call to it fails at its deadline, 2 s later.
class CFrozenDiagnostics : public CFakeDiagnostics {
 public:
  explicit CFrozenDiagnostics(IClock& clock) : mClock(clock) {}

  void Freeze(bool frozen) { mIsFrozen = frozen; }

  ipc::MResult SendSignal(const ipc::MDiagnosticsSignal& signal) override
  {
    if (!mIsFrozen) return CFakeDiagnostics::SendSignal(signal);
    const auto deadline = mClock.SteadyNow() + std::chrono::seconds(2);
    CLock lock(mMutex);
    while (mClock.WaitUntil(lock, mNever, deadline)) {
    }
    throw Rpc::CommunicationException("Diagnostics::SendSignal: no answer within 2000 ms (DEADLINE_EXCEEDED)");
  }

 private:
  IClock& mClock;
  std::atomic<bool> mIsFrozen{false};
  CMutex mMutex;
  CCondition mNever;
};
