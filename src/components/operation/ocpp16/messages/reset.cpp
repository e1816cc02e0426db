#include "src/components/operation/ocpp16/messages/reset.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::Reset, resetRequest)
OCPP_MESSAGE(Ocpp16::Reset, resetResponse)
