#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "src/components/operation/ocpp16/messages/changeavailability.h"
#include "src/components/operation/ocpp16/messages/changeconfiguration.h"
#include "src/components/operation/ocpp16/messages/chargingprofilecommon.h"
#include "src/components/operation/ocpp16/messages/clearchargingprofile.h"
#include "src/components/operation/ocpp16/messages/datatransfer.h"
#include "src/components/operation/ocpp16/messages/diagnosticsstatusnotification.h"
#include "src/components/operation/ocpp16/messages/extendedtriggermessage.h"
#include "src/components/operation/ocpp16/messages/getlog.h"
#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"
#include "src/components/operation/ocpp16/messages/metervalues.h"
#include "src/components/operation/ocpp16/messages/remotestarttransaction.h"
#include "src/components/operation/ocpp16/messages/remotestoptransaction.h"
#include "src/components/operation/ocpp16/messages/reset.h"
#include "src/components/operation/ocpp16/messages/sendlocallist.h"
#include "src/components/operation/ocpp16/messages/setchargingprofile.h"
#include "src/components/operation/ocpp16/messages/statusnotification.h"
#include "src/components/operation/ocpp16/messages/stoptransaction.h"
#include "src/components/operation/ocpp16/messages/triggermessage.h"
#include "src/components/operation/ocpp16/messages/unlockconnector.h"
#include "src/components/operation/ocpp201/messages/getvariables.h"

// The numbers that enumerations have inside this program: stored records, operation parameters and log lines hold
// them, so they never change.

namespace {

template <typename TEnumeration>
void ExpectNumbers(const std::vector<std::string>& texts)
{
  const auto& table = EnumerationTable(TEnumeration{});
  ASSERT_EQ(std::size(table), texts.size());
  for (size_t i = 0; i < texts.size(); i++) {
    EXPECT_EQ(ToText(static_cast<TEnumeration>(i)), texts[i]) << i;
    EXPECT_EQ(static_cast<size_t>(table[i].value), i);
  }
}

}  // namespace

TEST(PayloadEnumerations, AuthorizationStatusHasItsNumbers)
{
  ExpectNumbers<Ocpp16::IdTagInfoCommon::EAuthorizationStatus>(
      {"Accepted", "Blocked", "ConcurrentTx", "Expired", "Invalid"});
}

TEST(PayloadEnumerations, ChargePointStatusHasItsNumbers)
{
  ExpectNumbers<Ocpp16::StatusNotification::EChargePointStatus>({"Available", "Charging", "Faulted", "Finishing",
                                                                 "Preparing", "Reserved", "SuspendedEV",
                                                                 "SuspendedEVSE", "Unavailable"});
}

TEST(PayloadEnumerations, ChargePointErrorCodeHasItsNumbers)
{
  ExpectNumbers<Ocpp16::StatusNotification::EChargePointErrorCode>(
      {"ConnectorLockFailure", "EVCommunicationError", "GroundFailure", "HighTemperature", "InternalError",
       "LocalListConflict", "NoError", "OtherError", "OverCurrentFailure", "OverVoltage", "PowerMeterFailure",
       "PowerSwitchFailure", "ReaderFailure", "ResetFailure", "UnderVoltage", "WeakSignal"});
}

TEST(PayloadEnumerations, ReadingContextHasItsNumbers)
{
  using Ocpp16::MeterValues::EReadingContext;
  EXPECT_EQ(static_cast<int>(EReadingContext::ESampleClock), 3);
  EXPECT_EQ(static_cast<int>(EReadingContext::ETransactionBegin), 5);
  EXPECT_EQ(static_cast<int>(EReadingContext::ETransactionEnd), 6);
  ExpectNumbers<EReadingContext>({"Interruption.Begin", "Interruption.End", "Other", "Sample.Clock", "Sample.Periodic",
                                  "Transaction.Begin", "Transaction.End", "Trigger"});
}

