#include "tests/unit/support/fakeconfig.h"

#include <algorithm>
#include <set>

#include "platform/icconfig/jsontext.h"

void CFakeMedium::FailWrite(uint64_t n)
{
  CLock lock(mMutex);
  mFailing[mWriteCount + n] = true;
}

void CFakeMedium::FailAllWrites(bool fail)
{
  CLock lock(mMutex);
  mFailAll = fail;
}

void CFakeMedium::CutPowerAfterWrite(uint64_t n, std::function<void()> callback)
{
  CLock lock(mMutex);
  mLastDurable = mWriteCount + n;
  mPowerCutCB = std::move(callback);
}

bool CFakeMedium::IsPowerCut() const
{
  CLock lock(mMutex);
  return mPowerCut;
}

uint64_t CFakeMedium::GetWriteCount() const
{
  CLock lock(mMutex);
  return mWriteCount;
}

CFakeMedium::EWrite CFakeMedium::NextWrite()
{
  CLock lock(mMutex);
  ++mWriteCount;
  if (mFailAll || mFailing.count(mWriteCount) != 0) return EWrite::EFailed;
  if (!mPowerCut && (!mLastDurable || mWriteCount <= *mLastDurable)) return EWrite::EDone;
  mPowerCut = true;
  return EWrite::ELost;
}

void CFakeMedium::ReportPowerCut()
{
  std::function<void()> callback;
  {
    CLock lock(mMutex);
    callback.swap(mPowerCutCB);
  }
  if (callback) callback();
}

struct CFakeConfig::SListener {
  std::string key;
  Json::Value defaultValue;
  IcConfig::CChangeCallback callback;
  std::multiset<std::thread::id> running;
  bool dropped = false;
};

// The per-key callbacks. Shared with their registrations, which may outlive the store.
class CFakeConfig::CListeners {
 public:
  std::shared_ptr<SListener> Add(const std::string& key, const Json::Value& defaultValue,
                                 IcConfig::CChangeCallback callback) EXCLUDES(mMutex)
  {
    auto listener = std::make_shared<SListener>();
    listener->key = key;
    listener->defaultValue = defaultValue;
    listener->callback = std::move(callback);
    CLock lock(mMutex);
    mListeners.push_back(listener);
    return listener;
  }

  // Waits for runs on other threads.
  void Drop(const std::shared_ptr<SListener>& listener) EXCLUDES(mMutex)
  {
    IcConfig::CChangeCallback callback;  // destroyed without the lock
    CLock lock(mMutex);
    listener->dropped = true;
    mListeners.erase(std::remove(mListeners.begin(), mListeners.end(), listener), mListeners.end());
    if (listener->running.count(std::this_thread::get_id()) != 0) return;
    while (!listener->running.empty()) mClock.Wait(lock, mEnded);
    callback = std::move(listener->callback);
  }

  void Tell(const std::string& key, const std::optional<Json::Value>& value) EXCLUDES(mMutex)
  {
    std::vector<std::shared_ptr<SListener>> listeners;
    {
      CLock lock(mMutex);
      listeners = mListeners;
    }
    for (const auto& listener : listeners) {
      if (listener->key == key) Run(*listener, key, value);
    }
  }

 private:
  void Run(SListener& listener, const std::string& key, const std::optional<Json::Value>& value) EXCLUDES(mMutex)
  {
    {
      CLock lock(mMutex);
      if (listener.dropped) return;
      listener.running.insert(std::this_thread::get_id());
    }
    listener.callback(key, value.value_or(listener.defaultValue));
    CLock lock(mMutex);
    listener.running.erase(listener.running.find(std::this_thread::get_id()));
    mClock.NotifyAll(mEnded);
  }

  CRealClock mClock;
  CMutex mMutex;
  CCondition mEnded;  // a run has ended
  std::vector<std::shared_ptr<SListener>> mListeners GUARDED_BY(mMutex);
};

