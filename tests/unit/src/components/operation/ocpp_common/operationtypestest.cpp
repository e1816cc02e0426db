#include "src/components/operation/ocpp_common/operationtypes.h"

#include <gtest/gtest.h>

#include <vector>

#include "src/components/backofficeid.h"

namespace {

// In the order of their numbers, which start at 1.
const std::vector<std::string> kOutNames = {"Authorize",
                                            "BootNotification",
                                            "DataTransfer",
                                            "Heartbeat",
                                            "MeterValues",
                                            "FirmwareStatusNotification",
                                            "LogStatusNotification",
                                            "StatusNotification",
                                            "SecurityEventNotification",
                                            "SignCertificate",
                                            "StartTransaction",
                                            "StopTransaction",
                                            "DiagnosticStatusNotification",
                                            "SignedFirmwareStatusNotification",
                                            "ClearedChargingLimit",
                                            "Get15118EVCertificate",
                                            "GetCertificateStatus",
                                            "NotifyChargingLimit",
                                            "NotifyCustomerInformation",
                                            "NotifyDisplayMessages",
                                            "NotifyEVChargingNeeds",
                                            "NotifyEVChargingSchedule",
                                            "NotifyEvent",
                                            "NotifyMonitoringReport",
                                            "NotifyReport",
                                            "PublishFirmwareStatusNotification",
                                            "ReportChargingProfiles",
                                            "ReservationStatusUpdate"};

const std::vector<std::string> kInNames = {"DataTransfer",
                                           "ChangeAvailability",
                                           "ClearCache",
                                           "Reset",
                                           "UnlockConnector",
                                           "GetLocalListVersion",
                                           "SendLocalList",
                                           "CancelReservation",
                                           "ReserveNow",
                                           "ClearChargingProfile",
                                           "GetCompositeSchedule",
                                           "SetChargingProfile",
                                           "TriggerMessage",
                                           "UpdateFirmware",
                                           "CertificateSigned",
                                           "DeleteCertificate",
                                           "GetInstalledCertificateIds",
                                           "GetLog",
                                           "InstallCertificate",
                                           "ChangeConfiguration",
                                           "GetConfiguration",
                                           "RemoteStartTransaction",
                                           "RemoteStopTransaction",
                                           "GetDiagnostics",
                                           "ExtendedTriggerMessage",
                                           "SignedUpdateFirmware",
                                           "ClearDisplayMessage",
                                           "ClearVariableMonitoring",
                                           "CostUpdated",
                                           "CustomerInformation",
                                           "GetBaseReport",
                                           "GetChargingProfiles",
                                           "GetDisplayMessages",
                                           "GetMonitoringReport",
                                           "GetReport",
                                           "GetTransactionStatus",
                                           "GetVariables",
                                           "PublishFirmware",
                                           "RequestStartTransaction",
                                           "RequestStopTransaction",
                                           "SetDisplayMessage",
                                           "SetMonitoringBase",
                                           "SetMonitoringLevel",
                                           "SetNetworkProfile",
                                           "SetVariableMonitoring",
                                           "SetVariables",
                                           "UnpublishFirmware"};

}  // namespace

TEST(OperationTypes, EveryOutCallTypeHasItsNumberAndNameBothWays)
{
  ASSERT_EQ(kOutNames.size(), 28U);
  for (size_t i = 0; i < kOutNames.size(); i++) {
    const auto type = static_cast<EOutOpType>(i + 1);
    EXPECT_EQ(OutOpTypeToName(type), kOutNames[i]);
    EXPECT_EQ(OutOpTypeFromName(kOutNames[i]), type);
  }
}

TEST(OperationTypes, EveryInCallTypeHasItsNumberAndNameBothWays)
{
  ASSERT_EQ(kInNames.size(), 47U);
  for (size_t i = 0; i < kInNames.size(); i++) {
    const auto type = static_cast<EInOpType>(i + 1);
    EXPECT_EQ(InOpTypeToName(type), kInNames[i]);
    EXPECT_EQ(InOpTypeFromName(kInNames[i]), type);
  }
}

TEST(OperationTypes, UnknownValuePrintsAsInvalid)
{
  EXPECT_EQ(OutOpTypeToName(EOutOpType::EInvalid), "Invalid");
  EXPECT_EQ(OutOpTypeToName(static_cast<EOutOpType>(29)), "Invalid");
  EXPECT_EQ(InOpTypeToName(EInOpType::EInvalid), "Invalid");
  EXPECT_EQ(InOpTypeToName(static_cast<EInOpType>(-1)), "Invalid");
}

TEST(OperationTypes, UnknownNameIsInvalid)
{
  for (const auto* name : {"FooBar", "", "Invalid", "authorize", "Authorize "}) {
    EXPECT_EQ(OutOpTypeFromName(name), EOutOpType::EInvalid) << name;
    EXPECT_EQ(InOpTypeFromName(name), EInOpType::EInvalid) << name;
  }
}

TEST(OperationTypes, WireNameOfDiagnosticsStatusNotificationDoesNotResolve)
{
  EXPECT_EQ(OutOpTypeFromName("DiagnosticsStatusNotification"), EOutOpType::EInvalid);
}

TEST(BackofficeId, EachBackofficeHasItsDisplayName)
{
  EXPECT_EQ(BackofficeName(EBackofficeId::EPrimary), "Cpo Backoffice");
  EXPECT_EQ(BackofficeName(EBackofficeId::EAuxiliary), "Tovira Hub");
  EXPECT_EQ(BackofficeName(EBackofficeId::ENone), "Unknown Backoffice with ID: 2 ");
  EXPECT_EQ(BackofficeName(static_cast<EBackofficeId>(7)), "Unknown Backoffice with ID: 7 ");
}
