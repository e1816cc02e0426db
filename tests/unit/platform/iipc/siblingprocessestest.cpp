// Sibling processes that are absent, killed, frozen, back again, or talk nonsense: what calls and notifications make of
// it. Real processes over real sockets, in real time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <numeric>

#include "tests/unit/platform/iipc/events.h"
#include "tests/unit/platform/iipc/hostfixture.h"
#include "tests/unit/platform/iipc/siblingprocess.h"

namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

constexpr char kStream[] = "/secc.ipc.v1.SessionManager/Notifications";
constexpr char kGetHandle[] = "/secc.ipc.v1.SessionManager/GetAuthorizeHandle";

class SiblingProcesses : public HostFixture {
 protected:
  SiblingProcesses() : mClient(mHost->CreateClient<ISessionManager>("SessionManager")->GetInterface())
  {
    mClient->SetSessionStartedHandler([this](const ipc::MMeterData& data) { mNumbers.Add(data.energy_register()); });
  }
  // The handler refers to the fixture: no notification may come any more when it goes.
  ~SiblingProcesses() override { Stop(); }

  std::unique_ptr<CSiblingProcess> StartSibling(const std::string& mode = "serve") const
  {
    return std::make_unique<CSiblingProcess>(
        mode, mode == "serve" ? Address("SessionManager") : mRoot.SocketPath("SessionManager"));
  }

  // Waits until we have subscribed, and has the sibling send notifications 1 to `count`.
  static void SendNotifications(CSiblingProcess& sibling, int count)
  {
    ASSERT_TRUE(sibling.WaitForLine(std::string("call ") + kStream));
    sibling.Order("repeat " + std::to_string(count) + " " + kStream);
  }

  static void SetHandle(const CSiblingProcess& sibling, const std::string& handle)
  {
    ipc::MAuthorizeHandle message;
    message.set_request_id(handle);
    sibling.Order(std::string("reply ") + kGetHandle + " " + CSiblingProcess::ToHex(message.SerializeAsString()));
  }

  // From now on the call for a handle is not answered.
  static void HoldHandle(CSiblingProcess& sibling)
  {
    sibling.Order(std::string("hold ") + kGetHandle);
    ASSERT_TRUE(sibling.WaitForLine("obeyed hold"));
  }

  // Calls until the call succeeds; false when it does not within the limit.
  bool CallsSucceedWithin(std::chrono::milliseconds limit) const
  {
    const IClock::SteadyTime deadline = mClock.SteadyNow() + limit;
    while (FailureOf([this] { mClient->GetAuthorizeHandle(); })) {
      if (mClock.SteadyNow() >= deadline) return false;
      std::this_thread::yield();
    }
    return true;
  }

  const std::shared_ptr<ISessionManager> mClient;
  CEvents<int64_t> mNumbers;
};

TEST_F(SiblingProcesses, AbsentAtStartCallsFailAtOnceAndTheProcessDoesNotWait)
{
  EXPECT_LT(Measure([this] { Start(); }), 300ms);
  std::optional<std::string> failure;
  EXPECT_LT(Measure([&] { failure = FailureOf([this] { mClient->GetConnectorInfo(1); }); }), kDeadline);
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, HasSubstr("SessionManager::GetConnectorInfo: "));
  EXPECT_THAT(*failure, HasSubstr("(UNAVAILABLE)"));
}

TEST_F(SiblingProcesses, AbsentAtStartCallsAndNotificationsFlowWithinASecondOfItsComing)
{
  Start();
  EXPECT_TRUE(FailureOf([this] { mClient->GetAuthorizeHandle(); }).has_value());

  const auto sibling = StartSibling();
  const auto taken = Measure([&] {
    SendNotifications(*sibling, 1);
    EXPECT_TRUE(mNumbers.WaitForCount(1));
  });
  EXPECT_LT(taken, 1s);
  SetHandle(*sibling, "handle-1");
  EXPECT_TRUE(CallsSucceedWithin(1s));
}

