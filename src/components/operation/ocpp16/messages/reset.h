#pragma once

#include "src/components/operation/ocpp_common/record.h"

// Reset (OCPP 1.6 section 5.14), sent by the backoffice: asks the station to restart.
namespace Ocpp16::Reset {

#define VALUES(VALUE)     \
  VALUE(0, EHard, "Hard") \
  VALUE(1, ESoft, "Soft")
OCPP_ENUMERATION(EResetType, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EResetType, type)
OCPP_RECORD(resetRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, ERejected, "Rejected")
OCPP_ENUMERATION(EResetStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EResetStatus, status)
OCPP_RECORD(resetResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::Reset
