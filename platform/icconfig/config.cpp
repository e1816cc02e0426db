#include "platform/icconfig/config.h"

#include <algorithm>
#include <set>

#include "platform/icconfig/jsontext.h"
#include "platform/iclogger/log.h"

namespace IcConfig {

class CConfig::CCore {
 public:
  explicit CCore(SOptions options)
      : mDomain(std::move(options.domain)),
        mStore(std::move(options.store)),
        mDefaults(std::move(options.defaults)),
        mErrorCB(std::move(options.errorCB)),
        mListeners(std::make_shared<CListeners>(std::move(options.changeCB))),
        mTold(mStore->GetRevision())
  {
    ReportProblems();
  }

  CListeners& GetListeners() { return *mListeners; }

  // What readers of `key` get. `isRight` says whether a value is of the type asked for; one that is not is reported and
  // left out, as is a stored text that is not JSON.
  std::optional<Json::Value> Find(const std::string& key, const char* type, bool (Json::Value::*isRight)() const)
      EXCLUDES(mMutex)
  {
    auto stored = mStore->Read(key);
    ReportProblems();
    const auto packaged = mDefaults->find(key);
    if (!stored && packaged == mDefaults->end()) return std::nullopt;
    if (!stored) stored = SStoredValue{packaged->second, 0};
    if (stored->value && (!isRight || (*stored->value.*isRight)())) return std::move(stored->value);
    ReportBadValue(key, stored->value ? type : "valid JSON", stored->revision);
    return std::nullopt;
  }

  bool HasKey(const std::string& key)
  {
    const bool isStored = mStore->Read(key).has_value();
    ReportProblems();
    return isStored || mDefaults->count(key) != 0;
  }

  std::vector<std::string> ListKeys()
  {
    const auto stored = mStore->ListKeys();
    ReportProblems();
    std::set<std::string> keys(stored.begin(), stored.end());
    for (const auto& packaged : *mDefaults) keys.insert(packaged.first);
    return {keys.begin(), keys.end()};
  }

  uint64_t GetUsedBytes()
  {
    const uint64_t bytes = mStore->GetUsedBytes();
    ReportProblems();
    return bytes;
  }

  int64_t GetRevision()
  {
    const int64_t revision = mStore->GetRevision();
    ReportProblems();
    return revision;
  }

  // Empty when something cannot be stored.
  std::optional<CBatch> MakeBatch(const std::vector<std::string>& remove,
                                  const std::vector<std::pair<std::string, Json::Value>>& write) const
  {
    CBatch batch;
    for (const auto& key : remove) batch[key] = std::nullopt;
    for (const auto& entry : write) {
      auto text = ToJsonText(entry.second);
      if (!text || !IsUtf8(entry.first)) {
        LOG_ERROR("Value of key {} of configuration domain {} cannot be stored as JSON", entry.first, mDomain);
        return std::nullopt;
      }
      auto value = ParseJsonText(*text);
      batch[entry.first] = SNewValue{std::move(*value), std::move(*text)};
    }
    return batch;
  }

  EWriteResult Write(const CBatch& batch)
  {
    const EWriteResult result = mStore->Write(batch);
    ReportProblems();
    return result;
  }

  // On the watcher's thread. What nobody hears is not read: a queue of messages changes with each of them.
  void TellChanges()
  {
    const auto first = mListeners->GetFirstRevision();
    if (!first) return;
    mTold = std::max(mTold, *first);
    for (;;) {
      const SChanges step = mStore->ReadChanges(mTold);
      ReportProblems();
      if (step.upTo == mTold) return;
      mTold = step.upTo;
      for (const auto& change : step.changes) {
        const auto packaged = mDefaults->find(change.key);
        mListeners->Tell(change, packaged == mDefaults->end() ? std::nullopt : std::optional(packaged->second));
      }
    }
  }

 private:
  void ReportProblems()
  {
    for (const auto& problem : mStore->TakeProblems()) {
      if (mErrorCB) mErrorCB(problem);
    }
  }

