#pragma once

#include <string>

#include "src/components/operation/ocpp_common/record.h"

// SecurityEventNotification (OCPP 1.6 security white paper), sent by the station: a security event of the station.
namespace Ocpp16::SecurityEventNotification {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(Text<50>, type)          \
  REQUIRED(std::string, timestamp)  \
  OPTIONAL(Text<255>, techInfo)
OCPP_RECORD(securityEventNotificationRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(securityEventNotificationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::SecurityEventNotification
