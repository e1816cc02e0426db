#pragma once

#include <cstdint>
#include <string>

#include "src/components/operation/ocpp_common/record.h"

// UpdateFirmware (OCPP 1.6 section 5.19), sent by the backoffice: asks the station to fetch and install firmware.
namespace Ocpp16::UpdateFirmware {

#define MEMBERS(REQUIRED, OPTIONAL)   \
  REQUIRED(std::string, location)     \
  OPTIONAL(int64_t, retries)          \
  REQUIRED(std::string, retrieveDate) \
  OPTIONAL(int64_t, retryInterval)
OCPP_RECORD(updateFirmwareRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(updateFirmwareResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::UpdateFirmware
