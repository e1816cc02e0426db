#include "src/components/operation/ocpp_common/outcalloperation.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/unit/src/components/operation/ocpp_common/fakerecords.h"

namespace {

using Fake::Echo::echoRequest;
using Fake::Echo::echoResponse;
using Fake::Echo::EStatus;

class CEchoOutCall : public COutCallOperation<echoRequest, echoResponse, CEchoOutCall> {
 public:
  explicit CEchoOutCall(EOutCallKind kind = EOutCallKind::EOrdinary) : COutCallOperation(nullptr, "id-1", "Echo", kind)
  {}
  CEchoOutCall(const std::string& id, const std::string& payload)
      : COutCallOperation(nullptr, id, SStoredPayload{payload}, "Echo", EOutCallKind::EResendRequired)
  {}

  void UpdateTransactionId(int64_t transactionId) override
  {
    mRequest.transactionId = transactionId;
    RenewPayload();
  }

  std::vector<EStatus> mResponses;
  int mTimeouts = 0;

 protected:
  void CallAction(echoRequest& request) override
  {
    request.word = GetTextParameter(mParameters, EOperationParameter::ESecurityEventType).value_or("hello");
  }
  void ResponseAction(const echoResponse& response) override { mResponses.push_back(response.status); }
  void TimeoutAction() override { mTimeouts++; }
};

// Leaves everything that may be left at its default.
class CPlainOutCall : public COutCallOperation<echoRequest, echoResponse, CPlainOutCall> {
 public:
  CPlainOutCall() : COutCallOperation(nullptr, "id-2", "Plain") {}

 protected:
  void CallAction(echoRequest& request) override { request.word = "plain"; }
  void ResponseAction(const echoResponse& /*response*/) override {}
};

COperationParameters Word(const std::string& word) { return {{EOperationParameter::ESecurityEventType, word}}; }

}  // namespace

TEST(OutCallOperation, PrepareFillsTheRequestFromTheParametersAndTheFrameCarriesIt)
{
  CEchoOutCall operation;
  operation.Prepare(Word("abc"));
  EXPECT_EQ(operation.GetPayload(), R"({"word":"abc"})");
  EXPECT_EQ(operation.GetRequestFrame(), R"([2,"id-1","Echo",{"word":"abc"}])");
}

TEST(OutCallOperation, SetMessageIdChangesTheFrame)
{
  CEchoOutCall operation;
  operation.Prepare({});
  operation.SetMessageId("other");
  EXPECT_EQ(operation.GetMessageId(), "other");
  EXPECT_EQ(operation.GetRequestFrame(), R"([2,"other","Echo",{"word":"hello"}])");
}

TEST(OutCallOperation, ConstraintExceptionOfTheActionLeavesTheOperationWithoutPayload)
{
  CEchoOutCall operation;
  EXPECT_THROW(operation.Prepare(Word("sixsix")), OcppConstraints::valueTooLongException);
  EXPECT_EQ(operation.GetPayload(), "null");
}

TEST(OutCallOperation, TextThatIsNotUtf8FailsInPrepareAndNotLaterWhenTheFrameIsBuilt)
{
  CEchoOutCall operation;
  EXPECT_THROW(operation.Prepare(Word("\xff")), nlohmann::json::type_error);
  EXPECT_EQ(operation.GetPayload(), "null");
}

TEST(OutCallOperation, KindDecidesResendAndBootNotification)
{
  const CEchoOutCall ordinary(EOutCallKind::EOrdinary);
  EXPECT_FALSE(ordinary.IsResendRequiredOp());
  EXPECT_FALSE(ordinary.IsBootNotificationOp());
  const CEchoOutCall resend(EOutCallKind::EResendRequired);
  EXPECT_TRUE(resend.IsResendRequiredOp());
  EXPECT_FALSE(resend.IsBootNotificationOp());
  const CEchoOutCall boot(EOutCallKind::EBootNotification);
  EXPECT_FALSE(boot.IsResendRequiredOp());
  EXPECT_TRUE(boot.IsBootNotificationOp());
  EXPECT_EQ(static_cast<int>(EOutCallKind::EResendRequired), 1);
  EXPECT_EQ(static_cast<int>(EOutCallKind::EBootNotification), 2);
}

TEST(OutCallOperation, DefaultsAreOrdinaryNotPersistentAtInfoLevelWithoutLogTexts)
{
  CPlainOutCall operation;
  operation.Prepare({});
  EXPECT_EQ(operation.GetAction(), "Plain");
  EXPECT_FALSE(operation.IsResendRequiredOp());
  EXPECT_FALSE(operation.IsPersistentOp());
  EXPECT_TRUE(operation.IsInfoLogLevel());
  EXPECT_EQ(operation.GetRequestLogText(), "");
  EXPECT_EQ(operation.GetResponseLogText(), "");
  EXPECT_EQ(operation.GetBackofficeId(), EBackofficeId::ENone);
  operation.UpdateTransactionId(7);
  operation.Timeout();
  EXPECT_EQ(operation.GetPayload(), R"({"word":"plain"})");
}

