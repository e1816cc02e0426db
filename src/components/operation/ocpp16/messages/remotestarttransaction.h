#pragma once

#include <cstdint>

#include "src/components/operation/ocpp16/messages/chargingprofilecommon.h"
#include "src/components/operation/ocpp_common/record.h"

// RemoteStartTransaction (OCPP 1.6 section 5.11), sent by the backoffice: asks the station to start a charge.
namespace Ocpp16::RemoteStartTransaction {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) \
  OPTIONAL(int64_t, connectorId)    \
  REQUIRED(Text<20>, idTag)         \
  OPTIONAL(ChargingProfileCommon::csChargingProfiles, chargingProfile)
OCPP_RECORD(remoteStartTransactionRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, ERejected, "Rejected")
OCPP_ENUMERATION(ERemoteStartStopStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(ERemoteStartStopStatus, status)
OCPP_RECORD(remoteStartTransactionResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::RemoteStartTransaction
