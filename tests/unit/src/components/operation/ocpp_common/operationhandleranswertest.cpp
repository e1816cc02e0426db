// Results and errors: which call they are matched to, and what is told of those that fit none.

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "src/components/operation/ocpp_common/constraints.h"
#include "src/components/operation/ocpp_common/json.h"
#include "tests/unit/src/components/operation/ocpp_common/operationhandlerfixture.h"

using namespace std::chrono_literals;
using FakeOutCalls::Heartbeat;
using FakeOutCalls::MeterValues;
using FakeOutCalls::StartTransaction;

namespace {

class OperationHandlerAnswer : public COperationHandlerTest {};

// Filters compare dynamic types.
class COtherOutCall : public CFakeOutCall {
 public:
  using CFakeOutCall::CFakeOutCall;
};

}  // namespace

TEST_F(OperationHandlerAnswer, ResultReachesTheOperationAndFreesTheSlot)
{
  Start();
  const auto heartbeat = Heartbeat("h1");
  Push(heartbeat);
  Answer("h1", R"({"currentTime":"x"})");
  EXPECT_EQ(heartbeat->GetResponses(), std::vector<std::string>{R"({"currentTime":"x"})"});
  EXPECT_FALSE(mHandler->HasOutCall());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, R"([Cpo Backoffice] OCPP-CS-Conf: Heartbeat[h1]: {"currentTime":"x"})"),
            1u);
  EXPECT_EQ(mResets, 1);
}

TEST_F(OperationHandlerAnswer, ResponseIsLoggedAsTheOperationAsks)
{
  Start();
  SFakeOutCall options;
  options.isInfoLogLevel = false;
  options.responseLogText = "quiet";
  Push(std::make_shared<CFakeOutCall>(options));
  mHandler->HandleInResult("id", "{}", EBackofficeId::EAuxiliary);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Tovira Hub] OCPP-CS-Conf: Heartbeat[id]: quiet"), 1u);
}

TEST_F(OperationHandlerAnswer, ResultWithEmptyIdIsIgnored)
{
  Start();
  Push(Heartbeat("h1"));
  Answer("");
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EWarning, "[Cpo Backoffice] Receiving result with empty id. Ignoring this message."),
      1u);
  EXPECT_TRUE(mHandler->HasOutCall());
  EXPECT_EQ(mResets, 1);
}

TEST_F(OperationHandlerAnswer, ResultWithUnexpectedIdIsIgnored)
{
  Start();
  Answer("h1");
  Push(Heartbeat("h1"));
  Answer("h2");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[Cpo Backoffice] Receiving result with unexpected id 'h1'. Ignoring this message."),
            1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[Cpo Backoffice] Receiving result with unexpected id 'h2'. Ignoring this message."),
            1u);
  EXPECT_EQ(mHandler->GetOutCallId(), "h1");
}

TEST_F(OperationHandlerAnswer, ResultWithEmptyPayloadLeavesTheCallOpenForItsTimeout)
{
  Start();
  const auto heartbeat = Heartbeat("h1");
  Push(heartbeat);
  Answer("h1", "");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "[Cpo Backoffice] Receiving result for id 'h1' with empty payload. Ignoring this message."),
            1u);
  EXPECT_TRUE(heartbeat->GetResponses().empty());
  EXPECT_TRUE(mHandler->HasOutCall());
  mClock.AdvanceBy(30s);
  EXPECT_EQ(heartbeat->GetTimeouts(), 1);
}

TEST_F(OperationHandlerAnswer, FilteredResultIsNotProcessedButCounts)
{
  Start();
  SOperationFilters filters;
  filters.outCallResults = {std::type_index(typeid(COtherOutCall))};
  mHandler->SetFilters(filters);
  const auto other =
      std::make_shared<COtherOutCall>(FakeOutCalls::TransactionOptions("other", "StartTransaction", true));
  Push(other);
  Answer("other");
  EXPECT_TRUE(other->GetResponses().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "In result call from Cpo Backoffice is rejected by filter. Response not handled"),
            1u);
  EXPECT_FALSE(mHandler->HasOutCall());
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
  const auto heartbeat = Heartbeat("h1");
  Push(heartbeat);
  Answer("h1");
  EXPECT_EQ(heartbeat->GetResponses().size(), 1u);
}

