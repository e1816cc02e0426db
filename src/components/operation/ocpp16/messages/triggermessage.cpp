#include "src/components/operation/ocpp16/messages/triggermessage.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::TriggerMessage, triggerMessageRequest)
OCPP_MESSAGE(Ocpp16::TriggerMessage, triggerMessageResponse)
