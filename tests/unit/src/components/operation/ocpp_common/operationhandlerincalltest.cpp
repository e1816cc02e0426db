// Incoming calls: what is answered with what, and what is dropped in silence.

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "src/components/operation/ocpp_common/constraints.h"
#include "src/components/operation/ocpp_common/incallerror.h"
#include "src/components/operation/ocpp_common/json.h"
#include "tests/unit/src/components/operation/ocpp_common/operationhandlerfixture.h"

namespace {

class OperationHandlerInCall : public COperationHandlerTest {
 protected:
  OperationHandlerInCall() { Wire(); }

  // The one frame that the call led to; empty when there was none.
  std::string AnswerTo(const std::string& id, const std::string& action, const std::string& payload = "{}")
  {
    Call(id, action, payload);
    const auto frames = mLink.TakeFrames();
    EXPECT_LE(frames.size(), 1u);
    return frames.empty() ? "" : frames.front();
  }

  static std::string ErrorFrame(const std::string& id, EInCallError error)
  {
    return CErrorOperation(id, CInCallError(error)).GetFrame();
  }
};

}  // namespace

TEST_F(OperationHandlerInCall, CallIsExecutedAnsweredAndLogged)
{
  std::string seen;
  mFactory->behaviours[EInOpType::EReset].read = [&](const std::string& payload) { seen = payload; };
  mFactory->behaviours[EInOpType::EReset].action = [] { return R"({"status":"Accepted"})"; };
  EXPECT_EQ(AnswerTo("7", "Reset", R"({"type":"Hard"})"), R"([3,"7",{"status":"Accepted"}])");
  EXPECT_EQ(seen, R"({"type":"Hard"})");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, R"([Cpo Backoffice] OCPP-CS-Req : 7[Reset]: {"type":"Hard"})"), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, R"([Cpo Backoffice] OCPP-CP-Conf: Reset[7]: {"status":"Accepted"})"), 1u);
  EXPECT_EQ(mResets, 1);
}

TEST_F(OperationHandlerInCall, QuietCallIsLoggedAtDebugLevelWithTheBracketMissing)
{
  auto& behaviour = mFactory->behaviours[EInOpType::EReset];
  behaviour.isInfoLogLevel = false;
  behaviour.responseLogText = "quiet";
  AnswerTo("7", "Reset");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice OCPP-CS-Req : 7[Reset]: {}"), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] OCPP-CP-Conf: Reset[7]: quiet"), 1u);
}

TEST_F(OperationHandlerInCall, CredentialsAreMaskedInTheLog)
{
  mFactory->behaviours[EInOpType::EChangeConfiguration] = {};
  AnswerTo("7", "ChangeConfiguration", R"({"key":"AuthorizationKey","value":"00112233"})");
  EXPECT_FALSE(mLog.ContainsPart("00112233"));
  EXPECT_TRUE(mLog.ContainsPart(R"({"key":"AuthorizationKey","value":"****"})"));
}

TEST_F(OperationHandlerInCall, PostActionRunsAfterTheAnswerHasGoneOut)
{
  size_t framesBefore = 0;
  mFactory->behaviours[EInOpType::EReset].postAction = [&] { framesBefore = mLink.TakeFrames().size(); };
  Call("7", "Reset");
  EXPECT_EQ(framesBefore, 1u);
}

TEST_F(OperationHandlerInCall, PostActionMayPushAndReceive)
{
  mFactory->behaviours[EInOpType::ETriggerMessage].postAction = [this] {
    mHandler->PushOutCallOperation(FakeOutCalls::Heartbeat("h1"));
  };
  StartSender();
  Call("7", "TriggerMessage");
  mClock.WaitIdle();
  EXPECT_EQ(mLink.TakeFrames(), (std::vector<std::string>{R"([3,"7",{}])", R"([2,"h1","Heartbeat",{}])"}));
}

TEST_F(OperationHandlerInCall, ErrorOfTheActionIsTheAnswer)
{
  mFactory->behaviours[EInOpType::EReset].action = []() -> std::string {
    throw CInCallError(EInCallError::EPropertyConstraintViolation);
  };
  const auto frame = ErrorFrame("7", EInCallError::EPropertyConstraintViolation);
  EXPECT_EQ(AnswerTo("7", "Reset"), frame);
  EXPECT_TRUE(mLog.Contains("[Cpo Backoffice] OCPP-CP-Conf: Reset[7]: " + frame));
}

TEST_F(OperationHandlerInCall, CallWhileHandlingIsNotAllowedIsDroppedInSilence)
{
  mFactory->behaviours[EInOpType::EReset] = {};
  mIsHandlingAllowed = false;
  EXPECT_EQ(AnswerTo("7", "Reset"), "");
  EXPECT_EQ(mResets, 1);
  EXPECT_TRUE(mDiagnostics.GetReports().empty());
}

