#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/icconfig/icconfig.h"

// Configuration values that no store holds in the form in which the backoffice asks for them. Safe from any thread.
class COcppConfigExtension {
 public:
  // `fwUpdate` belongs to the update process; `hwInfo` says what the station is equipped with. `keyDirectory` holds the
  // public keys that the station's TPM gave away.
  COcppConfigExtension(std::shared_ptr<const IcConfig::IReadOnlyConfig> fwUpdate,
                       std::shared_ptr<const IcConfig::IReadOnlyConfig> hwInfo, std::string keyDirectory = "/etc/tpm/");

  // Gives the text of the file "<keyName>.pub.pem". False, with `output` empty, unless the station has both a TPM and
  // the laser marking that calibration law asks for, and when the file cannot be read (logged at error level).
  bool GetPublicKey(const std::string& keyName, std::string& output) const;
  // "FwUpdateState" as the update process sees it; 0 when it has none.
  int64_t GetFwUpdateState() const;

 private:
  const std::shared_ptr<const IcConfig::IReadOnlyConfig> mFwUpdate;
  const std::shared_ptr<const IcConfig::IReadOnlyConfig> mHwInfo;
  const std::string mKeyDirectory;
};
