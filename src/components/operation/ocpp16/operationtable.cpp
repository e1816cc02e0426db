#include "src/components/operation/ocpp16/operationtable.h"

#include "src/components/operation/ocpp16/implementation/bootnotificationoperation.h"
#include "src/components/operation/ocpp16/implementation/heartbeatoperation.h"

using OperationTable::NewOutCall;
using OperationTable::NoInCall;
using OperationTable::NoOutCall;

SOperationTable Ocpp16::GetOperationTable()
{
  SOperationTable table;

  table.outCalls = {
      {EOutOpType::EBootNotification, NewOutCall<CBootNotificationOutCall>},
      {EOutOpType::EHeartbeat, NewOutCall<CHeartbeatOutCall>},

      {EOutOpType::EDataTransfer, NoOutCall},                      // this station never starts one
      {EOutOpType::ESignCertificate, NoOutCall},                   // certificates are the network manager's
      {EOutOpType::ESignedFirmwareStatusNotification, NoOutCall},  // firmware comes by UpdateFirmware only

      // Without a class so far: each gets its creator with the class.
      {EOutOpType::EAuthorize, NoOutCall},
      {EOutOpType::EMeterValues, NoOutCall},
      {EOutOpType::EFirmwareStatusNotification, NoOutCall},
      {EOutOpType::ELogStatusNotification, NoOutCall},
      {EOutOpType::EStatusNotification, NoOutCall},
      {EOutOpType::ESecurityEventNotification, NoOutCall},
      {EOutOpType::EStartTransaction, NoOutCall},
      {EOutOpType::EStopTransaction, NoOutCall},
      {EOutOpType::EDiagnosticStatusNotification, NoOutCall},
  };

  // Only these come back from the message store, and each gets its creator with its class:
  // StartTransaction, StopTransaction, MeterValues.
  table.storedCalls = {};

  table.inCalls = {
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
      {EInOpType::EClearCache, NoInCall},
      {EInOpType::EReset, NoInCall},
      {EInOpType::EUnlockConnector, NoInCall},
      {EInOpType::EGetLocalListVersion, NoInCall},
      {EInOpType::ESendLocalList, NoInCall},
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

  return table;
}
