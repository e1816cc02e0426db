#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/worker/worker.h"
#include "src/components/ihostinfo.h"
#include "src/components/iwebsocketclient.h"
#include "tests/unit/src/components/ocppcomponent/day/daycentral.h"

// What went over the wire, with message ids replaced by their numbers, so that two runs can be compared.
class CWireLog {
 public:
  void Add(IClock::SteadyTime time, const std::string& direction, const std::string& text) EXCLUDES(mMutex);
  std::vector<std::string> GetLines() const EXCLUDES(mMutex);

 private:
  mutable CMutex mMutex;
  std::vector<std::string> mLines GUARDED_BY(mMutex);
  std::map<std::string, size_t> mIds GUARDED_BY(mMutex);
};

// The line between station and central systems.
class CDayNetwork {
 public:
  enum class EState {
    EUp,
    EDown,        // connections break, none can be made
    ESwallowing,  // connections stay, but nothing arrives
  };
  std::atomic<EState> state{EState::EUp};
};

// The one call that may be in flight, as an observer on the wire can tell: until its answer is taken, or 30 s.
class CInFlight {
 public:
  // False when another one still is.
  bool Send(const std::string& id, IClock::SteadyTime now);
  // True when the station takes `reply` as its answer. An error under any other id ends the call as well.
  bool Take(const CDayCentral::SReply& reply, IClock::SteadyTime now);

 private:
  std::string mId;
  IClock::SteadyTime mEnd;
};

// A link to a central system in the same process. Each connection is a new one: what was under way on the last one is
// lost. Callbacks come on a thread of the link's own.
class CDayLink : public IWebsocketClient {
 public:
  struct SParts {
    std::shared_ptr<IHostInfo> hostInfo;
    std::shared_ptr<CDayCentral> central;
    std::shared_ptr<CDayNetwork> network;
    std::shared_ptr<CWireLog> log;
    std::function<bool()> isPowerCut;                          // from then on nothing goes over the wire
    std::function<bool(const std::string& messageId)> isKept;  // by the store, over a power cut
    uint32_t seed = 0;
  };

  CDayLink(IClock& clock, SParts parts);

  // The connection breaks, as the network or the central system pleases. It is made again by itself.
  void Break();
  // The central system sends something of its own accord.
  void PlayMessage(const std::string& text);

  bool Connect() override;
  void Close(uint16_t code, const std::string& reason) override;
  bool Send(const std::string& text) override;
  void SetOnOpenCallback(COnOpen callback) override;
  void SetOnFailCallback(COnFail callback) override;
  void SetOnCloseCallback(COnClose callback) override;
  void SetOnMessageCallback(COnMessage callback) override;
  void SetBackofficeId(EBackofficeId /*id*/) override {}
  EWebsocketStatus GetStatus() const override;
  void SetStatus(EWebsocketStatus status) override;
  std::shared_ptr<IHostInfo> GetHostInfo() const override { return mParts.hostInfo; }

 private:
  struct SCallbacks {
    COnOpen onOpen;
    COnFail onFail;
    COnClose onClose;
    COnMessage onMessage;
  };

  void ScheduleAttempt(std::chrono::nanoseconds delay) EXCLUDES(mMutex);
  void Attempt(uint64_t epoch) EXCLUDES(mMutex);
  void Lose(uint64_t epoch) EXCLUDES(mMutex);
  void Arrive(uint64_t epoch, const std::string& text, IClock::SteadyTime sentAt) EXCLUDES(mMutex);
  void Deliver(uint64_t epoch, const CDayCentral::SReply& reply) EXCLUDES(mMutex);
  // True while the connection with that number is open and the network carries.
  bool Carries(uint64_t epoch) const EXCLUDES(mMutex);
  bool IsPowerCut() const { return mParts.isPowerCut(); }
  SCallbacks GetCallbacks() const EXCLUDES(mMutex);
  void Schedule(std::chrono::nanoseconds delay, std::function<void()> function);
  std::chrono::nanoseconds Draw(std::chrono::milliseconds from, std::chrono::milliseconds to) EXCLUDES(mMutex);

  // Constant after construction.
  IClock& mClock;
  const SParts mParts;

  mutable CMutex mMutex;
  SCallbacks mCallbacks GUARDED_BY(mMutex);
  CDayChance mChance GUARDED_BY(mMutex);
  EWebsocketStatus mStatus GUARDED_BY(mMutex) = EWebsocketStatus::EClosed;
  uint64_t mEpoch GUARDED_BY(mMutex) = 0;  // number of the connection, or of the wait for one
  std::shared_ptr<int> mConnection GUARDED_BY(mMutex);
  CInFlight mInFlight GUARDED_BY(mMutex);
  IClock::SteadyTime mLastArrival GUARDED_BY(mMutex);

  // Ends first: its calls use all of the above.
  CWorker mWorker;
};
