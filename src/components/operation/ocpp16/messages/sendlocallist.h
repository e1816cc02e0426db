#pragma once

#include <cstdint>
#include <vector>

#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"
#include "src/components/operation/ocpp_common/record.h"

// SendLocalList (OCPP 1.6 section 5.15), sent by the backoffice: replaces or changes the local authorization list.
namespace Ocpp16::SendLocalList {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(Text<20>, idTag)         \
  OPTIONAL(IdTagInfoCommon::idTagInfo, idTagInfo)
OCPP_RECORD(localAuthorizationList, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                     \
  VALUE(0, EDifferential, "Differential") \
  VALUE(1, EFull, "Full")
OCPP_ENUMERATION(EUpdateType, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)                                                    \
  REQUIRED(int64_t, listVersion)                                                       \
  OPTIONAL(std::vector<SendLocalList::localAuthorizationList>, localAuthorizationList) \
  REQUIRED(EUpdateType, updateType)
OCPP_RECORD(sendLocalListRequest, MEMBERS)
#undef MEMBERS

#define VALUES(VALUE)                     \
  VALUE(0, EAccepted, "Accepted")         \
  VALUE(1, EFailed, "Failed")             \
  VALUE(2, ENotSupported, "NotSupported") \
  VALUE(3, EVersionMismatch, "VersionMismatch")
OCPP_ENUMERATION(EUpdateStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EUpdateStatus, status)
OCPP_RECORD(sendLocalListResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::SendLocalList
