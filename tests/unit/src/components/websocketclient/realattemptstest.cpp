// The client and the real library: attempts that fail for other reasons than TLS, and closing in the middle of one.

#include <chrono>
#include <thread>

#include "tests/unit/src/components/websocketclient/hanginglookup.h"
#include "tests/unit/src/components/websocketclient/reallinkfixture.h"

namespace {

using namespace std::chrono_literals;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;

class RealAttempts : public CRealLinkTest {
 protected:
  void ListenPlain(const std::string& kind)
  {
    mIsListening = true;
    CRealLink::SHost host;
    host.port = Server().Listen(mId, ",\"kind\":\"" + kind + "\"");
    mLink = std::make_unique<CRealLink>(Server(), host);
  }
  // The text of the last failed attempt.
  std::string FailText() const
  {
    std::string text;
    for (const std::string& status : mLink->diagnostics->GetReports("status")) {
      if (status.compare(0, 7, "Failed:") == 0) text = status;
    }
    return text;
  }
  CRealClock mReal;
};

TEST_F(RealAttempts, RefusedTcpFailsAndIsTriedAgain)
{
  const uint16_t port = Server().Listen(mId, ",\"kind\":\"silent\"");
  Server().Command("stop", mId);
  Server().Await(mId, "stopped");
  CRealLink::SHost host;
  host.port = port;
  mLink = std::make_unique<CRealLink>(Server(), host);
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_THAT(FailText(), HasSubstr("Error code: 111 (Connection refused)"));
}

TEST_F(RealAttempts, ResetTcpFailsAndIsTriedAgain)
{
  ListenPlain("reset");
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_TRUE(mLink->Await("fail"));
  // Whichever layer meets the reset first tells it.
  EXPECT_THAT(FailText(), AnyOf(HasSubstr("TLS handshake failed"), HasSubstr("Connection reset by peer")));
}

TEST_F(RealAttempts, ServerComesUpLaterAndIsFound)
{
  const uint16_t port = Server().Listen(mId, ",\"kind\":\"silent\"");
  Server().Command("stop", mId);
  Server().Await(mId, "stopped");
  CRealLink::SHost host;
  host.port = port;
  mLink = std::make_unique<CRealLink>(Server(), host);
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  mIsListening = true;
  ASSERT_EQ(Server().ListenTls(mId, "good", ",\"port\":" + std::to_string(port)), port);
  EXPECT_TRUE(mLink->Await("open"));
}

// Both silences at once, since each takes its whole time-out.
TEST_F(RealAttempts, SilentTcpAndSilentHttpEndByTimeout)
{
  ListenPlain("silent");
  CRealLink::SHost host;
  host.port = Server().ListenTls("quiet", "good", ",\"quiet\":true");
  CRealLink quiet(Server(), host);
  const auto begin = mReal.SteadyNow();
  mLink->client->Connect();
  quiet.client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_TRUE(quiet.Await("fail"));
  EXPECT_LT(mReal.SteadyNow() - begin, 15s);
  EXPECT_THAT(FailText(), HasSubstr("TLS handshake timed out"));
  quiet.client.reset();
  Server().Command("stop", "quiet");
  Server().Await("quiet", "stopped");
}

TEST_F(RealAttempts, CloseDuringTheTlsHandshakeReturnsAtOnce)
{
  ListenPlain("silent");
  mLink->client->Connect();
  Server().Await(mId, "tcp");
  const auto begin = mReal.SteadyNow();
  mLink->client->Close(1000, "bye");
  EXPECT_LT(mReal.SteadyNow() - begin, 1s);
  EXPECT_EQ(mLink->client->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_THAT(mLink->TakeEvents(), IsEmpty());
}

TEST_F(RealAttempts, CloseDuringTheUpgradeReturnsAtOnceAndTheSocketIsGone)
{
  Listen("good", ",\"quiet\":true");
  mLink->client->Connect();
  Server().Await(mId, "request");
  const auto begin = mReal.SteadyNow();
  mLink->client->Close(1000, "bye");
  EXPECT_LT(mReal.SteadyNow() - begin, 1s);
  Server().Await(mId, "gone");
  EXPECT_THAT(mLink->TakeEvents(), IsEmpty());
}

TEST_F(RealAttempts, ConnectDuringAnAttemptGivesItUpAndAttemptsAnew)
{
  Listen("good", ",\"quiet\":true");
  mLink->client->Connect();
  Server().Await(mId, "request");
  mLink->client->Connect();
  EXPECT_FALSE(Server().Await(mId, "request ").empty());
  EXPECT_THAT(mLink->TakeEvents(), IsEmpty());
}

TEST_F(RealAttempts, DestructionDuringAnAttemptReturnsAtOnce)
{
  ListenPlain("silent");
  mLink->client->Connect();
  Server().Await(mId, "tcp");
  const auto begin = mReal.SteadyNow();
  mLink->client.reset();
  EXPECT_LT(mReal.SteadyNow() - begin, 1s);
}

TEST_F(RealAttempts, DestructionRightAfterConnectReturnsAtOnce)
{
  Listen("good");
  for (int i = 0; i < 20; ++i) {
    mLink->client->Connect();
    mLink->client->Close(1000, "bye");
  }
  mLink->client->Connect();
  const auto begin = mReal.SteadyNow();
  mLink->client.reset();
  EXPECT_LT(mReal.SteadyNow() - begin, 3s);
}

TEST_F(RealAttempts, UnknownHostFails)
{
  CRealLink::SHost host;
  // A label of 64 characters: the resolver refuses it without asking anybody.
  host.name = std::string(64, 'x') + ".invalid";
  host.address = "";
  host.port = 443;
  mLink = std::make_unique<CRealLink>(Server(), host);
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
}

TEST_F(RealAttempts, CloseAndDestructionDuringANameLookupReturnAtOnce)
{
  CHangingLookup lookup;
  CRealLink::SHost host;
  host.name = CHangingLookup::kName;
  host.address = "";
  host.port = 443;
  mLink = std::make_unique<CRealLink>(Server(), host);
  mLink->client->Connect();
  ASSERT_TRUE(lookup.AwaitQuestion());
  const auto begin = mReal.SteadyNow();
  mLink->client->Close(1000, "bye");
  mLink->client.reset();
  EXPECT_LT(mReal.SteadyNow() - begin, 1s);
  EXPECT_THAT(mLink->TakeEvents(), IsEmpty());
}

// The answer comes when the attempt has been given up for long, and the connection made on it is closed in silence.
TEST_F(RealAttempts, AttemptGivenUpDuringItsLookupSaysNothingToTheServerLater)
{
  Listen("good");
  auto lookup = std::make_unique<CHangingLookup>();
  mLink->hostInfo->SetResolvedAddress(CHangingLookup::kName);
  mLink->client->Connect();
  ASSERT_TRUE(lookup->AwaitQuestion());
  mLink->client->Close(1000, "bye");
  mLink->hostInfo->SetResolvedAddress("127.0.0.1");
  mLink->client->Connect();
  lookup.reset();
  EXPECT_TRUE(mLink->Await("open"));
  EXPECT_EQ(mLink->TakeEvents(), std::vector<std::string>());
  Server().Command("stats", mId);
  EXPECT_THAT(Server().Await(mId, "stats "), HasSubstr("tcp=2 secure=1 "));
}

TEST_F(RealAttempts, LocationThatCannotBeReadEndsTheAttempts)
{
  CRealLink::SHost host;
  host.name = "cs.example.com:notaport";
  host.port = 443;
  mLink = std::make_unique<CRealLink>(Server(), host);
  mLink->client->Connect();
  const auto deadline = mReal.SteadyNow() + CScriptedServer::kPatience;
  while (mLink->diagnostics->GetReports("aborted").empty() && mReal.SteadyNow() < deadline) std::this_thread::yield();
  EXPECT_THAT(mLink->diagnostics->GetReports("aborted"), testing::ElementsAre("Cpo Backoffice"));
  EXPECT_TRUE(mLog.ContainsPart("[Cpo Backoffice] Abort connect, initialization error: "));
}

class RealHttpAnswer : public CRealLinkTest, public testing::WithParamInterface<int> {};

TEST_P(RealHttpAnswer, IsAFailedAttemptThatIsRepeated)
{
  const std::string status = std::to_string(GetParam());
  Listen("good", ",\"status\":" + status + ",\"headers\":[\"Location: https://127.0.0.1:1/\"]");
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_TRUE(mLog.ContainsPart("Http response: " + status + " (Told so)"));
}

INSTANTIATE_TEST_SUITE_P(Link, RealHttpAnswer, testing::Values(200, 301, 401, 404, 503));

class RealUpgrade : public CRealLinkTest {};

TEST_F(RealUpgrade, WithoutASubprotocolIsRefused)
{
  Listen("good", ",\"protocol\":\"\"");
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_THAT(Server().Await(mId, "close "), HasSubstr("1002 Subprotocol not accepted"));
  EXPECT_TRUE(mLink->Await("fail")) << "and tried again";
  EXPECT_TRUE(mLink->diagnostics->GetReports("connectivity").empty());
}

TEST_F(RealUpgrade, WithAnotherSubprotocolIsRefused)
{
  Listen("good", ",\"protocol\":\"ocpp2.0.1\"");
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_TRUE(mLog.ContainsPart("answered 'ocpp2.0.1', the connection is refused."));
}

TEST_F(RealUpgrade, WithAWrongAcceptKeyIsRefused)
{
  Listen("good", ",\"accept\":\"bm9uc2Vuc2U=\"");
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
  EXPECT_TRUE(mLink->diagnostics->GetReports("connectivity").empty());
}

TEST_F(RealUpgrade, WithEndlessHeadersIsRefused)
{
  Listen("good", ",\"headers\":[\"X-Long: " + std::string(40000, 'x') + "\"]");
  mLink->client->Connect();
  EXPECT_TRUE(mLink->Await("fail"));
}

}  // namespace
