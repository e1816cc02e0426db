#pragma once

#include <cstdint>

#include "src/components/operation/ocpp_common/record.h"

// UnlockConnector (OCPP 1.6 section 5.18), sent by the backoffice: asks the station to release the plug.
namespace Ocpp16::UnlockConnector {

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(int64_t, connectorId)
OCPP_RECORD(unlockConnectorRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                     \
  VALUE(0, ENotSupported, "NotSupported") \
  VALUE(1, EUnlockFailed, "UnlockFailed") \
  VALUE(2, EUnlocked, "Unlocked")
OCPP_ENUMERATION(EUnlockStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EUnlockStatus, status)
OCPP_RECORD(unlockConnectorResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::UnlockConnector
