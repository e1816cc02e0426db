#include "src/components/operation/ocpp16/messages/clearcache.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::ClearCache, clearCacheRequest)
OCPP_MESSAGE(Ocpp16::ClearCache, clearCacheResponse)
