#include "src/components/ocppconfigmanager.h"

#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/configmetadata.h"
#include "src/components/ocppconfigexception.h"

namespace {

// The value that a change callback hears when a key was removed and has no default.
Json::Value GetEmptyValue(EConfigType type)
{
  switch (type) {
    case EConfigType::EBoolean:
      return Json::Value(false);
    case EConfigType::EInteger:
      return Json::Value(0);
    case EConfigType::EString:
    case EConfigType::ECsl:
      return Json::Value("");
    case EConfigType::EUnknown:
      break;
  }
  return Json::Value();
}

}  // namespace

COcppConfigManager::COcppConfigManager(std::shared_ptr<const IcConfig::IReadOnlyConfig> metadata, SConfigStores stores,
                                       std::shared_ptr<const CPhaseConfig> phaseConfig,
                                       std::shared_ptr<const COcppConfigExtension> extension)
    : mMetadata(std::move(metadata)),
      mPhaseConfig(std::move(phaseConfig)),
      mExtension(std::move(extension)),
      mWritable{{"ocpp", stores.ocpp},
                {"settings", stores.settings},
                {"secrets", stores.secrets},
                {"network", stores.network}},
      mCustom{{"HwOneOrThreePhase", {{}, [this](const SConfigKeyInfo&) { return mPhaseConfig->ReadPhases(); }, {}}},
              {"Meter1EichrechtPublicKey",
               {{},
                {},
                [this](const SConfigKeyInfo& info) {
                  std::string text;
                  mExtension->GetPublicKey(info.mKeyName, text);
                  return text;
                }}}},
      mReadOnly{{"fwinfo", stores.fwinfo}, {"hwinfo", stores.hwinfo}}
{}

void COcppConfigManager::Init()
{
  LOG_ENTRY("COcppConfigManager");
  mKeys.clear();
  for (const std::string& name : mMetadata->ListKeys()) {
    const Json::Value metadata = mMetadata->GetJson(name, Json::Value());
    SKey key;
    if (metadata.isObject()) {
      try {
        key.info = ParseConfigKeyInfo(name, metadata);
      } catch (const CUnknownTypeException& exception) {
        key.fault = exception.what();
        key.isTypeUnknown = true;
      } catch (const OcppConfigException& exception) {
        key.fault = exception.what();
      }
    } else {
      key.isContentMissing = true;
    }
    mKeys.emplace(name, std::move(key));
  }
}

void COcppConfigManager::AddReadOnlyStore(const std::string& file, std::shared_ptr<IcConfig::IReadOnlyConfig> store)
{
  mReadOnly[file] = std::move(store);
}

bool COcppConfigManager::HasKey(const std::string& key) const { return mKeys.count(key) > 0; }

SConfigKeyInfo COcppConfigManager::GetKeyInfo(const std::string& key) const { return FindInfo(key); }

std::map<std::string, EConfigType> COcppConfigManager::GetAllKeys() const
{
  std::map<std::string, EConfigType> keys;
  for (const auto& [name, key] : mKeys) keys.emplace(name, key.info.mType);
  return keys;
}

const COcppConfigManager::SKey& COcppConfigManager::FindKey(const std::string& key) const
{
  const auto it = mKeys.find(key);
  if (it != mKeys.end() && !it->second.isContentMissing) return it->second;
  LOG_ERROR("Configuration key {} is missing in metadata", key);
  if (it == mKeys.end()) throw OcppConfigException("Key is missing in ocpp_meta.json: " + key);
  throw OcppConfigException("Configuration key is missing in metadata: " + key);
}

const SConfigKeyInfo& COcppConfigManager::FindInfo(const std::string& key) const
{
  const SKey& found = FindKey(key);
  if (!found.fault.empty()) throw OcppConfigException(found.fault);
  return found.info;
}

IcConfig::IReadOnlyConfig& COcppConfigManager::FindReader(const std::string& file) const
{
  const auto it = mReadOnly.find(file);
  if (it != mReadOnly.end()) return *it->second;
  return FindWriter(file);
}

IcConfig::IConfig& COcppConfigManager::FindWriter(const std::string& file) const
{
  const auto it = mWritable.find(file);
  if (it != mWritable.end()) return *it->second;
  LOG_WARNING("Unexpected file redirection detected, {}, map to ocpp as default", file);
  return *mWritable.at("ocpp");
}

template <typename TValue, typename TReader, typename TStore>
TValue COcppConfigManager::Read(const std::string& key, TReader SReaders::*reader, TStore store) const
{
  const SConfigKeyInfo& info = FindInfo(key);
  const auto custom = mCustom.find(key);
  if (custom == mCustom.end()) return store(FindReader(info.mFile), info.mKeyName);
  const TReader& read = custom->second.*reader;
  if (!read) throw OcppConfigException("No reader defined for custom key: " + key);
  return read(info);
}

template <typename TStore>
bool COcppConfigManager::Write(const std::string& key, TStore store)
{
  // A type that the metadata does not know leaves no way to write; every other fault is the packager's and is raised.
  const SKey& found = FindKey(key);
  if (found.isTypeUnknown) return false;
  const SConfigKeyInfo& info = FindInfo(key);
  return store(FindWriter(info.mFile), info.mKeyName);
}

bool COcppConfigManager::ReadBool(const std::string& key) const
{
  return Read<bool>(key, &SReaders::readBool, [](const IcConfig::IReadOnlyConfig& store, const std::string& name) {
    return store.GetBool(name, false);
  });
}

int64_t COcppConfigManager::ReadInt(const std::string& key) const
{
  return Read<int64_t>(key, &SReaders::readInt, [](const IcConfig::IReadOnlyConfig& store, const std::string& name) {
    return store.GetInt(name, 0);
  });
}

std::string COcppConfigManager::ReadString(const std::string& key) const
{
  return Read<std::string>(
      key, &SReaders::readString,
      [](const IcConfig::IReadOnlyConfig& store, const std::string& name) { return store.GetString(name, ""); });
}

bool COcppConfigManager::WriteBool(const std::string& key, bool value)
{
  return Write(key, [value](IcConfig::IConfig& store, const std::string& name) { return store.SetBool(name, value); });
}

bool COcppConfigManager::WriteInt(const std::string& key, int64_t value)
{
  return Write(key, [value](IcConfig::IConfig& store, const std::string& name) { return store.SetInt(name, value); });
}

bool COcppConfigManager::WriteString(const std::string& key, const std::string& value)
{
  return Write(key,
               [&value](IcConfig::IConfig& store, const std::string& name) { return store.SetString(name, value); });
}

std::shared_ptr<IcConfig::IRegistration> COcppConfigManager::RegisterChangeCallback(const std::string& key,
                                                                                    IcConfig::CChangeCallback callback)
{
  const SConfigKeyInfo& info = FindInfo(key);
  // The store may call its key by another name than the one that was asked for.
  return FindReader(info.mFile)
      .RegisterChangeCallback(info.mKeyName, GetEmptyValue(info.mType),
                              [key, callback = std::move(callback)](const std::string&, const Json::Value& value) {
                                callback(key, value);
                              });
}

bool COcppConfigManager::IsOnePhasePermitted() const { return mPhaseConfig->IsOnePhasePermitted(); }