TEST_F(OperationHandlerAnswer, ExceptionsOfAResponseAreLoggedByKindAndFreeTheSlot)
{
  Start();
  const std::vector<std::pair<std::function<void()>, std::string>> rows = {
      {[] { nlohmann::json::object().at("status"); },
       "[Cpo Backoffice] Receiving result with invalid payload. Heartbeat, [json.exception.out_of_range.403] key "
       "'status' not found"},
      {[] { throw OcppJson::kNotConforming; },
       "[Cpo Backoffice] Receiving result with non-conforming payload. Heartbeat, Input JSON does not conform to "
       "schema"},
      {[] { throw OcppConstraints::valueTooLongException("too long"); },
       "[Cpo Backoffice] Receiving result with member constraint exception. Heartbeat, too long"},
      {[] { throw std::runtime_error("other"); }, "[Cpo Backoffice] An exception is thrown. Heartbeat, other"},
      {[] { throw 5; }, "[Cpo Backoffice] An unknown exception is thrown. Heartbeat"},
  };
  for (const auto& row : rows) {
    const auto heartbeat = Heartbeat("h1");
    heartbeat->OnResponse([&](const std::string&) { row.first(); });
    Push(heartbeat);
    Answer("h1");
    EXPECT_TRUE(mLog.Contains(row.second)) << row.second;
    EXPECT_FALSE(mHandler->HasOutCall());
    EXPECT_FALSE(mLog.ContainsPart("OCPP-CS-Conf"));
  }
}

TEST_F(OperationHandlerAnswer, UnparsableResultIsAnExceptionLikeAnyOther)
{
  Start();
  const auto heartbeat = Heartbeat("h1");
  heartbeat->OnResponse([](const std::string& payload) { nlohmann::json::parse(payload).size(); });
  Push(heartbeat);
  Answer("h1", "{broken");
  EXPECT_TRUE(
      mLog.ContainsPart("[Cpo Backoffice] An exception is thrown. Heartbeat, [json.exception.parse_error.101]"));
}

TEST_F(OperationHandlerAnswer, OperationMayPushFromItsReactionAndGoesBeforeWhatItPushed)
{
  Start();
  const auto start = StartTransaction("1");
  start->OnResponse([this](const std::string&) {
    mHandler->PushOutCallOperation(MeterValues("2"));
    mHandler->PushOutCallOperation(Heartbeat("h1"));
    // The slot is still taken: nothing overtakes.
    EXPECT_EQ(mHandler->GetOutCallId(), "1");
  });
  Push(start);
  Answer("1");
  EXPECT_EQ(TakeSentIds(), (CIds{"1", "2"}));
  Answer("2");
  EXPECT_EQ(TakeSentIds(), CIds{"h1"});
}

TEST_F(OperationHandlerAnswer, TimeoutWhileTheAnswerIsHandledDoesNothing)
{
  Start();
  const auto start = StartTransaction("1");
  start->OnResponse([this](const std::string&) { mClock.AdvanceBy(1min); });
  Push(start);
  Answer("1");
  EXPECT_EQ(start->GetTimeouts(), 0);
  EXPECT_EQ(mSendTimeouts, 0);
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
}

TEST_F(OperationHandlerAnswer, AnswerWhileTheTimeoutIsHandledIsUnexpected)
{
  Start();
  const auto heartbeat = Heartbeat("h1");
  mHandler->SetSendTimeoutCB(
      [this](const IOperationHandler::COperation&) { mHandler->HandleInResult("h1", "{}", EBackofficeId::EPrimary); });
  Push(heartbeat);
  mClock.AdvanceBy(30s);
  EXPECT_TRUE(heartbeat->GetResponses().empty());
  EXPECT_TRUE(mLog.Contains("[Cpo Backoffice] Receiving result with unexpected id 'h1'. Ignoring this message."));
}

TEST_F(OperationHandlerAnswer, ErrorForAHeartbeatFreesTheSlotAndCountsNothing)
{
  Start();
  Push(Heartbeat("h1"));
  Fail("h1");
  EXPECT_FALSE(mHandler->HasOutCall());
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u);
  EXPECT_FALSE(mHandler->IsResendBackoffActive());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "[Cpo Backoffice] OCPP-CS-Err: [h1]: Code: [\"InternalError\"], Description: "
                       "[\"description\"], Detail: [{}]"),
            1u);
  EXPECT_EQ(mResets, 1);
}

