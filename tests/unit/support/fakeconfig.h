#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/clock/realclock.h"
#include "platform/icconfig/icconfig.h"

// The medium under one or several CFakeConfig: counts their writes, fails them, cuts the power under all of them at
// once.
//
// A write is one call that changes something: SetX, DeleteKey or Apply. Writing the present value again or deleting an
// absent key is none. Thread-safe.
class CFakeMedium {
 public:
  enum class EWrite { EDone, EFailed, ELost };

  // Fails the n-th write from now on (1 = the next one): it returns false and changes nothing.
  void FailWrite(uint64_t n);
  // Fails every write until called with false.
  void FailAllWrites(bool fail);
  // The power goes after the n-th write from now on (0 = at once): later writes still look done to whoever makes them,
  // but are missing in CFakeConfig::GetSurvivingState. It does not come back. `callback` runs once, when the first
  // write is lost, on the writing thread, without a lock.
  void CutPowerAfterWrite(uint64_t n, std::function<void()> callback = {});
  bool IsPowerCut() const;
  // Writes that were attempted so far, failed and lost ones included.
  uint64_t GetWriteCount() const;

 private:
  friend class CFakeConfig;
  EWrite NextWrite() EXCLUDES(mMutex);
  // Runs the callback of CutPowerAfterWrite if it is due.
  void ReportPowerCut() EXCLUDES(mMutex);

  mutable CMutex mMutex;
  uint64_t mWriteCount GUARDED_BY(mMutex) = 0;
  std::map<uint64_t, bool> mFailing GUARDED_BY(mMutex);  // by number of the write
  bool mFailAll GUARDED_BY(mMutex) = false;
  std::optional<uint64_t> mLastDurable GUARDED_BY(mMutex);
  bool mPowerCut GUARDED_BY(mMutex) = false;
  std::function<void()> mPowerCutCB GUARDED_BY(mMutex);
};

// IConfig in memory. Deterministic: change callbacks run on the writing thread, after its lock is released and before
// the write returns. Everything else is as IConfig says; one behaviour suite runs on this class and on the real stores.
class CFakeConfig : public IcConfig::IConfig {
 public:
  using CState = std::map<std::string, Json::Value>;

  struct SOptions {
    CState stored;    // what a former life left behind
    CState defaults;  // the packaged default document
    IcConfig::CErrorCallback errorCB;
    IcConfig::CChangeCallback changeCB;
    std::shared_ptr<CFakeMedium> medium;  // own one when empty
  };

  CFakeConfig();
  explicit CFakeConfig(SOptions options);

  // Puts a stored value or a packaged default in place: no write is counted, nobody is told.
  void Preset(const std::string& key, const Json::Value& value);
  void PresetDefault(const std::string& key, const Json::Value& value);
  // Replaces the callbacks given by the options.
  void SetCallbacks(IcConfig::CErrorCallback errorCB, IcConfig::CChangeCallback changeCB);
  CFakeMedium& GetMedium() { return *mMedium; }
  // All stored values, as the running process sees them.
  CState GetState() const;
  // The stored values that a process finds after the power cut (without one: all). Put it into SOptions::stored.
  CState GetSurvivingState() const;

  bool GetBool(const std::string& key, bool defaultValue) const override;
  int64_t GetInt(const std::string& key, int64_t defaultValue) const override;
  std::string GetString(const std::string& key, const std::string& defaultValue) const override;
  Json::Value GetJson(const std::string& key, const Json::Value& defaultValue) const override;
  bool HasKey(const std::string& key) const override;
  std::vector<std::string> ListKeys() const override;
  uint64_t GetUsedBytes() const override;
  std::shared_ptr<IcConfig::IRegistration> RegisterChangeCallback(const std::string& key,
                                                                  const Json::Value& defaultValue,
                                                                  IcConfig::CChangeCallback callback) override;
  bool SetBool(const std::string& key, bool value) override;
  bool SetInt(const std::string& key, int64_t value) override;
  bool SetString(const std::string& key, const std::string& value) override;
  bool SetJson(const std::string& key, const Json::Value& value) override;
  bool DeleteKey(const std::string& key) override;
  bool Apply(const std::vector<std::string>& remove,
             const std::vector<std::pair<std::string, Json::Value>>& write) override;

 private:
  struct SListener;
  class CListeners;
  class CRegistration;
  using CBatch = std::map<std::string, std::optional<Json::Value>>;

  std::optional<Json::Value> Find(const std::string& key) const EXCLUDES(mMutex);
  void ReportBadValue(const std::string& key, const char* expected) const EXCLUDES(mMutex);
  bool Write(const CBatch& batch) EXCLUDES(mMutex);
  static void ApplyTo(CState& state, const CBatch& batch);
  static uint64_t SizeOf(const CState& state, const std::string& key);
  static std::optional<CBatch> Normalise(const CBatch& wanted);
  CBatch Commit(const CBatch& batch, CFakeMedium::EWrite outcome) REQUIRES(mMutex);
  // What a reader of `key` gets; empty when neither stored nor packaged.
  std::optional<Json::Value> Effective(const std::string& key) const REQUIRES(mMutex);

  const std::shared_ptr<CFakeMedium> mMedium;
  const std::shared_ptr<CListeners> mListeners;

  mutable CMutex mMutex;
  CState mStored GUARDED_BY(mMutex);
  CState mSurviving GUARDED_BY(mMutex);
  CState mDefaults GUARDED_BY(mMutex);
  uint64_t mUsedBytes GUARDED_BY(mMutex) = 0;
  IcConfig::CErrorCallback mErrorCB GUARDED_BY(mMutex);
  IcConfig::CChangeCallback mChangeCB GUARDED_BY(mMutex);
  mutable std::map<std::string, Json::Value> mReported GUARDED_BY(mMutex);  // bad values that were told
};
