#include "platform/worker/worker.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <map>
#include <thread>
#include <utility>
#include <vector>

#include "platform/clock/thread.h"
#include "platform/iclogger/log.h"

namespace {

using std::chrono::nanoseconds;

// The first pass of a repeating call after the one of `due` that is not past at `now`.
IClock::SteadyTime NextPass(IClock::SteadyTime due, nanoseconds period, IClock::SteadyTime now)
{
  const auto missed = std::max((now - due - nanoseconds(1)) / period, nanoseconds::rep{0});
  due += missed * period;
  return period > IClock::SteadyTime::max() - due ? IClock::SteadyTime::max() : due + period;
}

}  // namespace

// Everything that the thread and the handles touch. Lock order: mMutex is a leaf; no call runs under it, and no
// function is destroyed under it.
class CWorker::CState : public std::enable_shared_from_this<CWorker::CState> {
 public:
  enum class ECall { EQueued, ERunning, EEnded };

  // Guarded by mMutex, but for the function, which belongs to the running thread in ERunning.
  struct SCall {
    CFunction function;
    IClock::SteadyTime due;
    nanoseconds period{0};
    uint64_t order = 0;  // breaks ties between calls due at the same time
    ECall state = ECall::EQueued;
    bool cancelled = false;  // it may still be running
    std::thread::id runner;  // valid in ERunning
  };
  using CCall = std::shared_ptr<SCall>;

  CState(IClock& clock, std::string name) : mClock(clock), mName(std::move(name)) {}

  void Start() EXCLUDES(mMutex);
  void Stop() EXCLUDES(mMutex);
  void Kill() EXCLUDES(mMutex);
  // Stop for good: a call in flight cannot start the worker again.
  void Close() EXCLUDES(mMutex);
  void Sync() EXCLUDES(mMutex);
  CCall Add(CFunction function, IClock::SteadyTime due, nanoseconds period) EXCLUDES(mMutex);
  // Returns when `function` has run, or was dropped. False when the worker does not run.
  bool RunAndWait(CFunction function) EXCLUDES(mMutex);
  void Cancel(const CCall& call, bool wait) EXCLUDES(mMutex);
  bool IsPending(const CCall& call) const EXCLUDES(mMutex);
  bool IsRunning() const EXCLUDES(mMutex);
  bool IsThisThread() const { return tOwner == this; }

 private:
  // One life of the thread, from Start to its end. Guarded by mMutex.
  struct SRun {
    std::unique_ptr<CThread> thread;  // empty once it was joined or let go
    CCall current;                    // in flight
    uint64_t passes = 0;              // calls that were in flight and are no more
    bool stopping = false;
    bool ended = false;
  };
  using CRun = std::shared_ptr<SRun>;

  void Run(const CRun& run) EXCLUDES(mMutex);
  CCall AwaitDue(SRun& run, CLock& lock) REQUIRES(mMutex);
  bool Repeat(SRun& run, const CCall& call) REQUIRES(mMutex);
  void Conclude(SRun& run) REQUIRES(mMutex);
  void Execute(const CFunction& function);
  CCall Enqueue(CFunction function, IClock::SteadyTime due, nanoseconds period) REQUIRES(mMutex);
  void Insert(const CCall& call) REQUIRES(mMutex);
  // Ends all queued calls and forbids the one in flight to repeat. The caller frees the functions without the lock.
  std::vector<CFunction> Drop() REQUIRES(mMutex);
  bool Runs() const REQUIRES(mMutex) { return mRun && !mRun->stopping; }

  // The worker whose call the current thread runs.
  static thread_local const CState* tOwner;

  // Constant after construction.
  IClock& mClock;
  const std::string mName;

  mutable CMutex mMutex;
  CCondition mChanged;  // something was added, cancelled, ended or stopped
  std::map<std::pair<IClock::SteadyTime, uint64_t>, CCall> mQueue GUARDED_BY(mMutex);
  // Empty before the first Start and after a complete Stop.
  CRun mRun GUARDED_BY(mMutex);
  uint64_t mNextOrder GUARDED_BY(mMutex) = 0;
  bool mClosed GUARDED_BY(mMutex) = false;
};

thread_local const CWorker::CState* CWorker::CState::tOwner = nullptr;

