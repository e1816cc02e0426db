#include "src/components/operation/ocpp16/messages/extendedtriggermessage.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::ExtendedTriggerMessage, extendedTriggerMessageRequest)
OCPP_MESSAGE(Ocpp16::ExtendedTriggerMessage, extendedTriggerMessageResponse)
