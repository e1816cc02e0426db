#pragma once

#include <cstdint>
#include <string>

#include "src/components/operation/ocpp_common/record.h"

// GetDiagnostics (OCPP 1.6 section 5.9), sent by the backoffice: asks for an upload of diagnostics.
namespace Ocpp16::GetDiagnostics {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(std::string, location)   \
  OPTIONAL(int64_t, retries)        \
  OPTIONAL(int64_t, retryInterval)  \
  OPTIONAL(std::string, startTime)  \
  OPTIONAL(std::string, stopTime)
OCPP_RECORD(getDiagnosticsRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) OPTIONAL(Text<255>, fileName)
OCPP_RECORD(getDiagnosticsResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::GetDiagnostics
