#include "src/components/operation/ocpp16/messages/heartbeat.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::Heartbeat, heartbeatRequest)
OCPP_MESSAGE(Ocpp16::Heartbeat, heartbeatResponse)
