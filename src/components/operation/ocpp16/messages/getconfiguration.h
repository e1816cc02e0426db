#pragma once

#include <vector>

#include "src/components/operation/ocpp_common/record.h"

// GetConfiguration (OCPP 1.6 section 5.8), sent by the backoffice: asks for the values of configuration keys.
namespace Ocpp16::GetConfiguration {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) OPTIONAL(std::vector<Text<50>>, key)
OCPP_RECORD(getConfigurationRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(Text<50>, key)           \
  REQUIRED(bool, readonly)          \
  OPTIONAL(Text<500>, value)
OCPP_RECORD(configurationKey, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)                                           \
  OPTIONAL(std::vector<GetConfiguration::configurationKey>, configurationKey) \
  OPTIONAL(std::vector<Text<50>>, unknownKey)
OCPP_RECORD(getConfigurationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::GetConfiguration
