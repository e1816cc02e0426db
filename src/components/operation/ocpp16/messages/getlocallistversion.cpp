#include "src/components/operation/ocpp16/messages/getlocallistversion.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::GetLocalListVersion, getLocalListVersionRequest)
OCPP_MESSAGE(Ocpp16::GetLocalListVersion, getLocalListVersionResponse)
