#include "src/components/operation/ocpp16/messages/changeavailability.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::ChangeAvailability, changeAvailabilityRequest)
OCPP_MESSAGE(Ocpp16::ChangeAvailability, changeAvailabilityResponse)