class CFakeConfig::CRegistration : public IcConfig::IRegistration {
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

CFakeConfig::CFakeConfig() : CFakeConfig(SOptions{}) {}

CFakeConfig::CFakeConfig(SOptions options)
    : mMedium(options.medium ? std::move(options.medium) : std::make_shared<CFakeMedium>()),
      mListeners(std::make_shared<CListeners>()),
      mStored(options.stored),
      mSurviving(std::move(options.stored)),
      mDefaults(std::move(options.defaults)),
      mErrorCB(std::move(options.errorCB)),
      mChangeCB(std::move(options.changeCB))
{
  for (const auto& entry : mStored) mUsedBytes += SizeOf(mStored, entry.first);
}

void CFakeConfig::Preset(const std::string& key, const Json::Value& value)
{
  CLock lock(mMutex);
  mUsedBytes -= SizeOf(mStored, key);
  mStored[key] = value;
  mSurviving[key] = value;
  mUsedBytes += SizeOf(mStored, key);
  mReported.erase(key);
}

void CFakeConfig::PresetDefault(const std::string& key, const Json::Value& value)
{
  CLock lock(mMutex);
  mDefaults[key] = value;
  mReported.erase(key);
}

void CFakeConfig::SetCallbacks(IcConfig::CErrorCallback errorCB, IcConfig::CChangeCallback changeCB)
{
  CLock lock(mMutex);
  mErrorCB = std::move(errorCB);
  mChangeCB = std::move(changeCB);
}

CFakeConfig::CState CFakeConfig::GetState() const
{
  CLock lock(mMutex);
  return mStored;
}

CFakeConfig::CState CFakeConfig::GetSurvivingState() const
{
  CLock lock(mMutex);
  return mSurviving;
}

std::optional<Json::Value> CFakeConfig::Effective(const std::string& key) const
{
  const auto stored = mStored.find(key);
  if (stored != mStored.end()) return stored->second;
  const auto packaged = mDefaults.find(key);
  if (packaged != mDefaults.end()) return packaged->second;
  return std::nullopt;
}

std::optional<Json::Value> CFakeConfig::Find(const std::string& key) const
{
  CLock lock(mMutex);
  return Effective(key);
}

void CFakeConfig::ReportBadValue(const std::string& key, const char* expected) const
{
  IcConfig::CErrorCallback callback;
  {
    CLock lock(mMutex);
    const auto value = Effective(key);
    if (!value) return;
    const auto reported = mReported.find(key);
    if (reported != mReported.end() && reported->second == *value) return;
    mReported[key] = *value;
    callback = mErrorCB;
  }
  if (callback) callback("Value of key " + key + " is not " + expected);
}

bool CFakeConfig::GetBool(const std::string& key, bool defaultValue) const
{
  const auto value = Find(key);
  if (!value) return defaultValue;
  if (value->isBool()) return value->asBool();
  ReportBadValue(key, "a boolean");
  return defaultValue;
}

int64_t CFakeConfig::GetInt(const std::string& key, int64_t defaultValue) const
{
  const auto value = Find(key);
  if (!value) return defaultValue;
  if (value->isInt64()) return value->asInt64();
  ReportBadValue(key, "an integer");
  return defaultValue;
}

std::string CFakeConfig::GetString(const std::string& key, const std::string& defaultValue) const
{
  const auto value = Find(key);
  if (!value) return defaultValue;
  if (value->isString()) return value->asString();
  ReportBadValue(key, "a string");
  return defaultValue;
}

Json::Value CFakeConfig::GetJson(const std::string& key, const Json::Value& defaultValue) const
{
  return Find(key).value_or(defaultValue);
}

bool CFakeConfig::HasKey(const std::string& key) const { return Find(key).has_value(); }

std::vector<std::string> CFakeConfig::ListKeys() const
{
  CLock lock(mMutex);
  std::set<std::string> keys;
  for (const auto& entry : mStored) keys.insert(entry.first);
  for (const auto& entry : mDefaults) keys.insert(entry.first);
  return {keys.begin(), keys.end()};
}

uint64_t CFakeConfig::GetUsedBytes() const
{
  CLock lock(mMutex);
  return mUsedBytes;
}

std::shared_ptr<IcConfig::IRegistration> CFakeConfig::RegisterChangeCallback(const std::string& key,
                                                                             const Json::Value& defaultValue,
                                                                             IcConfig::CChangeCallback callback)
{
  return std::make_shared<CRegistration>(mListeners, mListeners->Add(key, defaultValue, std::move(callback)));
}

bool CFakeConfig::SetBool(const std::string& key, bool value) { return Write({{key, Json::Value(value)}}); }

bool CFakeConfig::SetInt(const std::string& key, int64_t value)
{
  return Write({{key, Json::Value(static_cast<Json::Int64>(value))}});
}

bool CFakeConfig::SetString(const std::string& key, const std::string& value)
{
  return Write({{key, Json::Value(value)}});
}

bool CFakeConfig::SetJson(const std::string& key, const Json::Value& value) { return Write({{key, value}}); }

bool CFakeConfig::DeleteKey(const std::string& key)
{
  {
    CLock lock(mMutex);
    if (mStored.count(key) == 0) return false;
  }
  return Write({{key, std::nullopt}});
}

bool CFakeConfig::Apply(const std::vector<std::string>& remove,
                        const std::vector<std::pair<std::string, Json::Value>>& write)
{
  CBatch batch;
  for (const auto& key : remove) batch[key] = std::nullopt;
  for (const auto& entry : write) batch[entry.first] = entry.second;
  return Write(batch);
}

uint64_t CFakeConfig::SizeOf(const CState& state, const std::string& key)
{
  const auto entry = state.find(key);
  return entry == state.end() ? 0 : key.size() + IcConfig::ToJsonText(entry->second).value_or("").size();
}

void CFakeConfig::ApplyTo(CState& state, const CBatch& batch)
{
  for (const auto& step : batch) {
    if (step.second) {
      state[step.first] = *step.second;
    } else {
      state.erase(step.first);
    }
  }
}

// The batch as it reads back (5 and 5u are the same number); empty when a key or value cannot be stored.
std::optional<CFakeConfig::CBatch> CFakeConfig::Normalise(const CBatch& wanted)
{
  CBatch batch;
  for (const auto& step : wanted) {
    if (!IcConfig::IsUtf8(step.first)) return std::nullopt;
    batch[step.first] = std::nullopt;
    if (!step.second) continue;
    const auto text = IcConfig::ToJsonText(*step.second);
    if (!text) return std::nullopt;
    batch[step.first] = IcConfig::ParseJsonText(*text);
  }
  return batch;
}

// Takes the batch over; gives the keys whose value as read has changed.
CFakeConfig::CBatch CFakeConfig::Commit(const CBatch& batch, CFakeMedium::EWrite outcome)
{
  CBatch changes;
  for (const auto& step : batch) {
    changes[step.first] = Effective(step.first);
    mUsedBytes -= SizeOf(mStored, step.first);
  }
  ApplyTo(mStored, batch);
  if (outcome == CFakeMedium::EWrite::EDone) ApplyTo(mSurviving, batch);
  for (const auto& step : batch) {
    mUsedBytes += SizeOf(mStored, step.first);
    const auto now = Effective(step.first);
    const auto change = changes.find(step.first);
    if (change->second == now) {
      changes.erase(change);
    } else {
      change->second = now;
      mReported.erase(step.first);
    }
  }
  return changes;
}

bool CFakeConfig::Write(const CBatch& wanted)
{
  const auto batch = Normalise(wanted);
  if (!batch) return false;
  CBatch changes;
  IcConfig::CChangeCallback changeCB;
  CFakeMedium::EWrite outcome = CFakeMedium::EWrite::EDone;
  {
    CLock lock(mMutex);
    bool changesSomething = false;
    for (const auto& step : *batch) {
      const auto stored = mStored.find(step.first);
      const bool isSame = stored == mStored.end() ? !step.second : step.second && *step.second == stored->second;
      changesSomething = changesSomething || !isSame;
    }
    if (!changesSomething) return true;
    outcome = mMedium->NextWrite();
    if (outcome == CFakeMedium::EWrite::EFailed) return false;
    changes = Commit(*batch, outcome);
    changeCB = mChangeCB;
  }
  if (outcome == CFakeMedium::EWrite::ELost) mMedium->ReportPowerCut();
  for (const auto& change : changes) {
    if (changeCB) changeCB(change.first, change.second.value_or(Json::Value()));
    mListeners->Tell(change.first, change.second);
  }
  return true;
}
