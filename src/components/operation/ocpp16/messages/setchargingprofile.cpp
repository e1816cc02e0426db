#include "src/components/operation/ocpp16/messages/setchargingprofile.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::SetChargingProfile, setChargingProfileRequest)
OCPP_MESSAGE(Ocpp16::SetChargingProfile, setChargingProfileResponse)
