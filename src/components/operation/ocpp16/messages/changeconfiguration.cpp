#include "src/components/operation/ocpp16/messages/changeconfiguration.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::ChangeConfiguration, changeConfigurationRequest)
OCPP_MESSAGE(Ocpp16::ChangeConfiguration, changeConfigurationResponse)
