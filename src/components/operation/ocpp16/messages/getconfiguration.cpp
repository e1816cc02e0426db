#include "src/components/operation/ocpp16/messages/getconfiguration.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::GetConfiguration, getConfigurationRequest)
OCPP_RECORD_CODEC(Ocpp16::GetConfiguration, configurationKey)
OCPP_MESSAGE(Ocpp16::GetConfiguration, getConfigurationResponse)
