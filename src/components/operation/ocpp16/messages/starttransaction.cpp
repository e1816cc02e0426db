#include "src/components/operation/ocpp16/messages/starttransaction.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::StartTransaction, startTransactionRequest)
OCPP_MESSAGE(Ocpp16::StartTransaction, startTransactionResponse)
OCPP_MESSAGE(Ocpp16::StartTransaction, foreignStartTransactionResponse)
