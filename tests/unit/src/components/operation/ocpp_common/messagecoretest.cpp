// Frames all the way through framing, operation handler and payload reading, foreign and hostile ones among them.

#include <functional>

#include "src/components/messagehandler.h"
#include "src/components/operation/ocpp16/messages/datatransfer.h"
#include "src/components/operation/ocpp16/messages/reset.h"
#include "src/components/operation/ocpp16/operationfactory.h"
#include "src/components/operation/ocpp_common/json.h"
#include "tests/unit/src/components/operation/ocpp_common/operationhandlerfixture.h"

namespace {

class MessageCore : public COperationHandlerTest {
 protected:
  MessageCore()
  {
    mFactory->behaviours[EInOpType::EReset].read = [](const std::string& payload) {
      OcppJson::Read<Ocpp16::Reset::resetRequest>(payload);
    };
    mFactory->behaviours[EInOpType::EDataTransfer].read = [](const std::string& payload) {
      OcppJson::Read<Ocpp16::DataTransfer::dataTransferRequest>(payload);
    };
    Connect();
  }

  // As a backoffice connects framing and handler.
  void Connect()
  {
    Wire();
    mFrames.SetInCallCB([this](const std::string& id, const std::string& action, const std::string& payload) {
      mHandler->HandleInCall(id, action, payload, EBackofficeId::EPrimary);
    });
    mFrames.SetInResultCB([this](const std::string& id, const std::string& payload) {
      mHandler->HandleInResult(id, payload, EBackofficeId::EPrimary);
    });
    mFrames.SetInErrorCB([this](const std::string& id, const std::string& code, const std::string& description,
                                const std::string& details) {
      mHandler->HandleInError(id, code, description, details, EBackofficeId::EPrimary);
    });
  }

  // The code of the CALLERROR that answers `frame`; "result" for a CALLRESULT, empty without an answer.
  std::string AnswerTo(const std::string& frame)
  {
    mFrames.ParseMessage(frame);
    const auto frames = mLink.TakeFrames();
    EXPECT_LE(frames.size(), 1u);
    if (frames.empty()) return "";
    if (frames.front()[1] == '3') return "result";
    const auto code = frames.front().find("\",\"") + 3;
    return frames.front().substr(code, frames.front().find('"', code) - code);
  }

  static std::string ResetWith(const std::string& payload) { return R"([2,"7","Reset",)" + payload + "]"; }

  CMessageHandler mFrames;
};

}  // namespace

TEST_F(MessageCore, UnofferedAndUnknownActionsAreToldApart)
{
  const auto factory = std::make_shared<COperationFactory>(nullptr);
  mHandler = std::make_unique<COperationHandler>(mClock, factory, mQueue, &mDiagnostics,
                                                 COperationHandler::CConnectors{mConnector});
  Connect();
  EXPECT_EQ(AnswerTo(R"([2,"1","CancelReservation",{"reservationId":1}])"), "NotSupported");
  EXPECT_EQ(AnswerTo(R"([2,"2","FooBar",{}])"), "NotImplemented");
}

TEST_F(MessageCore, PayloadWithALineFeedIsAFormationViolation)
{
  EXPECT_EQ(AnswerTo(ResetWith("{\"type\":\n\"Hard\"}")), "FormationViolation");
  EXPECT_EQ(AnswerTo(ResetWith("\n{\"type\":\"Hard\"}")), "ProtocolError");
}

TEST_F(MessageCore, MissingRequiredMemberIsAFormationViolationAndNoOccurenceConstraintViolation)
{
  EXPECT_EQ(AnswerTo(ResetWith("{}")), "FormationViolation");
  EXPECT_TRUE(mLog.ContainsPart("key 'type' not found"));
}

TEST_F(MessageCore, EnumerationInLowerCaseIsAFormationViolation)
{
  EXPECT_EQ(AnswerTo(ResetWith(R"({"type":"hard"})")), "FormationViolation");
  EXPECT_TRUE(mLog.ContainsPart("Input JSON does not conform to schema"));
}

TEST_F(MessageCore, ResultForAnIdWithABlankMatchesNothing)
{
  StartSender();
  Push(FakeOutCalls::Heartbeat("a b"));
  mFrames.ParseMessage(R"([3,"a b",{}])");
  EXPECT_TRUE(mHandler->HasOutCall());
  EXPECT_TRUE(mLog.Contains("[Cpo Backoffice] Receiving result with unexpected id 'ab'. Ignoring this message."));
}

