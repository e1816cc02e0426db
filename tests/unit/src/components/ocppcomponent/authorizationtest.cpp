// A driver's tag through the whole component: from the session manager to the central system and back.
#include <sstream>

#include "src/components/iauthorizationmanager.h"
#include "tests/unit/src/components/ocppcomponent/ocppcomponentfixture.h"

namespace {

using namespace std::chrono_literals;

class ComponentAuthorization : public COcppComponentTest {
 protected:
  ComponentAuthorization()
  {
    SetNtpStatus("synced");
    ActivatePrimary();
    Config("ocpp")->Preset("MessageTimeout", 30);
  }

  void Start()
  {
    Create();
    mComponent->Enable();
    mClock.AdvanceBy(2s);
  }
  // The central system takes the connection and answers BootNotification with `status`; what the station says in
  // consequence is answered as well.
  void Register(const std::string& status, EBackofficeId id = kPrimary)
  {
    LinkOf(id)->PlayOpen();
    mClock.WaitIdle();
    mBootStatus = status;
    AnswerAll(id);
  }
  void StartAccepted()
  {
    Start();
    Register("Accepted");
  }
  // Answers all calls but Authorize, until the station is quiet. Gives the Authorize calls.
  std::vector<Json::Value> AnswerAll(EBackofficeId id = kPrimary)
  {
    std::vector<Json::Value> authorizes;
    for (;;) {
      mClock.WaitIdle();
      const auto frames = LinkOf(id)->TakeSent();
      if (frames.empty()) return authorizes;
      for (const auto& text : frames) {
        const auto frame = Parse(text);
        if (frame[0] != 2) continue;
        if (frame[2] == "Authorize") {
          authorizes.push_back(frame);
        } else {
          Answer(frame, OrdinaryAnswer(frame[2].asString()), id);
        }
      }
    }
  }
  std::string OrdinaryAnswer(const std::string& action) const
  {
    const std::string time = R"("currentTime":"2026-01-15T10:15:00Z")";
    if (action == "BootNotification") return "{" + time + R"(,"interval":300,"status":")" + mBootStatus + R"("})";
    if (action == "Heartbeat") return "{" + time + "}";
    return "{}";
  }
  static Json::Value Parse(const std::string& text)
  {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
  }
  void Play(const std::string& frame, EBackofficeId id)
  {
    LinkOf(id)->PlayMessage(frame);
    mClock.WaitIdle();
  }
  void Answer(const Json::Value& call, const std::string& payload, EBackofficeId id = kPrimary)
  {
    Play(R"([3,")" + call[1].asString() + "\"," + payload + "]", id);
  }
  void AnswerStatus(const Json::Value& call, const std::string& status, EBackofficeId id = kPrimary)
  {
    Answer(call, R"({"idTagInfo":{"status":")" + status + R"("}})", id);
  }
  void AnswerError(const Json::Value& call)
  {
    Play(R"([4,")" + call[1].asString() + R"(","InternalError","",{}])", kPrimary);
  }
  // A driver presents a tag at connector 1 and waits.
  void PresentTag(const std::string& token = "TAG", const std::string& requestId = "request-1")
  {
    ipc::MAuthorizeRequest request;
    request.set_request_id(requestId);
    request.set_connector(1);
    request.mutable_user_identification()->set_token(token);
    mSessionManagerAuth->EmitAuthorizeId(1, request);
    mClock.WaitIdle();
  }
  // The tag's Authorize at the primary backoffice.
  Json::Value TheAuthorize()
  {
    const auto calls = AnswerAll();
    EXPECT_EQ(calls.size(), 1U);
    return calls.empty() ? Parse(R"([2,"none","Authorize",{}])") : calls.front();
  }
  // The one answer that the connector's session manager has had.
  ipc::MAuthorizeRequest TheVerdict() const
  {
    const auto answers = mSessionManager->AuthorizeRequests();
    EXPECT_EQ(answers.size(), 1U);
    return answers.empty() ? ipc::MAuthorizeRequest() : answers.front();
  }
  size_t CountVerdicts() const { return mSessionManager->AuthorizeRequests().size(); }
  // Refused past the connector: the station may not charge at all.
  void ExpectNotAllowed(size_t warnings)
  {
    EXPECT_EQ(CountVerdicts(), 0U);
    const auto answers = mSessionManagerAuth->AuthorizeRequests();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].request_id(), "request-1");
    EXPECT_EQ(answers[0].approved(), 0U);
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                         "[1] Ignore the authorizeId notification, due to never received acceptance from CPO."),
              warnings);
  }
  static int SourceOf(const ipc::MAuthorizeRequest& request)
  {
    return request.user_identification().details().authorization_source();
  }
  void StoreInCache(const std::string& token, int status)
  {
    Json::Value entry;
    entry["status"] = status;
    entry["parent_id"] = "GROUP";
    entry["entry_date"] = "2026-01-01T00:00:00Z";
    Config("authCache.json")->Preset(token, entry);
  }

  std::string mBootStatus = "Accepted";
};

