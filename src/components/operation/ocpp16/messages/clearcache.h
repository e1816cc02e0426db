#pragma once

#include "src/components/operation/ocpp_common/record.h"

// ClearCache (OCPP 1.6 section 5.4), sent by the backoffice: empties the authorization cache.
namespace Ocpp16::ClearCache {

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(clearCacheRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, ERejected, "Rejected")
OCPP_ENUMERATION(EClearCacheStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EClearCacheStatus, status)
OCPP_RECORD(clearCacheResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::ClearCache
