#pragma once

#include <deque>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeindex>
#include <utility>

#include "platform/clock/clock.h"
#include "platform/iclogger/log.h"

// A small hierarchical state machine: leaf states inside one composite, events told apart by their dynamic type,
// behaviour as one table of rules (see SHsmTraits).

// What happens to the machine. Dispatch goes by the dynamic type.
class IHsmEvent {
 public:
  virtual ~IHsmEvent() = default;

  virtual std::string GetName() const = 0;
  // Tells the sender whether the event was handled. Called once, before the rule's exit and entry actions run.
  virtual void SetHandled(bool handled) = 0;
};

// Event number N of the machine `TTag`; TTag::EventName(N) is its name.
template <typename TTag, int N>
class CHsmEvent : public IHsmEvent {
 public:
  std::string GetName() const override { return TTag::EventName(N); }
  void SetHandled(bool handled) override { mHandled.set_value(handled); }

  // True once handled, false once found unhandled; broken when the machine stops before it reaches the event.
  std::future<bool> GetFuture() { return mHandled.get_future(); }

 private:
  std::promise<bool> mHandled;
};

class IHsmInterface {
 public:
  virtual ~IHsmInterface() = default;

  // Appends the event to the queue. Safe from any thread. An event posted after the machine has ended is dropped, which
  // breaks its promise.
  virtual void Post(std::shared_ptr<IHsmEvent> event) = 0;
  // Runs the machine on the caller's thread until Stop. Events still queued then are dropped unhandled.
  virtual void Run() = 0;
  virtual void Stop() = 0;
  virtual bool IsRunning() const = 0;
};

// Base of a machine's actions; gives them the machine to post to.
class CHsmActionHandlerBase {
 public:
  virtual ~CHsmActionHandlerBase() = default;

  // Null when the machine goes.
  void SetHsmInterface(IHsmInterface* hsm) { mHsm = hsm; }

  // Throws std::logic_error without a machine.
  void PostInternal(std::shared_ptr<IHsmEvent> event)
  {
    if (mHsm == nullptr) throw std::logic_error("CHsmActionHandlerBase: IHsmInterface not set");
    mHsm->Post(std::move(event));
  }

 private:
  IHsmInterface* mHsm = nullptr;
};

// One machine's behaviour, specialised for its action handler:
//   static constexpr int kInitialState;
//   static const char* StateName(int state);    0 is the composite
//   static const SHsmRule<THandler>* FindRule(int state, std::type_index event);
//   static void Enter(int state, THandler&, IHsmInterface&);
//   static void Exit(int state, THandler&);
template <typename THandler>
struct SHsmTraits;

constexpr int kHsmComposite = 0;
constexpr int kHsmNoTarget = -1;

// For an event in a state: the state to go to (or kHsmNoTarget), and what to do in place.
template <typename THandler>
struct SHsmRule {
  int state = kHsmComposite;
  std::type_index event = typeid(void);
  int target = kHsmNoTarget;
  void (*action)(THandler&) = nullptr;
};

// Outermost state: no rule has matched.
template <typename THsm>
class TopState {
 public:
  virtual ~TopState() = default;

  virtual void Handle(THsm&, const std::shared_ptr<IHsmEvent>& event) const
  {
    LOG_TRACE("State {}: event unhn {}", THsm::CTraits::StateName(kHsmComposite), event->GetName());
    event->SetHandled(false);
  }
  virtual int GetId() const { return kHsmComposite; }
};

template <typename THsm, int N, typename TParent>
class CompState : public TParent {
 public:
  void Handle(THsm& hsm, const std::shared_ptr<IHsmEvent>& event) const override
  {
    if (!hsm.Apply(N, event)) TParent::Handle(hsm, event);
  }
  int GetId() const override { return N; }
};

template <typename THsm, int N, typename TParent>
class LeafState : public TParent {
 public:
  static const LeafState& Instance()
  {
    static const LeafState instance;
    return instance;
  }

  void Handle(THsm& hsm, const std::shared_ptr<IHsmEvent>& event) const override
  {
    LOG_TRACE("State {}: event recv {}", THsm::CTraits::StateName(N), event->GetName());
    if (!hsm.Apply(N, event)) TParent::Handle(hsm, event);
  }
  int GetId() const override { return N; }
};

