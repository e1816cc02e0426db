#include "src/components/operation/ocpp16/messages/metervalues.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_RECORD_CODEC(Ocpp16::MeterValues, sampledValue)
OCPP_RECORD_CODEC(Ocpp16::MeterValues, meterValue)
OCPP_MESSAGE(Ocpp16::MeterValues, meterValuesRequest)
OCPP_MESSAGE(Ocpp16::MeterValues, meterValuesResponse)