TEST_F(ComponentAuthorization, TagIsAskedAboutAndApprovedWithTheAnswersGroup)
{
  StartAccepted();
  PresentTag();
  const auto call = TheAuthorize();
  EXPECT_EQ(call[3], Parse(R"({"idTag":"TAG"})"));
  EXPECT_EQ(CountVerdicts(), 0U);
  Answer(call, R"({"idTagInfo":{"status":"Accepted","parentIdTag":"GROUP"}})");
  EXPECT_EQ(TheVerdict().request_id(), "request-1");
  EXPECT_EQ(TheVerdict().approved(), 1U);
  EXPECT_EQ(TheVerdict().parent_id(), "GROUP");
  EXPECT_EQ(SourceOf(TheVerdict()), 4);
  EXPECT_EQ(Config("authCache.json")->GetJson("TAG", Json::Value())["status"], 0);
}

TEST_F(ComponentAuthorization, TagThatTheBackofficeRefusesIsRefused)
{
  for (const char* status : {"Blocked", "ConcurrentTx", "Expired", "Invalid", "Unheard"}) {
    SCOPED_TRACE(status);
    mComponent.reset();
    mSessionManager = std::make_shared<CFakeSessionManager>();
    StartAccepted();
    PresentTag();
    AnswerStatus(TheAuthorize(), status);
    EXPECT_EQ(TheVerdict().approved(), 0U);
    EXPECT_EQ(SourceOf(TheVerdict()), 0);
  }
}

TEST_F(ComponentAuthorization, SilentBackofficeRefusesAtTheTimeout)
{
  StartAccepted();
  PresentTag();
  TheAuthorize();
  mClock.AdvanceBy(29s);
  EXPECT_EQ(CountVerdicts(), 0U);
  mClock.AdvanceBy(1s);
  EXPECT_EQ(TheVerdict().approved(), 0U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Authorize timed out, AllowOfflineTxForUnknownId:false"), 1U);
}

TEST_F(ComponentAuthorization, SilentBackofficeApprovesAtTheTimeoutWhereUnknownIdsAreAllowed)
{
  Config("ocpp")->Preset("AllowOfflineTxForUnknownId", true);
  StoreInCache("TAG", 1);
  StartAccepted();
  PresentTag();
  const auto call = TheAuthorize();
  mClock.AdvanceBy(30s);
  EXPECT_EQ(TheVerdict().approved(), 1U);
  // Too late.
  AnswerStatus(call, "Blocked");
  EXPECT_EQ(CountVerdicts(), 1U);
}

TEST_F(ComponentAuthorization, CallErrorAndUnreadableAnswerRefuseAtOnce)
{
  StartAccepted();
  PresentTag("TAG", "request-1");
  AnswerError(TheAuthorize());
  PresentTag("TAG", "request-2");
  Answer(TheAuthorize(), "{}");
  const auto answers = mSessionManager->AuthorizeRequests();
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[0].request_id(), "request-1");
  EXPECT_EQ(answers[1].request_id(), "request-2");
  for (const auto& answer : answers) EXPECT_EQ(answer.approved(), 0U);
}

TEST_F(ComponentAuthorization, QuestionThatTheLinkLosesIsAnsweredToTheDriver)
{
  StartAccepted();
  PresentTag("FIRST", "request-1");
  TheAuthorize();
  // The second driver's question waits for the first one's answer.
  PresentTag("SECOND", "request-2");
  LinkOf(kPrimary)->PlayClose();
  mClock.AdvanceBy(31s);
  const auto answers = mSessionManager->AuthorizeRequests();
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[1].request_id(), "request-2");
  EXPECT_EQ(answers[1].approved(), 0U);
  EXPECT_TRUE(LinkOf(kPrimary)->TakeSent().empty());
}

