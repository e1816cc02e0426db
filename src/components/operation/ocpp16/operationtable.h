#pragma once

#include "src/components/operation/ocpp_common/operationtable.h"

namespace Ocpp16 {

// Every action of OCPP 1.6 that the station knows.
SOperationTable GetOperationTable();

}  // namespace Ocpp16