void CWorker::CState::Start()
{
  std::unique_ptr<CThread> previous;  // joined after the lock
  CLock lock(mMutex);
  while (mRun && mRun->stopping && !mRun->ended) {
    if (mClosed) return;
    if (IsThisThread()) {
      // Stopped from its own call: all that was queued has been dropped, and the same thread goes on.
      mRun->stopping = false;
      mClock.NotifyAll(mChanged);
      return;
    }
    mClock.Wait(lock, mChanged);
  }
  if (mClosed || (mRun && !mRun->ended)) return;
  if (mRun) previous = std::move(mRun->thread);
  const auto run = std::make_shared<SRun>();
  run->thread = std::make_unique<CThread>(mClock, mName, [self = shared_from_this(), run] { self->Run(run); });
  mRun = run;
}

void CWorker::CState::Stop()
{
  // Destroyed in reverse order: the thread is joined and the functions are freed without the lock.
  std::vector<CFunction> dropped;
  std::unique_ptr<CThread> thread;
  CLock lock(mMutex);
  dropped = Drop();
  const CRun run = mRun;
  if (!run) return;
  run->stopping = true;
  mClock.NotifyAll(mChanged);
  if (IsThisThread()) return;
  while (mRun == run && run->stopping && !run->ended) mClock.Wait(lock, mChanged);
  if (!run->ended) return;  // started again by the call in flight, or killed
  thread = std::move(run->thread);
  if (mRun == run) mRun.reset();
}

void CWorker::CState::Kill()
{
  std::vector<CFunction> dropped;
  std::unique_ptr<CThread> thread;
  CLock lock(mMutex);
  dropped = Drop();
  if (!mRun) return;
  mRun->stopping = true;
  thread = std::move(mRun->thread);
  if (thread) thread->Detach();
  mRun.reset();
  mClock.NotifyAll(mChanged);
}

void CWorker::CState::Close()
{
  {
    CLock lock(mMutex);
    mClosed = true;
  }
  Stop();
}

void CWorker::CState::Sync()
{
  if (IsThisThread()) return;
  CLock lock(mMutex);
  const CRun run = mRun;
  if (!run) return;
  bool ran = false;
  if (!run->stopping) {
    const CCall marker = Enqueue([&ran] { ran = true; }, mClock.SteadyNow(), nanoseconds(0));
    while (marker->state != ECall::EEnded) mClock.Wait(lock, mChanged);
  }
  // Stopped before or meanwhile: what was queued has been dropped, what is in flight has not.
  const uint64_t passes = run->passes;
  while (!ran && run->current && run->passes == passes) mClock.Wait(lock, mChanged);
}

CWorker::CState::CCall CWorker::CState::Add(CFunction function, IClock::SteadyTime due, nanoseconds period)
{
  CLock lock(mMutex);
  return Enqueue(std::move(function), due, period);
}

bool CWorker::CState::RunAndWait(CFunction function)
{
  CLock lock(mMutex);
  if (!Runs()) return false;
  const CCall call = Enqueue(std::move(function), mClock.SteadyNow(), nanoseconds(0));
  while (call->state != ECall::EEnded) mClock.Wait(lock, mChanged);
  return true;
}

void CWorker::CState::Cancel(const CCall& call, bool wait)
{
  CFunction function;  // freed after the lock
  CLock lock(mMutex);
  call->cancelled = true;
  if (call->state == ECall::EQueued) {
    mQueue.erase({call->due, call->order});
    call->state = ECall::EEnded;
    function = std::move(call->function);
    mClock.NotifyAll(mChanged);
  }
  if (!wait || call->runner == std::this_thread::get_id()) return;
  while (call->state == ECall::ERunning) mClock.Wait(lock, mChanged);
}

bool CWorker::CState::IsPending(const CCall& call) const
{
  CLock lock(mMutex);
  return !call->cancelled && call->state != ECall::EEnded;
}

bool CWorker::CState::IsRunning() const
{
  CLock lock(mMutex);
  return Runs();
}

void CWorker::CState::Run(const CRun& run)
{
  tOwner = this;
  CLock lock(mMutex);
  while (!run->stopping) {
    const CCall call = AwaitDue(*run, lock);
    if (!call) continue;
    lock.Unlock();
    Execute(call->function);
    lock.Lock();
    if (Repeat(*run, call)) continue;
    // The call counts as running until what it holds is freed.
    CFunction function = std::move(call->function);
    lock.Unlock();
    function = nullptr;
    lock.Lock();
    Conclude(*run);
  }
  run->ended = true;
  mClock.NotifyAll(mChanged);
}

