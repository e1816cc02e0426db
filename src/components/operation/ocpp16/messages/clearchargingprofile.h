#pragma once

#include <cstdint>

#include "src/components/operation/ocpp16/messages/chargingprofilecommon.h"
#include "src/components/operation/ocpp_common/record.h"

// ClearChargingProfile (OCPP 1.6 section 5.5), sent by the backoffice: removes charging profiles.
namespace Ocpp16::ClearChargingProfile {

#define MEMBERS(REQUIRED, OPTIONAL)                                                \
  OPTIONAL(int64_t, id)                                                            \
  OPTIONAL(int64_t, connectorId)                                                   \
  OPTIONAL(ChargingProfileCommon::EChargingProfilePurpose, chargingProfilePurpose) \
  OPTIONAL(int64_t, stackLevel)
OCPP_RECORD(clearChargingProfileRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, EUnknown, "Unknown")
OCPP_ENUMERATION(EClearChargingProfileStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EClearChargingProfileStatus, status)
OCPP_RECORD(clearChargingProfileResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::ClearChargingProfile
