#include "src/components/operation/ocpp16/messages/updatefirmware.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::UpdateFirmware, updateFirmwareRequest)
OCPP_MESSAGE(Ocpp16::UpdateFirmware, updateFirmwareResponse)