TEST_F(ComponentAuthorization, OfflineTheCacheDecidesAndNothingIsAskedLater)
{
  StoreInCache("KNOWN", 0);
  StoreInCache("BLOCKED", 1);
  StartAccepted();
  LinkOf(kPrimary)->PlayClose();
  PresentTag("KNOWN", "request-1");
  PresentTag("BLOCKED", "request-2");
  PresentTag("STRANGER", "request-3");
  const auto answers = mSessionManager->AuthorizeRequests();
  ASSERT_EQ(answers.size(), 3U);
  EXPECT_EQ(answers[0].approved(), 1U);
  EXPECT_EQ(SourceOf(answers[0]), 5);
  EXPECT_EQ(answers[0].parent_id(), "GROUP");
  EXPECT_EQ(answers[1].approved(), 0U);
  EXPECT_EQ(answers[2].approved(), 0U);
  LinkOf(kPrimary)->PlayOpen();
  EXPECT_TRUE(AnswerAll().empty());
}

TEST_F(ComponentAuthorization, AnswersAreRememberedAndDecideOffline)
{
  StartAccepted();
  PresentTag();
  AnswerStatus(TheAuthorize(), "Accepted");
  LinkOf(kPrimary)->PlayClose();
  PresentTag("TAG", "request-2");
  ASSERT_EQ(CountVerdicts(), 2U);
  EXPECT_EQ(mSessionManager->AuthorizeRequests()[1].approved(), 1U);
  EXPECT_EQ(SourceOf(mSessionManager->AuthorizeRequests()[1]), 5);
}

TEST_F(ComponentAuthorization, PreAuthorizedSessionIsEndedByALaterRefusal)
{
  Config("ocpp")->Preset("LocalPreAuthorize", true);
  StoreInCache("TAG", 0);
  StartAccepted();
  PresentTag();
  EXPECT_EQ(TheVerdict().approved(), 1U);
  EXPECT_EQ(SourceOf(TheVerdict()), 5);
  ipc::MConnectorInfo info;
  info.set_state(ipc::EConnectorStateCharging);
  info.set_id_tag("TAG");
  mSessionManager->SetConnectorInfo(info);
  AnswerStatus(TheAuthorize(), "Blocked");
  EXPECT_EQ(mSessionManager->Deauthorizations(),
            (std::vector<CFakeSessionManager::Deauthorization>{{1, ipc::EDeauthorizeReasonDeAuthorized}}));
  EXPECT_EQ(CountVerdicts(), 1U);
}

TEST_F(ComponentAuthorization, AnswerToAStartedTransactionReachesTheCache)
{
  StartAccepted();
  ipc::MConnectorInfo info;
  info.set_state(ipc::EConnectorStateCharging);
  info.set_id_tag("TAG");
  mSessionManager->SetConnectorInfo(info);
  mAccess->GetAuthorizationManager()->UpdateCache("TAG", "", EAuthorizationStatus::EAccepted, {});
  mSessionManager->EmitSessionStarted({});
  mClock.WaitIdle();
  bool isAnswered = false;
  for (const auto& text : LinkOf(kPrimary)->TakeSent()) {
    const auto frame = Parse(text);
    if (frame[2] != "StartTransaction") continue;
    Answer(frame, R"({"idTagInfo":{"status":"Blocked"},"transactionId":7})");
    isAnswered = true;
  }
  ASSERT_TRUE(isAnswered);
  mClock.AdvanceBy(1s);
  EXPECT_EQ(Config("authCache.json")->GetJson("TAG", Json::Value())["status"], 1);
}

TEST_F(ComponentAuthorization, PendingOrRejectedStationRefusesUnderEveryPolicy)
{
  for (const char* policy : {"never", "acceptedOnce", "always"}) {
    for (const char* status : {"Pending", "Rejected"}) {
      SCOPED_TRACE(std::string(policy) + " " + status);
      mComponent.reset();
      mLog.Clear();
      mSessionManagerAuth = std::make_shared<CFakeSessionManagerAuth>();
      Config("ocpp")->Preset("ChargeBeforeAcceptedPolicy", policy);
      Config("ocpp")->Preset("AllowOfflineTxForUnknownId", true);
      Config("secc_persistentdata")->Preset("WasAccepted", true);
      Start();
      Register(status);
      PresentTag();
      ExpectNotAllowed(1);
    }
  }
}

