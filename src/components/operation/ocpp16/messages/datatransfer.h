#pragma once

#include <string>

#include "src/components/operation/ocpp_common/record.h"

// DataTransfer (OCPP 1.6 sections 4.3 and 5.6), sent by the backoffice: vendor-specific data.
namespace Ocpp16::DataTransfer {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(Text<255>, vendorId)     \
  OPTIONAL(Text<50>, messageId)     \
  OPTIONAL(std::string, data)
OCPP_RECORD(dataTransferRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                             \
  VALUE(0, EAccepted, "Accepted")                 \
  VALUE(1, ERejected, "Rejected")                 \
  VALUE(2, EUnknownMessageId, "UnknownMessageId") \
  VALUE(3, EUnknownVendorId, "UnknownVendorId")
OCPP_ENUMERATION(EDataTransferStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)     \
  REQUIRED(EDataTransferStatus, status) \
  OPTIONAL(std::string, data)
OCPP_RECORD(dataTransferResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::DataTransfer
