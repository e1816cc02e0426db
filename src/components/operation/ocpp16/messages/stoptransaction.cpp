#include "src/components/operation/ocpp16/messages/stoptransaction.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_RECORD_CODEC(Ocpp16::StopTransaction, sampledValue)
OCPP_RECORD_CODEC(Ocpp16::StopTransaction, transactionData)
OCPP_MESSAGE(Ocpp16::StopTransaction, stopTransactionRequest)
OCPP_MESSAGE(Ocpp16::StopTransaction, stopTransactionResponse)
OCPP_MESSAGE(Ocpp16::StopTransaction, foreignStopTransactionResponse)
