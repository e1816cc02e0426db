// The host by itself: its notification thread, and that stopping is quick whatever goes on.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "tests/unit/platform/iipc/events.h"
#include "tests/unit/platform/iipc/genericsibling.h"
#include "tests/unit/platform/iipc/hostfixture.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kMeterStream[] = "/secc.ipc.v1.Meter/Notifications";
constexpr char kBoardStream[] = "/secc.ipc.v1.BoardControl/Notifications";

std::string Reading(int64_t number)
{
  ipc::MMeterNotification notification;
  notification.mutable_meter_data()->set_energy_register(number);
  return notification.SerializeAsString();
}

class CommunicationHost : public HostFixture {
 protected:
  ~CommunicationHost() override { Stop(); }

  // A sibling in this process that reports each call.
  std::unique_ptr<CGenericSibling> StartSibling(const std::string& service)
  {
    return std::make_unique<CGenericSibling>(
        Address(service), [this](const std::string& method, const std::string&) { mCalls.Add(method); });
  }

  CEvents<std::string> mCalls;
  CEvents<int64_t> mNumbers;
};

TEST_F(CommunicationHost, NotificationsOfAllSiblingsComeOnTheOneThread)
{
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  const auto board = mHost->CreateClient<IBoardControl>("BoardControl")->GetInterface();
  CEvents<std::thread::id> threads;
  meter->SetMeterDataHandler([&](const ipc::MMeterData&) { threads.Add(std::this_thread::get_id()); });
  board->SetMainsLostHandler([&] { threads.Add(std::this_thread::get_id()); });
  const auto meterSibling = StartSibling("Meter");
  const auto boardSibling = StartSibling("BoardControl");
  Start();
  ASSERT_TRUE(mCalls.WaitForCount(2));

  ipc::MBoardControlNotification mainsLost;
  mainsLost.mutable_mains_lost();
  for (int round = 0; round < 10; ++round) {
    meterSibling->Notify(kMeterStream, Reading(round));
    boardSibling->Notify(kBoardStream, mainsLost.SerializeAsString());
  }
  ASSERT_TRUE(threads.WaitForCount(20));
  EXPECT_THAT(threads.Get(), ::testing::Each(threads.Get().front()));
  EXPECT_NE(threads.Get().front(), std::this_thread::get_id());
  Stop();
}

TEST_F(CommunicationHost, AHandlerMayCallTheSiblingThatNotifies)
{
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  ipc::MMeterData answer;
  answer.set_energy_register(77);
  const auto sibling = StartSibling("Meter");
  sibling->SetReply("/secc.ipc.v1.Meter/GetMeterData", answer.SerializeAsString());
  meter->SetMeterDataHandler(
      [this, &meter](const ipc::MMeterData&) { mNumbers.Add(meter->GetMeterData().energy_register()); });
  Start();
  ASSERT_TRUE(mCalls.WaitForCount(1));
  sibling->Notify(kMeterStream, Reading(1));
  ASSERT_TRUE(mNumbers.WaitForCount(1));
  EXPECT_THAT(mNumbers.Get(), ElementsAre(77));
}

TEST_F(CommunicationHost, AHandlerThatThrowsIsToldAndTheNextNotificationsCome)
{
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  meter->SetMeterDataHandler([this](const ipc::MMeterData& data) {
    mNumbers.Add(data.energy_register());
    if (data.energy_register() == 1) throw std::runtime_error("handler failed");
    if (data.energy_register() == 2) throw "Input JSON does not conform to schema";
  });
  const auto sibling = StartSibling("Meter");
  Start();
  ASSERT_TRUE(mCalls.WaitForCount(1));
  for (int64_t number = 1; number <= 3; ++number) sibling->Notify(kMeterStream, Reading(number));
  ASSERT_TRUE(mNumbers.WaitForCount(3));
  EXPECT_EQ(mLog.Count("error: A notification of Meter could not be handled: handler failed"), 1);
  EXPECT_EQ(mLog.Count("error: A notification of Meter could not be handled: Input JSON does not conform to schema"),
            1);
  Stop();
}

TEST_F(CommunicationHost, AClientThatIsCreatedLateIsSubscribedToo)
{
  Start();
  const auto sibling = StartSibling("Meter");
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  meter->SetMeterDataHandler([this](const ipc::MMeterData& data) { mNumbers.Add(data.energy_register()); });
  ASSERT_TRUE(mCalls.WaitForCount(1));
  sibling->Notify(kMeterStream, Reading(5));
  EXPECT_TRUE(mNumbers.WaitForCount(1));
  Stop();
}

TEST_F(CommunicationHost, NotificationsOfAClientThatIsGoneAreDropped)
{
  auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  meter->SetMeterDataHandler([this](const ipc::MMeterData& data) { mNumbers.Add(data.energy_register()); });
  const auto board = mHost->CreateClient<IBoardControl>("BoardControl")->GetInterface();
  board->SetMainsLostHandler([this] { mNumbers.Add(-1); });
  const auto sibling = StartSibling("Meter");
  const auto boardSibling = StartSibling("BoardControl");
  Start();
  ASSERT_TRUE(mCalls.WaitForCount(2));
  meter.reset();
  sibling->Notify(kMeterStream, Reading(1));
  ipc::MBoardControlNotification mainsLost;
  mainsLost.mutable_mains_lost();
  boardSibling->Notify(kBoardStream, mainsLost.SerializeAsString());
  ASSERT_TRUE(mNumbers.WaitForCount(1));
  EXPECT_THAT(mNumbers.Get(), ElementsAre(-1));
  Stop();
}

