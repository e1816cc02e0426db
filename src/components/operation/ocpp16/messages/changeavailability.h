#pragma once

#include <cstdint>

#include "src/components/operation/ocpp_common/record.h"

// ChangeAvailability (OCPP 1.6 section 5.2), sent by the backoffice: takes a connector, or the station as connector 0,
// in or out of service.
namespace Ocpp16::ChangeAvailability {

#define VALUES(VALUE)                   \
  VALUE(0, EInoperative, "Inoperative") \
  VALUE(1, EOperative, "Operative")
OCPP_ENUMERATION(EAvailabilityType, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(int64_t, connectorId)    \
  REQUIRED(EAvailabilityType, type)
OCPP_RECORD(changeAvailabilityRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, ERejected, "Rejected") \
  VALUE(2, EScheduled, "Scheduled")
OCPP_ENUMERATION(EAvailabilityStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EAvailabilityStatus, status)
OCPP_RECORD(changeAvailabilityResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::ChangeAvailability
