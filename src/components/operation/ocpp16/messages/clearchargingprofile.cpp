#include "src/components/operation/ocpp16/messages/clearchargingprofile.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::ClearChargingProfile, clearChargingProfileRequest)
OCPP_MESSAGE(Ocpp16::ClearChargingProfile, clearChargingProfileResponse)
