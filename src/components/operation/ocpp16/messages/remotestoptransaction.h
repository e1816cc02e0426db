#pragma once

#include <cstdint>

#include "src/components/operation/ocpp_common/record.h"

// RemoteStopTransaction (OCPP 1.6 section 5.12), sent by the backoffice: asks the station to stop a charge.
namespace Ocpp16::RemoteStopTransaction {

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(int64_t, transactionId)
OCPP_RECORD(remoteStopTransactionRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, ERejected, "Rejected")
OCPP_ENUMERATION(ERemoteStartStopStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(ERemoteStartStopStatus, status)
OCPP_RECORD(remoteStopTransactionResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::RemoteStopTransaction
