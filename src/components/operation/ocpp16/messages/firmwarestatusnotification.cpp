#include "src/components/operation/ocpp16/messages/firmwarestatusnotification.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::FirmwareStatusNotification, firmwareStatusNotificationRequest)
OCPP_MESSAGE(Ocpp16::FirmwareStatusNotification, firmwareStatusNotificationResponse)
