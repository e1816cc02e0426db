#include "platform/worker/worker.h"

#include <pthread.h>

#include <exception>
#include <set>
#include <utility>

#include "platform/iclogger/log.h"

namespace {

constexpr size_t kMaxThreadName = 15;

}  // namespace

// Everything that the thread and the handles touch. Lock order: mMutex is a leaf; no call runs under it.
class CWorker::CState : public std::enable_shared_from_this<CWorker::CState> {
 public:
  struct SCall {
    CFunction function;
    IClock::SteadyTime due;
    std::chrono::nanoseconds period{0};
    uint64_t order = 0;  // breaks ties between calls due at the same time
    bool queued = false;
    bool pending = true;
  };
  using CCall = std::shared_ptr<SCall>;

  CState(IClock& clock, std::string name) : mClock(clock), mName(std::move(name)) {}

  void Start() EXCLUDES(mMutex)
  {
    std::thread previous;
    {
      CLock lock(mMutex);
      if (mRunning) return;
      previous = std::move(mThread);
    }
    Join(std::move(previous));
    CLock lock(mMutex);
    if (mRunning) return;
    mRunning = true;
    ++mGeneration;
    mClock.AnnounceThread();
    mThread = std::thread([self = shared_from_this(), generation = mGeneration] { self->Run(generation); });
    pthread_setname_np(mThread.native_handle(), mName.substr(0, kMaxThreadName).c_str());
    mThreadId = mThread.get_id();
  }

  void Stop(bool wait) EXCLUDES(mMutex)
  {
    std::thread thread;
    {
      CLock lock(mMutex);
      mRunning = false;
      for (const auto& entry : mQueue) {
        entry.second->queued = false;
        entry.second->pending = false;
      }
      mQueue.clear();
      mClock.NotifyAll(mChanged);
      thread = std::move(mThread);
    }
    if (wait) {
      Join(std::move(thread));
    } else if (thread.joinable()) {
      thread.detach();
    }
  }

  CCall Add(CFunction function, IClock::SteadyTime due, std::chrono::nanoseconds period) EXCLUDES(mMutex)
  {
    auto call = std::make_shared<SCall>();
    call->function = std::move(function);
    call->due = due;
    call->period = period;
    CLock lock(mMutex);
    Enqueue(call);
    mClock.NotifyAll(mChanged);
    return call;
  }

  void Cancel(const CCall& call, bool wait) EXCLUDES(mMutex)
  {
    // The function (and what it holds) is destroyed without the lock.
    CFunction function;
    CLock lock(mMutex);
    call->pending = false;
    if (call->queued) {
      mQueue.erase({call->due, call->order});
      call->queued = false;
    }
    if (mCurrent != call) {
      function = std::move(call->function);
      mClock.NotifyAll(mChanged);
      return;
    }
    if (!wait || mThreadId == std::this_thread::get_id()) return;
    while (mCurrent == call) mClock.Wait(lock, mChanged);
  }

