// What happens when the connection does not come about or is lost.

#include "tests/unit/src/components/websocketclient/linkfixture.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class WebsocketReconnect : public CLinkTest {
 protected:
  static constexpr const char* kFailText =
      "[Cpo Backoffice] Local close: 1006 (Abnormal close). Reason: fake; Error code: 111 (Connection refused); Http "
      "response: 0 ()";
};

TEST_F(WebsocketReconnect, FirstFailureWaitsThreeToFiveSeconds)
{
  Connect();
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EConnecting);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[Cpo Backoffice] Initiate websocket reconnect in 3 seconds"), 1u);
  mClock.AdvanceBy(2999ms);
  EXPECT_THAT(AttemptTimes(), ElementsAre(0));
  mClock.AdvanceBy(1ms);
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 3));
}

TEST_F(WebsocketReconnect, WithNothingButFailuresTheSeventhAndLaterWaitsEqualTheSixth)
{
  Connect();
  mClock.AdvanceBy(500s);
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 3, 9, 21, 45, 93, 189, 285, 381, 477));
}

TEST_F(WebsocketReconnect, FailureIsReportedAndCalledBack)
{
  Connect();
  EXPECT_THAT(TakeEvents(), ElementsAre("fail"));
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EWarning, std::string("[Cpo Backoffice] Opening connection failed: ") + kFailText),
      1u);
  EXPECT_THAT(mDiagnostics->GetReports(), ElementsAre("status: Connecting", std::string("status: Failed: ") + kFailText,
                                                      "status: Reconnecting on failure"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] Websocket connection terminated."), 1u);
}

TEST_F(WebsocketReconnect, StatusIsFailedDuringTheFailCallback)
{
  mClient->SetOnFailCallback([this](const IWebsocketClient::CConnectionHandle&, bool) {
    Record(mClient->GetStatus() == EWebsocketStatus::EFailed ? "failed" : "other");
  });
  Connect();
  EXPECT_THAT(TakeEvents(), ElementsAre("failed"));
}

TEST_F(WebsocketReconnect, LogGoesQuietOnceTheDelayHasStoppedGrowing)
{
  const std::string warning = std::string("[Cpo Backoffice] Opening connection failed: ") + kFailText;
  Connect();
  mClock.AdvanceBy(189s);  // the seventh failure, whose wait is the first that does not grow
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, warning), 7u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[Cpo Backoffice] Websocket reconnect increment maxed out at 96s, suppressing reconnection "
                       "logging..."),
            1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[Cpo Backoffice] Initiate websocket reconnect in 96 seconds"), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] Initiate websocket reconnect in 96 seconds."), 1u);
  TakeEvents();

  mClock.AdvanceBy(192s);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, warning), 7u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, warning), 2u);
  EXPECT_THAT(TakeEvents(), ElementsAre("fail suppressed", "fail suppressed"));
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Websocket reconnect increment maxed out at 96s, suppressing reconnection "
                       "logging..."),
            1u);

  mTransport->errorText = "Host unreachable";
  mClock.AdvanceBy(96s);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "[Cpo Backoffice] Opening connection failed: [Cpo Backoffice] Local close: 1006 (Abnormal "
                       "close). Reason: fake; Error code: 111 (Host unreachable); Http response: 0 ()"),
            1u)
      << "a new cause is worth a warning";
}

TEST_F(WebsocketReconnect, OpeningResetsTheDelay)
{
  Connect();
  mClock.AdvanceBy(44s);
  mTransport->outcome = EOutcome::EOpen;
  mClock.AdvanceBy(1s);
  ASSERT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
  mTransport->outcome = EOutcome::EFail;
  Play([&] { mTransport->PlayClose(1001, "going"); });
  mClock.AdvanceBy(9s);
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 3, 9, 21, 45, 48, 54));
}

TEST_F(WebsocketReconnect, LossOfTheConnectionIsReportedAndAnAttemptFollows)
{
  ConnectAndOpen();
  TakeEvents();
  Play([&] { mTransport->PlayClose(1012, "restart"); });
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EConnecting);
  EXPECT_THAT(TakeEvents(), ElementsAre("close, reconnecting"));
  const auto reports = mDiagnostics->GetReports();
  EXPECT_THAT(std::vector<std::string>(reports.begin() + 3, reports.end()),
              ElementsAre("status: [Cpo Backoffice] Closed, Close code[reason]: Remote=1012[restart]; "
                          "Local=1012[restart]",
                          "status: Reconnecting", "connectivity: [Cpo Backoffice] Backend connection became offline"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] Reconnect after closing"), 1u);
  mClock.AdvanceBy(3s);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
}