template <typename THandler>
class CHsm : public IHsmInterface {
 public:
  using CTraits = SHsmTraits<THandler>;
  using CState = TopState<CHsm>;
  using CParent = CompState<CHsm, kHsmComposite, CompState<CHsm, kHsmComposite, CState>>;

  CHsm(std::shared_ptr<THandler> handler, IClock& clock) : mHandler(std::move(handler)), mClock(clock)
  {
    mHandler->SetHsmInterface(this);
  }
  ~CHsm() override { mHandler->SetHsmInterface(nullptr); }
  CHsm(const CHsm&) = delete;
  CHsm& operator=(const CHsm&) = delete;

  void Post(std::shared_ptr<IHsmEvent> event) override EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    if (mEnded) return;
    mEvents.push_back(std::move(event));
    mClock.NotifyAll(mChanged);
  }

  void Run() override EXCLUDES(mMutex)
  {
    {
      CLock lock(mMutex);
      mRunning = true;
      mEnded = false;
    }
    if (mState == nullptr) {
      LOG_TRACE("State {}: init", CTraits::StateName(kHsmComposite));
      Enter(CTraits::kInitialState);
    }
    while (const auto event = NextEvent()) {
      CheckType(*event);
      mState->Handle(*this, *event);
    }
  }

  void Stop() override EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    mRunning = false;
    mClock.NotifyAll(mChanged);
  }

  bool IsRunning() const override EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mRunning;
  }

  // For the states: performs the rule of `state` (0: the composite) for the event; false if there is none.
  bool Apply(int state, const std::shared_ptr<IHsmEvent>& event)
  {
    const SHsmRule<THandler>* rule = CTraits::FindRule(state, TypeOf(*event));
    if (rule == nullptr) return false;
    LOG_TRACE("State {}: event hndl {}", CTraits::StateName(state), event->GetName());
    event->SetHandled(true);
    if (rule->action != nullptr) rule->action(*mHandler);
    if (rule->target != kHsmNoTarget) {
      LOG_TRACE("State {}: exit", CTraits::StateName(mState->GetId()));
      CTraits::Exit(mState->GetId(), *mHandler);
      Enter(rule->target);
    }
    return true;
  }

  // Number of the current state; 0 before Run.
  int GetStateId() const { return mState == nullptr ? kHsmComposite : mState->GetId(); }

 private:
  static std::type_index TypeOf(const IHsmEvent& event) { return typeid(event); }

  // A null event is a programming error: throws std::bad_typeid.
  static void CheckType(const std::shared_ptr<IHsmEvent>& event)
  {
    const IHsmEvent* pointer = event.get();
    if (pointer == nullptr) throw std::bad_typeid();
  }

  void Enter(int state)
  {
    LOG_TRACE("State {}: entry", CTraits::StateName(state));
    CTraits::Enter(state, *mHandler, *this);
    mState = &CTraits::template Leaf<CHsm>(state);
  }

  // The next event, or nothing once the machine is stopped. Queued events are dropped then, outside the lock, so that
  // their senders learn of it.
  std::unique_ptr<std::shared_ptr<IHsmEvent>> NextEvent() EXCLUDES(mMutex)
  {
    std::deque<std::shared_ptr<IHsmEvent>> dropped;
    CLock lock(mMutex);
    while (mRunning && mEvents.empty()) mClock.Wait(lock, mChanged);
    if (!mRunning) {
      mEnded = true;
      dropped.swap(mEvents);
      lock.Unlock();
      return nullptr;
    }
    auto event = std::make_unique<std::shared_ptr<IHsmEvent>>(std::move(mEvents.front()));
    mEvents.pop_front();
    return event;
  }

  // Constant after construction.
  const std::shared_ptr<THandler> mHandler;
  IClock& mClock;

  // Owned by the thread in Run.
  const CState* mState = nullptr;

  mutable CMutex mMutex;
  CCondition mChanged;
  std::deque<std::shared_ptr<IHsmEvent>> mEvents GUARDED_BY(mMutex);
  bool mRunning GUARDED_BY(mMutex) = false;
  bool mEnded GUARDED_BY(mMutex) = false;
};
