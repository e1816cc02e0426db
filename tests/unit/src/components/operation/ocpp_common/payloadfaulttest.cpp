#include "src/components/operation/ocpp_common/payloadfault.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "src/components/operation/ocpp_common/constraints.h"
#include "src/components/operation/ocpp_common/json.h"
#include "src/components/operation/ocpp_common/messageid.h"

namespace {

template <typename TThrow>
SPayloadFault FaultOf(const TThrow& thrower)
{
  try {
    thrower();
  } catch (...) {
    return CurrentPayloadFault();
  }
  return {EPayloadFault::EUnknown, "nothing was thrown"};
}

}  // namespace

TEST(PayloadFault, EachKindOfExceptionIsToldFromTheOthers)
{
  EXPECT_EQ(FaultOf([] { nlohmann::json::object().at("a"); }).kind, EPayloadFault::EMissingMember);
  EXPECT_EQ(FaultOf([] { nlohmann::json::parse("{").size(); }).kind, EPayloadFault::EJson);
  EXPECT_EQ(FaultOf([] { static_cast<void>(nlohmann::json(1).get<std::string>()); }).kind, EPayloadFault::EJson);
  const auto notConforming = FaultOf([] { throw OcppJson::kNotConforming; });
  EXPECT_EQ(notConforming.kind, EPayloadFault::ENotConforming);
  EXPECT_EQ(notConforming.text, "Input JSON does not conform to schema");
  EXPECT_EQ(FaultOf([] { throw OcppConstraints::invalidPatternException("x"); }).kind, EPayloadFault::EConstraint);
  EXPECT_EQ(FaultOf([] { throw std::runtime_error("x"); }).kind, EPayloadFault::EStandard);
  EXPECT_EQ(FaultOf([] { throw 1; }).kind, EPayloadFault::EUnknown);
  EXPECT_EQ(FaultOf([] { throw 1; }).text, "");
}

TEST(PayloadFault, TokenThatTheParserReadLastIsLeftOut)
{
  const auto fault = FaultOf([] { nlohmann::json::parse("{\"value\":\"secret").size(); });
  EXPECT_EQ(fault.text.find("secret"), std::string::npos);
  EXPECT_NE(fault.text.find("parse_error.101"), std::string::npos);
}

TEST(MessageId, IsAUuidAndNeverTheSame)
{
  std::set<std::string> ids;
  for (int i = 0; i < 1000; ++i) {
    const auto id = NewMessageId();
    EXPECT_EQ(id.size(), 36u);
    EXPECT_EQ(id[8], '-');
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), 1000u);
}
