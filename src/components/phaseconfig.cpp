#include "src/components/phaseconfig.h"

#include <utility>

#include "src/components/ocppconfigexception.h"

CPhaseConfig::CPhaseConfig(std::shared_ptr<const IcConfig::IReadOnlyConfig> hwInfo,
                           std::shared_ptr<const IcConfig::IReadOnlyConfig> ocpp)
    : mHwInfo(std::move(hwInfo)), mOcpp(std::move(ocpp))
{}

int64_t CPhaseConfig::ReadPhases() const
{
  const int64_t phases = mHwInfo->GetInt("HwOneOrThreePhase", 1);
  if (phases != 1 && phases != 3) throw OcppConfigException("Invalid phase amount: " + std::to_string(phases));
  return phases;
}

bool CPhaseConfig::IsOnePhasePermitted() const
{
  return ReadPhases() == 1 || mOcpp->GetBool("ConnectorSwitch3to1PhaseSupported", false);
}
