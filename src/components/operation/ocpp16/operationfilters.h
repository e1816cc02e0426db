#pragma once

#include "src/components/operation/ocpp_common/ioperationhandler.h"

namespace Ocpp16 {

// What the auxiliary backoffice may not do to the station, beside a primary backoffice that is in charge...
SOperationFilters GetFiltersBesidePrimary();
// ... and where it stands alone.
SOperationFilters GetFiltersStandingAlone();

}  // namespace Ocpp16
