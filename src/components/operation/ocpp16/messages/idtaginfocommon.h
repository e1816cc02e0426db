#pragma once

#include <string>

#include "src/components/operation/ocpp_common/record.h"

// What a backoffice says of an idTag (OCPP 1.6 section 7.27), which several messages carry.
namespace Ocpp16::IdTagInfoCommon {

using OcppRecord::Text;

#define VALUES(VALUE)                     \
  VALUE(0, EAccepted, "Accepted")         \
  VALUE(1, EBlocked, "Blocked")           \
  VALUE(2, EConcurrentTx, "ConcurrentTx") \
  VALUE(3, EExpired, "Expired")           \
  VALUE(4, EInvalid, "Invalid")
OCPP_ENUMERATION(EAuthorizationStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) \
  OPTIONAL(std::string, expiryDate) \
  OPTIONAL(Text<20>, parentIdTag)   \
  REQUIRED(EAuthorizationStatus, status)
OCPP_RECORD(idTagInfo, MEMBERS)
#undef MEMBERS

// The same with whatever text the status has, so that a status of which nothing is known loses no more than itself.
#define MEMBERS(REQUIRED, OPTIONAL) \
  OPTIONAL(std::string, expiryDate) \
  OPTIONAL(Text<20>, parentIdTag)   \
  REQUIRED(std::string, status)
OCPP_RECORD(foreignIdTagInfo, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::IdTagInfoCommon
