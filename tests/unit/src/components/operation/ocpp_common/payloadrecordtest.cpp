#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "src/components/operation/ocpp16/messages/authorize.h"
#include "src/components/operation/ocpp16/messages/bootnotification.h"
#include "src/components/operation/ocpp16/messages/getconfiguration.h"
#include "src/components/operation/ocpp16/messages/heartbeat.h"
#include "src/components/operation/ocpp16/messages/metervalues.h"
#include "src/components/operation/ocpp16/messages/setchargingprofile.h"
#include "src/components/operation/ocpp16/messages/starttransaction.h"
#include "src/components/operation/ocpp16/messages/statusnotification.h"
#include "src/components/operation/ocpp201/messages/getvariables.h"
#include "src/components/operation/ocpp_common/json.h"

namespace {

template <typename TException, typename TCode>
std::string TextOf(const TCode& code)
{
  try {
    code();
  } catch (const TException& exception) {
    return exception.what();
  }
  return "nothing thrown";
}

using Ocpp16::BootNotification::bootNotificationRequest;
using Ocpp16::BootNotification::bootNotificationResponse;
using Ocpp16::BootNotification::ERegistrationStatus;

}  // namespace

TEST(PayloadRecord, BootNotificationWithAVendorOf21CharactersIsTooLong)
{
  bootNotificationRequest request;
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>([&] { request.chargePointVendor = std::string(21, 'v'); }),
            "Value too long for ChargePointVendor (21>20)");
  EXPECT_FALSE(request.chargePointVendor.IsAssigned());
  request.chargePointVendor = std::string(20, 'v');
  EXPECT_EQ(request.chargePointVendor, std::string(20, 'v'));
}

TEST(PayloadRecord, OptionalTextIsCheckedOnAssignmentToo)
{
  bootNotificationRequest request;
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>([&] { request.iccid = std::string(21, '8'); }),
            "Value too long for Iccid (21>20)");
  EXPECT_FALSE(request.iccid);
  request.iccid = "8931";
  EXPECT_EQ(*request.iccid, "8931");
}

TEST(PayloadRecord, AttributeValueIsNamedWithACapitalInItsException)
{
  Ocpp201::GetVariables::getVariableResultType result;
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>([&] { result.attributeValue = std::string(2501, 'x'); }),
            "Value too long for AttributeValue (2501>2500)");
}

TEST(PayloadRecord, LimitIsCheckedOnReading)
{
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>(
                [] { OcppJson::Read<Ocpp16::Authorize::authorizeRequest>(R"({"idTag":"123456789012345678901"})"); }),
            "Value too long for IdTag (21>20)");
}

TEST(PayloadRecord, ItemsOfATextListAreChecked)
{
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>([] {
              OcppJson::Read<Ocpp16::GetConfiguration::getConfigurationRequest>(R"({"key":["a",")" +
                                                                                std::string(51, 'k') + R"("]})");
            }),
            "Value too long for Key (51>50)");
  const auto request = OcppJson::Read<Ocpp16::GetConfiguration::getConfigurationRequest>(R"({"key":["a","b"]})");
  ASSERT_EQ(request.key->size(), 2U);
  EXPECT_EQ(request.key->at(1), "b");
}

TEST(PayloadRecord, OptionalMembersAreWrittenOnlyWhenTheyHoldAValue)
{
  bootNotificationRequest request;
  request.chargePointVendor = "V";
  request.chargePointModel = "M";
  EXPECT_EQ(OcppJson::Write(request), R"({"chargePointModel":"M","chargePointVendor":"V"})");
  request.imsi = "";
  EXPECT_EQ(OcppJson::Write(request), R"({"chargePointModel":"M","chargePointVendor":"V","imsi":""})");
}

TEST(PayloadRecord, RequiredLimitedTextThatWasNeverAssignedIsLeftOut)
{
  Ocpp16::StartTransaction::startTransactionRequest request;
  request.connectorId = 1;
  request.meterStart = 12;
  request.timestamp = "2026-01-15T10:15:00Z";
  EXPECT_THROW(request.idTag = std::string(21, 'x'), OcppConstraints::classMemberConstraintException);
  EXPECT_EQ(OcppJson::Write(request), R"({"connectorId":1,"meterStart":12,"timestamp":"2026-01-15T10:15:00Z"})");
  request.idTag = "";
  EXPECT_EQ(OcppJson::Write(request),
            R"({"connectorId":1,"idTag":"","meterStart":12,"timestamp":"2026-01-15T10:15:00Z"})");
}

TEST(PayloadRecord, AbsentOptionalMemberStaysEmpty)
{
  const auto request =
      OcppJson::Read<bootNotificationRequest>(R"({"chargePointModel":"M","chargePointVendor":"V","imsi":"262"})");
  EXPECT_FALSE(request.iccid);
  EXPECT_EQ(*request.imsi, "262");
}

TEST(PayloadRecord, NullForAnOptionalMemberIsATypeError)
{
  EXPECT_THROW(
      OcppJson::Read<bootNotificationRequest>(R"({"chargePointModel":"M","chargePointVendor":"V","imsi":null})"),
      nlohmann::json::type_error);
}