TEST_F(CommunicationHost, ASiblingThatRefusesTheStreamIsAskedAgainAtLeastTwiceASecondButNotInABusyLoop)
{
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  const auto sibling = StartSibling("Meter");
  sibling->SetStatus(kMeterStream, grpc::Status(grpc::StatusCode::UNIMPLEMENTED, "no such stream"));
  Start();
  const auto taken = Measure([this] { ASSERT_TRUE(mCalls.WaitForCount(6)); });
  // Pauses of 50, 100, 200, 400 and 500 ms lie between six attempts.
  EXPECT_GE(taken, 1200ms);
  EXPECT_LT(taken, 2500ms);
  EXPECT_EQ(mLog.Count("warning: Notifications of Meter ended: no such stream (UNIMPLEMENTED)"), 1);
  EXPECT_LT(Stop(), 1s);
}

TEST_F(CommunicationHost, StopEndsCallsInFlightAndLaterCallsFailAtOnce)
{
  const std::string configuration = mRoot.WriteConfiguration(R"({"deadlineMs": 60000})");
  mHost = std::make_shared<Host>(configuration);
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  const auto sibling = StartSibling("Meter");
  sibling->Hold("/secc.ipc.v1.Meter/GetMeterData");
  Start();
  std::optional<std::string> failure;
  std::thread caller([&] { failure = FailureOf([&] { meter->GetMeterData(); }); });
  while (sibling->CountCalls("/secc.ipc.v1.Meter/GetMeterData") == 0) std::this_thread::yield();

  EXPECT_LT(Stop(), 1s);
  EXPECT_LT(Measure([&] { caller.join(); }), 1s);
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, HasSubstr("(CANCELLED)"));
  EXPECT_EQ(FailureOf([&] { meter->GetMeterData(); }), "Meter::GetMeterData: the communication is stopped");
}

TEST_F(CommunicationHost, StopEndsACallThatANotificationHandlerIsIn)
{
  const std::string configuration = mRoot.WriteConfiguration(R"({"deadlineMs": 60000})");
  mHost = std::make_shared<Host>(configuration);
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  const auto sibling = StartSibling("Meter");
  sibling->Hold("/secc.ipc.v1.Meter/GetMeterData");
  meter->SetMeterDataHandler([&](const ipc::MMeterData&) { meter->GetMeterData(); });
  Start();
  ASSERT_TRUE(mCalls.WaitForCount(1));
  sibling->Notify(kMeterStream, Reading(1));
  ASSERT_TRUE(mCalls.WaitForCount(2));
  EXPECT_LT(Stop(), 1s);
  EXPECT_EQ(mLog.Count("error: A notification of Meter could not be handled: Meter::GetMeterData: "), 1);
}

TEST_F(CommunicationHost, StopFromWithinANotificationEndsTheNotificationThread)
{
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  meter->SetMeterDataHandler([this](const ipc::MMeterData& data) {
    mHost->Stop();
    mNumbers.Add(data.energy_register());
  });
  const auto sibling = StartSibling("Meter");
  Start();
  ASSERT_TRUE(mCalls.WaitForCount(1));
  sibling->Notify(kMeterStream, Reading(1));
  sibling->Notify(kMeterStream, Reading(2));
  ASSERT_TRUE(mNumbers.WaitForCount(1));
  EXPECT_LT(Stop(), 1s);
  EXPECT_THAT(mNumbers.Get(), ElementsAre(1));
}

TEST_F(CommunicationHost, StopIsQuickWithNineAbsentSiblings)
{
  for (const char* service : {"A", "B", "C", "D", "E", "F", "G", "H", "I"}) mHost->CreateClient<IMeter>(service);
  Start();
  EXPECT_LT(Stop(), 1s);
}

TEST_F(CommunicationHost, AfterAStopThatCameFirstBothThreadsReturnAtOnce)
{
  mHost->CreateClient<IMeter>("Meter");
  mHost->Stop();
  EXPECT_LT(Measure([this] {
              mHost->StartServices();
              mHost->RunServer();
              mHost->HandleClientNotifications();
            }),
            500ms);
  mHost->Stop();
  const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
  EXPECT_EQ(FailureOf([&] { meter->GetMeterData(); }), "Meter::GetMeterData: the communication is stopped");
}

TEST_F(CommunicationHost, AHostThatNeverRanIsDestroyedQuickly)
{
  const auto sibling = StartSibling("Meter");
  mHost->CreateClient<IMeter>("Meter");
  EXPECT_LT(Measure([this] { mHost.reset(); }), 500ms);
  mHost = std::make_shared<Host>(mRoot.WriteConfiguration("{}"));
}

TEST_F(CommunicationHost, StartsAndStopsRaceWithCallsFromManyThreads)
{
  const auto sibling = StartSibling("Meter");
  for (int round = 0; round < 20; ++round) {
    mHost = std::make_shared<Host>(mRoot.WriteConfiguration(R"({"deadlineMs": 500})"));
    const auto meter = mHost->CreateClient<IMeter>("Meter")->GetInterface();
    Start();
    std::atomic<bool> stopped{false};
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 3; ++caller) {
      callers.emplace_back([&] {
        while (!stopped) FailureOf([&] { meter->GetMeterData(); });
      });
    }
    EXPECT_LT(Stop(), 1s);
    stopped = true;
    for (std::thread& caller : callers) caller.join();
  }
}

}  // namespace
