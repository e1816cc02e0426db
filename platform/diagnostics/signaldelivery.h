#pragma once

#include <deque>
#include <memory>
#include <optional>

#include "platform/clock/clock.h"
#include "platform/clock/thread.h"
#include "platform/iipc/idiagnostics.h"

// Brings signals to the diagnostics process one after the other, on a thread of its own ("diagnostics"), so that nobody
// who reports waits for it. A signal that could not be delivered is tried again every second before all others: it may
// arrive twice, never late. Safe from any thread.
class CSignalDelivery : public std::enable_shared_from_this<CSignalDelivery> {
 public:
  // What waits at most; beyond that the oldest are lost. Minutes of a talkative station.
  static constexpr size_t kMaxWaiting = 500;

  // The clock must live until the thread has ended.
  static std::shared_ptr<CSignalDelivery> Start(std::shared_ptr<IDiagnostics> diagnostics, IClock& clock);

  // Returns at once. A signal without timestamp gets the present time.
  void Send(ipc::MDiagnosticsSignal signal) EXCLUDES(mMutex);
  // As Send, in the place of a value of the same signal that still waits.
  void SendLatest(ipc::MDiagnosticsSignal signal) EXCLUDES(mMutex);
  // Delivers what waits as long as that succeeds, drops the rest and ends the thread; takes half a second at most. A
  // call that is still in flight then is left to its deadline, or to the end of the IPC. Call it once.
  void Stop() EXCLUDES(mMutex);

  IDiagnostics& GetDiagnostics() { return *mDiagnostics; }

 private:
  CSignalDelivery(std::shared_ptr<IDiagnostics> diagnostics, IClock& clock);

  enum class EFormerValue { EKeep, EReplace };

  void Run();
  void Enqueue(ipc::MDiagnosticsSignal signal, EFormerValue formerValue) EXCLUDES(mMutex);
  // False when no value of the same signal waits.
  bool ReplaceFormer(ipc::MDiagnosticsSignal& signal) REQUIRES(mMutex);
  // False when the diagnostics process did not take it.
  bool Deliver(const ipc::MDiagnosticsSignal& signal);
  // Waits for the next one; empty at the end.
  std::optional<ipc::MDiagnosticsSignal> Next() EXCLUDES(mMutex);
  void PutBack(ipc::MDiagnosticsSignal signal) EXCLUDES(mMutex);
  void LogLoss() const;

  // Constant after construction.
  IClock& mClock;
  const std::shared_ptr<IDiagnostics> mDiagnostics;

  // Owned by the one who starts and stops.
  std::unique_ptr<CThread> mThread;

  // Owned by the thread.
  bool mIsFailureLogged = false;

  CMutex mMutex;
  CCondition mChanged;
  std::deque<ipc::MDiagnosticsSignal> mWaiting GUARDED_BY(mMutex);
  // Set from a failure until the next success.
  std::optional<IClock::SteadyTime> mRetryAt GUARDED_BY(mMutex);
  bool mIsLosing GUARDED_BY(mMutex) = false;
  bool mIsStopped GUARDED_BY(mMutex) = false;
  bool mIsEnded GUARDED_BY(mMutex) = false;
};
