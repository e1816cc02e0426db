// From Connect to Close: what is set up, who is told what, and that it always ends.

#include "platform/clock/thread.h"
#include "tests/unit/src/components/websocketclient/linkfixture.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using websocketppwrapper::EOpcode;

class WebsocketLifecycle : public CLinkTest {};

TEST_F(WebsocketLifecycle, ConstructionTellsWhereToAndPreparesTheLibrary)
{
  EXPECT_EQ(mLog.Count("Connection URL: wss://cs.example.com:8443/ocpp/CP1"), 1u);
  EXPECT_EQ(mLog.Count("Connection Hostname: cs.example.com"), 1u);
  EXPECT_EQ(mLog.Count("Ping interval: 30 seconds, pong timeout: 20 seconds"), 1u);
  EXPECT_THAT(mTransport->GetSetup(), ElementsAre("clear_access_channels all", "clear_error_channels all", "init_asio",
                                                  "set_tls_init_handler"));
  EXPECT_TRUE(mWorker->IsRunning());
  EXPECT_THAT(mTransport->GetAttempts(), IsEmpty());
}

TEST_F(WebsocketLifecycle, NullWorkerIsRefused)
{
  try {
    CWebsocketClient client(mHostInfo, mTransport, nullptr, mDiagnostics);
    FAIL() << "constructed";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Cannot construct CWebsocketClient, no CWorker provided.");
  }
  EXPECT_EQ(mLog.Count(Log::ELogLevel::ECritical, "No worker provided to CWebsocketClient constructor."), 1u);
}

TEST_F(WebsocketLifecycle, DefaultCallbacksSayThatTheyAreMissing)
{
  mClient.reset();
  const auto transport = std::make_shared<CFakeWebsocketPPWrapper>(mClock);
  CWebsocketClient client(mHostInfo, transport, mWorker, mDiagnostics);
  client.Connect();
  mClock.WaitIdle();
  EXPECT_EQ(mLog.Count("Default: No OnFail callback implemented"), 1u);
  transport->outcome = EOutcome::EOpen;
  mClock.AdvanceBy(5s);
  EXPECT_EQ(mLog.Count("Default: No OnOpen callback implemented"), 1u);
  Play([&] { transport->PlayMessage(EOpcode::EText, "x"); });
  EXPECT_EQ(mLog.Count("Default: No OnMessage callback implemented"), 1u);
  Play([&] { transport->PlayClose(1000, ""); });
  EXPECT_EQ(mLog.Count("Default: No OnClose callback implemented"), 1u);
}

TEST_F(WebsocketLifecycle, AttemptCarriesLocationSubprotocolCredentialsAndPongTimeout)
{
  ConnectAndOpen();
  const auto attempts = mTransport->GetAttempts();
  ASSERT_EQ(attempts.size(), 1u);
  EXPECT_EQ(attempts[0].url, "wss://cs.example.com:8443/ocpp/CP1");
  EXPECT_THAT(attempts[0].subprotocols, ElementsAre("ocpp1.6"));
  EXPECT_THAT(attempts[0].headers, ElementsAre(testing::Pair("Authorization", "Basic Q1AxOgD/")));
  EXPECT_EQ(attempts[0].pongTimeout, 20000ms);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] Authentication header: Basic ****"), 1u);
  EXPECT_FALSE(mLog.ContainsPart("Q1AxOgD/"));
}

TEST_F(WebsocketLifecycle, OpeningIsReportedAndCalledBack)
{
  ConnectAndOpen();
  EXPECT_THAT(TakeEvents(), ElementsAre("open"));
  EXPECT_THAT(mDiagnostics->GetReports(),
              ElementsAre("status: Connecting", "connectivity: [Cpo Backoffice] Backend connection became online",
                          "status: Opened"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] OCPP websocket starts (re)connecting."), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] Websocket connection is opened."), 1u);
}

TEST_F(WebsocketLifecycle, LogsBeforeTheIdIsSetNameAnUnknownBackoffice)
{
  mClient->SetBackofficeId(EBackofficeId::ENone);
  mTransport->outcome = EOutcome::EHang;
  Connect();
  EXPECT_EQ(mLog.Count("[Unknown Backoffice with ID: 2 ] OCPP websocket starts (re)connecting."), 1u);
}

