#pragma once

#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"
#include "src/components/operation/ocpp_common/record.h"

// Authorize (OCPP 1.6 section 4.1), sent by the station: may this idTag charge?
namespace Ocpp16::Authorize {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(Text<20>, idTag)
OCPP_RECORD(authorizeRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(IdTagInfoCommon::idTagInfo, idTagInfo)
OCPP_RECORD(authorizeResponse, MEMBERS)
#undef MEMBERS

// The response with a status of whatever text.
#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(IdTagInfoCommon::foreignIdTagInfo, idTagInfo)
OCPP_RECORD(foreignAuthorizeResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::Authorize
