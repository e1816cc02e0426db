#pragma once

#include <cstdint>
#include <string>

#include "src/components/operation/ocpp_common/record.h"

// BootNotification (OCPP 1.6 section 4.2), sent by the station: the station registers with a backoffice.
namespace Ocpp16::BootNotification {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL)           \
  REQUIRED(Text<20>, chargePointVendor)       \
  REQUIRED(Text<20>, chargePointModel)        \
  OPTIONAL(Text<25>, chargePointSerialNumber) \
  OPTIONAL(Text<25>, chargeBoxSerialNumber)   \
  OPTIONAL(Text<50>, firmwareVersion)         \
  OPTIONAL(Text<20>, iccid)                   \
  OPTIONAL(Text<20>, imsi)                    \
  OPTIONAL(Text<25>, meterType)               \
  OPTIONAL(Text<25>, meterSerialNumber)
OCPP_RECORD(bootNotificationRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, EPending, "Pending")   \
  VALUE(2, ERejected, "Rejected")
OCPP_ENUMERATION(ERegistrationStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)     \
  REQUIRED(ERegistrationStatus, status) \
  REQUIRED(std::string, currentTime)    \
  REQUIRED(int64_t, interval)
OCPP_RECORD(bootNotificationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::BootNotification
