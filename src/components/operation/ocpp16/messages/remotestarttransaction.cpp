#include "src/components/operation/ocpp16/messages/remotestarttransaction.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::RemoteStartTransaction, remoteStartTransactionRequest)
OCPP_MESSAGE(Ocpp16::RemoteStartTransaction, remoteStartTransactionResponse)