TEST(PayloadEnumerations, WhIs16InMeterValuesAnd15InStopTransactionWhichHasOneSpellingOfCelsius)
{
  EXPECT_EQ(static_cast<int>(Ocpp16::MeterValues::EUnitOfMeasure::EWh), 16);
  EXPECT_EQ(static_cast<int>(Ocpp16::StopTransaction::EUnitOfMeasure::EWh), 15);
  EXPECT_STREQ(ToText(Ocpp16::MeterValues::EUnitOfMeasure::ECelcius), "Celcius");
  EXPECT_STREQ(ToText(Ocpp16::MeterValues::EUnitOfMeasure::ECelsius), "Celsius");
  EXPECT_STREQ(ToText(Ocpp16::StopTransaction::EUnitOfMeasure::ECelcius), "Celcius");
}

TEST(PayloadEnumerations, StopReasonHasItsNumbers)
{
  ExpectNumbers<Ocpp16::StopTransaction::EReason>({"DeAuthorized", "EmergencyStop", "EVDisconnected", "HardReset",
                                                   "Local", "Other", "PowerLoss", "Reboot", "Remote", "SoftReset",
                                                   "UnlockCommand"});
}

TEST(PayloadEnumerations, ChargingProfileHasItsNumbers)
{
  using namespace Ocpp16::ChargingProfileCommon;
  ExpectNumbers<EChargingProfileKind>({"Absolute", "Recurring", "Relative"});
  ExpectNumbers<EChargingProfilePurpose>({"ChargePointMaxProfile", "TxDefaultProfile", "TxProfile"});
  ExpectNumbers<ERecurrencyKind>({"Daily", "Weekly"});
  ExpectNumbers<EChargingRateUnit>({"A", "W"});
}

TEST(PayloadEnumerations, StatusesOfResponsesHaveTheirNumbers)
{
  ExpectNumbers<Ocpp16::SetChargingProfile::EChargingProfileStatus>({"Accepted", "NotSupported", "Rejected"});
  ExpectNumbers<Ocpp16::ClearChargingProfile::EClearChargingProfileStatus>({"Accepted", "Unknown"});
  ExpectNumbers<Ocpp16::RemoteStartTransaction::ERemoteStartStopStatus>({"Accepted", "Rejected"});
  ExpectNumbers<Ocpp16::RemoteStopTransaction::ERemoteStartStopStatus>({"Accepted", "Rejected"});
  ExpectNumbers<Ocpp16::ChangeAvailability::EAvailabilityStatus>({"Accepted", "Rejected", "Scheduled"});
  ExpectNumbers<Ocpp16::UnlockConnector::EUnlockStatus>({"NotSupported", "UnlockFailed", "Unlocked"});
  ExpectNumbers<Ocpp16::TriggerMessage::ETriggerMessageStatus>({"Accepted", "NotImplemented", "Rejected"});
  ExpectNumbers<Ocpp16::ExtendedTriggerMessage::ETriggerMessageStatus>({"Accepted", "NotImplemented", "Rejected"});
  ExpectNumbers<Ocpp16::SendLocalList::EUpdateStatus>({"Accepted", "Failed", "NotSupported", "VersionMismatch"});
  ExpectNumbers<Ocpp16::ChangeConfiguration::EConfigurationStatus>(
      {"Accepted", "NotSupported", "RebootRequired", "Rejected"});
  ExpectNumbers<Ocpp16::DataTransfer::EDataTransferStatus>(
      {"Accepted", "Rejected", "UnknownMessageId", "UnknownVendorId"});
  ExpectNumbers<Ocpp201::GetVariables::EGetVariableStatus>(
      {"Accepted", "NotSupportedAttributeType", "Rejected", "UnknownComponent", "UnknownVariable"});
}

TEST(PayloadEnumerations, ChoicesOfRequestsHaveTheirNumbers)
{
  ExpectNumbers<Ocpp16::ChangeAvailability::EAvailabilityType>({"Inoperative", "Operative"});
  ExpectNumbers<Ocpp16::Reset::EResetType>({"Hard", "Soft"});
  ExpectNumbers<Ocpp16::SendLocalList::EUpdateType>({"Differential", "Full"});
  ExpectNumbers<Ocpp16::GetLog::ELogType>({"DiagnosticsLog", "SecurityLog"});
}

TEST(PayloadEnumerations, TextOfANumberOutsideTheEnumerationThrowsThePlainText)
{
  try {
    ToText(static_cast<Ocpp16::StatusNotification::EChargePointStatus>(9));
    FAIL() << "nothing thrown";
  } catch (const char* text) {
    EXPECT_STREQ(text, "This should not happen");
  }
}
