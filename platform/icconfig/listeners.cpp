#include "platform/icconfig/listeners.h"

#include <algorithm>
#include <exception>

#include "platform/iclogger/log.h"

namespace IcConfig {

namespace {

void Call(const CChangeCallback& callback, const std::string& key, const Json::Value& value)
{
  try {
    callback(key, value);
  } catch (const std::exception& error) {
    LOG_ERROR("Exception in the change callback of configuration key {}: {}", key, error.what());
  } catch (...) {
    LOG_ERROR("Unknown exception in the change callback of configuration key {}", key);
  }
}

}  // namespace

class CListeners::CRegistration : public IRegistration {
 public:
  CRegistration(std::shared_ptr<CListeners> listeners, std::shared_ptr<SListener> listener)
      : mListeners(std::move(listeners)), mListener(std::move(listener))
  {}
  ~CRegistration() override { mListeners->Drop(mListener); }
  CRegistration(const CRegistration&) = delete;
  CRegistration& operator=(const CRegistration&) = delete;

 private:
  const std::shared_ptr<CListeners> mListeners;
  const std::shared_ptr<SListener> mListener;
};

CListeners::CListeners(CChangeCallback domainCB) : mDomainCB(std::move(domainCB)) {}

std::shared_ptr<IRegistration> CListeners::Add(const std::string& key, const Json::Value& defaultValue,
                                               CChangeCallback callback, int64_t revision)
{
  auto listener = std::make_shared<SListener>(SListener{key, defaultValue, std::move(callback), revision});
  {
    CLock lock(mMutex);
    mListeners.push_back(listener);
  }
  return std::make_shared<CRegistration>(shared_from_this(), std::move(listener));
}

void CListeners::Drop(const std::shared_ptr<SListener>& listener)
{
  CChangeCallback callback;  // what it holds is destroyed without the lock
  CLock lock(mMutex);
  mListeners.erase(std::remove(mListeners.begin(), mListeners.end(), listener), mListeners.end());
  // From inside its own run the callback is still needed; it goes with the listener.
  if (mRunning == listener && mThread == std::this_thread::get_id()) return;
  while (mRunning == listener) mClock.Wait(lock, mEnded);
  callback = std::move(listener->callback);
  lock.Unlock();
}

void CListeners::Close()
{
  CLock lock(mMutex);
  mIsClosed = true;
}

std::optional<int64_t> CListeners::GetFirstRevision() const
{
  CLock lock(mMutex);
  if (mIsClosed) return std::nullopt;
  if (mDomainCB) return 0;
  if (mListeners.empty()) return std::nullopt;
  const auto first = std::min_element(mListeners.begin(), mListeners.end(), [](const auto& left, const auto& right) {
    return left->revision < right->revision;
  });
  return (*first)->revision;
}

void CListeners::Tell(const SChange& change, const std::optional<Json::Value>& fallback)
{
  const std::optional<Json::Value> value = change.value ? change.value : fallback;
  std::vector<std::shared_ptr<SListener>> listeners;
  {
    CLock lock(mMutex);
    if (mIsClosed) return;
    listeners = mListeners;
  }
  if (mDomainCB) Call(mDomainCB, change.key, value.value_or(Json::Value()));
  for (const auto& listener : listeners) {
    if (listener->key != change.key || listener->revision >= change.revision) continue;
    RunOne(listener, change.key, value.value_or(listener->defaultValue));
  }
}

void CListeners::RunOne(const std::shared_ptr<SListener>& listener, const std::string& key, const Json::Value& value)
{
  {
    CLock lock(mMutex);
    const bool isDropped = std::find(mListeners.begin(), mListeners.end(), listener) == mListeners.end();
    if (mIsClosed || isDropped) return;
    mRunning = listener;
    mThread = std::this_thread::get_id();
  }
  Call(listener->callback, key, value);
  std::shared_ptr<SListener> ended;  // may be the last owner; destroyed without the lock
  CLock lock(mMutex);
  ended = std::move(mRunning);
  mRunning.reset();
  mThread = {};
  mClock.NotifyAll(mEnded);
  lock.Unlock();
}

}  // namespace IcConfig
