#include "platform/toolbox/mdns.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/toolbox/mdnsrecords.h"
#include "tests/unit/support/logcapture.h"

using Toolbox::CMdnsRecords;
using Toolbox::EMdnsType;
using Toolbox::SMdnsDevice;
using Toolbox::SMdnsTransport;

namespace {

const std::string kService = "_ocpp._tcp.local";

// Composes a response, without name compression. Labels are given one by one, so that they may hold any byte.
class CResponse {
 public:
  using CLabels = std::vector<std::string>;

  CResponse& Ptr(const CLabels& name, const CLabels& target) { return Add(name, 12, Name(target)); }
  CResponse& Srv(const CLabels& name, uint16_t port, const CLabels& host)
  {
    return Add(name, 33, Word(0) + Word(0) + Word(port) + Name(host));
  }
  CResponse& A(const CLabels& name, const std::string& address)
  {
    in_addr bytes{};
    inet_pton(AF_INET, address.c_str(), &bytes);
    return Add(name, 1, std::string(reinterpret_cast<const char*>(&bytes), sizeof(bytes)));
  }
  std::string Make(uint16_t flags = 0x8400) const
  {
    return Word(0) + Word(flags) + Word(0) + Word(mCount) + Word(0) + Word(0) + mRecords;
  }

 private:
  static std::string Word(unsigned value) { return {static_cast<char>(value >> 8U), static_cast<char>(value & 0xFFU)}; }
  static std::string Name(const CLabels& labels)
  {
    std::string name;
    for (const std::string& label : labels) name += static_cast<char>(label.size()) + label;
    return name + '\0';
  }
  CResponse& Add(const CLabels& name, unsigned type, const std::string& content)
  {
    constexpr unsigned kInternetWithCacheFlush = 0x8001;
    mRecords += Name(name) + Word(type) + Word(kInternetWithCacheFlush) + Word(0) + Word(120) +
                Word(static_cast<unsigned>(content.size())) + content;
    ++mCount;
    return *this;
  }

  std::string mRecords;
  unsigned mCount{0};
};

const CResponse::CLabels kServiceLabels = {"_ocpp", "_tcp", "local"};

CResponse::CLabels Instance(const std::string& name) { return {name, "_ocpp", "_tcp", "local"}; }

std::string MakeFullAnswer(const std::string& instance, const std::string& host, const std::string& address,
                           uint16_t port)
{
  return CResponse()
      .Ptr(kServiceLabels, Instance(instance))
      .Srv(Instance(instance), port, {host, "local"})
      .A({host, "local"}, address)
      .Make();
}

void AddTo(CMdnsRecords& records, const std::string& message)
{
  records.Add(reinterpret_cast<const uint8_t*>(message.data()), message.size());
}

// A responder on the loopback interface that answers each question by `answer` and counts the questions.
class CResponder {
 public:
  using CAnswer = std::function<std::string(unsigned count, const std::string& question)>;

  explicit CResponder(CAnswer answer) : mAnswer(std::move(answer)), mHandle(MakeSocket())
  {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    getsockname(mHandle, reinterpret_cast<sockaddr*>(&address), &size);
    mPort = ntohs(address.sin_port);
    mThread = std::thread([this] { Run(); });
  }
  ~CResponder()
  {
    shutdown(mHandle, SHUT_RDWR);
    mThread.join();
    close(mHandle);
  }

  SMdnsTransport GetTransport() const { return {"127.0.0.1", mPort, {}}; }
  unsigned GetCount() const { return mCount; }

  static int MakeSocket()
  {
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    return handle;
  }

 protected:
  void Run()
  {
    for (;;) {
      std::array<char, 1500> question{};
      sockaddr_in peer{};
      socklen_t peerSize = sizeof(peer);
      const ssize_t size =
          recvfrom(mHandle, question.data(), question.size(), 0, reinterpret_cast<sockaddr*>(&peer), &peerSize);
      if (size <= 0) return;
      const std::string answer = mAnswer(++mCount, std::string(question.data(), static_cast<size_t>(size)));
      sendto(mHandle, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&peer), peerSize);
    }
  }

  const CAnswer mAnswer;
  const int mHandle;
  uint16_t mPort{0};
  std::atomic<unsigned> mCount{0};
  std::thread mThread;
};

}  // namespace

TEST(MdnsQuery, AsksForPointersWithTheUnicastResponseBit)
{
  const std::vector<uint8_t> query = Toolbox::MakeMdnsQuery({kService, EMdnsType::EPtr});
  const std::string expected(
      "\0\0\0\0\0\1\0\0\0\0\0\0"
      "\5_ocpp\4_tcp\5local\0\0\14\200\1",
      34);
  EXPECT_EQ(std::string(query.begin(), query.end()), expected);
}

