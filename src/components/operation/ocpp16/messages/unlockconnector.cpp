#include "src/components/operation/ocpp16/messages/unlockconnector.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::UnlockConnector, unlockConnectorRequest)
OCPP_MESSAGE(Ocpp16::UnlockConnector, unlockConnectorResponse)
