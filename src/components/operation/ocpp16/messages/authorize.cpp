#include "src/components/operation/ocpp16/messages/authorize.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::Authorize, authorizeRequest)
OCPP_MESSAGE(Ocpp16::Authorize, authorizeResponse)
OCPP_MESSAGE(Ocpp16::Authorize, foreignAuthorizeResponse)