  // Each bad value is told once, however often it is read.
  void ReportBadValue(const std::string& key, const char* type, int64_t revision) EXCLUDES(mMutex)
  {
    {
      CLock lock(mMutex);
      const auto [reported, isNew] = mReported.emplace(key, revision);
      if (!isNew && reported->second == revision) return;
      reported->second = revision;
    }
    const std::string text = fmt::format("Value of key {} of configuration domain {} is not {}", key, mDomain, type);
    LOG_ERROR("{}", text);
    if (mErrorCB) mErrorCB(text);
  }

  // Constant after construction.
  const std::string mDomain;
  const std::shared_ptr<IStore> mStore;
  const std::shared_ptr<const CDefaults> mDefaults;
  const CErrorCallback mErrorCB;
  const std::shared_ptr<CListeners> mListeners;

  // Owned by the watcher's thread after construction: the last change that was told, or that nobody wanted to hear.
  int64_t mTold;

  // A leaf.
  CMutex mMutex;
  std::map<std::string, int64_t> mReported GUARDED_BY(mMutex);  // key and revision of bad values
};

CConfig::CConfig(const SOptions& options) : mCore(std::make_shared<CCore>(options))
{
  if (!options.isWatched) return;
  mWatch =
      CChangeWatcher::GetShared()->Watch(options.store->GetWatchedFiles(), [core = mCore] { core->TellChanges(); });
}

CConfig::~CConfig()
{
  mCore->GetListeners().Close();
  mWatch.reset();
}

bool CConfig::GetBool(const std::string& key, bool defaultValue) const
{
  const auto value = mCore->Find(key, "a boolean", &Json::Value::isBool);
  return value ? value->asBool() : defaultValue;
}

int64_t CConfig::GetInt(const std::string& key, int64_t defaultValue) const
{
  const auto value = mCore->Find(key, "an integer", &Json::Value::isInt64);
  return value ? value->asInt64() : defaultValue;
}

std::string CConfig::GetString(const std::string& key, const std::string& defaultValue) const
{
  const auto value = mCore->Find(key, "a string", &Json::Value::isString);
  return value ? value->asString() : defaultValue;
}

Json::Value CConfig::GetJson(const std::string& key, const Json::Value& defaultValue) const
{
  return mCore->Find(key, "valid JSON", nullptr).value_or(defaultValue);
}

bool CConfig::HasKey(const std::string& key) const { return mCore->HasKey(key); }

std::vector<std::string> CConfig::ListKeys() const { return mCore->ListKeys(); }

uint64_t CConfig::GetUsedBytes() const { return mCore->GetUsedBytes(); }

std::shared_ptr<IRegistration> CConfig::RegisterChangeCallback(const std::string& key, const Json::Value& defaultValue,
                                                               CChangeCallback callback)
{
  auto registration = mCore->GetListeners().Add(key, defaultValue, std::move(callback), mCore->GetRevision());
  // For a change that came in between, whose event found nobody listening.
  if (mWatch) mWatch->Wake();
  return registration;
}

bool CConfig::SetBool(const std::string& key, bool value) { return SetJson(key, Json::Value(value)); }

bool CConfig::SetInt(const std::string& key, int64_t value)
{
  return SetJson(key, Json::Value(static_cast<Json::Int64>(value)));
}

bool CConfig::SetString(const std::string& key, const std::string& value) { return SetJson(key, Json::Value(value)); }

bool CConfig::SetJson(const std::string& key, const Json::Value& value) { return Apply({}, {{key, value}}); }

bool CConfig::DeleteKey(const std::string& key) { return Write({{key, std::nullopt}}) == EWriteResult::EWritten; }

bool CConfig::Apply(const std::vector<std::string>& remove,
                    const std::vector<std::pair<std::string, Json::Value>>& write)
{
  const auto batch = mCore->MakeBatch(remove, write);
  return batch && Write(*batch) != EWriteResult::EFailed;
}

EWriteResult CConfig::Write(const CBatch& batch)
{
  const EWriteResult result = mCore->Write(batch);
  if (result == EWriteResult::EWritten && mWatch) mWatch->Wake();
  return result;
}

}  // namespace IcConfig
