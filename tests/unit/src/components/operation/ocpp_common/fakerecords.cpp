#include "tests/unit/src/components/operation/ocpp_common/fakerecords.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Fake::Echo, echoRequest)
OCPP_MESSAGE(Fake::Echo, echoResponse)
