#include "src/components/operation/ocpp16/messages/bootnotification.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::BootNotification, bootNotificationRequest)
OCPP_MESSAGE(Ocpp16::BootNotification, bootNotificationResponse)