TEST_F(WebsocketLifecycle, CloseOfAnOpenConnectionIsCleanAndFinal)
{
  ConnectAndOpen();
  TakeEvents();
  mClient->Close(1000, "Client is Disabling");
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_FALSE(mWorker->IsRunning());
  EXPECT_THAT(TakeEvents(), ElementsAre("close"));
  const auto closes = mTransport->GetCloses();
  ASSERT_EQ(closes.size(), 1u);
  EXPECT_EQ(closes[0].code, 1000);
  EXPECT_EQ(closes[0].reason, "Client is Disabling");
  EXPECT_TRUE(mDiagnostics->Has("status", "Closed (No reconnect)"));
  EXPECT_TRUE(mDiagnostics->Has("status",
                                "[Cpo Backoffice] Closed, Close code[reason]: Remote=1000[Client is Disabling]; "
                                "Local=1000[Client is Disabling]"));
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Connection closed: Remote close code: 1000 (Normal close). reason: Client is "
                       "Disabling, Local close code: 1000 (Normal close). reason: Client is Disabling"),
            1u);
  EXPECT_EQ(mDiagnostics->GetReports("connectivity").back(), "[Cpo Backoffice] Backend connection became offline");
  mClock.AdvanceBy(1h);
  EXPECT_EQ(mTransport->GetAttempts().size(), 1u);
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Reconnect after closing"), 0u);
}

TEST_F(WebsocketLifecycle, PeerThatDoesNotAnswerACloseIsLeftAfterASecond)
{
  ConnectAndOpen();
  TakeEvents();
  mTransport->peerAnswersClose = false;
  const auto begin = mClock.SteadyNow();
  mClient->Close(1000, "bye");
  EXPECT_EQ(mClock.SteadyNow() - begin, 1s);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_THAT(TakeEvents(), ElementsAre("close")) << "the end is told all the same";
  EXPECT_EQ(mDiagnostics->GetReports("connectivity").back(), "[Cpo Backoffice] Backend connection became offline");
  EXPECT_TRUE(
      mDiagnostics->Has("status", "[Cpo Backoffice] Closed, Close code[reason]: Remote=1006[]; Local=1000[bye]"));
}

TEST_F(WebsocketLifecycle, FailingCloseIsLoggedAndTheConnectionDropped)
{
  ConnectAndOpen();
  mTransport->closeFails = true;
  mClient->Close(1000, "bye");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[Cpo Backoffice] Error initiating close: " +
                                                   std::make_error_code(std::errc::not_connected).message() + " "),
            1u);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_FALSE(mTransport->IsInRun());
}

TEST_F(WebsocketLifecycle, CloseDuringAReconnectWaitEndsItAtOnceAndNoAttemptFollows)
{
  Connect();
  ASSERT_EQ(AttemptTimes().size(), 1u);
  const auto begin = mClock.SteadyNow();
  mClient->Close(1000, "bye");
  EXPECT_EQ(mClock.SteadyNow(), begin);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "[Cpo Backoffice] Closing but the connection was not open"), 1u);
  EXPECT_EQ(mDiagnostics->GetReports("status").back(), "Closed (Connection was not open)");
  mClock.AdvanceBy(1h);
  EXPECT_EQ(AttemptTimes().size(), 1u);
}

TEST_F(WebsocketLifecycle, CloseDuringAnAttemptGivesItUpWithoutAFailure)
{
  mTransport->outcome = EOutcome::EHang;
  Connect();
  ASSERT_TRUE(mTransport->IsInRun());
  const auto begin = mClock.SteadyNow();
  mClient->Close(1000, "bye");
  EXPECT_EQ(mClock.SteadyNow(), begin);
  EXPECT_FALSE(mTransport->IsInRun());
  EXPECT_EQ(mTransport->GetDrops(), 1);
  EXPECT_THAT(TakeEvents(), IsEmpty());
  mClock.AdvanceBy(1h);
  EXPECT_EQ(AttemptTimes().size(), 1u);
}

TEST_F(WebsocketLifecycle, CloseBeforeTheFirstConnectDoesNoHarm)
{
  mClient->Close(1000, "bye");
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  ConnectAndOpen();
  EXPECT_THAT(TakeEvents(), ElementsAre("open"));
}

