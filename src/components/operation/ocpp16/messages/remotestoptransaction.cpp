#include "src/components/operation/ocpp16/messages/remotestoptransaction.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::RemoteStopTransaction, remoteStopTransactionRequest)
OCPP_MESSAGE(Ocpp16::RemoteStopTransaction, remoteStopTransactionResponse)