TEST_F(OperationHandlerInCall, WithoutTheAllowedCallbackNothingIsHandled)
{
  mHandler = std::make_unique<COperationHandler>(mClock, mFactory, mQueue, &mDiagnostics,
                                                 COperationHandler::CConnectors{mConnector});
  mHandler->SetSendCB([this](const std::string& frame) { return mLink.Send(frame); });
  mFactory->behaviours[EInOpType::EReset] = {};
  EXPECT_EQ(AnswerTo("7", "Reset"), "");
}

TEST_F(OperationHandlerInCall, EmptyIdCannotBeAnswered)
{
  EXPECT_EQ(AnswerTo("", "Reset"), "");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "[Cpo Backoffice] Receiving call with empty ID. Ignore this call"),
            1u);
  EXPECT_EQ(mDiagnostics.GetReports(),
            std::vector<std::string>{"invalid message: [Cpo Backoffice] Receiving call with empty ID"});
}

TEST_F(OperationHandlerInCall, IdOf36CharactersIsAnswered)
{
  const std::string id(36, 'i');
  mFactory->behaviours[EInOpType::EReset] = {};
  EXPECT_EQ(AnswerTo(id, "Reset"), "[3,\"" + id + "\",{}]");
}

TEST_F(OperationHandlerInCall, IdOf37CharactersIsDroppedWithoutAnswer)
{
  const std::string id(37, 'i');
  mFactory->behaviours[EInOpType::EReset] = {};
  EXPECT_EQ(AnswerTo(id, "Reset"), "");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "[Cpo Backoffice] Max id length is 36 characters, the length of \"" + id + "\" is 37"),
            1u);
  EXPECT_EQ(mDiagnostics.GetReports(),
            std::vector<std::string>{
                "invalid message: [Cpo Backoffice] Receiving call with ID length (37) > max ID length (36)"});
}

TEST_F(OperationHandlerInCall, EmptyActionIsNotImplemented)
{
  EXPECT_EQ(AnswerTo("7", ""), ErrorFrame("7", EInCallError::ENotImplemented));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "[Cpo Backoffice] Receiving call with empty action. Report error"),
            1u);
  EXPECT_EQ(mDiagnostics.GetReports(),
            std::vector<std::string>{"invalid message: [Cpo Backoffice] Receiving call with empty action"});
}

TEST_F(OperationHandlerInCall, EmptyPayloadIsAProtocolError)
{
  EXPECT_EQ(AnswerTo("7", "FooBar", ""), ErrorFrame("7", EInCallError::EProtocolError));
  EXPECT_EQ(mDiagnostics.GetReports(),
            std::vector<std::string>{"invalid message: [Cpo Backoffice] Receiving call with empty payload"});
}

TEST_F(OperationHandlerInCall, UnknownActionIsNotImplementedAndReportedInBoundedLength)
{
  EXPECT_EQ(AnswerTo("7", "FooBar"), ErrorFrame("7", EInCallError::ENotImplemented));
  EXPECT_EQ(AnswerTo("8", std::string(100000, 'x')), ErrorFrame("8", EInCallError::ENotImplemented));
  const std::string head = "invalid message: [Cpo Backoffice] Receiving call with unknown action ";
  EXPECT_EQ(mDiagnostics.GetReports(), (std::vector<std::string>{head + "FooBar", head + std::string(50, 'x')}));
}

TEST_F(OperationHandlerInCall, ActionsAreComparedExactly)
{
  mFactory->behaviours[EInOpType::EReset] = {};
  EXPECT_EQ(AnswerTo("7", "reset"), ErrorFrame("7", EInCallError::ENotImplemented));
  EXPECT_EQ(AnswerTo("8", "Invalid"), ErrorFrame("8", EInCallError::ENotImplemented));
}

TEST_F(OperationHandlerInCall, ActionThatIsNotOfferedIsNotSupported)
{
  mFactory->notOffered = {EInOpType::ECancelReservation};
  EXPECT_EQ(AnswerTo("7", "CancelReservation"), ErrorFrame("7", EInCallError::ENotSupported));
  EXPECT_TRUE(mDiagnostics.GetReports().empty());
}

TEST_F(OperationHandlerInCall, FilteredActionIsDroppedWithoutAnswer)
{
  SOperationFilters filters;
  filters.inCalls = {EInOpType::ECancelReservation};
  mHandler->SetFilters(filters);
  mFactory->notOffered = {EInOpType::ECancelReservation};
  EXPECT_EQ(AnswerTo("7", "CancelReservation"), "");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "In call from Cpo Backoffice with action CancelReservation is rejected by filter. Call ignored"),
            1u);
  mHandler->SetFilters({});
  EXPECT_EQ(AnswerTo("8", "CancelReservation"), ErrorFrame("8", EInCallError::ENotSupported));
}

