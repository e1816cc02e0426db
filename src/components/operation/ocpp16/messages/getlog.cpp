#include "src/components/operation/ocpp16/messages/getlog.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_RECORD_CODEC(Ocpp16::GetLog, logParametersType)
OCPP_MESSAGE(Ocpp16::GetLog, getLogRequest)
OCPP_MESSAGE(Ocpp16::GetLog, getLogResponse)
