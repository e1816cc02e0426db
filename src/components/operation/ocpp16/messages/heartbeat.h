#pragma once

#include <string>

#include "src/components/operation/ocpp_common/record.h"

// Heartbeat (OCPP 1.6 section 4.6), sent by the station: the station is still there.
namespace Ocpp16::Heartbeat {

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(heartbeatRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(std::string, currentTime)
OCPP_RECORD(heartbeatResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::Heartbeat
