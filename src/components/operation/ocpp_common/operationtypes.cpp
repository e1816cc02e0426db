#include "src/components/operation/ocpp_common/operationtypes.h"

#include <map>
#include <unordered_map>

namespace {

template <typename TType>
using CNames = std::map<TType, std::string>;
template <typename TType>
using CTypes = std::unordered_map<std::string, TType>;

const CNames<EOutOpType>& OutOpNames()
{
  static const CNames<EOutOpType> names = {
      {EOutOpType::EAuthorize, "Authorize"},
      {EOutOpType::EBootNotification, "BootNotification"},
      {EOutOpType::EDataTransfer, "DataTransfer"},
      {EOutOpType::EHeartbeat, "Heartbeat"},
      {EOutOpType::EMeterValues, "MeterValues"},
      {EOutOpType::EFirmwareStatusNotification, "FirmwareStatusNotification"},
      {EOutOpType::ELogStatusNotification, "LogStatusNotification"},
      {EOutOpType::EStatusNotification, "StatusNotification"},
      {EOutOpType::ESecurityEventNotification, "SecurityEventNotification"},
      {EOutOpType::ESignCertificate, "SignCertificate"},
      {EOutOpType::EStartTransaction, "StartTransaction"},
      {EOutOpType::EStopTransaction, "StopTransaction"},
      {EOutOpType::EDiagnosticStatusNotification, "DiagnosticStatusNotification"},
      {EOutOpType::ESignedFirmwareStatusNotification, "SignedFirmwareStatusNotification"},
      {EOutOpType::EClearedChargingLimit, "ClearedChargingLimit"},
      {EOutOpType::EGet15118EVCertificate, "Get15118EVCertificate"},
      {EOutOpType::EGetCertificateStatus, "GetCertificateStatus"},
      {EOutOpType::ENotifyChargingLimit, "NotifyChargingLimit"},
      {EOutOpType::ENotifyCustomerInformation, "NotifyCustomerInformation"},
      {EOutOpType::ENotifyDisplayMessages, "NotifyDisplayMessages"},
      {EOutOpType::ENotifyEVChargingNeeds, "NotifyEVChargingNeeds"},
      {EOutOpType::ENotifyEVChargingSchedule, "NotifyEVChargingSchedule"},
      {EOutOpType::ENotifyEvent, "NotifyEvent"},
      {EOutOpType::ENotifyMonitoringReport, "NotifyMonitoringReport"},
      {EOutOpType::ENotifyReport, "NotifyReport"},
      {EOutOpType::EPublishFirmwareStatusNotification, "PublishFirmwareStatusNotification"},
      {EOutOpType::EReportChargingProfiles, "ReportChargingProfiles"},
      {EOutOpType::EReservationStatusUpdate, "ReservationStatusUpdate"},
  };
  return names;
}

const CNames<EInOpType>& InOpNames()
{
  static const CNames<EInOpType> names = {
      {EInOpType::EDataTransfer, "DataTransfer"},
      {EInOpType::EChangeAvailability, "ChangeAvailability"},
      {EInOpType::EClearCache, "ClearCache"},
      {EInOpType::EReset, "Reset"},
      {EInOpType::EUnlockConnector, "UnlockConnector"},
      {EInOpType::EGetLocalListVersion, "GetLocalListVersion"},
      {EInOpType::ESendLocalList, "SendLocalList"},
      {EInOpType::ECancelReservation, "CancelReservation"},
      {EInOpType::EReserveNow, "ReserveNow"},
      {EInOpType::EClearChargingProfile, "ClearChargingProfile"},
      {EInOpType::EGetCompositeSchedule, "GetCompositeSchedule"},
      {EInOpType::ESetChargingProfile, "SetChargingProfile"},
      {EInOpType::ETriggerMessage, "TriggerMessage"},
      {EInOpType::EUpdateFirmware, "UpdateFirmware"},
      {EInOpType::ECertificateSigned, "CertificateSigned"},
      {EInOpType::EDeleteCertificate, "DeleteCertificate"},
      {EInOpType::EGetInstalledCertificateIds, "GetInstalledCertificateIds"},
      {EInOpType::EGetLog, "GetLog"},
      {EInOpType::EInstallCertificate, "InstallCertificate"},
      {EInOpType::EChangeConfiguration, "ChangeConfiguration"},
      {EInOpType::EGetConfiguration, "GetConfiguration"},
      {EInOpType::ERemoteStartTransaction, "RemoteStartTransaction"},
      {EInOpType::ERemoteStopTransaction, "RemoteStopTransaction"},
      {EInOpType::EGetDiagnostics, "GetDiagnostics"},
      {EInOpType::EExtendedTriggerMessage, "ExtendedTriggerMessage"},
      {EInOpType::ESignedUpdateFirmware, "SignedUpdateFirmware"},
      {EInOpType::EClearDisplayMessage, "ClearDisplayMessage"},
      {EInOpType::EClearVariableMonitoring, "ClearVariableMonitoring"},
      {EInOpType::ECostUpdated, "CostUpdated"},
      {EInOpType::ECustomerInformation, "CustomerInformation"},
      {EInOpType::EGetBaseReport, "GetBaseReport"},
      {EInOpType::EGetChargingProfiles, "GetChargingProfiles"},
      {EInOpType::EGetDisplayMessages, "GetDisplayMessages"},
      {EInOpType::EGetMonitoringReport, "GetMonitoringReport"},
      {EInOpType::EGetReport, "GetReport"},
      {EInOpType::EGetTransactionStatus, "GetTransactionStatus"},
      {EInOpType::EGetVariables, "GetVariables"},
      {EInOpType::EPublishFirmware, "PublishFirmware"},
      {EInOpType::ERequestStartTransaction, "RequestStartTransaction"},
      {EInOpType::ERequestStopTransaction, "RequestStopTransaction"},
      {EInOpType::ESetDisplayMessage, "SetDisplayMessage"},
      {EInOpType::ESetMonitoringBase, "SetMonitoringBase"},
      {EInOpType::ESetMonitoringLevel, "SetMonitoringLevel"},
      {EInOpType::ESetNetworkProfile, "SetNetworkProfile"},
      {EInOpType::ESetVariableMonitoring, "SetVariableMonitoring"},
      {EInOpType::ESetVariables, "SetVariables"},
      {EInOpType::EUnpublishFirmware, "UnpublishFirmware"},
  };
  return names;
}

template <typename TType>
CTypes<TType> Reverse(const CNames<TType>& names)
{
  CTypes<TType> types;
  for (const auto& [type, name] : names) types.emplace(name, type);
  return types;
}

template <typename TType>
const std::string& FindName(const CNames<TType>& names, TType type)
{
  static const std::string invalid = "Invalid";
  const auto found = names.find(type);
  return found == names.end() ? invalid : found->second;
}

template <typename TType>
TType FindType(const CTypes<TType>& types, const std::string& name)
{
  const auto found = types.find(name);
  return found == types.end() ? TType::EInvalid : found->second;
}

}  // namespace

const std::string& OutOpTypeToName(EOutOpType type) { return FindName(OutOpNames(), type); }
const std::string& InOpTypeToName(EInOpType type) { return FindName(InOpNames(), type); }

EOutOpType OutOpTypeFromName(const std::string& name)
{
  static const CTypes<EOutOpType> types = Reverse(OutOpNames());
  return FindType(types, name);
}

EInOpType InOpTypeFromName(const std::string& name)
{
  static const CTypes<EInOpType> types = Reverse(InOpNames());
  return FindType(types, name);
}
