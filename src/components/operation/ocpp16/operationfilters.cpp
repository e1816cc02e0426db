#include "src/components/operation/ocpp16/operationfilters.h"

SOperationFilters Ocpp16::GetFiltersBesidePrimary()
{
  SOperationFilters filters;
  filters.inCalls = {
      EInOpType::ECancelReservation,     EInOpType::EChangeAvailability, EInOpType::ERemoteStartTransaction,
      EInOpType::ERemoteStopTransaction, EInOpType::EReserveNow,
  };
  // Authorize, StartTransaction and StopTransaction join this set with their classes.
  filters.outCallResults = {};
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
