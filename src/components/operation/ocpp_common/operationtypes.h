#pragma once

#include <string>

// Calls that this station starts. The numbers are part of the interface of COcpp.
enum class EOutOpType : int {
  EInvalid = 0,
  EAuthorize = 1,
  EBootNotification = 2,
  EDataTransfer = 3,
  EHeartbeat = 4,
  EMeterValues = 5,
  EFirmwareStatusNotification = 6,
  ELogStatusNotification = 7,
  EStatusNotification = 8,
  ESecurityEventNotification = 9,
  ESignCertificate = 10,
  EStartTransaction = 11,
  EStopTransaction = 12,
  EDiagnosticStatusNotification = 13,
  ESignedFirmwareStatusNotification = 14,
  EClearedChargingLimit = 15,
  EGet15118EVCertificate = 16,
  EGetCertificateStatus = 17,
  ENotifyChargingLimit = 18,
  ENotifyCustomerInformation = 19,
  ENotifyDisplayMessages = 20,
  ENotifyEVChargingNeeds = 21,
  ENotifyEVChargingSchedule = 22,
  ENotifyEvent = 23,
  ENotifyMonitoringReport = 24,
  ENotifyReport = 25,
  EPublishFirmwareStatusNotification = 26,
  EReportChargingProfiles = 27,
  EReservationStatusUpdate = 28,
};

// Calls that a backoffice starts.
enum class EInOpType : int {
  EInvalid = 0,
  EDataTransfer = 1,
  EChangeAvailability = 2,
  EClearCache = 3,
  EReset = 4,
  EUnlockConnector = 5,
  EGetLocalListVersion = 6,
  ESendLocalList = 7,
  ECancelReservation = 8,
  EReserveNow = 9,
  EClearChargingProfile = 10,
  EGetCompositeSchedule = 11,
  ESetChargingProfile = 12,
  ETriggerMessage = 13,
  EUpdateFirmware = 14,
  ECertificateSigned = 15,
  EDeleteCertificate = 16,
  EGetInstalledCertificateIds = 17,
  EGetLog = 18,
  EInstallCertificate = 19,
  EChangeConfiguration = 20,
  EGetConfiguration = 21,
  ERemoteStartTransaction = 22,
  ERemoteStopTransaction = 23,
  EGetDiagnostics = 24,
  EExtendedTriggerMessage = 25,
  ESignedUpdateFirmware = 26,
  EClearDisplayMessage = 27,
  EClearVariableMonitoring = 28,
  ECostUpdated = 29,
  ECustomerInformation = 30,
  EGetBaseReport = 31,
  EGetChargingProfiles = 32,
  EGetDisplayMessages = 33,
  EGetMonitoringReport = 34,
  EGetReport = 35,
  EGetTransactionStatus = 36,
  EGetVariables = 37,
  EPublishFirmware = 38,
  ERequestStartTransaction = 39,
  ERequestStopTransaction = 40,
  ESetDisplayMessage = 41,
  ESetMonitoringBase = 42,
  ESetMonitoringLevel = 43,
  ESetNetworkProfile = 44,
  ESetVariableMonitoring = 45,
  ESetVariables = 46,
  EUnpublishFirmware = 47,
};

// The table's name of `type`; "Invalid" for a value without a name.
//
// The name of EDiagnosticStatusNotification lacks the s that the action has on the wire: it is a key inside this
// system only, so that stored messages, which hold the wire's name, never resolve to it.
const std::string& OutOpTypeToName(EOutOpType type);
const std::string& InOpTypeToName(EInOpType type);

// The value whose name is `name`, exactly; EInvalid when there is none.
EOutOpType OutOpTypeFromName(const std::string& name);
EInOpType InOpTypeFromName(const std::string& name);
