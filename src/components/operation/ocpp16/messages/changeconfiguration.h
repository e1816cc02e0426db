#pragma once

#include "src/components/operation/ocpp_common/record.h"

// ChangeConfiguration (OCPP 1.6 section 5.3), sent by the backoffice: sets one configuration key.
namespace Ocpp16::ChangeConfiguration {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(Text<50>, key)           \
  REQUIRED(Text<500>, value)
OCPP_RECORD(changeConfigurationRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                         \
  VALUE(0, EAccepted, "Accepted")             \
  VALUE(1, ENotSupported, "NotSupported")     \
  VALUE(2, ERebootRequired, "RebootRequired") \
  VALUE(3, ERejected, "Rejected")
OCPP_ENUMERATION(EConfigurationStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EConfigurationStatus, status)
OCPP_RECORD(changeConfigurationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::ChangeConfiguration
