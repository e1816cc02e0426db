#include "src/components/operation/ocpp16/operationfilters.h"

#include <typeindex>

#include "src/components/operation/ocpp16/implementation/starttransactionoperation.h"
#include "src/components/operation/ocpp16/implementation/stoptransactionoperation.h"

SOperationFilters Ocpp16::GetFiltersBesidePrimary()
{
  SOperationFilters filters;
  filters.inCalls = {
      EInOpType::ECancelReservation,     EInOpType::EChangeAvailability, EInOpType::ERemoteStartTransaction,
      EInOpType::ERemoteStopTransaction, EInOpType::EReserveNow,
  };
  // Authorize joins this set with its class.
  filters.outCallResults = {
      typeid(CStartTransactionOutCall),
      typeid(CStopTransactionOutCall),
  };
  return filters;
}

SOperationFilters Ocpp16::GetFiltersStandingAlone()
{
  SOperationFilters filters;
  filters.inCalls = {
      EInOpType::ECancelReservation,     EInOpType::EChangeAvailability,  EInOpType::EClearCache,
      EInOpType::EGetCompositeSchedule,  EInOpType::EGetLocalListVersion, EInOpType::ERemoteStartTransaction,
      EInOpType::ERemoteStopTransaction, EInOpType::EReserveNow,          EInOpType::ESendLocalList,
  };
  // Authorize joins this set with its class.
  filters.outCallResults = {};
  return filters;
}