  bool IsPending(const CCall& call) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return call->pending;
  }

  // Waits until all that is due now, and the call in flight, has been run.
  void Sync() EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    if (!mRunning || mThreadId == std::this_thread::get_id()) return;
    auto marker = std::make_shared<SCall>();
    marker->function = [] {};
    marker->due = mClock.SteadyNow();
    Enqueue(marker);
    mClock.NotifyAll(mChanged);
    while (marker->pending) mClock.Wait(lock, mChanged);
  }

  // Waits until `call` has run or was dropped.
  void WaitFor(const CCall& call) EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    while (call->pending) mClock.Wait(lock, mChanged);
  }

  bool IsRunning() EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mRunning;
  }

  bool IsThisThread() EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mThreadId == std::this_thread::get_id();
  }

 private:
  void Enqueue(const CCall& call) REQUIRES(mMutex)
  {
    call->order = mNextOrder++;
    call->queued = true;
    mQueue.emplace(std::make_pair(call->due, call->order), call);
  }

  void Join(std::thread thread)
  {
    if (!thread.joinable()) return;
    if (thread.get_id() == std::this_thread::get_id()) {
      thread.detach();
      return;
    }
    const CForeignWait wait(mClock);
    thread.join();
  }

  void Run(uint64_t generation) EXCLUDES(mMutex)
  {
    const CClockThread registered(mClock);
    CLock lock(mMutex);
    while (mRunning && mGeneration == generation) {
      if (mQueue.empty()) {
        mClock.Wait(lock, mChanged);
        continue;
      }
      const auto head = mQueue.begin();
      if (head->first.first > mClock.SteadyNow()) {
        mClock.WaitUntil(lock, mChanged, head->first.first);
        continue;
      }
      const CCall call = head->second;
      mQueue.erase(head);
      call->queued = false;
      mCurrent = call;
      lock.Unlock();
      Execute(call->function);
      lock.Lock();
      Finish(call, lock);
    }
  }

  // After a run: schedule the next pass of a repeating call, or end the call and free its function.
  void Finish(const CCall& call, CLock& lock) REQUIRES(mMutex)
  {
    mCurrent.reset();
    CFunction function;
    if (call->pending && call->period.count() > 0 && mRunning) {
      const auto missed = (mClock.SteadyNow() - call->due) / call->period;
      call->due += call->period * (missed > 0 && mClock.SteadyNow() > call->due + call->period ? missed : 1);
      if (call->due <= mClock.SteadyNow() && missed > 0) call->due += call->period;
      Enqueue(call);
    } else {
      call->pending = false;
      function = std::move(call->function);
    }
    mClock.NotifyAll(mChanged);
    if (function) {
      lock.Unlock();
      function = nullptr;
      lock.Lock();
    }
  }

  void Execute(const CFunction& function)
  {
    try {
      function();
    } catch (const std::exception& error) {
      LOG_ERROR("Exception in a call of worker {}: {}", mName, error.what());
    } catch (...) {
      LOG_ERROR("Unknown exception in a call of worker {}", mName);
    }
  }

  // Constant after construction.
  IClock& mClock;
  const std::string mName;

  CMutex mMutex;
  CCondition mChanged;  // something was added, cancelled, finished or stopped
  std::map<std::pair<IClock::SteadyTime, uint64_t>, CCall> mQueue GUARDED_BY(mMutex);
  CCall mCurrent GUARDED_BY(mMutex);
  std::thread mThread GUARDED_BY(mMutex);
  std::thread::id mThreadId GUARDED_BY(mMutex);
  uint64_t mNextOrder GUARDED_BY(mMutex) = 0;
  uint64_t mGeneration GUARDED_BY(mMutex) = 0;
  bool mRunning GUARDED_BY(mMutex) = false;

  friend class CHandle;
};

namespace {

// Ties a call to its worker's state without keeping either alive longer than needed.
template <typename TState, typename TCall>
class CHandleImpl : public ICallHandle {
 public:
  CHandleImpl(std::weak_ptr<TState> state, TCall call) : mState(std::move(state)), mCall(std::move(call)) {}

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
  const std::weak_ptr<TState> mState;
  const TCall mCall;
};

}  // namespace

CWorker::CWorker(IClock& clock, std::string name)
    : mClock(clock), mName(std::move(name)), mState(std::make_shared<CState>(clock, mName))
{
}

CWorker::~CWorker() { mState->Stop(true); }

void CWorker::Start() { mState->Start(); }

void CWorker::Stop() { mState->Stop(true); }

void CWorker::Sync() { mState->Sync(); }

bool CWorker::IsRunning() const { return mState->IsRunning(); }

bool CWorker::IsThisThread() const { return mState->IsThisThread(); }

void CWorker::EmergencyKill() { mState->Stop(false); }

CCallHandle CWorker::NonBlockingCall(CFunction function)
{
  return AddCall(std::move(function), mClock.SteadyNow(), std::chrono::nanoseconds(0));
}

void CWorker::BlockingCall(CFunction function)
{
  if (IsThisThread()) {
    function();
    return;
  }
  if (!IsRunning()) return;
  std::exception_ptr error;
  const auto call = mState->Add(
      [&] {
        try {
          function();
        } catch (...) {
          error = std::current_exception();
        }
      },
      mClock.SteadyNow(), std::chrono::nanoseconds(0));
  mState->WaitFor(call);
  if (error) std::rethrow_exception(error);
}

CCallHandle CWorker::AddCall(CFunction function, IClock::SteadyTime timePoint, std::chrono::nanoseconds period)
{
  auto call = mState->Add(std::move(function), timePoint, period);
  return std::make_shared<CHandleImpl<CState, CState::CCall>>(mState, std::move(call));
}