TEST_F(WebsocketLifecycle, ConnectAfterCloseStartsAgainWithTheNewSettings)
{
  ConnectAndOpen();
  mHostInfo->SetChargePointId("CP2");
  mHostInfo->SetPassword("");
  mClient->Close(1000, "Updated ChargePointId, restarting connection");
  Connect();
  ASSERT_EQ(mTransport->GetAttempts().size(), 2u);
  EXPECT_EQ(mTransport->GetAttempts()[1].url, "wss://cs.example.com:8443/ocpp/CP2");
  EXPECT_EQ(mTransport->GetAttempts()[1].headers.at("Authorization"), "Basic Q1AyOg==");
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Client is already running. Closing the existing connection and initiating a "
                       "new one."),
            0u);
}

TEST_F(WebsocketLifecycle, ConnectWhileConnectedClosesAndConnectsAnew)
{
  ConnectAndOpen();
  TakeEvents();
  Connect();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "[Cpo Backoffice] Client is already running. Closing the existing connection and initiating a "
                       "new one."),
            1u);
  ASSERT_EQ(mTransport->GetCloses().size(), 1u);
  EXPECT_EQ(mTransport->GetCloses()[0].code, 1001);
  EXPECT_EQ(mTransport->GetCloses()[0].reason, "Closed existing connection to issue new connection.");
  EXPECT_THAT(TakeEvents(), ElementsAre("close", "open"));
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
}

TEST_F(WebsocketLifecycle, ConnectDuringAReconnectWaitAttemptsAtOnce)
{
  Connect();
  Connect();
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 0));
}

TEST_F(WebsocketLifecycle, ManyConnectsInARowLeaveOneLoop)
{
  mTransport->outcome = EOutcome::EHang;
  for (int i = 0; i < 20; ++i) mClient->Connect();
  mClock.WaitIdle();
  EXPECT_TRUE(mTransport->IsInRun());
  mClient->Close(1000, "bye");
  EXPECT_FALSE(mTransport->IsInRun());
}

TEST_F(WebsocketLifecycle, CloseFromTheOpenCallbackClosesWithoutDeadlock)
{
  mClient->SetOnOpenCallback([this](const IWebsocketClient::CConnectionHandle&) { mClient->Close(1000, "bye"); });
  mTransport->outcome = EOutcome::EOpen;
  Connect();
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_THAT(TakeEvents(), ElementsAre("close"));
  mClock.AdvanceBy(1h);
  EXPECT_EQ(AttemptTimes().size(), 1u);
}

TEST_F(WebsocketLifecycle, CloseFromTheFailCallbackEndsTheAttempts)
{
  mClient->SetOnFailCallback([this](const IWebsocketClient::CConnectionHandle&, bool) { mClient->Close(1000, "bye"); });
  Connect();
  mClock.AdvanceBy(1h);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_EQ(AttemptTimes().size(), 1u);
}

TEST_F(WebsocketLifecycle, CloseFromTheMessageCallbackCloses)
{
  ConnectAndOpen();
  mClient->SetOnMessageCallback([this](std::string_view) { mClient->Close(1000, "bye"); });
  Play([&] { mTransport->PlayMessage(EOpcode::EText, "x"); });
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_FALSE(mTransport->IsInRun());
}

TEST_F(WebsocketLifecycle, ConnectFromTheCloseCallbackConnectsAtOnce)
{
  ConnectAndOpen();
  mClient->SetOnCloseCallback([this](const IWebsocketClient::CConnectionHandle&, bool) { mClient->Connect(); });
  Play([&] { mTransport->PlayClose(1012, "restart"); });
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 0));
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
  EXPECT_TRUE(mTransport->IsInRun());
}

TEST_F(WebsocketLifecycle, ConnectFromTheCloseCallbackIsRefusedWhileAnotherThreadCloses)
{
  ConnectAndOpen();
  mClient->SetOnCloseCallback([this](const IWebsocketClient::CConnectionHandle&, bool) {
    Record(mClient->Connect() ? "connecting" : "refused");
  });
  TakeEvents();
  mClient->Close(1000, "bye");
  EXPECT_THAT(TakeEvents(), ElementsAre("refused"));
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_FALSE(mTransport->IsInRun());
}

TEST_F(WebsocketLifecycle, CloseAndConnectFromTheMessageCallbackReconnects)
{
  ConnectAndOpen();
  mClient->SetOnMessageCallback([this](std::string_view) {
    mClient->Close(1000, "again");
    mClient->Connect();
  });
  Play([&] { mTransport->PlayMessage(EOpcode::EText, "x"); });
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 0));
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
  mClient->Close(1000, "bye");
  EXPECT_FALSE(mTransport->IsInRun());
}

