#include "src/components/operation/ocpp_common/operationparameters.h"

#include <gtest/gtest.h>

TEST(OperationParameters, KeysHaveTheirNumbers)
{
  const std::pair<EOperationParameter, int> expected[] = {
      {EOperationParameter::EAuthorizationContext, 0},
      {EOperationParameter::EConnectorId, 4},
      {EOperationParameter::EConnectorState, 5},
      {EOperationParameter::EErrorList, 6},
      {EOperationParameter::EReadingContext, 7},
      {EOperationParameter::EMeterData, 8},
      {EOperationParameter::EStopReason, 9},
      {EOperationParameter::ESecurityEventType, 10},
      {EOperationParameter::ESecurityEventTimestamp, 11},
      {EOperationParameter::ESecurityEventTechnicalInformation, 12},
  };
  for (const auto& [key, number] : expected) EXPECT_EQ(static_cast<int>(key), number);
}

TEST(OperationParameters, EachTypeIsGivenBackAsItWasPut)
{
  ipc::MMeterData meterData;
  const COperationParameters parameters = {
      {EOperationParameter::EConnectorId, int64_t{1}},
      {EOperationParameter::ESecurityEventType, std::string("FactoryReset")},
      {EOperationParameter::EErrorList, std::vector<int32_t>{1000, 1001}},
      {EOperationParameter::EMeterData, meterData},
      {EOperationParameter::EAuthorizationContext, ipc::MAuthorizeRequest{}},
  };
  EXPECT_EQ(GetIntParameter(parameters, EOperationParameter::EConnectorId), 1);
  EXPECT_EQ(GetTextParameter(parameters, EOperationParameter::ESecurityEventType), "FactoryReset");
  EXPECT_EQ(GetParameter<std::vector<int32_t>>(parameters, EOperationParameter::EErrorList),
            (std::vector<int32_t>{1000, 1001}));
  EXPECT_TRUE(GetParameter<ipc::MMeterData>(parameters, EOperationParameter::EMeterData));
  EXPECT_TRUE(GetParameter<ipc::MAuthorizeRequest>(parameters, EOperationParameter::EAuthorizationContext));
}

TEST(OperationParameters, AbsentKeyAndOtherTypeAreEmpty)
{
  const COperationParameters parameters = {{EOperationParameter::EConnectorId, std::string("1")}};
  EXPECT_FALSE(GetIntParameter(parameters, EOperationParameter::EConnectorId));
  EXPECT_FALSE(GetIntParameter(parameters, EOperationParameter::EStopReason));
  EXPECT_FALSE(GetTextParameter({}, EOperationParameter::ESecurityEventType));
}
