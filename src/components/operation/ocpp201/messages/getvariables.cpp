#include "src/components/operation/ocpp201/messages/getvariables.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_RECORD_CODEC(Ocpp201::GetVariables, customDataType)
OCPP_RECORD_CODEC(Ocpp201::GetVariables, evseType)
OCPP_RECORD_CODEC(Ocpp201::GetVariables, componentType)
OCPP_RECORD_CODEC(Ocpp201::GetVariables, variableType)
OCPP_RECORD_CODEC(Ocpp201::GetVariables, getVariableDataType)
OCPP_MESSAGE(Ocpp201::GetVariables, getVariablesRequest)
OCPP_RECORD_CODEC(Ocpp201::GetVariables, statusInfoType)
OCPP_RECORD_CODEC(Ocpp201::GetVariables, getVariableResultType)
OCPP_MESSAGE(Ocpp201::GetVariables, getVariablesResponse)