TEST_F(OperationHandlerAnswer, IncompleteErrorsFreeNothing)
{
  Start();
  Push(Heartbeat("h1"));
  mHandler->HandleInError("", "\"c\"", "\"d\"", "{}", EBackofficeId::EPrimary);
  mHandler->HandleInError("h1", "", "\"d\"", "{}", EBackofficeId::EPrimary);
  mHandler->HandleInError("h1", "\"c\"", "\"d\"", "", EBackofficeId::EPrimary);
  const auto warning = Log::ELogLevel::EWarning;
  EXPECT_EQ(mLog.Count(warning, "[Cpo Backoffice] Receiving error with empty ID. Ignore this error"), 1u);
  EXPECT_EQ(mLog.Count(warning, "[Cpo Backoffice] Receiving error with empty error code. Ignore this error"), 1u);
  EXPECT_EQ(mLog.Count(warning, "[Cpo Backoffice] Receiving error with invalide error detail. Ignore this error"), 1u);
  EXPECT_EQ(mHandler->GetOutCallId(), "h1");
  EXPECT_EQ(mResets, 3);
}

TEST_F(OperationHandlerAnswer, EmptyDescriptionIsNoFault)
{
  Start();
  Push(Heartbeat("h1"));
  mHandler->HandleInError("h1", "\"c\"", "", "{}", EBackofficeId::EPrimary);
  EXPECT_FALSE(mHandler->HasOutCall());
}

TEST_F(OperationHandlerAnswer, ErrorWithUnexpectedIdFreesTheSlotOfTheCallInFlight)
{
  Start();
  Push(StartTransaction("1"));
  Push(Heartbeat("h1"));
  Fail("other");
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u);
  EXPECT_EQ(mQueue->GetNumOpInResendReqOpQueue(), 1u);
  EXPECT_EQ(TakeSentIds(), (CIds{"1", "h1"}));
}

TEST_F(OperationHandlerAnswer, TransactionMessageThatIsAnsweredWithForeignErrorsGoesOutOnceASecond)
{
  Start();
  Push(StartTransaction("1"));
  Fail("-1");
  EXPECT_EQ(TakeSentIds(), (CIds{"1", "1"})) << "one may be a late answer to another call";
  Fail("-1");
  mClock.AdvanceBy(1s);
  for (int attempt = 0; attempt < 100; ++attempt) {
    ASSERT_EQ(TakeSentIds(), CIds{"1"});
    Fail("-1");
    mClock.AdvanceBy(1s - 1ns);
    ASSERT_TRUE(TakeSentIds().empty());
    mClock.AdvanceBy(1ns);
  }
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u) << "only an error of its own counts";
  Answer("1");
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
}

TEST_F(OperationHandlerAnswer, OrdinaryOperationIsGivenUpAtAnErrorWhoeverItWasMeantFor)
{
  Start();
  for (const char* id : {"own", "foreign"}) {
    const auto heartbeat = Heartbeat("own");
    Push(heartbeat);
    Fail(id);
    EXPECT_EQ(heartbeat->GetGiveUps(), 1) << id;
    EXPECT_FALSE(mHandler->HasOutCall());
  }
}

TEST_F(OperationHandlerAnswer, ErrorForAFilteredOrdinaryOperationReachesItNot)
{
  Start();
  SOperationFilters filters;
  filters.outCallResults = {std::type_index(typeid(COtherOutCall))};
  mHandler->SetFilters(filters);
  SFakeOutCall options;
  options.id = "other";
  const auto other = std::make_shared<COtherOutCall>(options);
  Push(other);
  Fail("other");
  EXPECT_EQ(other->GetGiveUps(), 0);
  EXPECT_FALSE(mHandler->HasOutCall());
}

TEST_F(OperationHandlerAnswer, ErrorWithoutACallInFlightIsOnlyLogged)
{
  Start();
  Fail("other");
  EXPECT_TRUE(mLog.ContainsPart("OCPP-CS-Err: [other]"));
  Push(Heartbeat("h1"));
  EXPECT_EQ(TakeSentIds(), CIds{"h1"});
}
