#include "src/components/operation/ocpp16/messages/datatransfer.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::DataTransfer, dataTransferRequest)
OCPP_MESSAGE(Ocpp16::DataTransfer, dataTransferResponse)