TEST_F(ComponentAuthorization, StationThatWasNeverAcceptedRefusesWhereThePolicyDoesNotLetItCharge)
{
  const std::pair<const char*, bool> rows[] = {{"never", true}, {"never", false}, {"acceptedOnce", false}};
  for (const auto& [policy, wasAccepted] : rows) {
    SCOPED_TRACE(policy);
    mComponent.reset();
    mLog.Clear();
    mSessionManagerAuth = std::make_shared<CFakeSessionManagerAuth>();
    Config("ocpp")->Preset("ChargeBeforeAcceptedPolicy", policy);
    Config("ocpp")->Preset("AllowOfflineTxForUnknownId", true);
    Config("secc_persistentdata")->Preset("WasAccepted", wasAccepted);
    Start();
    PresentTag();
    ExpectNotAllowed(1);
  }
}

TEST_F(ComponentAuthorization, StationThatWasNeverAcceptedDecidesOfflineWhereThePolicyLetsItCharge)
{
  const std::pair<const char*, bool> rows[] = {{"always", false}, {"always", true}, {"acceptedOnce", true}};
  for (const bool isLinkOpen : {false, true}) {
    for (const auto& [policy, wasAccepted] : rows) {
      SCOPED_TRACE(policy);
      mComponent.reset();
      mSessionManager = std::make_shared<CFakeSessionManager>();
      Config("ocpp")->Preset("ChargeBeforeAcceptedPolicy", policy);
      Config("secc_persistentdata")->Preset("WasAccepted", wasAccepted);
      StoreInCache("TAG", 0);
      Start();
      // The central system takes the connection and does not answer.
      if (isLinkOpen) LinkOf(kPrimary)->PlayOpen();
      mClock.WaitIdle();
      PresentTag();
      EXPECT_EQ(TheVerdict().approved(), 1U);
      EXPECT_EQ(SourceOf(TheVerdict()), 5);
    }
  }
}

TEST_F(ComponentAuthorization, AuxiliaryBackofficeIsAskedAsWellAndItsAnswerDoesNotCount)
{
  ActivateAuxiliary();
  StartAccepted();
  Register("Accepted", kAuxiliary);
  PresentTag();
  const auto call = TheAuthorize();
  const auto copies = AnswerAll(kAuxiliary);
  ASSERT_EQ(copies.size(), 1U);
  AnswerStatus(copies.front(), "Blocked", kAuxiliary);
  EXPECT_EQ(CountVerdicts(), 0U);
  EXPECT_FALSE(Config("authCache.json")->HasKey("TAG"));
  EXPECT_EQ(mLog.Count("In result call from Tovira Hub is rejected by filter. Response not handled"), 1U);
  AnswerStatus(call, "Accepted");
  EXPECT_EQ(TheVerdict().approved(), 1U);
}

TEST_F(ComponentAuthorization, SilentAuxiliaryBackofficeDecidesNothing)
{
  Config("ocpp")->Preset("AllowOfflineTxForUnknownId", true);
  ActivateAuxiliary();
  StartAccepted();
  Register("Accepted", kAuxiliary);
  PresentTag();
  AnswerStatus(TheAuthorize(), "Blocked");
  mClock.AdvanceBy(31s);
  EXPECT_EQ(TheVerdict().approved(), 0U);
}

TEST_F(ComponentAuthorization, WithThePrimaryOfflineTheAuxiliaryIsNotAskedInItsPlace)
{
  ActivateAuxiliary();
  StartAccepted();
  Register("Accepted", kAuxiliary);
  LinkOf(kPrimary)->PlayClose();
  PresentTag();
  EXPECT_EQ(TheVerdict().approved(), 0U);
  EXPECT_TRUE(AnswerAll(kAuxiliary).empty());
}

TEST_F(ComponentAuthorization, AuxiliaryBackofficeAloneLetsNobodyIn)
{
  Config("settings")->SetBool("SeccOcppActive", false);
  Config("ocpp")->Preset("AllowOfflineTxForUnknownId", true);
  ActivateAuxiliary();
  Start();
  Register("Accepted", kAuxiliary);
  PresentTag();
  ExpectNotAllowed(0);
  EXPECT_TRUE(AnswerAll(kAuxiliary).empty());
}

TEST_F(ComponentAuthorization, TagWhileOcppIsDisabledReachesNobody)
{
  StartAccepted();
  mComponent->Disable();
  PresentTag();
  EXPECT_EQ(CountVerdicts(), 0U);
  EXPECT_TRUE(mSessionManagerAuth->AuthorizeRequests().empty());
}

}  // namespace
