#pragma once

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock/realclock.h"
#include "platform/icconfig/icconfig.h"
#include "platform/icconfig/store.h"

namespace IcConfig {

// The change callbacks of one opened domain. Callbacks run on one thread, that of Tell, without a lock; they may
// register, drop registrations, their own included, and drop the domain.
class CListeners : public std::enable_shared_from_this<CListeners> {
 public:
  // `domainCB` hears every key; may be empty.
  explicit CListeners(CChangeCallback domainCB);

  // Hears changes after `revision`.
  std::shared_ptr<IRegistration> Add(const std::string& key, const Json::Value& defaultValue, CChangeCallback callback,
                                     int64_t revision) EXCLUDES(mMutex);
  // The change up to which there is nothing to tell anyone; empty when nobody listens.
  std::optional<int64_t> GetFirstRevision() const EXCLUDES(mMutex);
  // `fallback` is what a reader gets from the packaged default, if there is one. Domain-wide first, then in the order
  // of registration. One thread only.
  void Tell(const SChange& change, const std::optional<Json::Value>& fallback) EXCLUDES(mMutex);
  // Nobody is told any more; a run in flight goes on.
  void Close() EXCLUDES(mMutex);

 private:
  struct SListener {
    std::string key;
    Json::Value defaultValue;
    CChangeCallback callback;
    int64_t revision = 0;
  };
  class CRegistration;

  void Drop(const std::shared_ptr<SListener>& listener) EXCLUDES(mMutex);
  void RunOne(const std::shared_ptr<SListener>& listener, const std::string& key, const Json::Value& value)
      EXCLUDES(mMutex);

  const CChangeCallback mDomainCB;

  // A leaf: nothing is called while it is held.
  mutable CMutex mMutex;
  CRealClock mClock;
  CCondition mEnded;  // a run has ended
  std::vector<std::shared_ptr<SListener>> mListeners GUARDED_BY(mMutex);
  std::shared_ptr<SListener> mRunning GUARDED_BY(mMutex);
  std::thread::id mThread GUARDED_BY(mMutex);  // of the run in flight
  bool mIsClosed GUARDED_BY(mMutex) = false;
};

}  // namespace IcConfig
