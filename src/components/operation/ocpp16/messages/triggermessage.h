#pragma once

#include <cstdint>

#include "src/components/operation/ocpp_common/record.h"

// TriggerMessage (OCPP 1.6 section 5.17), sent by the backoffice: asks the station to send a message now.
namespace Ocpp16::TriggerMessage {

#define VALUES(VALUE)                                                       \
  VALUE(0, EBootNotification, "BootNotification")                           \
  VALUE(1, EDiagnosticsStatusNotification, "DiagnosticsStatusNotification") \
  VALUE(2, EFirmwareStatusNotification, "FirmwareStatusNotification")       \
  VALUE(3, EHeartbeat, "Heartbeat")                                         \
  VALUE(4, EMeterValues, "MeterValues")                                     \
  VALUE(5, EStatusNotification, "StatusNotification")
OCPP_ENUMERATION(EMessageTrigger, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)           \
  REQUIRED(EMessageTrigger, requestedMessage) \
  OPTIONAL(int64_t, connectorId)
OCPP_RECORD(triggerMessageRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                         \
  VALUE(0, EAccepted, "Accepted")             \
  VALUE(1, ENotImplemented, "NotImplemented") \
  VALUE(2, ERejected, "Rejected")
OCPP_ENUMERATION(ETriggerMessageStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(ETriggerMessageStatus, status)
OCPP_RECORD(triggerMessageResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::TriggerMessage