TEST_F(WebsocketLifecycle, ClosesAndConnectsFromTwoThreadsTakeTurns)
{
  ConnectAndOpen();
  mTransport->peerAnswersClose = false;
  CThread other(mClock, "other", [this] {
    for (int i = 0; i < 10; ++i) {
      mClient->Close(1000, "other");
      mClient->Connect();
    }
  });
  for (int i = 0; i < 10; ++i) {
    mClient->Close(1000, "one");
    mClient->Connect();
  }
  other.Join();
  mClock.WaitIdle();
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
  EXPECT_TRUE(mTransport->IsInRun());
}

TEST_F(WebsocketLifecycle, ExceptionsFromCallbacksAreLoggedAndTheConnectionLives)
{
  ConnectAndOpen();
  mClient->SetOnMessageCallback([](std::string_view text) {
    if (text == "a") throw std::runtime_error("broken");
    throw "Input JSON does not conform to schema";
  });
  Play([&] { mTransport->PlayMessage(EOpcode::EText, "a"); });
  Play([&] { mTransport->PlayMessage(EOpcode::EText, "b"); });
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Exception in a callback of the websocket: broken"), 1u);
  EXPECT_EQ(
      mLog.Count("[Cpo Backoffice] Exception in a callback of the websocket: Input JSON does not conform to schema"),
      1u);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
}

TEST_F(WebsocketLifecycle, DestructionOfAnOpenClientClosesTheConnection)
{
  ConnectAndOpen();
  mClient.reset();
  ASSERT_EQ(mTransport->GetCloses().size(), 1u);
  EXPECT_EQ(mTransport->GetCloses()[0].code, 1001);
  EXPECT_EQ(mTransport->GetCloses()[0].reason, "Closed by CWebsocketClient destructor");
  EXPECT_FALSE(mWorker->IsRunning());
}

TEST_F(WebsocketLifecycle, DestructionEndsInEveryState)
{
  const auto begin = mClock.SteadyNow();
  mClient.reset();  // never connected
  Create("cs.example.com");
  Connect();
  mClient.reset();  // waiting for the next attempt
  Create("cs.example.com");
  mTransport->outcome = EOutcome::EHang;
  Connect();
  mClient.reset();  // in an attempt
  Create("gateway.local");
  Connect();
  mClient.reset();  // waiting for the next query
  Create("cs.example.com");
  mClient->Connect();
  mClient.reset();  // right after Connect
  EXPECT_EQ(mClock.SteadyNow(), begin);
  Create("cs.example.com");
  ConnectAndOpen();
  mTransport->peerAnswersClose = false;
  mClient.reset();  // open, with a peer that is gone
  EXPECT_EQ(mClock.SteadyNow() - begin, 1s);
}

TEST_F(WebsocketLifecycle, SendGoesOutOnAnOpenConnectionOnly)
{
  EXPECT_FALSE(mClient->Send("too early"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[Cpo Backoffice] Error sending message: " +
                                                   std::make_error_code(std::errc::not_connected).message()),
            1u);
  ConnectAndOpen();
  EXPECT_TRUE(mClient->Send("hello"));
  EXPECT_THAT(mTransport->GetSent(), ElementsAre("hello"));
  mClient->Close(1000, "bye");
  EXPECT_FALSE(mClient->Send("too late"));
}

TEST_F(WebsocketLifecycle, TextIsDeliveredAndLoggedWithoutSecrets)
{
  ConnectAndOpen();
  TakeEvents();
  Play([&] {
    mTransport->PlayMessage(EOpcode::EText,
                            R"([2,"1","ChangeConfiguration",{"key":"AuthorizationKey","value":"00ff"}])");
  });
  EXPECT_THAT(TakeEvents(),
              ElementsAre(R"(message [2,"1","ChangeConfiguration",{"key":"AuthorizationKey","value":"00ff"}])"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "[Cpo Backoffice] Text message payload: "
                       R"([2,"1","ChangeConfiguration",{"key":"AuthorizationKey","value":"****"}])"),
            1u);
}

TEST_F(WebsocketLifecycle, BinaryFrameIsReportedAndDropped)
{
  ConnectAndOpen();
  TakeEvents();
  Play([&] { mTransport->PlayMessage(EOpcode::EBinary, "x"); });
  EXPECT_THAT(TakeEvents(), IsEmpty());
  EXPECT_THAT(mDiagnostics->GetReports("invalid"), ElementsAre("Received unsupported binary message payload"));
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Binary message payload is not supported"), 1u);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
}

}  // namespace
