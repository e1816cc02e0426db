#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/icconfig/changewatcher.h"
#include "platform/icconfig/icconfig.h"
#include "platform/icconfig/listeners.h"
#include "platform/icconfig/store.h"

namespace IcConfig {

// An opened domain: typed access to a store over the packaged defaults, and its change callbacks.
class CConfig : public IConfig {
 public:
  struct SOptions {
    std::string domain;  // for texts
    std::shared_ptr<IStore> store;
    std::shared_ptr<const CDefaults> defaults;
    CErrorCallback errorCB;
    CChangeCallback changeCB;
    bool isWatched = true;  // changes are followed
  };

  explicit CConfig(const SOptions& options);
  // No callback runs any more when it returns, but for the one that it is called from.
  ~CConfig() override;
  CConfig(const CConfig&) = delete;
  CConfig& operator=(const CConfig&) = delete;

  bool GetBool(const std::string& key, bool defaultValue) const override;
  int64_t GetInt(const std::string& key, int64_t defaultValue) const override;
  std::string GetString(const std::string& key, const std::string& defaultValue) const override;
  Json::Value GetJson(const std::string& key, const Json::Value& defaultValue) const override;
  bool HasKey(const std::string& key) const override;
  std::vector<std::string> ListKeys() const override;
  uint64_t GetUsedBytes() const override;
  std::shared_ptr<IRegistration> RegisterChangeCallback(const std::string& key, const Json::Value& defaultValue,
                                                        CChangeCallback callback) override;
  bool SetBool(const std::string& key, bool value) override;
  bool SetInt(const std::string& key, int64_t value) override;
  bool SetString(const std::string& key, const std::string& value) override;
  bool SetJson(const std::string& key, const Json::Value& value) override;
  bool DeleteKey(const std::string& key) override;
  bool Apply(const std::vector<std::string>& remove,
             const std::vector<std::pair<std::string, Json::Value>>& write) override;

 private:
  class CCore;

  EWriteResult Write(const CBatch& batch);

  // Shared with the watcher's thread, which may be in a callback that drops this object.
  const std::shared_ptr<CCore> mCore;
  std::shared_ptr<CChangeWatcher::IWatch> mWatch;
};

}  // namespace IcConfig