TEST(MdnsQuery, RefusesANameThatIsNone)
{
  EXPECT_TRUE(Toolbox::MakeMdnsQuery({std::string(70, 'a') + ".local", EMdnsType::EPtr}).empty());
}

TEST(MdnsRecords, CompleteAnswerGivesTheDevice)
{
  CMdnsRecords records(kService);
  AddTo(records, MakeFullAnswer("Cellar gateway", "gateway", "192.0.2.7", 9000));
  const std::vector<SMdnsDevice> devices = records.GetDevices();
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].name, "Cellar gateway");
  EXPECT_EQ(devices[0].host, "gateway.local");
  EXPECT_EQ(devices[0].address, "192.0.2.7");
  EXPECT_EQ(devices[0].port, 9000);
  EXPECT_TRUE(records.GetOpenQuestions().empty());
}

TEST(MdnsRecords, InstanceNameMayHoldDotsAndBackslashes)
{
  CMdnsRecords records(kService);
  AddTo(records, MakeFullAnswer("No. 1 \\ \xc3\xa4", "gateway", "192.0.2.7", 9000));
  ASSERT_EQ(records.GetDevices().size(), 1U);
  EXPECT_EQ(records.GetDevices()[0].name, "No. 1 \\ \xc3\xa4");
}

TEST(MdnsRecords, RecordsOfSeveralMessagesAddUp)
{
  CMdnsRecords records(kService);
  AddTo(records, CResponse().Ptr(kServiceLabels, Instance("one")).Make());
  ASSERT_EQ(records.GetOpenQuestions().size(), 1U);
  EXPECT_EQ(records.GetOpenQuestions()[0].name, "one._ocpp._tcp.local");
  EXPECT_EQ(records.GetOpenQuestions()[0].type, EMdnsType::ESrv);
  AddTo(records, CResponse().Srv(Instance("ONE"), 1, {"Host", "local"}).Make());
  ASSERT_EQ(records.GetOpenQuestions().size(), 1U);
  EXPECT_EQ(records.GetOpenQuestions()[0].name, "Host.local");
  EXPECT_EQ(records.GetOpenQuestions()[0].type, EMdnsType::EA);
  EXPECT_TRUE(records.GetDevices().empty());
  AddTo(records, CResponse().A({"hOST", "LOCAL"}, "192.0.2.1").Make());
  EXPECT_EQ(records.GetDevices().size(), 1U);
}

TEST(MdnsRecords, OtherServicesAndQueriesAreIgnored)
{
  CMdnsRecords records(kService);
  AddTo(records, CResponse().Ptr({"_http", "_tcp", "local"}, {"x", "_http", "_tcp", "local"}).Make());
  AddTo(records, CResponse().Ptr(kServiceLabels, {"x", "_http", "_tcp", "local"}).Make());
  AddTo(records, CResponse().Ptr(kServiceLabels, Instance("one")).Make(0x0000));
  EXPECT_TRUE(records.GetOpenQuestions().empty());
}

TEST(MdnsRecords, EveryTruncationAndBitFlipIsSurvived)
{
  const std::string message = MakeFullAnswer("Cellar gateway", "gateway", "192.0.2.7", 9000);
  for (size_t size = 0; size < message.size(); ++size) {
    CMdnsRecords records(kService);
    AddTo(records, message.substr(0, size));
    EXPECT_TRUE(records.GetDevices().empty()) << size;
  }
  for (size_t i = 0; i < message.size() * 8; ++i) {
    std::string flipped = message;
    flipped[i / 8] = static_cast<char>(flipped[i / 8] ^ (1 << (i % 8)));
    CMdnsRecords records(kService);
    AddTo(records, flipped);
    EXPECT_LE(records.GetDevices().size(), 1U);
  }
}

TEST(MdnsRecords, AFloodOfInstancesIsBounded)
{
  CMdnsRecords records(kService);
  for (int i = 0; i < 2000; ++i) AddTo(records, CResponse().Ptr(kServiceLabels, Instance(std::to_string(i))).Make());
  EXPECT_EQ(records.GetOpenQuestions().size(), 256U);
}

TEST(MdnsFilter, ComparesHostsWithoutCaseAndEnding)
{
  const SMdnsDevice device{"Cellar", "Gateway.local", "192.0.2.7", 1};
  EXPECT_TRUE(Toolbox::IsWanted(device, {}));
  EXPECT_TRUE(Toolbox::IsWanted(device, {"gateway"}));
  EXPECT_TRUE(Toolbox::IsWanted(device, {"other", "GATEWAY.LOCAL"}));
  EXPECT_TRUE(Toolbox::IsWanted(device, {"cellar"}));
  EXPECT_FALSE(Toolbox::IsWanted(device, {"gate"}));
  EXPECT_FALSE(Toolbox::IsWanted(device, {"gateway.example"}));
}