TEST_F(OperationHandlerInCall, ActionOutsideOfTheTableRaisesBadFunctionCall)
{
  EXPECT_THROW(Call("7", "GetBaseReport"), std::bad_function_call);
  EXPECT_TRUE(mLink.TakeFrames().empty());
}

TEST_F(OperationHandlerInCall, ExceptionsOfExecuteAreLoggedByKindAndAnsweredFormationViolation)
{
  const std::string unreadable = "[Cpo Backoffice] Executing incoming call with exception. Reset, ";
  const std::vector<std::pair<std::function<void()>, std::string>> rows = {
      {[] { nlohmann::json::parse("{\"a\":").size(); }, unreadable + "[json.exception.parse_error.101]"},
      {[] { nlohmann::json::object().at("type"); }, unreadable + "[json.exception.out_of_range.403]"},
      {[] { static_cast<void>(nlohmann::json(5).get<std::string>()); }, unreadable + "[json.exception.type_error.302]"},
      {[] { throw OcppJson::kNotConforming; },
       "[Cpo Backoffice] Receiving incoming call with non-conforming payload. Reset, Input JSON does not conform to "
       "schema"},
      {[] { throw OcppConstraints::valueTooLongException("too long"); },
       "[Cpo Backoffice] Executing incoming call with member constraint exception. Reset, too long"},
      {[] { throw std::runtime_error("other"); }, "[Cpo Backoffice] An exception is thrown. Reset, other"},
      {[] { throw 5; }, "[Cpo Backoffice] An unknown exception is thrown. Reset"},
  };
  for (const auto& row : rows) {
    mLog.Clear();
    mFactory->behaviours[EInOpType::EReset].read = [&](const std::string&) { row.first(); };
    EXPECT_EQ(AnswerTo("7", "Reset"), ErrorFrame("7", EInCallError::EFormationViolation)) << row.second;
    EXPECT_TRUE(mLog.ContainsPart(row.second)) << row.second;
  }
}

TEST_F(OperationHandlerInCall, ExceptionOfPostActionIsAnsweredLikeAnyOther)
{
  mFactory->behaviours[EInOpType::EReset].postAction = [] { throw std::runtime_error("late"); };
  Call("7", "Reset");
  EXPECT_EQ(mLink.TakeFrames(),
            (std::vector<std::string>{R"([3,"7",{}])", ErrorFrame("7", EInCallError::EFormationViolation)}));
  EXPECT_TRUE(mLog.Contains("[Cpo Backoffice] An exception is thrown. Reset, late"));
}

TEST_F(OperationHandlerInCall, SecretInAnUnfinishedPayloadIsNotQuotedByTheErrorLine)
{
  mFactory->behaviours[EInOpType::EChangeConfiguration].read = [](const std::string& payload) {
    nlohmann::json::parse(payload).size();
  };
  AnswerTo("7", "ChangeConfiguration", R"({"key":"AuthorizationKey","value":"00112233)");
  EXPECT_TRUE(mLog.ContainsPart("Executing incoming call with exception. ChangeConfiguration"));
  EXPECT_FALSE(mLog.ContainsPart("00112233"));
}

TEST_F(OperationHandlerInCall, ErrorResponseGoesStraightToTheLink)
{
  mHandler->SendErrorResponse("7", EInCallError::ESecurityError);
  EXPECT_EQ(mLink.TakeFrames(), std::vector<std::string>{ErrorFrame("7", EInCallError::ESecurityError)});
}

TEST_F(OperationHandlerInCall, WithoutDiagnosticsMalformedCallsAreHandledAllTheSame)
{
  mHandler = std::make_unique<COperationHandler>(mClock, mFactory, mQueue, nullptr,
                                                 COperationHandler::CConnectors{mConnector});
  Wire();
  EXPECT_EQ(AnswerTo("", "Reset"), "");
  EXPECT_EQ(AnswerTo("7", ""), ErrorFrame("7", EInCallError::ENotImplemented));
}

TEST_F(OperationHandlerInCall, CallIsAnsweredWhileAnOutCallIsInFlight)
{
  mFactory->behaviours[EInOpType::EReset] = {};
  StartSender();
  Push(FakeOutCalls::Heartbeat("h1"));
  mLink.TakeFrames();
  EXPECT_EQ(AnswerTo("7", "Reset"), R"([3,"7",{}])");
  EXPECT_EQ(mHandler->GetOutCallId(), "h1");
}