// The head of the queue if it is due; otherwise empty, after a wait.
CWorker::CState::CCall CWorker::CState::AwaitDue(SRun& run, CLock& lock)
{
  if (mQueue.empty()) {
    mClock.Wait(lock, mChanged);
    return nullptr;
  }
  const auto head = mQueue.begin();
  const auto due = head->first.first;
  if (due > mClock.SteadyNow()) {
    mClock.WaitUntil(lock, mChanged, due);
    return nullptr;
  }
  run.current = head->second;
  run.current->state = ECall::ERunning;
  run.current->runner = std::this_thread::get_id();
  mQueue.erase(head);
  return run.current;
}

bool CWorker::CState::Repeat(SRun& run, const CCall& call)
{
  if (call->cancelled || call->period.count() <= 0) return false;
  call->due = NextPass(call->due, call->period, mClock.SteadyNow());
  call->state = ECall::EQueued;
  call->runner = std::thread::id();
  Insert(call);
  run.current.reset();
  ++run.passes;
  mClock.NotifyAll(mChanged);
  return true;
}

void CWorker::CState::Conclude(SRun& run)
{
  run.current->state = ECall::EEnded;
  run.current->runner = std::thread::id();
  run.current.reset();
  ++run.passes;
  mClock.NotifyAll(mChanged);
}

void CWorker::CState::Execute(const CFunction& function)
{
  try {
    function();
  } catch (const std::exception& error) {
    LOG_ERROR("Exception in a call of worker {}: {}", mName, error.what());
  } catch (...) {
    LOG_ERROR("Unknown exception in a call of worker {}", mName);
  }
}

CWorker::CState::CCall CWorker::CState::Enqueue(CFunction function, IClock::SteadyTime due, nanoseconds period)
{
  auto call = std::make_shared<SCall>();
  call->function = std::move(function);
  call->due = due;
  call->period = period;
  Insert(call);
  mClock.NotifyAll(mChanged);
  return call;
}

void CWorker::CState::Insert(const CCall& call)
{
  call->order = mNextOrder++;
  mQueue.emplace(std::make_pair(call->due, call->order), call);
}

std::vector<CWorker::CFunction> CWorker::CState::Drop()
{
  std::vector<CFunction> functions;
  for (const auto& [key, call] : mQueue) {
    call->state = ECall::EEnded;
    functions.push_back(std::move(call->function));
  }
  mQueue.clear();
  if (mRun && mRun->current) mRun->current->cancelled = true;
  mClock.NotifyAll(mChanged);
  return functions;
}

// Ties a call to its worker's state without keeping that alive.
class CWorker::CHandle : public ICallHandle {
 public:
  CHandle(std::weak_ptr<CState> state, CState::CCall call) : mState(std::move(state)), mCall(std::move(call)) {}

  void Cancel(bool wait) override
  {
    if (const auto state = mState.lock()) state->Cancel(mCall, wait);
  }

  bool IsPending() const override
  {
    const auto state = mState.lock();
    return state && state->IsPending(mCall);
  }

 private:
  const std::weak_ptr<CState> mState;
  const CState::CCall mCall;
};

CWorker::CWorker(IClock& clock, std::string name)
    : mClock(clock), mState(std::make_shared<CState>(clock, std::move(name)))
{}

CWorker::~CWorker() { mState->Close(); }

void CWorker::Start() { mState->Start(); }

void CWorker::Stop() { mState->Stop(); }

void CWorker::Sync() { mState->Sync(); }

bool CWorker::IsRunning() const { return mState->IsRunning(); }

bool CWorker::IsThisThread() const { return mState->IsThisThread(); }

void CWorker::EmergencyKill() { mState->Kill(); }

CCallHandle CWorker::NonBlockingCall(CFunction function)
{
  return AddCall(std::move(function), mClock.SteadyNow(), nanoseconds(0));
}

void CWorker::BlockingCall(CFunction function)
{
  if (IsThisThread()) {
    function();
    return;
  }
  std::exception_ptr error;
  mState->RunAndWait([&] {
    try {
      function();
    } catch (...) {
      error = std::current_exception();
    }
  });
  if (error) std::rethrow_exception(error);
}

CCallHandle CWorker::AddCall(CFunction function, IClock::SteadyTime timePoint, nanoseconds period)
{
  return std::make_shared<CHandle>(mState, mState->Add(std::move(function), timePoint, period));
}