TEST(PayloadRecord, EnumerationInLowerCaseDoesNotConform)
{
  try {
    OcppJson::Read<bootNotificationResponse>(
        R"({"status":"accepted","currentTime":"2026-01-15T10:15:00Z","interval":300})");
    FAIL() << "nothing thrown";
  } catch (const char* text) {
    EXPECT_STREQ(text, "Input JSON does not conform to schema");
  }
}

TEST(PayloadRecord, EnumerationOfTheExactNameIsReadAndWritten)
{
  const auto response = OcppJson::Read<bootNotificationResponse>(
      R"({"status":"Pending","currentTime":"2026-01-15T10:15:00Z","interval":300})");
  EXPECT_EQ(response.status, ERegistrationStatus::EPending);
  EXPECT_EQ(response.interval, 300);
  EXPECT_EQ(OcppJson::Write(response), R"({"currentTime":"2026-01-15T10:15:00Z","interval":300,"status":"Pending"})");
}

TEST(PayloadRecord, MissingRequiredMemberIsOutOfRangeWithItsNameInTheText)
{
  const auto text = TextOf<nlohmann::json::out_of_range>(
      [] { OcppJson::Read<bootNotificationRequest>(R"({"chargePointModel":"M"})"); });
  EXPECT_NE(text.find("'chargePointVendor'"), std::string::npos) << text;
}

TEST(PayloadRecord, UnknownMembersAreSkipped)
{
  EXPECT_EQ(OcppJson::Write(OcppJson::Read<Ocpp16::Authorize::authorizeRequest>(R"({"idTag":"A","x":{"y":[1]}})")),
            R"({"idTag":"A"})");
}

TEST(PayloadRecord, EmptyRecordIsAnEmptyObject)
{
  EXPECT_EQ(OcppJson::Write(Ocpp16::Heartbeat::heartbeatRequest()), "{}");
  EXPECT_NO_THROW(OcppJson::Read<Ocpp16::StatusNotification::statusNotificationResponse>("{}"));
}

TEST(PayloadRecord, NestedRecordsListsAndEnumerationsAreReadAndWritten)
{
  const std::string text =
      R"({"connectorId":1,"meterValue":[{"sampledValue":[{"context":"Sample.Clock","measurand":"Voltage",)"
      R"("phase":"L1-N","unit":"V","value":"230.100"},{"value":"5"}],"timestamp":"2026-01-15T10:15:00Z"}]})";
  const auto request = OcppJson::Read<Ocpp16::MeterValues::meterValuesRequest>(text);
  ASSERT_EQ(request.meterValue.size(), 1U);
  ASSERT_EQ(request.meterValue[0].sampledValue.size(), 2U);
  EXPECT_EQ(request.meterValue[0].sampledValue[0].context, Ocpp16::MeterValues::EReadingContext::ESampleClock);
  EXPECT_FALSE(request.meterValue[0].sampledValue[1].context);
  EXPECT_EQ(OcppJson::Write(request), text);
}

TEST(PayloadRecord, ChargingProfileAloneIsADocumentToo)
{
  const std::string text =
      R"({"chargingProfileId":42,"chargingProfileKind":"Absolute","chargingProfilePurpose":"TxProfile",)"
      R"("chargingSchedule":{"chargingRateUnit":"A","chargingSchedulePeriod":[{"limit":16.5,"startPeriod":0}]},)"
      R"("stackLevel":0})";
  const auto profile = OcppJson::Read<Ocpp16::ChargingProfileCommon::csChargingProfiles>(text);
  EXPECT_EQ(profile.chargingSchedule.chargingSchedulePeriod.at(0).limit, 16.5);
  EXPECT_FALSE(profile.chargingSchedule.chargingSchedulePeriod.at(0).numberPhases);
  EXPECT_EQ(OcppJson::Write(profile), text);
}

TEST(PayloadRecord, NumberMemberTakesAnIntegerToo)
{
  const auto profile = OcppJson::Read<Ocpp16::ChargingProfileCommon::csChargingProfiles>(
      R"({"chargingProfileId":42,"chargingProfileKind":"Relative","chargingProfilePurpose":"TxDefaultProfile",)"
      R"("chargingSchedule":{"chargingRateUnit":"W","chargingSchedulePeriod":[{"limit":16,"startPeriod":0}]},)"
      R"("stackLevel":0})");
  EXPECT_EQ(profile.chargingSchedule.chargingSchedulePeriod.at(0).limit, 16.0);
}

TEST(PayloadRecord, NonAsciiTextIsWrittenAsItIs)
{
  Ocpp16::Authorize::authorizeRequest request;
  request.idTag = "Grüße-€";
  EXPECT_EQ(OcppJson::Write(request), R"({"idTag":"Grüße-€"})");
}

TEST(PayloadRecord, TextThatIsNotUtf8CannotBeWritten)
{
  Ocpp16::Authorize::authorizeRequest request;
  request.idTag = "\xC3";
  EXPECT_THROW(OcppJson::Write(request), nlohmann::json::type_error);
}

TEST(PayloadRecord, QuotesAndControlCharactersAreEscaped)
{
  Ocpp16::Authorize::authorizeRequest request;
  request.idTag = "a\"b\n";
  EXPECT_EQ(OcppJson::Write(request), R"({"idTag":"a\"b\n"})");
}
