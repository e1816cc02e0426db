#pragma once

#include <cstdint>
#include <string>

#include "src/components/operation/ocpp_common/record.h"

// GetLog (OCPP 1.6 security white paper), sent by the backoffice: asks for an upload of a log.
namespace Ocpp16::GetLog {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL)      \
  REQUIRED(Text<512>, remoteLocation)    \
  OPTIONAL(std::string, oldestTimestamp) \
  OPTIONAL(std::string, latestTimestamp)
OCPP_RECORD(logParametersType, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                         \
  VALUE(0, EDiagnosticsLog, "DiagnosticsLog") \
  VALUE(1, ESecurityLog, "SecurityLog")
OCPP_ENUMERATION(ELogType, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(logParametersType, log)  \
  REQUIRED(ELogType, logType)       \
  REQUIRED(int64_t, requestId)      \
  OPTIONAL(int64_t, retries)        \
  OPTIONAL(int64_t, retryInterval)
OCPP_RECORD(getLogRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                             \
  VALUE(0, EAccepted, "Accepted")                 \
  VALUE(1, EAcceptedCanceled, "AcceptedCanceled") \
  VALUE(2, ERejected, "Rejected")
OCPP_ENUMERATION(ELogStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(ELogStatus, status)      \
  OPTIONAL(Text<255>, filename)
OCPP_RECORD(getLogResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::GetLog
