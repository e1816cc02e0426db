#include "src/components/operation/ocpp16/implementation/statusnotificationoperation.h"

#include "tests/unit/src/components/ocpp/ocppfixture.h"

namespace {

using Ocpp16::StatusNotification::ToText;

class CStatusNotificationTest : public COcppFixture {
 protected:
  CStatusNotificationTest()
  {
    mConfig->SetString("ProductVendorName", "Vendor");
    mAccess.RegisterClock(mClock);
  }

  static COperationParameters Parameters(int64_t connector, int64_t state, std::vector<int32_t> errors = {})
  {
    COperationParameters parameters{{EOperationParameter::EConnectorId, connector},
                                    {EOperationParameter::EConnectorState, state}};
    if (!errors.empty()) parameters[EOperationParameter::EErrorList] = std::move(errors);
    return parameters;
  }
  std::string PayloadOf(const COperationParameters& parameters)
  {
    CStatusNotificationOutCall operation(&mAccess, "id");
    operation.Prepare(parameters);
    mLogText = operation.GetRequestLogText();
    return operation.GetPayload();
  }

  std::string mLogText;
};

TEST(StatusNotificationTables, EveryConnectorStateHasItsStatus)
{
  const std::pair<const char*, const char*> expected[] = {
      {"Faulted", "Faulted"},          // 0
      {"Available", "Available"},      // 1
      {"Unavailable", "Unavailable"},  // 2
      {"Reserved", "Available"},       // 3
      {"Preparing", "Available"},      // 4
      {"Preparing", "Available"},      // 5
      {"Charging", "Available"},       // 6
      {"SuspendedEV", "Available"},    // 7
      {"SuspendedEVSE", "Available"},  // 8
      {"Finishing", "Available"},      // 9
      {"Faulted", "Faulted"},          // 10
      {"Charging", "Available"},       // 11
      {"Charging", "Available"},       // 12
      {"Faulted", "Faulted"},          // 13
  };
  int32_t state = 0;
  for (const auto& [connector, station] : expected) {
    EXPECT_STREQ(ToText(StatusNotification::ToStatus(1, state)), connector) << state;
    EXPECT_STREQ(ToText(StatusNotification::ToStatus(0, state)), station) << state;
    ++state;
  }
}

TEST(StatusNotificationTables, ASingleErrorHasItsCodeAndSeveralAreOther)
{
  const std::pair<int32_t, const char*> expected[] = {
      {1000, "ConnectorLockFailure"}, {1061, "GroundFailure"},      {1059, "HighTemperature"},
      {1050, "InternalError"},        {1051, "InternalError"},      {1054, "InternalError"},
      {1055, "InternalError"},        {1056, "InternalError"},      {1062, "InternalError"},
      {1063, "InternalError"},        {1064, "InternalError"},      {1100, "InternalError"},
      {1102, "InternalError"},        {1103, "InternalError"},      {1104, "InternalError"},
      {1105, "InternalError"},        {1252, "OverCurrentFailure"}, {1254, "OverCurrentFailure"},
      {1255, "OverCurrentFailure"},   {1256, "OverCurrentFailure"}, {1001, "PowerSwitchFailure"},
      {1052, "PowerSwitchFailure"},   {1053, "PowerSwitchFailure"}, {1058, "PowerSwitchFailure"},
      {1002, "OtherError"},           {1003, "OtherError"},         {1004, "OtherError"},
      {1005, "OtherError"},           {1057, "OtherError"},         {1060, "OtherError"},
      {1065, "OtherError"},           {1253, "OtherError"},         {4711, "OtherError"},
  };
  for (const auto& [identifier, code] : expected) {
    EXPECT_STREQ(ToText(StatusNotification::ToErrorCode({identifier})), code) << identifier;
  }
  EXPECT_STREQ(ToText(StatusNotification::ToErrorCode({})), "NoError");
  EXPECT_STREQ(ToText(StatusNotification::ToErrorCode({1061, 1061})), "OtherError");
}

TEST(StatusNotificationTables, VendorErrorCodeIsCutAtACommaAndNeverLongerThanFifty)
{
  EXPECT_EQ(StatusNotification::ToVendorErrorCode({1000}), "1000");
  // Ten identifiers of four digits make 49 characters.
  EXPECT_EQ(StatusNotification::ToVendorErrorCode(std::vector<int32_t>(10, 1000)).size(), 49U);
  const auto cut = StatusNotification::ToVendorErrorCode(std::vector<int32_t>(11, 1000));
  EXPECT_EQ(cut, "1000,1000,1000,1000,1000,1000,1000,1000,1000,...");
  for (size_t count = 11; count < 30; ++count) {
    std::vector<int32_t> errors(count, 10000);
    errors[count / 2] = 1000;
    EXPECT_LE(StatusNotification::ToVendorErrorCode(errors).size(), 50U);
  }
}

TEST_F(CStatusNotificationTest, HealthyConnectorIsReportedWithoutErrors)
{
  EXPECT_EQ(PayloadOf(Parameters(1, 6)),
            R"({"connectorId":1,"errorCode":"NoError","status":"Charging","timestamp":"2026-01-15T10:15:00Z",)"
            R"("vendorId":"Vendor"})");
  EXPECT_EQ(mLogText, "ConnId:1;ConnStatus:Charging;Error:NoError;Timestamp:2026-01-15T10:15:00Z");
}

TEST_F(CStatusNotificationTest, ErrorsAreToldAsNumbersAndNames)
{
  EXPECT_EQ(PayloadOf(Parameters(1, 10, {1000, 1061})),
            R"({"connectorId":1,"errorCode":"OtherError","info":"LockErr,GndErr","status":"Faulted",)"
            R"("timestamp":"2026-01-15T10:15:00Z","vendorErrorCode":"1000,1061","vendorId":"Vendor"})");
  EXPECT_EQ(mLogText,
            "ConnId:1;ConnStatus:Faulted;Error:OtherError;Timestamp:2026-01-15T10:15:00Z;VendorError:1000,1061;"
            "Info:LockErr,GndErr");
}

TEST_F(CStatusNotificationTest, EmptyVendorIsLeftOut)
{
  mConfig->SetString("ProductVendorName", "");
  EXPECT_EQ(PayloadOf(Parameters(0, 1)).find("vendorId"), std::string::npos);
}

TEST_F(CStatusNotificationTest, WithoutParametersTheStationIsReported)
{
  mSession->state = 6;
  EXPECT_NE(PayloadOf({}).find(R"("connectorId":0,"errorCode":"NoError","status":"Available")"), std::string::npos);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Operation called without connectorId arguments: Using 0 as default."),
            1U);
}

TEST_F(CStatusNotificationTest, WithoutAStateTheConnectorIsAsked)
{
  mSession->state = 9;
  EXPECT_NE(PayloadOf({{EOperationParameter::EConnectorId, int64_t{1}}}).find(R"("status":"Finishing")"),
            std::string::npos);
  EXPECT_TRUE(mLog.Contains("Operation called without state arguments: Current connector state 9 is used."));
}

TEST_F(CStatusNotificationTest, ConfirmationIsRememberedAtTheBackoffice)
{
  const auto primary = Add(kPrimary);
  CStatusNotificationOutCall operation(&mAccess, "id");
  operation.SetBackofficeId(kPrimary);
  operation.Prepare(Parameters(1, 10, {1000}));
  EXPECT_EQ(primary->GetConfirmedStatus(1), 0);
  operation.HandleResponse("{}");
  EXPECT_EQ(primary->GetConfirmedStatus(1), 10);
  EXPECT_EQ(primary->GetConfirmedErrors(1), std::vector<int32_t>{1000});
  EXPECT_FALSE(operation.IsPersistentOp());
  EXPECT_FALSE(operation.IsResendRequiredOp());
}

}  // namespace