TEST_F(SiblingProcesses, KilledAndStartedAgainNotificationsFlowWithinASecond)
{
  Start();
  auto sibling = StartSibling();
  SendNotifications(*sibling, 1);
  ASSERT_TRUE(mNumbers.WaitForCount(1));

  for (size_t round = 2; round <= 4; ++round) {
    sibling->Kill();
    EXPECT_TRUE(FailureOf([this] { mClient->GetAuthorizeHandle(); }).has_value());
    sibling = StartSibling();
    const auto taken = Measure([&] {
      SendNotifications(*sibling, 1);
      EXPECT_TRUE(mNumbers.WaitForCount(round));
    });
    EXPECT_LT(taken, 1s);
    EXPECT_TRUE(CallsSucceedWithin(1s));
  }
  EXPECT_EQ(mLog.Count("warning: Notifications of SessionManager ended: "), 3);
  EXPECT_EQ(mLog.Count("info: Notifications of SessionManager are back"), 3);
}

TEST_F(SiblingProcesses, KilledDuringACallTheCallFailsAtOnce)
{
  Host patient(mRoot.WriteConfiguration(R"({"deadlineMs": 60000})"));
  const auto client = patient.CreateClient<ISessionManager>("SessionManager")->GetInterface();
  const auto sibling = StartSibling();
  HoldHandle(*sibling);
  auto failure = std::async(std::launch::async, [&] { return FailureOf([&] { client->GetAuthorizeHandle(); }); });
  ASSERT_TRUE(sibling->WaitForLine(std::string("call ") + kGetHandle));
  const auto taken = Measure([&] {
    sibling->Kill();
    failure.wait();
  });
  EXPECT_LT(taken, 1s);
  const std::optional<std::string> text = failure.get();
  ASSERT_TRUE(text.has_value());
  EXPECT_THAT(*text, HasSubstr("(UNAVAILABLE)"));
}

TEST_F(SiblingProcesses, ACallThatIsNotAnsweredFailsAtItsDeadline)
{
  const auto sibling = StartSibling();
  HoldHandle(*sibling);
  std::optional<std::string> failure;
  const auto taken = Measure([&] { failure = FailureOf([this] { mClient->GetAuthorizeHandle(); }); });
  EXPECT_EQ(failure, "SessionManager::GetAuthorizeHandle: no answer within 500 ms (DEADLINE_EXCEEDED)");
  EXPECT_GE(taken, kDeadline - 50ms);
  EXPECT_LT(taken, kDeadline + 500ms);
}

TEST_F(SiblingProcesses, FrozenCallsFailAtTheirDeadlineAndItGoesOnWhenItThaws)
{
  Start();
  const auto sibling = StartSibling();
  SendNotifications(*sibling, 1);
  ASSERT_TRUE(mNumbers.WaitForCount(1));

  sibling->Freeze();
  std::optional<std::string> failure;
  const auto taken = Measure([&] { failure = FailureOf([this] { mClient->GetAuthorizeHandle(); }); });
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, HasSubstr("(DEADLINE_EXCEEDED)"));
  EXPECT_LT(taken, kDeadline + 500ms);

  // Ordered while it cannot hear; told as soon as it can.
  sibling->Order(std::string("repeat 2 ") + kStream);
  const auto thawed = Measure([&] {
    sibling->Thaw();
    EXPECT_TRUE(mNumbers.WaitForCount(3));
  });
  EXPECT_LT(thawed, 1s);
  EXPECT_TRUE(CallsSucceedWithin(1s));
}

TEST_F(SiblingProcesses, FrozenUntilItsStreamIsGivenUpItIsSubscribedToAgainWhenItThaws)
{
  Start();
  const auto sibling = StartSibling();
  SendNotifications(*sibling, 1);
  ASSERT_TRUE(mNumbers.WaitForCount(1));

  sibling->Freeze();
  const IClock::SteadyTime limit = mClock.SteadyNow() + 20s;
  while (mLog.Count("warning: Notifications of SessionManager ended: ") == 0 && mClock.SteadyNow() < limit) {
    // Paces the loop: each call takes its deadline.
    FailureOf([this] { mClient->GetAuthorizeHandle(); });
  }
  ASSERT_EQ(mLog.Count("warning: Notifications of SessionManager ended: "), 1);

  const auto taken = Measure([&] {
    sibling->Thaw();
    SendNotifications(*sibling, 1);
    EXPECT_TRUE(mNumbers.WaitForCount(2));
  });
  EXPECT_LT(taken, 2s);
  EXPECT_TRUE(CallsSucceedWithin(1s));
}

