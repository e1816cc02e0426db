#pragma once

#include <cstdint>
#include <string>

#include "src/components/operation/ocpp_common/record.h"

// A message that exists in tests only.
namespace Fake::Echo {

using OcppRecord::Text;

#define VALUES(VALUE)             \
  VALUE(0, EAccepted, "Accepted") \
  VALUE(1, ERejected, "Rejected")
OCPP_ENUMERATION(EStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(Text<5>, word)           \
  OPTIONAL(int64_t, transactionId)
OCPP_RECORD(echoRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(EStatus, status)         \
  OPTIONAL(std::string, echo)
OCPP_RECORD(echoResponse, MEMBERS)
#undef MEMBERS

}  // namespace Fake::Echo