TEST_F(MessageCore, ErrorCodeReachesTheHandlerInTheFormThatItCompares)
{
  StartSender();
  Push(FakeOutCalls::StopTransaction("s"));
  mFrames.ParseMessage(R"([4,"s","NotImplemented","Not, here",{}])");
  mClock.WaitIdle();
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
}

TEST_F(MessageCore, HostilePayloadsAreAnsweredAndForgotten)
{
  struct SRow {
    const char* what;
    std::string payload;
    std::string answer;
  };
  const std::string deep(100000, '[');
  const std::vector<SRow> rows = {
      {"valid", R"({"type":"Hard"})", "result"},
      {"broken", R"({"type":)", "FormationViolation"},
      {"no JSON", "x", "FormationViolation"},
      {"no object", "[]", "FormationViolation"},
      {"missing member", "{}", "FormationViolation"},
      {"null member", R"({"type":null})", "FormationViolation"},
      {"wrong type", R"({"type":5})", "FormationViolation"},
      {"enumeration in lower case", R"({"type":"hard"})", "FormationViolation"},
      {"duplicate member, the last counts", R"({"type":"x","type":"Soft"})", "result"},
      {"unknown member", R"({"type":"Soft","more":[1,2]})", "result"},
      {"invalid UTF-8", "{\"type\":\"\xc0\xff\"}", "FormationViolation"},
      {"number out of range", R"({"type":1e999})", "FormationViolation"},
      {"comment", R"({/*x*/"type":"Soft"})", "FormationViolation"},
      {"two documents", R"({"type":"Soft"},{"type":"Soft"})", "FormationViolation"},
      {"deep arrays, open", deep, "FormationViolation"},
      {"deep arrays", deep + std::string(100000, ']'), "FormationViolation"},
      {"deep unknown member", R"({"type":"Soft","x":)" + deep + std::string(100000, ']') + "}", "result"},
      {"8 MB of text", R"({"type":")" + std::string(8u << 20u, 'x') + "\"}", "FormationViolation"},
      {"8 MB of blanks", std::string(8u << 20u, ' '), "ProtocolError"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(AnswerTo(ResetWith(row.payload)), row.answer) << row.what;
    mLog.Clear();
  }
  EXPECT_FALSE(mHandler->HasOutCall());
}

TEST_F(MessageCore, HostileEnvelopesAreDroppedOrAnswered)
{
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", ""},
      {"[]", ""},
      {"[2]", ""},
      {R"([2,"7"])", "NotImplemented"},
      {R"([2,"7","Reset"])", "ProtocolError"},
      {R"([2,"7","Reset",])", "ProtocolError"},
      {R"([2,"7",{"type":"Hard"}])", "ProtocolError"},
      {R"([2,"","Reset",{"type":"Hard"}])", ""},
      {"[2,\"" + std::string(36, 'x') + R"(","Reset",{"type":"Hard"}])", "result"},
      {"[2,\"" + std::string(37, 'x') + R"(","Reset",{"type":"Hard"}])", ""},
      {R"([3,"7",{}])", ""},
      {R"([4,"7","c","d",{}])", ""},
      {R"([5,"7","Reset",{}])", ""},
      {R"({"2":"7"})", ""},
      {R"([2,"7","Reset",{"type":"Hard"}] )", ""},
      {std::string(100000, '['), ""},
      {R"([2,"7","Res)" + std::string(1, '\0') + R"(et",{}])", "NotImplemented"},
  };
  for (const auto& [frame, answer] : rows) EXPECT_EQ(AnswerTo(frame), answer) << frame.substr(0, 80);
}

TEST_F(MessageCore, FloodOfLargeHostileFramesLeavesNothingBehind)
{
  for (int i = 0; i < 20; ++i) {
    AnswerTo(R"([2,"7","DataTransfer",{"vendorId":")" + std::string(1u << 20u, 'v') + "\"}]");
    AnswerTo(std::string(1u << 20u, 'x'));
    mLog.Clear();
  }
  EXPECT_FALSE(mHandler->HasOutCall());
  EXPECT_TRUE(mQueue->IsOpQueueEmpty());
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
  EXPECT_EQ(AnswerTo(ResetWith(R"({"type":"Hard"})")), "result");
}
