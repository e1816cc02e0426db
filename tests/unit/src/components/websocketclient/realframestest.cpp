// The client and the real library on an open connection: frames, pings, and every way to end.

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "src/components/websocketclosecode.h"
#include "tests/unit/src/components/websocketclient/reallinkfixture.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

// Sanitizers keep freed memory back.
#ifdef SECC_SANITIZED
constexpr bool kIsMemoryMeasured = false;
#else
constexpr bool kIsMemoryMeasured = true;
#endif

// Kilobytes, from /proc/self/status.
int ProcessStatus(const std::string& name)
{
  std::ifstream status("/proc/self/status");
  std::string word;
  int value = 0;
  while (status >> word) {
    if (word == name + ":" && status >> value) return value;
  }
  return -1;
}

int OpenDescriptors()
{
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<int>(std::distance(begin(entries), end(entries)));
}

class RealFrames : public CRealLinkTest {};

TEST_F(RealFrames, TextGoesBothWays)
{
  Open();
  EXPECT_TRUE(mLink->client->Send("[2,\"1\",\"Heartbeat\",{}]"));
  EXPECT_EQ(Server().Await(mId, "frame 1 "), "22 [2,\"1\",\"Heartbeat\",{}]");
  Server().Command("text", mId, R"(,"text":"[3,\"1\",{}]")");
  EXPECT_TRUE(mLink->Await("message [3,\"1\",{}]"));
}

TEST_F(RealFrames, TextOfAMegabyteGoesBothWays)
{
  Open();
  EXPECT_TRUE(mLink->client->Send(std::string(1000000, 'a')));
  EXPECT_THAT(Server().Await(mId, "frame 1 "), HasSubstr("1000000 "));
  Server().Command("text", mId, ",\"size\":1048576");
  EXPECT_TRUE(mLink->Await("message of 1048576"));
}

TEST_F(RealFrames, FrameAboveTheLimitClosesWithMessageTooBigAndTakesNoMemory)
{
  Open();
  const int before = ProcessStatus("VmRSS");
  Server().Command("text", mId, ",\"size\":8000000");
  EXPECT_TRUE(mLink->Await("lost"));
  EXPECT_TRUE(mLog.ContainsPart("Local close code: 1009 (Message too big)"));
  if (kIsMemoryMeasured) {
    EXPECT_LT(ProcessStatus("VmRSS") - before, 2000);
  }
  EXPECT_TRUE(mLink->Await("open")) << "and it connects again";
}

TEST_F(RealFrames, FragmentsThatAddUpAboveTheLimitCloseWithMessageTooBig)
{
  Open();
  // Two fragments of 1 byte and of 1 MiB.
  Server().Command("raw", mId, ",\"hex\":\"010161807f0000000000100000\"");
  EXPECT_TRUE(mLink->Await("lost"));
  EXPECT_TRUE(mLog.ContainsPart("Local close code: 1009 (Message too big)"));
}

TEST_F(RealFrames, HeaderThatPromisesExabytesClosesWithMessageTooBig)
{
  Open();
  Server().Command("raw", mId, ",\"hex\":\"817f7fffffffffffffff\"");
  EXPECT_TRUE(mLink->Await("lost"));
}

TEST_F(RealFrames, FragmentsWithPingsBetweenThemAreOneMessage)
{
  Open();
  // "He", ping "p", "ll", ping without payload, "o".
  Server().Command("raw", mId,
                   ",\"hex\":\"01024865890170"
                   "00026c6c8900"
                   "80016f\"");
  EXPECT_TRUE(mLink->Await("message Hello"));
  Server().Await(mId, "pong 10 1 p");
  Server().Await(mId, "pong 10 0 ");
}

TEST_F(RealFrames, BinaryFrameIsReportedAndTheConnectionLives)
{
  Open();
  Server().Command("binary", mId, ",\"size\":10");
  Server().Command("text", mId, ",\"text\":\"after\"");
  EXPECT_TRUE(mLink->Await("message after"));
  EXPECT_EQ(mLink->diagnostics->GetReports("invalid"),
            std::vector<std::string>{"Received unsupported binary message payload"});
}

TEST_F(RealFrames, InvalidUtf8ClosesWithInvalidPayload)
{
  Open();
  Server().Command("raw", mId, ",\"hex\":\"8102c328\"");
  EXPECT_THAT(Server().Await(mId, "close "), HasSubstr("1007"));
  EXPECT_TRUE(mLink->Await("lost"));
}

TEST_F(RealFrames, InvalidUtf8IsNotSent)
{
  Open();
  EXPECT_FALSE(mLink->client->Send("\xc3\x28"));
  EXPECT_TRUE(mLink->client->Send("fine"));
  EXPECT_EQ(Server().Await(mId, "frame 1 "), "4 fine");
}

TEST_F(RealFrames, MaskedFrameOfAServerClosesWithProtocolError)
{
  Open();
  Server().Command("raw", mId, ",\"hex\":\"81810000000061\"");
  EXPECT_THAT(Server().Await(mId, "close "), HasSubstr("1002"));
  EXPECT_TRUE(mLink->Await("lost"));
}

TEST_F(RealFrames, EmptyTextIsDelivered)
{
  Open();
  Server().Command("raw", mId, ",\"hex\":\"8100\"");
  EXPECT_TRUE(mLink->Await("message "));
}

TEST_F(RealFrames, SendsFromFourThreadsDuringReconnectsAllEnd)
{
  Open();
  // Frames that may still be sent; nobody outruns the server for long.
  std::atomic<int> budget{0};
  std::atomic<bool> done{false};
  std::vector<std::thread> senders;
  senders.reserve(4);
  for (int i = 0; i < 4; ++i) {
    senders.emplace_back([&] {
      while (!done) {
        if (budget.fetch_sub(1) > 0) {
          mLink->client->Send("[2,\"1\",\"Heartbeat\",{}]");
        } else {
          std::this_thread::yield();
        }
      }
    });
  }
  for (int i = 0; i < 10; ++i) {
    budget = 1000;
    Server().Await(mId, "frame 1 ");
    if (i % 2 == 0) {
      Server().Command("close", mId, ",\"code\":1012");
      EXPECT_TRUE(mLink->Await("lost"));
    } else {
      mLink->client->Close(1000, "again");
      mLink->client->Connect();
    }
    EXPECT_TRUE(mLink->Await("open"));
  }
  done = true;
  for (std::thread& sender : senders) sender.join();
}

class RealEnd : public CRealLinkTest {};

TEST_F(RealEnd, CloseTellsTheServerCodeAndReason)
{
  Open();
  mLink->client->Close(1000, "Client is Disabling");
  EXPECT_EQ(Server().Await(mId, "close "), "1000 Client is Disabling");
  EXPECT_EQ(mLink->TakeEvents(), std::vector<std::string>{"closed"});
  EXPECT_EQ(mLink->client->GetStatus(), EWebsocketStatus::EClosed);
  Server().Await(mId, "gone");
}

TEST_F(RealEnd, CloseFromTheMessageCallbackIsClean)
{
  Open();
  mLink->client->SetOnMessageCallback(
      [client = mLink->client.get()](std::string_view) { client->Close(1000, "from inside"); });
  Server().Command("text", mId, ",\"text\":\"x\"");
  EXPECT_EQ(Server().Await(mId, "close "), "1000 from inside");
  EXPECT_TRUE(mLink->Await("closed"));
}

TEST_F(RealEnd, AnswerFromTheMessageCallbackGoesOut)
{
  Open();
  mLink->client->SetOnMessageCallback([client = mLink->client.get()](std::string_view) { client->Send("answer"); });
  Server().Command("text", mId, ",\"text\":\"x\"");
  EXPECT_EQ(Server().Await(mId, "frame 1 "), "6 answer");
}

TEST_F(RealEnd, EveryCloseCodeOfTheServerIsNamedAndLeadsToAReconnect)
{
  Open();
  for (const int code : {1000, 1001, 1002, 1003, 1007, 1008, 1009, 1010, 1011, 1012, 1013, 1014, 3000, 3001, 4999}) {
    Server().Command("close", mId, ",\"reason\":\"told so\",\"code\":" + std::to_string(code));
    ASSERT_TRUE(mLink->Await("lost")) << code;
    EXPECT_TRUE(mLog.ContainsPart("Remote close code: " + std::to_string(code) + " (" +
                                  std::string(CloseCodeName(static_cast<uint16_t>(code))) + "). reason: told so, "))
        << code;
    ASSERT_TRUE(mLink->Await("open")) << code;
  }
}

TEST_F(RealEnd, CloseWithoutACodeIsNoStatusSet)
{
  Open();
  Server().Command("close", mId);
  EXPECT_TRUE(mLink->Await("lost"));
  EXPECT_TRUE(mLog.ContainsPart("Remote close code: 1005 (No status set). reason: , "));
}

// 1005, 1006 and 1015 are for reports alone (RFC 6455 section 7.4.1).
TEST_F(RealEnd, CloseCodesThatMustNotBeSentAreAnsweredWithProtocolError)
{
  Open();
  for (const int code : {1005, 1006, 1015}) {
    Server().Command("close", mId, ",\"code\":" + std::to_string(code));
    EXPECT_THAT(Server().Await(mId, "close "), HasSubstr("1002 "));
    ASSERT_TRUE(mLink->Await("lost")) << code;
    ASSERT_TRUE(mLink->Await("open")) << code;
  }
}

TEST_F(RealEnd, VanishedTcpIsAnAbnormalClose)
{
  Open();
  Server().Command("destroy", mId);
  EXPECT_TRUE(mLink->Await("lost"));
  EXPECT_TRUE(mLog.ContainsPart("Remote close code: 1006 (Abnormal close)"));
  EXPECT_TRUE(mLink->Await("open"));
}

TEST_F(RealEnd, PingsArriveAndPongsKeepTheConnection)
{
  CRealLink::SHost host;
  host.pingInterval = 5;  // hurried: 100 ms
  host.pongTimeout = 1;
  Open("", host);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(Server().Await(mId, "ping "), "ocpp-client-ping");
  EXPECT_TRUE(mLink->TakeEvents().empty());
}

// The pings come ten times as often as the time-out is long: each of them would start a naive time-out anew.
TEST_F(RealEnd, MissingPongClosesWithConnectionBroken)
{
  CRealLink::SHost host;
  host.pingInterval = 5;  // hurried: 100 ms
  host.pongTimeout = 1;
  Open(",\"pong\":false", host);
  EXPECT_EQ(Server().Await(mId, "close "), "1001 connection broken");
  EXPECT_TRUE(mLink->Await("lost"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "OCPP Websocket pong timeout"), 1u);
  EXPECT_TRUE(mLink->diagnostics->Has("status", "Closed (Pong timed out)"));
  EXPECT_TRUE(mLink->Await("open"));
}

TEST_F(RealEnd, HalfOpenLinkIsNoticedAndReplaced)
{
  CRealLink::SHost host;
  host.pingInterval = 5;  // hurried: 100 ms
  host.pongTimeout = 1;
  Open("", host);
  Server().Await(mId, "ping ");
  Server().Command("freeze", mId);
  EXPECT_TRUE(mLink->Await("lost"));
  EXPECT_TRUE(
      mLog.ContainsPart("Remote close code: 1006 (Abnormal close). reason: , Local close code: 1001 (Going "
                        "away). reason: connection broken"));
  EXPECT_TRUE(mLink->Await("open"));
}

TEST_F(RealEnd, CloseOnAHalfOpenLinkTakesAboutASecond)
{
  Open();
  Server().Command("freeze", mId);
  const CRealClock real;
  const auto begin = real.SteadyNow();
  mLink->client->Close(1000, "bye");
  EXPECT_LT(real.SteadyNow() - begin, 2s);
  EXPECT_EQ(mLink->TakeEvents(), std::vector<std::string>{"closed"});
}

TEST_F(RealEnd, FiveHundredReconnectsTakeNoMemoryThreadsOrDescriptors)
{
  Listen("good");
  const auto cycle = [this](int count) {
    for (int i = 0; i < count; ++i) {
      mLink->client->Connect();
      ASSERT_TRUE(mLink->Await("open"));
      if (i % 10 == 0) {
        Server().Command("close", mId, ",\"code\":1012");
        ASSERT_TRUE(mLink->Await("lost"));
        ASSERT_TRUE(mLink->Await("open"));
      }
      mLink->client->Close(1000, "again");
    }
  };
  mLog.Clear();
  cycle(100);
  mLog.Clear();
  const int memory = ProcessStatus("VmRSS");
  const int threads = ProcessStatus("Threads");
  const int descriptors = OpenDescriptors();
  for (int i = 0; i < 4; ++i) {
    cycle(100);
    mLog.Clear();
  }
  if (kIsMemoryMeasured) {
    EXPECT_LT(ProcessStatus("VmRSS") - memory, 2000) << "kilobytes";
  }
  EXPECT_EQ(ProcessStatus("Threads"), threads);
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

}  // namespace
