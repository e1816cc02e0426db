#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_RECORD_CODEC(Ocpp16::IdTagInfoCommon, idTagInfo)
OCPP_RECORD_CODEC(Ocpp16::IdTagInfoCommon, foreignIdTagInfo)
