#include "src/components/operation/ocpp16/messages/getdiagnostics.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::GetDiagnostics, getDiagnosticsRequest)
OCPP_MESSAGE(Ocpp16::GetDiagnostics, getDiagnosticsResponse)
