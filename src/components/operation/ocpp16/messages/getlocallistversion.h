#pragma once

#include <cstdint>

#include "src/components/operation/ocpp_common/record.h"

// GetLocalListVersion (OCPP 1.6 section 5.10), sent by the backoffice: asks for the version of the local authorization
// list.
namespace Ocpp16::GetLocalListVersion {

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(getLocalListVersionRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(int64_t, listVersion)
OCPP_RECORD(getLocalListVersionResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::GetLocalListVersion
