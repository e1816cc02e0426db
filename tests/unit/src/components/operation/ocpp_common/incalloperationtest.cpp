#include "src/components/operation/ocpp_common/incalloperation.h"

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "tests/unit/src/components/operation/ocpp_common/fakerecords.h"
#include "tests/unit/support/logcapture.h"

namespace {

using Fake::Echo::echoRequest;
using Fake::Echo::echoResponse;
using Fake::Echo::EStatus;

class CEchoInCall : public CInCallOperation<echoRequest, echoResponse> {
 public:
  using CAction = std::function<void(const echoRequest&, echoResponse&)>;

  explicit CEchoInCall(CAction action) : CInCallOperation(nullptr, "call-7"), mAction(std::move(action)) {}

 protected:
  void Action(const echoRequest& request, echoResponse& response) override { mAction(request, response); }

 private:
  CAction mAction;
};

void Echo(const echoRequest& request, echoResponse& response) { response.echo = request.word; }

const std::string kInternalErrorFrame =
    R"([4,"call-7","InternalError","An internal error occurred and the receiver was not able to process the )"
    R"(requested Action successfully",{}])";

}  // namespace

TEST(InCallOperation, ResponseOfTheActionIsAnsweredWithTheIdOfTheCall)
{
  CEchoInCall operation(Echo);
  EXPECT_EQ(operation.GetResponsePayload(), "null");
  EXPECT_EQ(operation.Execute(R"({"word":"abc"})"), R"([3,"call-7",{"echo":"abc","status":"Accepted"}])");
  EXPECT_EQ(operation.GetResponsePayload(), R"({"echo":"abc","status":"Accepted"})");
}

TEST(InCallOperation, DefaultsAreInfoLevelNoLogTextAndAPostActionThatDoesNothing)
{
  CEchoInCall operation(Echo);
  EXPECT_TRUE(operation.IsInfoLogLevel());
  EXPECT_EQ(operation.GetResponseLogText(), "");
  operation.PostAction();
  EXPECT_EQ(operation.GetResponsePayload(), "null");
}

TEST(InCallOperation, InCallErrorThrownByTheActionBecomesTheCallErrorAndThePayloadStaysEmpty)
{
  CLogCapture log;
  CEchoInCall operation([](const auto&, auto&) { throw CInCallError(EInCallError::EPropertyConstraintViolation); });
  EXPECT_EQ(operation.Execute(R"({"word":"abc"})"),
            R"([4,"call-7","PropertyConstraintViolation","Payload is syntactically correct but at least one field )"
            R"(contains an invalid value",{}])");
  EXPECT_EQ(operation.GetResponsePayload(), "null");
  EXPECT_TRUE(log.GetLines().empty());
}

TEST(InCallOperation, InCallErrorOfTheActionsOwnTextIsAnsweredAsItIs)
{
  CEchoInCall operation([](const auto&, auto&) { throw CInCallError("GenericError", "Too many keys [3]."); });
  EXPECT_EQ(operation.Execute(R"({"word":"abc"})"), R"([4,"call-7","GenericError","Too many keys [3].",{}])");
}

TEST(InCallOperation, StandardExceptionOfTheActionIsLoggedAndAnsweredInternalError)
{
  CLogCapture log;
  CEchoInCall operation([](const auto&, auto&) { throw std::runtime_error("store is gone"); });
  EXPECT_EQ(operation.Execute(R"({"word":"abc"})"), kInternalErrorFrame);
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "Operation action failed. Error: store is gone"), 1U);
  EXPECT_EQ(operation.GetResponsePayload(), "null");
}

TEST(InCallOperation, ConstraintExceptionInsideTheActionIsAnsweredInternalError)
{
  CLogCapture log;
  CEchoInCall operation([](const auto&, auto&) { echoRequest().word = "sixsix"; });
  EXPECT_EQ(operation.Execute(R"({"word":"abc"})"), kInternalErrorFrame);
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "Operation action failed. Error: Value too long for Word (6>5)"), 1U);
}

TEST(InCallOperation, AnythingElseThrownByTheActionIsLoggedAndAnsweredInternalError)
{
  CLogCapture log;
  CEchoInCall textThrower([](const auto&, auto&) { throw "This should not happen"; });
  EXPECT_EQ(textThrower.Execute(R"({"word":"abc"})"), kInternalErrorFrame);
  CEchoInCall numberThrower([](const auto&, auto&) { throw 42; });
  EXPECT_EQ(numberThrower.Execute(R"({"word":"abc"})"), kInternalErrorFrame);
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "Operation action failed because of an unexpected exception."), 2U);
}

TEST(InCallOperation, PayloadThatDoesNotConformThrowsAndTheActionDoesNotRun)
{
  CLogCapture log;
  int runs = 0;
  CEchoInCall operation([&](const auto&, auto&) { runs++; });
  EXPECT_THROW(operation.Execute(R"({"word":)"), nlohmann::json::parse_error);
  EXPECT_THROW(operation.Execute("{}"), nlohmann::json::out_of_range);
  EXPECT_THROW(operation.Execute(R"({"word":5})"), nlohmann::json::type_error);
  EXPECT_THROW(operation.Execute(R"({"word":"sixsix"})"), OcppConstraints::valueTooLongException);
  EXPECT_EQ(runs, 0);
  EXPECT_TRUE(log.GetLines().empty());
}

TEST(InCallOperation, ResponseThatCannotBeWrittenThrows)
{
  CEchoInCall notUtf8([](const auto&, auto& response) { response.echo = "\xff"; });
  EXPECT_THROW(notUtf8.Execute(R"({"word":"abc"})"), nlohmann::json::type_error);
  CEchoInCall noSuchStatus([](const auto&, auto& response) { response.status = static_cast<EStatus>(9); });
  EXPECT_THROW(noSuchStatus.Execute(R"({"word":"abc"})"), const char*);
}