TEST_F(WebsocketReconnect, StatusIsClosedDuringTheCloseCallback)
{
  ConnectAndOpen();
  mClient->SetOnCloseCallback([this](const IWebsocketClient::CConnectionHandle&, bool) {
    Record(mClient->GetStatus() == EWebsocketStatus::EClosed ? "closed" : "other");
  });
  TakeEvents();
  Play([&] { mTransport->PlayClose(1000, ""); });
  EXPECT_THAT(TakeEvents(), ElementsAre("closed"));
}

TEST_F(WebsocketReconnect, StatusSetToClosingByTheOwnerPreventsTheReconnect)
{
  ConnectAndOpen();
  mClient->SetStatus(EWebsocketStatus::EClosing);
  TakeEvents();
  Play([&] { mTransport->PlayClose(1000, ""); });
  mClock.AdvanceBy(1h);
  EXPECT_THAT(TakeEvents(), ElementsAre("close"));
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_EQ(AttemptTimes().size(), 1u);
}

TEST_F(WebsocketReconnect, StatusSetByTheOwnerEndsAReconnectWait)
{
  Connect();
  Play([&] { mClient->SetStatus(EWebsocketStatus::EClosed); });
  mClock.AdvanceBy(1h);
  EXPECT_EQ(AttemptTimes().size(), 1u);
}

TEST_F(WebsocketReconnect, BadPasswordSendsNothingAndACorrectedOneIsPickedUp)
{
  mHostInfo->SetPassword("nothex");
  mTransport->outcome = EOutcome::EOpen;
  Connect();
  mClock.AdvanceBy(3s);
  EXPECT_THAT(mTransport->GetAttempts(), IsEmpty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "[Cpo Backoffice] BasicAuthPassword is not in the correct format. No connection will be made."),
            2u);
  EXPECT_THAT(mDiagnostics->GetReports("aborted"), ElementsAre("Cpo Backoffice", "Cpo Backoffice"));
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EConnecting);
  mHostInfo->SetPassword("abc");
  mClock.AdvanceBy(6s);
  ASSERT_EQ(mTransport->GetAttempts().size(), 1u);
  EXPECT_EQ(mTransport->GetAttempts()[0].headers.at("Authorization"), "Basic Q1AxOgq8");
}

TEST_F(WebsocketReconnect, BadLocationEndsTheAttemptsUntilTheNextConnect)
{
  mTransport->locationIsBad = true;
  Connect();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[Cpo Backoffice] Abort connect, initialization error: " +
                                                   std::make_error_code(std::errc::invalid_argument).message() + "."),
            1u);
  EXPECT_THAT(mDiagnostics->GetReports("aborted"), ElementsAre("Cpo Backoffice"));
  mTransport->locationIsBad = false;
  mClock.AdvanceBy(1h);
  EXPECT_THAT(mTransport->GetAttempts(), IsEmpty());
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EConnecting) << "left as it was";
  ConnectAndOpen();
}

TEST_F(WebsocketReconnect, ConnectionWithoutTheSubprotocolIsRefused)
{
  for (const char* answer : {"", "ocpp2.0.1", "ocpp1.6, ocpp2.0.1"}) {
    Create("cs.example.com");
    TakeEvents();
    mTransport->answeredSubprotocol = answer;
    mTransport->outcome = EOutcome::EOpen;
    Connect();
    EXPECT_EQ(
        mLog.Count(Log::ELogLevel::EError,
                   std::string("[Cpo Backoffice] The server has not accepted subprotocol ocpp1.6 but answered '") +
                       answer + "', the connection is refused."),
        1u);
    ASSERT_EQ(mTransport->GetCloses().size(), 1u);
    EXPECT_EQ(mTransport->GetCloses()[0].code, 1002);
    EXPECT_THAT(TakeEvents(), ElementsAre("fail"));
    EXPECT_THAT(mDiagnostics->GetReports("connectivity"), IsEmpty());
    EXPECT_FALSE(mClient->Send("x"));
    mClock.AdvanceBy(9s);
    EXPECT_THAT(AttemptTimes(), ElementsAre(0, 3, 9)) << "the delay grows as for any failure";
  }
}

