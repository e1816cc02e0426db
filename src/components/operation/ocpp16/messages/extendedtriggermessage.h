#pragma once

#include <cstdint>

#include "src/components/operation/ocpp_common/record.h"

// ExtendedTriggerMessage (OCPP 1.6 security white paper), sent by the backoffice: asks the station to send a message
// now.
namespace Ocpp16::ExtendedTriggerMessage {

#define VALUES(VALUE)                                                 \
  VALUE(0, EBootNotification, "BootNotification")                     \
  VALUE(1, EFirmwareStatusNotification, "FirmwareStatusNotification") \
  VALUE(2, EHeartbeat, "Heartbeat")                                   \
  VALUE(3, ELogStatusNotification, "LogStatusNotification")           \
  VALUE(4, EMeterValues, "MeterValues")                               \
  VALUE(5, ESignChargePointCertificate, "SignChargePointCertificate") \
  VALUE(6, EStatusNotification, "StatusNotification")
OCPP_ENUMERATION(EMessageTrigger, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)           \
  REQUIRED(EMessageTrigger, requestedMessage) \
  OPTIONAL(int64_t, connectorId)
OCPP_RECORD(extendedTriggerMessageRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                         \
  VALUE(0, EAccepted, "Accepted")             \
  VALUE(1, ENotImplemented, "NotImplemented") \
  VALUE(2, ERejected, "Rejected")
OCPP_ENUMERATION(ETriggerMessageStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(ETriggerMessageStatus, status)
OCPP_RECORD(extendedTriggerMessageResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::ExtendedTriggerMessage
