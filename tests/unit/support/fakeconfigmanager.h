#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/ocppconfigexception.h"

// An IOcppConfigManager whose keys and values a test sets. Safe from any thread.
//
// A key exists once it was set or defined; a read of any other raises OcppConfigException, as the real one does. A
// write changes the value and notifies when it differs, on the calling thread.
class CFakeOcppConfigManager : public IOcppConfigManager {
 public:
  // Puts a key with its value in place and notifies. The type follows the operation unless Define said otherwise.
  void SetBool(const std::string& key, bool value) { Set(key, Json::Value(value), EConfigType::EBoolean); }
  void SetInt(const std::string& key, int64_t value)
  {
    Set(key, Json::Value(static_cast<Json::Int64>(value)), EConfigType::EInteger);
  }
  void SetString(const std::string& key, const std::string& value)
  {
    Set(key, Json::Value(value), EConfigType::EString);
  }
  // Gives a key its metadata; the value stays, or starts as false, 0 or empty.
  void Define(const std::string& key, const SConfigKeyInfo& info)
  {
    CLock lock(mMutex);
    mKeys[key].info = info;
    if (info.mKeyName.empty()) mKeys[key].info.mKeyName = key;
  }
  void Remove(const std::string& key)
  {
    CLock lock(mMutex);
    mKeys.erase(key);
  }
  // Lets GetKeyInfo of `key` raise OcppConfigException with `text`, as faulty metadata does.
  void BreakKey(const std::string& key, const std::string& text)
  {
    CLock lock(mMutex);
    mKeys[key].fault = text;
  }
  // From here on writes give false and change nothing.
  void FailWrites(bool fail)
  {
    CLock lock(mMutex);
    mFailWrites = fail;
  }
  void PermitOnePhase(bool permitted)
  {
    CLock lock(mMutex);
    mOnePhasePermitted = permitted;
  }
  // The keys written through the interface, in order.
  std::vector<std::string> GetWrites() const
  {
    CLock lock(mMutex);
    return mWrites;
  }

  bool HasKey(const std::string& key) const override
  {
    CLock lock(mMutex);
    return mKeys.count(key) > 0;
  }
  SConfigKeyInfo GetKeyInfo(const std::string& key) const override
  {
    CLock lock(mMutex);
    return Find(key).info;
  }
  std::map<std::string, EConfigType> GetAllKeys() const override
  {
    CLock lock(mMutex);
    std::map<std::string, EConfigType> keys;
    for (const auto& [key, entry] : mKeys) {
      keys[key] = entry.fault.empty() ? entry.info.mType : EConfigType::EUnknown;
    }
    return keys;
  }

  bool ReadBool(const std::string& key) const override { return Read(key).asBool(); }
  int64_t ReadInt(const std::string& key) const override { return Read(key).asInt64(); }
  std::string ReadString(const std::string& key) const override { return Read(key).asString(); }

  bool WriteBool(const std::string& key, bool value) override { return Write(key, Json::Value(value)); }
  bool WriteInt(const std::string& key, int64_t value) override
  {
    return Write(key, Json::Value(static_cast<Json::Int64>(value)));
  }
  bool WriteString(const std::string& key, const std::string& value) override { return Write(key, Json::Value(value)); }

  std::shared_ptr<IcConfig::IRegistration> RegisterChangeCallback(const std::string& key,
                                                                  IcConfig::CChangeCallback callback) override
  {
    CLock lock(mMutex);
    Find(key);
    auto registration = std::make_shared<CRegistration>();
    registration->key = key;
    registration->callback = std::move(callback);
    mRegistrations.push_back(registration);
    return registration;
  }

  bool IsOnePhasePermitted() const override
  {
    CLock lock(mMutex);
    return mOnePhasePermitted;
  }

 private:
  struct CRegistration : IcConfig::IRegistration {
    std::string key;
    IcConfig::CChangeCallback callback;
  };
  struct SEntry {
    SConfigKeyInfo info;
    Json::Value value;
    std::string fault;
  };

  void Set(const std::string& key, const Json::Value& value, EConfigType type)
  {
    {
      CLock lock(mMutex);
      SEntry& entry = mKeys[key];
      if (entry.info.mType == EConfigType::EUnknown) {
        entry.info.mType = type;
        entry.info.mAccess = EConfigAccess::EReadWrite;
        entry.info.mKeyName = key;
      }
    }
    Store(key, value);
  }

  bool Write(const std::string& key, const Json::Value& value)
  {
    {
      CLock lock(mMutex);
      Find(key);
      if (mFailWrites) return false;
      mWrites.push_back(key);
    }
    Store(key, value);
    return true;
  }

  void Store(const std::string& key, const Json::Value& value)
  {
    std::vector<std::shared_ptr<CRegistration>> toCall;
    {
      CLock lock(mMutex);
      SEntry& entry = mKeys[key];
      if (entry.value == value) return;
      entry.value = value;
      for (const auto& weak : mRegistrations) {
        if (auto registration = weak.lock(); registration && registration->key == key) toCall.push_back(registration);
      }
    }
    for (const auto& registration : toCall) registration->callback(key, value);
  }

  Json::Value Read(const std::string& key) const
  {
    CLock lock(mMutex);
    return Find(key).value;
  }

  const SEntry& Find(const std::string& key) const REQUIRES(mMutex)
  {
    const auto it = mKeys.find(key);
    if (it == mKeys.end()) throw OcppConfigException("Key is missing in ocpp_meta.json: " + key);
    if (!it->second.fault.empty()) throw OcppConfigException(it->second.fault);
    return it->second;
  }

  mutable CMutex mMutex;
  std::map<std::string, SEntry> mKeys GUARDED_BY(mMutex);
  std::vector<std::weak_ptr<CRegistration>> mRegistrations GUARDED_BY(mMutex);
  std::vector<std::string> mWrites GUARDED_BY(mMutex);
  bool mFailWrites GUARDED_BY(mMutex){false};
  bool mOnePhasePermitted GUARDED_BY(mMutex){true};
};
