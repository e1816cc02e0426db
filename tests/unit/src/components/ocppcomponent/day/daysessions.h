#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "platform/worker/worker.h"
#include "tests/unit/src/components/ocppcomponent/day/daycentral.h"
#include "tests/unit/support/fakesiblings.h"

class CDaySessions;

// A meter whose register is asked of the sessions.
class CDayMeter : public CFakeMeter {
 public:
  explicit CDayMeter(const CDaySessions& sessions) : mSessions(sessions) {}
  ipc::MMeterData GetMeterData() override;

 private:
  const CDaySessions& mSessions;
};

// A session manager that does as it is told.
class CDaySessionManager : public CFakeSessionManager {
 public:
  explicit CDaySessionManager(CDaySessions& sessions) : mSessions(sessions) {}
  void DeauthorizeSession(uint32_t connector, ipc::EDeauthorizeReason reason) override;

 private:
  CDaySessions& mSessions;
};

// Session manager and meter of the connector: sessions with tags and registers that are used once. An event that the
// process may not have taken is told again, word for word and in order, as docs/ipc.md asks of a session manager.
//
// The operations hand over to a thread of its own, the one of the notifications; let the clock come to rest behind
// them.
class CDaySessions {
 public:
  CDaySessions(IClock& clock, std::shared_ptr<CDayCentral> central, uint32_t seed);

  // Does nothing while a session runs, or without approval or storage.
  void Begin();
  // Does nothing without a session.
  void End(ipc::EStopSessionReason reason);
  // The vehicle pauses, or goes on.
  void Suspend(bool isSuspended);
  // The cable is taken out.
  void Unplug();
  // The process listens from now on, and is told what it may not know; `isNew`: it was started since.
  void Listen(bool isNew);
  // The process does not listen any more. Returns when the last notification has been handled.
  void Silence();
  // Runs `call` on the thread of the notifications if the process listens.
  void Notify(std::function<void()> call);
  // Tells the connector's state, as after an outage of the session manager.
  void Announce();

  bool IsRunning() const;
  ipc::EConnectorState GetState() const;
  ipc::MMeterData ReadMeter() const;
  const std::shared_ptr<CDaySessionManager>& GetManager() const { return mManager; }
  const std::shared_ptr<CDayMeter>& GetMeter() const { return mMeter; }
  // What it was told last; true when it was never told.
  bool IsStorageAvailable() const;

 private:
  friend class CDaySessionManager;

  struct SEvent {
    bool isStop = false;
    ipc::MMeterData reading;
    ipc::EStopSessionReason reason{};
    std::string idTag;
    bool isTold = false;
    IClock::SteadyTime toldAt;
  };

  void Deauthorize(ipc::EDeauthorizeReason reason);
  void RunBegin();
  void RunEnd(ipc::EStopSessionReason reason);
  void RunListen(bool isNew);
  void SetPower(int64_t watt) EXCLUDES(mMutex);
  void ChangeState(ipc::EConnectorState state) EXCLUDES(mMutex);
  void EmitState() EXCLUDES(mMutex);
  void TellKept();
  void Tell(SEvent& event);
  void ForgetTaken();
  int64_t RegisterMilliWh() const REQUIRES(mMutex);

  // Constant after construction.
  IClock& mClock;
  const std::shared_ptr<CDayCentral> mCentral;
  const std::shared_ptr<CDaySessionManager> mManager;
  const std::shared_ptr<CDayMeter> mMeter;

  // Of the notification thread.
  CDayChance mChance;
  std::deque<SEvent> mKept;  // not surely taken
  std::string mIdTag;
  bool mIsListening = false;
  int mTags = 0;

  mutable CMutex mMutex;
  ipc::EConnectorState mState GUARDED_BY(mMutex) = ipc::EConnectorStateAvailable;
  bool mIsRunning GUARDED_BY(mMutex) = false;
  int64_t mBaseMilliWh GUARDED_BY(mMutex) = 1000000;
  int64_t mWatt GUARDED_BY(mMutex) = 0;
  IClock::SteadyTime mSince GUARDED_BY(mMutex);
  ipc::MMeterData mSession GUARDED_BY(mMutex);  // start and end of the latest one

  CWorker mWorker;
};