TEST(OutCallOperation, MarkResendFlagsOnlyAResendRequiredOperation)
{
  CEchoOutCall ordinary(EOutCallKind::EOrdinary);
  ordinary.MarkResend();
  EXPECT_FALSE(ordinary.IsResent());
  CEchoOutCall resend(EOutCallKind::EResendRequired);
  EXPECT_FALSE(resend.IsResent());
  resend.MarkResend();
  EXPECT_TRUE(resend.IsResent());
}

TEST(OutCallOperation, ConnectorIndexIsTheConnectorIdLessOne)
{
  const std::pair<int64_t, std::optional<uint8_t>> expected[] = {{1, uint8_t{0}},     {2, uint8_t{1}},
                                                                 {256, uint8_t{255}}, {0, std::nullopt},
                                                                 {-1, std::nullopt},  {257, std::nullopt}};
  for (const auto& [connectorId, index] : expected) {
    CEchoOutCall operation;
    operation.Prepare({{EOperationParameter::EConnectorId, connectorId}});
    EXPECT_EQ(operation.GetConnectorIndex(), index) << connectorId;
  }
}

TEST(OutCallOperation, ConnectorIndexIsEmptyWithoutConnectorIdParameter)
{
  CEchoOutCall operation;
  EXPECT_EQ(operation.GetConnectorIndex(), std::nullopt);
  operation.Prepare({});
  EXPECT_EQ(operation.GetConnectorIndex(), std::nullopt);
}

TEST(OutCallOperation, ResponseIsReadAndHandedToTheAction)
{
  CEchoOutCall operation;
  operation.HandleResponse(R"({"status":"Rejected"})");
  EXPECT_EQ(operation.mResponses, std::vector<EStatus>{EStatus::ERejected});
}

TEST(OutCallOperation, ResponseThatDoesNotConformThrowsAndTheActionDoesNotRun)
{
  CEchoOutCall operation;
  EXPECT_THROW(operation.HandleResponse("{"), nlohmann::json::parse_error);
  EXPECT_THROW(operation.HandleResponse("{}"), nlohmann::json::out_of_range);
  EXPECT_THROW(operation.HandleResponse(R"({"status":1})"), nlohmann::json::type_error);
  EXPECT_THROW(operation.HandleResponse(R"({"status":"accepted"})"), const char*);
  EXPECT_TRUE(operation.mResponses.empty());
}

TEST(OutCallOperation, TimeoutRunsTheTimeoutAction)
{
  CEchoOutCall operation;
  operation.Timeout();
  EXPECT_EQ(operation.mTimeouts, 1);
}

TEST(OutCallOperation, CloneKeepsTypeIdAndPayloadAndIsIndependent)
{
  CEchoOutCall operation(EOutCallKind::EResendRequired);
  operation.Prepare(Word("abc"));
  operation.MarkResend();
  const auto clone = operation.Clone();
  EXPECT_EQ(clone->GetMessageId(), "id-1");
  EXPECT_EQ(clone->GetRequestFrame(), operation.GetRequestFrame());
  EXPECT_EQ(clone->GetTypeInfo(), typeid(CEchoOutCall));
  EXPECT_TRUE(clone->IsResendRequiredOp());
  EXPECT_TRUE(clone->IsResent());

  clone->SetBackofficeId(EBackofficeId::EAuxiliary);
  clone->UpdateTransactionId(42);
  EXPECT_EQ(clone->GetPayload(), R"({"transactionId":42,"word":"abc"})");
  EXPECT_EQ(operation.GetPayload(), R"({"word":"abc"})");
  EXPECT_EQ(operation.GetBackofficeId(), EBackofficeId::ENone);
}

TEST(OutCallOperation, TypeInfoIsThatOfTheConcreteClass)
{
  const std::shared_ptr<COperationBase> operation = std::make_shared<CPlainOutCall>();
  EXPECT_EQ(operation->GetTypeInfo(), typeid(CPlainOutCall));
  EXPECT_NE(operation->GetTypeInfo(), typeid(CEchoOutCall));
}

TEST(OutCallOperation, RestoredOperationHasTheIdAndPayloadOfItsFirstLife)
{
  CEchoOutCall operation("stored-id", R"({"transactionId":-1,"word":"abc"})");
  EXPECT_EQ(operation.GetRequestFrame(), R"([2,"stored-id","Echo",{"transactionId":-1,"word":"abc"}])");
  operation.UpdateTransactionId(9);
  EXPECT_EQ(operation.GetPayload(), R"({"transactionId":9,"word":"abc"})");
}

TEST(OutCallOperation, RestoringFromABrokenPayloadThrows)
{
  EXPECT_THROW(CEchoOutCall("id", R"({"word":)"), nlohmann::json::parse_error);
  EXPECT_THROW(CEchoOutCall("id", "{}"), nlohmann::json::out_of_range);
}
