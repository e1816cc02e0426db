#pragma once

#include <cstdint>
#include <memory>

#include "platform/icconfig/icconfig.h"

// How many phases the station is wired for, and what follows for charging profiles. Safe from any thread.
class CPhaseConfig {
 public:
  // `hwInfo` says how the station is wired, `ocpp` whether it can switch phases.
  CPhaseConfig(std::shared_ptr<const IcConfig::IReadOnlyConfig> hwInfo,
               std::shared_ptr<const IcConfig::IReadOnlyConfig> ocpp);

  // 1 or 3, 1 when the hardware description says nothing. Any other value raises OcppConfigException.
  int64_t ReadPhases() const;
  // True on a station with one phase, and on one with three that can switch to one while it charges
  // ("ConnectorSwitch3to1PhaseSupported", OCPP 1.6 section 9.4). Raises as ReadPhases does.
  bool IsOnePhasePermitted() const;

 private:
  const std::shared_ptr<const IcConfig::IReadOnlyConfig> mHwInfo;
  const std::shared_ptr<const IcConfig::IReadOnlyConfig> mOcpp;
};
