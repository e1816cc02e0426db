#include "src/components/operation/ocpp16/operationfilters.h"

#include <typeindex>

#include "src/components/operation/ocpp16/implementation/authorizeoperation.h"
#include "src/components/operation/ocpp16/implementation/starttransactionoperation.h"
#include "src/components/operation/ocpp16/implementation/stoptransactionoperation.h"

SOperationFilters Ocpp16::GetFiltersBesidePrimary()
{
  SOperationFilters filters;
  filters.inCalls = {
      EInOpType::ECancelReservation,     EInOpType::EChangeAvailability, EInOpType::ERemoteStartTransaction,
      EInOpType::ERemoteStopTransaction, EInOpType::EReserveNow,
  };
  filters.outCallResults = {
      typeid(CAuthorizeOutCall),
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
  filters.outCallResults = {
      typeid(CAuthorizeOutCall),
  };
  return filters;
}