TEST(QueryMdnsDevices, FirstWantedDeviceEndsTheQuery)
{
  const CResponder responder(
      [](unsigned, const std::string&) { return MakeFullAnswer("Cellar gateway", "gateway", "192.0.2.7", 9000); });
  const auto devices =
      Toolbox::QueryMdnsDevicesFiltered("_ocpp._tcp", {"GateWay"}, 2, 0, 5, 1, responder.GetTransport());
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].address, "192.0.2.7");
  EXPECT_EQ(responder.GetCount(), 1U);
}

TEST(QueryMdnsDevices, MissingRecordsAreAskedForAtOnce)
{
  const CResponder responder([](unsigned count, const std::string& question) -> std::string {
    switch (count) {
      case 1:
        return CResponse().Ptr(kServiceLabels, Instance("one")).Make();
      case 2:
        EXPECT_NE(question.find("\3one\5_ocpp"), std::string::npos);
        return CResponse().Srv(Instance("one"), 7, {"gateway", "local"}).Make();
      default:
        EXPECT_NE(question.find("\7gateway\5local"), std::string::npos);
        return CResponse().A({"gateway", "local"}, "192.0.2.9").Make();
    }
  });
  const auto devices = Toolbox::QueryMdnsDevicesFiltered(kService, {"gateway"}, 1, 0, 5, 1, responder.GetTransport());
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].address, "192.0.2.9");
  EXPECT_EQ(devices[0].port, 7);
}

TEST(QueryMdnsDevices, QuestionIsSentAgainAfterASecond)
{
  const CResponder responder([](unsigned count, const std::string&) {
    return count == 1 ? std::string("garbage") : MakeFullAnswer("a", "gateway", "192.0.2.7", 9000);
  });
  EXPECT_EQ(Toolbox::QueryMdnsDevicesFiltered(kService, {"gateway"}, 2, 0, 5, 1, responder.GetTransport()).size(), 1U);
  EXPECT_EQ(responder.GetCount(), 2U);
}

TEST(QueryMdnsDevices, UnwantedHostsLeaveTheListEmptyAtTheDeadline)
{
  const CResponder responder(
      [](unsigned, const std::string&) { return MakeFullAnswer("a", "other", "192.0.2.7", 9000); });
  EXPECT_TRUE(Toolbox::QueryMdnsDevicesFiltered(kService, {"gateway"}, 1, 0, 1, 1, responder.GetTransport()).empty());
}

TEST(QueryMdnsDevices, AbortEndsTheWait)
{
  const CResponder responder([](unsigned, const std::string&) { return std::string("garbage"); });
  SMdnsTransport transport = responder.GetTransport();
  transport.isAborted = [&] { return responder.GetCount() > 0; };
  EXPECT_TRUE(Toolbox::QueryMdnsDevicesFiltered(kService, {}, 1, 0, 3600, 0, transport).empty());
}

TEST(QueryMdnsDevices, AnswersFromAnotherPortAreIgnored)
{
  std::atomic<bool> isAnswered{false};
  const int stranger = CResponder::MakeSocket();
  // The responder learns the asker's port only from the question, so it lets a second socket answer to it.
  const int listener = CResponder::MakeSocket();
  sockaddr_in address{};
  socklen_t size = sizeof(address);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  std::thread thread([&] {
    std::array<char, 1500> question{};
    sockaddr_in peer{};
    socklen_t peerSize = sizeof(peer);
    recvfrom(listener, question.data(), question.size(), 0, reinterpret_cast<sockaddr*>(&peer), &peerSize);
    const std::string answer = MakeFullAnswer("a", "gateway", "192.0.2.7", 9000);
    sendto(stranger, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&peer), peerSize);
    isAnswered = true;
  });
  unsigned checks = 0;
  SMdnsTransport transport{"127.0.0.1", ntohs(address.sin_port), {}};
  transport.isAborted = [&] { return isAnswered && ++checks > 2; };
  EXPECT_TRUE(Toolbox::QueryMdnsDevicesFiltered(kService, {}, 1, 0, 60, 0, transport).empty());
  thread.join();
  close(stranger);
  close(listener);
}

TEST(QueryMdnsDevices, ADestinationThatIsNoAddressIsLogged)
{
  CLogCapture log;
  EXPECT_TRUE(Toolbox::QueryMdnsDevicesFiltered(kService, {}, 2, 0, 5, 1, {"nowhere", 5353, {}}).empty());
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "mDNS query for _ocpp._tcp.local could not be sent on any interface"),
            1U);
}
