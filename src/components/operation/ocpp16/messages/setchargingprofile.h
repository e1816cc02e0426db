#pragma once

#include <cstdint>

#include "src/components/operation/ocpp16/messages/chargingprofilecommon.h"
#include "src/components/operation/ocpp_common/record.h"

// SetChargingProfile (OCPP 1.6 section 5.16), sent by the backoffice: installs a charging profile.
namespace Ocpp16::SetChargingProfile {

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(int64_t, connectorId)    \
  REQUIRED(ChargingProfileCommon::csChargingProfiles, csChargingProfiles)
OCPP_RECORD(setChargingProfileRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                     \
  VALUE(0, EAccepted, "Accepted")         \
  VALUE(1, ENotSupported, "NotSupported") \
  VALUE(2, ERejected, "Rejected")
OCPP_ENUMERATION(EChargingProfileStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EChargingProfileStatus, status)
OCPP_RECORD(setChargingProfileResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::SetChargingProfile
