#pragma once

#include <cstdint>
#include <vector>

#include "src/components/operation/ocpp_common/record.h"

// GetVariables (OCPP 2.0.1, B06), sent by the backoffice: asks for values of the device model.
namespace Ocpp201::GetVariables {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(Text<255>, vendorId)
OCPP_RECORD(customDataType, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)         \
  VALUE(0, EActual, "Actual") \
  VALUE(1, EMaxSet, "MaxSet") \
  VALUE(2, EMinSet, "MinSet") \
  VALUE(3, ETarget, "Target")
OCPP_ENUMERATION(EAttribute, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)    \
  OPTIONAL(customDataType, customData) \
  REQUIRED(int64_t, id)                \
  OPTIONAL(int64_t, connectorId)
OCPP_RECORD(evseType, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)    \
  OPTIONAL(customDataType, customData) \
  OPTIONAL(evseType, evse)             \
  REQUIRED(Text<50>, name)             \
  OPTIONAL(Text<50>, instance)
OCPP_RECORD(componentType, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)    \
  OPTIONAL(customDataType, customData) \
  REQUIRED(Text<50>, name)             \
  OPTIONAL(Text<50>, instance)
OCPP_RECORD(variableType, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)    \
  OPTIONAL(customDataType, customData) \
  OPTIONAL(EAttribute, attributeType)  \
  REQUIRED(componentType, component)   \
  REQUIRED(variableType, variable)
OCPP_RECORD(getVariableDataType, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)    \
  OPTIONAL(customDataType, customData) \
  REQUIRED(std::vector<getVariableDataType>, getVariableData)
OCPP_RECORD(getVariablesRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)    \
  OPTIONAL(customDataType, customData) \
  REQUIRED(Text<20>, reasonCode)       \
  OPTIONAL(Text<512>, additionalInfo)
OCPP_RECORD(statusInfoType, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                                               \
  VALUE(0, EAccepted, "Accepted")                                   \
  VALUE(1, ENotSupportedAttributeType, "NotSupportedAttributeType") \
  VALUE(2, ERejected, "Rejected")                                   \
  VALUE(3, EUnknownComponent, "UnknownComponent")                   \
  VALUE(4, EUnknownVariable, "UnknownVariable")
OCPP_ENUMERATION(EGetVariableStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)             \
  OPTIONAL(customDataType, customData)          \
  OPTIONAL(statusInfoType, attributeStatusInfo) \
  REQUIRED(EGetVariableStatus, attributeStatus) \
  OPTIONAL(EAttribute, attributeType)           \
  OPTIONAL(Text<2500>, attributeValue)          \
  REQUIRED(componentType, component)            \
  REQUIRED(variableType, variable)
OCPP_RECORD(getVariableResultType, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)    \
  OPTIONAL(customDataType, customData) \
  REQUIRED(std::vector<getVariableResultType>, getVariableResult)
OCPP_RECORD(getVariablesResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp201::GetVariables