TEST_F(WebsocketReconnect, LostConnectionObjectsAreToldInEveryHandler)
{
  mTransport->handlesAreLost = true;
  const std::string text = std::make_error_code(std::errc::bad_file_descriptor).message();
  Connect();
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Cannot get valid connection while handling OnFail. Error: " + text + " (9)"),
            1u);
  EXPECT_TRUE(mDiagnostics->Has("status", "Failed: Error: " + text + " (9)"));

  mTransport->handlesAreLost = false;
  mTransport->outcome = EOutcome::EOpen;
  mClock.AdvanceBy(3s);
  ASSERT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
  mTransport->handlesAreLost = true;
  mClock.AdvanceBy(30s);
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Cannot get valid connection while sending ping. Error: " + text + " (9)"), 1u);
  Play([&] { mTransport->PlayPongTimeout(); });
  EXPECT_EQ(
      mLog.Count("[Cpo Backoffice] Cannot get valid connection while handling OnPongTimeout. Error: " + text + " (9)"),
      1u);
  Play([&] { mTransport->PlayClose(1000, ""); });
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Cannot get valid connection while handling OnClose. Error: " + text + " (9)"),
            1u);
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EConnecting);
}

class WebsocketPing : public CLinkTest {
 protected:
  std::vector<int64_t> PingTimes() const
  {
    std::vector<int64_t> times;
    for (const auto time : mTransport->GetPings()) times.push_back(Seconds(time - mTransport->GetAttempts()[0].time));
    return times;
  }
};

TEST_F(WebsocketPing, FirstPingGoesOutAtOnceAndThenOneEachInterval)
{
  ConnectAndOpen();
  mClock.AdvanceBy(90s);
  EXPECT_THAT(PingTimes(), ElementsAre(0, 30, 60, 90));
}

TEST_F(WebsocketPing, IntervalOfZeroLeavesTheConnectionWithoutPings)
{
  SHostSettings settings = mHostInfo->GetSettings();
  settings.pingInterval = 0;
  Create(settings);
  ConnectAndOpen();
  mClock.AdvanceBy(1h);
  EXPECT_THAT(PingTimes(), IsEmpty());
  EXPECT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen) << "and without a pong time-out";
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Websocket ping interval is set to 0, pingpong is not schedeuled"), 1u);
}

TEST_F(WebsocketPing, AbsurdIntervalAndPongTimeoutDoNotOverflow)
{
  SHostSettings settings = mHostInfo->GetSettings();
  settings.pingInterval = INT64_MAX;
  settings.pongTimeout = INT64_MAX;
  Create(settings);
  ConnectAndOpen();
  mClock.AdvanceBy(1h);
  EXPECT_THAT(PingTimes(), ElementsAre(0));
  EXPECT_GT(mTransport->GetAttempts()[0].pongTimeout, std::chrono::hours(24 * 365));
}

TEST_F(WebsocketPing, FailingPingIsLoggedAndTheNextOneFollows)
{
  mTransport->pingFails = true;
  ConnectAndOpen();
  mClock.AdvanceBy(30s);
  const auto error = std::make_error_code(std::errc::not_connected);
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Cannot send ping. Error: " + error.message() + " (" +
                       std::to_string(error.value()) + ")"),
            2u);
}

TEST_F(WebsocketPing, PingsEndWithTheConnection)
{
  ConnectAndOpen();
  mTransport->outcome = EOutcome::EHang;
  Play([&] { mTransport->PlayClose(1000, ""); });
  mClock.AdvanceBy(1h);
  EXPECT_THAT(PingTimes(), ElementsAre(0));
}

TEST_F(WebsocketPing, PongTimeoutClosesWithGoingAwayAndTheDelayStartsAgain)
{
  ConnectAndOpen();
  TakeEvents();
  mClock.AdvanceBy(20s);
  mTransport->outcome = EOutcome::EFail;
  Play([&] { mTransport->PlayPongTimeout(); });
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "OCPP Websocket pong timeout"), 1u);
  ASSERT_EQ(mTransport->GetCloses().size(), 1u);
  EXPECT_EQ(mTransport->GetCloses()[0].code, 1001);
  EXPECT_EQ(mTransport->GetCloses()[0].reason, "connection broken");
  EXPECT_TRUE(mDiagnostics->Has("status", "Closed (Pong timed out)"));
  EXPECT_TRUE(mDiagnostics->Has("status",
                                "[Cpo Backoffice] Closed, Close code[reason]: Remote=1001[connection broken]; "
                                "Local=1001[connection broken]"));
  EXPECT_THAT(TakeEvents(), ElementsAre("close, reconnecting"));
  mClock.AdvanceBy(9s);
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 23, 29));
  EXPECT_THAT(PingTimes(), ElementsAre(0));
}

TEST_F(WebsocketPing, FailingCloseAfterAPongTimeoutIsLogged)
{
  ConnectAndOpen();
  mTransport->closeFails = true;
  Play([&] { mTransport->PlayPongTimeout(); });
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Closing on pong timed out failed, error: " +
                       std::make_error_code(std::errc::not_connected).message() + "."),
            1u);
  EXPECT_FALSE(mDiagnostics->Has("status", "Closed (Pong timed out)"));
}

