#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/icconfig/icconfig.h"
#include "src/components/configkeyinfo.h"

// The single road from the name of a configuration key to its value.
//
// Key names are those of OCPP GetConfiguration and ChangeConfiguration. What a key is and where its value lies comes
// from the metadata; the access right binds the backoffice, not the callers of this interface. Safe from any thread.
// Reads and writes of a key that the metadata lacks, or describes wrongly, raise OcppConfigException.
class IOcppConfigManager {
 public:
  virtual ~IOcppConfigManager() = default;

  // True when the metadata has the key.
  virtual bool HasKey(const std::string& key) const = 0;
  virtual SConfigKeyInfo GetKeyInfo(const std::string& key) const = 0;
  // All known keys with their types, ascending; EUnknown for a key whose metadata is faulty.
  virtual std::map<std::string, EConfigType> GetAllKeys() const = 0;

  // A key without a stored value and without a packaged default reads as false, 0 or the empty text.
  virtual bool ReadBool(const std::string& key) const = 0;
  virtual int64_t ReadInt(const std::string& key) const = 0;
  // Also for CSL keys.
  virtual std::string ReadString(const std::string& key) const = 0;

  // True once the value is stored durably. No check of range or permitted values is made here.
  virtual bool WriteBool(const std::string& key, bool value) = 0;
  virtual bool WriteInt(const std::string& key, int64_t value) = 0;
  virtual bool WriteString(const std::string& key, const std::string& value) = 0;

  // Calls `callback` with `key` and the new value after each later change by whatever process, on a thread of the
  // store. The registration ends with the returned object.
  [[nodiscard]] virtual std::shared_ptr<IcConfig::IRegistration> RegisterChangeCallback(
      const std::string& key, IcConfig::CChangeCallback callback) = 0;

  // True when the station can charge on one phase, so that a charging profile may ask for it.
  virtual bool IsOnePhasePermitted() const = 0;
};
