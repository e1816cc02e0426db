#include "src/components/operation/ocpp16/operationtable.h"

#include "src/components/operation/ocpp16/implementation/authorizeoperation.h"
#include "src/components/operation/ocpp16/implementation/bootnotificationoperation.h"
#include "src/components/operation/ocpp16/implementation/clearcacheoperation.h"
#include "src/components/operation/ocpp16/implementation/getlocallistversionoperation.h"
#include "src/components/operation/ocpp16/implementation/heartbeatoperation.h"
#include "src/components/operation/ocpp16/implementation/metervaluesoperation.h"
#include "src/components/operation/ocpp16/implementation/sendlocallistoperation.h"
#include "src/components/operation/ocpp16/implementation/starttransactionoperation.h"
#include "src/components/operation/ocpp16/implementation/statusnotificationoperation.h"
#include "src/components/operation/ocpp16/implementation/stoptransactionoperation.h"

using OperationTable::NewInCall;
using OperationTable::NewInCallWith;
using OperationTable::NewOutCall;
using OperationTable::NoInCall;
using OperationTable::NoOutCall;
using OperationTable::RestoreOutCall;

namespace {

std::vector<SOutCallEntry> GetOutCalls()
{
  return {
      {EOutOpType::EAuthorize, NewOutCall<CAuthorizeOutCall>},
      {EOutOpType::EBootNotification, NewOutCall<CBootNotificationOutCall>},
      {EOutOpType::EHeartbeat, NewOutCall<CHeartbeatOutCall>},
      {EOutOpType::EStatusNotification, NewOutCall<CStatusNotificationOutCall>},
      {EOutOpType::EMeterValues, NewOutCall<CMeterValuesOutCall>},
      {EOutOpType::EStartTransaction, NewOutCall<CStartTransactionOutCall>},
      {EOutOpType::EStopTransaction, NewOutCall<CStopTransactionOutCall>},

      {EOutOpType::EDataTransfer, NoOutCall},                      // this station never starts one
      {EOutOpType::ESignCertificate, NoOutCall},                   // certificates are the network manager's
      {EOutOpType::ESignedFirmwareStatusNotification, NoOutCall},  // firmware comes by UpdateFirmware only

      // Without a class so far: each gets its creator with the class.
      {EOutOpType::EFirmwareStatusNotification, NoOutCall},
      {EOutOpType::ELogStatusNotification, NoOutCall},
      {EOutOpType::ESecurityEventNotification, NoOutCall},
      {EOutOpType::EDiagnosticStatusNotification, NoOutCall},
  };
}

// Only these come back from the message store.
std::vector<SStoredCallEntry> GetStoredCalls()
{
  return {
      {EOutOpType::EMeterValues, RestoreOutCall<CMeterValuesOutCall>},
      {EOutOpType::EStartTransaction, RestoreOutCall<CStartTransactionOutCall>},
      {EOutOpType::EStopTransaction, RestoreOutCall<CStopTransactionOutCall>},
  };
}

std::vector<SInCallEntry> GetInCalls()
{
  return {
      {EInOpType::EClearCache, NewInCall<CClearCacheInCall>},
      {EInOpType::EGetLocalListVersion, NewInCall<CGetLocalListVersionInCall>},
      {EInOpType::ESendLocalList, NewInCallWith<CSendLocalListInCall>(std::make_shared<CLocalListUpdates>())},

      // Known to OCPP 1.6 and not offered by this station; they are answered NotSupported.
      {EInOpType::ECancelReservation, NoInCall},
      {EInOpType::EReserveNow, NoInCall},
      {EInOpType::EGetCompositeSchedule, NoInCall},
      {EInOpType::ECertificateSigned, NoInCall},
      {EInOpType::EDeleteCertificate, NoInCall},
      {EInOpType::EGetInstalledCertificateIds, NoInCall},
      {EInOpType::EInstallCertificate, NoInCall},
      {EInOpType::ESignedUpdateFirmware, NoInCall},

      // Without a class so far: answered NotSupported until each gets its creator with the class.
      {EInOpType::EDataTransfer, NoInCall},
      {EInOpType::EChangeAvailability, NoInCall},
      {EInOpType::EReset, NoInCall},
      {EInOpType::EUnlockConnector, NoInCall},
      {EInOpType::EClearChargingProfile, NoInCall},
      {EInOpType::ESetChargingProfile, NoInCall},
      {EInOpType::ETriggerMessage, NoInCall},
      {EInOpType::EUpdateFirmware, NoInCall},
      {EInOpType::EGetLog, NoInCall},
      {EInOpType::EChangeConfiguration, NoInCall},
      {EInOpType::EGetConfiguration, NoInCall},
      {EInOpType::ERemoteStartTransaction, NoInCall},
      {EInOpType::ERemoteStopTransaction, NoInCall},
      {EInOpType::EGetDiagnostics, NoInCall},
      {EInOpType::EExtendedTriggerMessage, NoInCall},
  };
}

}  // namespace

SOperationTable Ocpp16::GetOperationTable() { return {GetOutCalls(), GetStoredCalls(), GetInCalls()}; }