TEST_F(WebsocketPing, PongTimeoutOfAConnectionThatIsClosingIsIgnored)
{
  ConnectAndOpen();
  mTransport->PlayOn([](const std::shared_ptr<CFakeWebsocketPPWrapper::CFakeConnection>& connection) {
    connection->state = websocketppwrapper::EConnectionState::EClosing;
    connection->handlers.pongTimeout(connection->GetHandle(), "ocpp-client-ping");
  });
  mClock.WaitIdle();
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] OCPP Websocket pong timeout in invalid state 'closing', ignoring..."), 1u);
  EXPECT_THAT(mTransport->GetCloses(), IsEmpty());
}

TEST_F(WebsocketPing, PongTimeoutOfAnOutdatedConnectionIsIgnored)
{
  ConnectAndOpen();
  mTransport->PlayOn([this](const std::shared_ptr<CFakeWebsocketPPWrapper::CFakeConnection>& connection) {
    const auto outdated = std::make_shared<CFakeWebsocketPPWrapper::CFakeConnection>(*mTransport, "wss://old");
    outdated->state = websocketppwrapper::EConnectionState::EOpen;
    connection->handlers.pongTimeout(outdated->GetHandle(), "ocpp-client-ping");
  });
  mClock.WaitIdle();
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] OCPP Websocket pong timeout for outdated handle, ignoring..."), 1u);
  EXPECT_THAT(mTransport->GetCloses(), IsEmpty());
}

class WebsocketLocalHost : public CLinkTest {
 protected:
  WebsocketLocalHost() { Create("gateway.local:8443"); }

  std::vector<int64_t> QueryTimes() const
  {
    std::vector<int64_t> times;
    for (const auto time : mQueryTimes) times.push_back(Seconds(time - mQueryTimes.front()));
    return times;
  }
};

TEST_F(WebsocketLocalHost, AddressIsAskedForBeforeTheFirstAttempt)
{
  mDevices = {{"gateway", "gateway.local", "192.168.1.7", 443}};
  ConnectAndOpen();
  EXPECT_EQ(mTransport->GetAttempts()[0].url, "wss://192.168.1.7:8443/CP1");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[Cpo Backoffice] Resolving IP address for gateway.local"), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[Cpo Backoffice] gateway.local IP address resolved."), 1u);
}

TEST_F(WebsocketLocalHost, QueriesRepeatWithGrowingDelaysAndTheLogGoesQuiet)
{
  Connect();
  mClock.AdvanceBy(300s);
  EXPECT_THAT(QueryTimes(), ElementsAre(0, 3, 9, 21, 45, 93, 189, 285));
  EXPECT_THAT(mTransport->GetAttempts(), IsEmpty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[Cpo Backoffice] Initiate next mDNS query on hostname gateway.local in 3 seconds."),
            1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[Cpo Backoffice] mDNS hostname resolution attempt increment maxed out at 96s, suppressing mDNS "
                       "resolution logging..."),
            1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug,
                       "[Cpo Backoffice] Initiate next mDNS query on hostname gateway.local in 96 seconds."),
            2u);
}

TEST_F(WebsocketLocalHost, FoundAddressResetsTheDelay)
{
  Connect();
  mClock.AdvanceBy(20s);
  mDevices = {{"gateway", "gateway.local", "192.168.1.7", 443}};
  mClock.AdvanceBy(4s);
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 3));
}

TEST_F(WebsocketLocalHost, AddressIsAskedForAnewAfterTheFifthFailure)
{
  mDevices = {{"gateway", "gateway.local", "192.168.1.7", 443}};
  Connect();
  mClock.AdvanceBy(92s);
  EXPECT_EQ(QueryTimes(), std::vector<int64_t>{0});
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] Attempting to re-resolve local hostname to ip address: gateway.local"), 1u);
  mDevices = {{"gateway", "gateway.local", "192.168.1.8", 443}};
  mClock.AdvanceBy(1s);
  EXPECT_THAT(QueryTimes(), ElementsAre(0, 93));
  EXPECT_THAT(AttemptTimes(), ElementsAre(0, 3, 9, 21, 45, 93));
  EXPECT_EQ(mTransport->GetAttempts().back().url, "wss://192.168.1.8:8443/CP1");
}

TEST_F(WebsocketLocalHost, CloseDuringTheWaitForTheNextQueryEndsIt)
{
  Connect();
  const auto begin = mClock.SteadyNow();
  mClient->Close(1000, "bye");
  EXPECT_EQ(mClock.SteadyNow(), begin);
  mClock.AdvanceBy(1h);
  EXPECT_EQ(mQueryTimes.size(), 1u);
}

}  // namespace
