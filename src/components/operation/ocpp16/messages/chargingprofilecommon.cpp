#include "src/components/operation/ocpp16/messages/chargingprofilecommon.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_RECORD_CODEC(Ocpp16::ChargingProfileCommon, chargingSchedulePeriod)
OCPP_RECORD_CODEC(Ocpp16::ChargingProfileCommon, chargingSchedule)
OCPP_MESSAGE(Ocpp16::ChargingProfileCommon, csChargingProfiles)
