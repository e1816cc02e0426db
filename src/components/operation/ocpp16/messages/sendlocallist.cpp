#include "src/components/operation/ocpp16/messages/sendlocallist.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_RECORD_CODEC(Ocpp16::SendLocalList, localAuthorizationList)
OCPP_MESSAGE(Ocpp16::SendLocalList, sendLocalListRequest)
OCPP_MESSAGE(Ocpp16::SendLocalList, sendLocalListResponse)