TEST_F(SiblingProcesses, FrozenAndThenKilledItsSuccessorIsFoundWithinASecond)
{
  Start();
  auto sibling = StartSibling();
  SendNotifications(*sibling, 1);
  ASSERT_TRUE(mNumbers.WaitForCount(1));
  sibling->Freeze();
  EXPECT_TRUE(FailureOf([this] { mClient->GetAuthorizeHandle(); }).has_value());
  sibling->Kill();

  sibling = StartSibling();
  const auto taken = Measure([&] {
    SendNotifications(*sibling, 1);
    EXPECT_TRUE(mNumbers.WaitForCount(2));
  });
  EXPECT_LT(taken, 1s);
}

TEST_F(SiblingProcesses, NotificationsOfASiblingKeepTheirOrder)
{
  Start();
  const auto sibling = StartSibling();
  SendNotifications(*sibling, 2000);
  ASSERT_TRUE(mNumbers.WaitForCount(2000));
  std::vector<int64_t> expected(2000);
  std::iota(expected.begin(), expected.end(), 1);
  EXPECT_EQ(mNumbers.Get(), expected);
}

TEST_F(SiblingProcesses, AHandlerThatTakesItsTimeLosesNothing)
{
  std::atomic<bool> blocked{true};
  CEvents<int64_t> numbers;
  mClient->SetSessionStartedHandler([&](const ipc::MMeterData& data) {
    while (blocked) std::this_thread::yield();
    numbers.Add(data.energy_register());
  });
  Start();
  const auto sibling = StartSibling();
  SendNotifications(*sibling, 5000);
  // A call gets through while the notification thread is busy.
  SetHandle(*sibling, "handle-1");
  EXPECT_TRUE(CallsSucceedWithin(1s));
  blocked = false;
  EXPECT_TRUE(numbers.WaitForCount(5000));
  Stop();
}

TEST_F(SiblingProcesses, GarbageInAnAnswerFailsTheCallAndGarbageInTheStreamIsDropped)
{
  Start();
  const auto sibling = StartSibling();
  ASSERT_TRUE(sibling->WaitForLine(std::string("call ") + kStream));
  sibling->Order(std::string("reply ") + kGetHandle + " ffffffffffffffffffffff");
  sibling->Order(std::string("notify ") + kStream + " ffffffffffffffffffffff");
  // A field that is longer than the message says.
  sibling->Order(std::string("notify ") + kStream + " 12ffffff7f");
  // No notification, and a notification of a kind that is not known.
  sibling->Order(std::string("notify ") + kStream + " ");
  sibling->Order(std::string("notify ") + kStream + " 9a060708011001");
  sibling->Order(std::string("repeat 1 ") + kStream);

  EXPECT_TRUE(mNumbers.WaitForCount(1));
  EXPECT_EQ(mLog.Count("warning: Dropped an unreadable notification of SessionManager (11 bytes)"), 1);
  EXPECT_EQ(mLog.Count("warning: Dropped an unreadable notification of SessionManager (5 bytes)"), 1);
  EXPECT_EQ(mLog.Count("warning: Notifications of SessionManager ended"), 0);
  EXPECT_EQ(mNumbers.Get(), std::vector<int64_t>{1});
  const std::optional<std::string> failure = FailureOf([this] { mClient->GetAuthorizeHandle(); });
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, HasSubstr("SessionManager::GetAuthorizeHandle: "));
}

TEST_F(SiblingProcesses, OneThatNeverSaysAnythingFailsCallsWithinTheirDeadline)
{
  const auto sibling = StartSibling("mute");
  Start();
  std::optional<std::string> failure;
  EXPECT_LT(Measure([&] { failure = FailureOf([this] { mClient->GetConnectorInfo(1); }); }), kDeadline + 500ms);
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, HasSubstr("(DEADLINE_EXCEEDED)"));
  EXPECT_LT(Stop(), 1s);
}

TEST_F(SiblingProcesses, OneThatSpeaksAnotherProtocolFailsCallsAndItsSuccessorIsFound)
{
  auto sibling = StartSibling("junk");
  Start();
  EXPECT_TRUE(FailureOf([this] { mClient->GetConnectorInfo(1); }).has_value());
  sibling->Kill();

  sibling = StartSibling();
  SendNotifications(*sibling, 1);
  EXPECT_TRUE(mNumbers.WaitForCount(1, 2s));
}

}  // namespace
