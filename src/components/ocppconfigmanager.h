#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "src/components/iocppconfigmanager.h"
#include "src/components/ocppconfigextension.h"
#include "src/components/phaseconfig.h"

// Where the values of configuration keys lie, by the name that the metadata calls the store.
struct SConfigStores {
  std::shared_ptr<IcConfig::IConfig> ocpp;  // also for any other name, with a warning
  std::shared_ptr<IcConfig::IConfig> settings;
  std::shared_ptr<IcConfig::IConfig> secrets;
  std::shared_ptr<IcConfig::IConfig> network;
  std::shared_ptr<IcConfig::IReadOnlyConfig> fwinfo;
  std::shared_ptr<IcConfig::IReadOnlyConfig> hwinfo;
};

// The keys are read from the metadata once, by Init; from then on a lookup costs no parsing. Two keys have a reader of
// their own instead of a store: "HwOneOrThreePhase" and "Meter1EichrechtPublicKey".
class COcppConfigManager : public IOcppConfigManager {
 public:
  COcppConfigManager(std::shared_ptr<const IcConfig::IReadOnlyConfig> metadata, SConfigStores stores,
                     std::shared_ptr<const CPhaseConfig> phaseConfig,
                     std::shared_ptr<const COcppConfigExtension> extension);

  // Both are called before any other thread knows the object.
  void Init();
  // Lets the metadata name a further store, for keys whose values belong to another part of the station. Reads only;
  // a write goes to "ocpp" with the same warning as for an unknown store.
  void AddReadOnlyStore(const std::string& file, std::shared_ptr<IcConfig::IReadOnlyConfig> store);

  bool HasKey(const std::string& key) const override;
  SConfigKeyInfo GetKeyInfo(const std::string& key) const override;
  std::map<std::string, EConfigType> GetAllKeys() const override;
  bool ReadBool(const std::string& key) const override;
  int64_t ReadInt(const std::string& key) const override;
  std::string ReadString(const std::string& key) const override;
  bool WriteBool(const std::string& key, bool value) override;
  bool WriteInt(const std::string& key, int64_t value) override;
  bool WriteString(const std::string& key, const std::string& value) override;
  std::shared_ptr<IcConfig::IRegistration> RegisterChangeCallback(const std::string& key,
                                                                  IcConfig::CChangeCallback callback) override;
  bool IsOnePhasePermitted() const override;

 private:
  // What the metadata says of one key, or why it cannot be understood.
  struct SKey {
    SConfigKeyInfo info;
    std::string fault;
    bool isContentMissing{false};
    bool isTypeUnknown{false};
  };
  // The readers of a custom key; the types that it does not have are empty.
  struct SReaders {
    std::function<bool(const SConfigKeyInfo&)> readBool;
    std::function<int64_t(const SConfigKeyInfo&)> readInt;
    std::function<std::string(const SConfigKeyInfo&)> readString;
  };

  const SKey& FindKey(const std::string& key) const;
  const SConfigKeyInfo& FindInfo(const std::string& key) const;
  IcConfig::IReadOnlyConfig& FindReader(const std::string& file) const;
  IcConfig::IConfig& FindWriter(const std::string& file) const;
  // One typed read: the custom reader or the store.
  template <typename TValue, typename TReader, typename TStore>
  TValue Read(const std::string& key, TReader SReaders::*reader, TStore store) const;
  template <typename TStore>
  bool Write(const std::string& key, TStore store);

  // Constant after construction.
  const std::shared_ptr<const IcConfig::IReadOnlyConfig> mMetadata;
  const std::shared_ptr<const CPhaseConfig> mPhaseConfig;
  const std::shared_ptr<const COcppConfigExtension> mExtension;
  const std::map<std::string, std::shared_ptr<IcConfig::IConfig>> mWritable;
  const std::map<std::string, SReaders> mCustom;
  // Constant after Init and AddReadOnlyStore.
  std::map<std::string, std::shared_ptr<IcConfig::IReadOnlyConfig>> mReadOnly;
  std::map<std::string, SKey> mKeys;
};
