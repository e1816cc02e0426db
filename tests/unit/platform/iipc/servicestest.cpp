// The services of this process, as a supervisor in another process sees them.

#include <genericcontrol.grpc.pb.h>
#include <gmock/gmock.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <gtest/gtest.h>
#include <logconfig.grpc.pb.h>

#include <fstream>
#include <future>

#include "platform/iclogger/logconfig.h"
#include "tests/unit/platform/iipc/events.h"
#include "tests/unit/platform/iipc/hostfixture.h"
#include "tests/unit/platform/iipc/siblingprocess.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A process control that answers what the test says, and whose Enable can be held up.
class CControl : public IGenericControl {
 public:
  ipc::MResult Enable() override
  {
    mEnableCalls.Add(0);
    CLock lock(mMutex);
    const std::shared_future<ipc::MResult> answer = mEnable;
    lock.Unlock();
    return answer.get();
  }
  ipc::MResult Disable() override { throw std::runtime_error("the machine is gone"); }

  void Report(ipc::EState state)
  {
    ipc::MState message;
    message.set_state(state);
    mStateNotifierCB(message);
  }
  void SendAlive() { mAliveNotifierCB(); }

  // What Enable answers, as soon as it is known.
  void SetEnable(std::shared_future<ipc::MResult> answer)
  {
    const CLock lock(mMutex);
    mEnable = std::move(answer);
  }

  CEvents<int> mEnableCalls;

 private:
  CMutex mMutex;
  std::shared_future<ipc::MResult> mEnable GUARDED_BY(mMutex);
};

std::shared_future<ipc::MResult> Ready(ipc::EResult value)
{
  ipc::MResult result;
  result.set_result(value);
  std::promise<ipc::MResult> promise;
  promise.set_value(result);
  return promise.get_future().share();
}

// A subscriber that reads on a thread of its own until its stream ends.
template <typename TStub, typename TNotification>
class CSubscriber {
 public:
  explicit CSubscriber(std::unique_ptr<TStub> stub)
      : mStub(std::move(stub)), mThread([this] {
          const auto reader = mStub->Notifications(&mContext, ipc::MSubscribe());
          reader->WaitForInitialMetadata();
          mSubscribed.Add(0);
          for (TNotification notification; reader->Read(&notification);) mNotifications.Add(notification);
          mEnd = reader->Finish();
        })
  {}
  ~CSubscriber()
  {
    mContext.TryCancel();
    if (mThread.joinable()) mThread.join();
  }
  CSubscriber(const CSubscriber&) = delete;
  CSubscriber& operator=(const CSubscriber&) = delete;

  void WaitUntilSubscribed() { ASSERT_TRUE(mSubscribed.WaitForCount(1)); }
  CEvents<TNotification>& Notifications() { return mNotifications; }
  // Waits for the end of the stream.
  grpc::StatusCode EndOfStream()
  {
    mThread.join();
    return mEnd.error_code();
  }

 private:
  const std::unique_ptr<TStub> mStub;
  grpc::ClientContext mContext;
  CEvents<int> mSubscribed;
  CEvents<TNotification> mNotifications;
  grpc::Status mEnd;
  std::thread mThread;
};

using ControlSubscriber = CSubscriber<ipc::GenericControl::Stub, ipc::MGenericControlNotification>;
using LogSubscriber = CSubscriber<ipc::LogConfig::Stub, ipc::MLogConfigNotification>;

class ProcessServices : public HostFixture {
 protected:
  ProcessServices()
  {
    mControl->SetEnable(Ready(ipc::EResultSuccess));
    mHost->AddService<IGenericControl>("SeccGenCtrl", mControl);
    mHost->AddService<ILogConfig>("SeccLog", Log::CreateLogConfigService());
  }
  ~ProcessServices() override
  {
    Stop();
    Log::SetLogLevel(mLevelBefore);
    Log::EnableConsoleLogging(false);
  }

  std::shared_ptr<grpc::Channel> Connect(const std::string& service, grpc::ChannelArguments arguments = {}) const
  {
    // A channel of its own, as another process has it.
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    return grpc::CreateCustomChannel(Address(service), grpc::InsecureChannelCredentials(), arguments);
  }
  std::unique_ptr<ControlSubscriber> SubscribeToControl() const
  {
    return std::make_unique<ControlSubscriber>(ipc::GenericControl::NewStub(Connect("SeccGenCtrl")));
  }

  grpc::Status Enable(ipc::MResult& result, std::chrono::milliseconds patience = 5s) const
  {
    grpc::ClientContext context;
    context.set_deadline(gpr_time_from_millis(patience.count(), GPR_TIMESPAN));
    return ipc::GenericControl::NewStub(Connect("SeccGenCtrl"))->Enable(&context, ipc::MEmpty(), &result);
  }

  const Log::ELogLevel mLevelBefore = Log::GetLogLevel();
  const std::shared_ptr<CControl> mControl = std::make_shared<CControl>();
};

TEST_F(ProcessServices, ARequestReachesTheProcessControlAndItsResultComesBack)
{
  Start();
  ipc::MResult result;
  EXPECT_TRUE(Enable(result).ok());
  EXPECT_EQ(result.result(), ipc::EResultSuccess);
  mControl->SetEnable(Ready(ipc::EResultIllegal));
  EXPECT_TRUE(Enable(result).ok());
  EXPECT_EQ(result.result(), ipc::EResultIllegal);
  EXPECT_EQ(mControl->mEnableCalls.Get().size(), 2);
}

TEST_F(ProcessServices, ARequestThatThrowsIsAnsweredAsAnInternalError)
{
  Start();
  grpc::ClientContext context;
  ipc::MResult result;
  const grpc::Status status =
      ipc::GenericControl::NewStub(Connect("SeccGenCtrl"))->Disable(&context, ipc::MEmpty(), &result);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(status.error_message(), "the machine is gone");
}

TEST_F(ProcessServices, ARequestThatNeverReturnsHoldsUpNeitherOthersNorTheStop)
{
  std::promise<ipc::MResult> never;
  mControl->SetEnable(never.get_future().share());
  Start();
  ipc::MResult result;
  EXPECT_EQ(Enable(result, 200ms).error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
  std::thread waiting([&] {
    ipc::MResult waitingResult;
    EXPECT_FALSE(Enable(waitingResult, 60s).ok());
  });
  ASSERT_TRUE(mControl->mEnableCalls.WaitForCount(2));

  grpc::ClientContext context;
  ipc::MLogConfig settings;
  EXPECT_TRUE(ipc::LogConfig::NewStub(Connect("SeccLog"))->GetLogConfig(&context, ipc::MEmpty(), &settings).ok());
  EXPECT_LT(Stop(), 1s);
  waiting.join();
  never.set_value(ipc::MResult());
}

TEST_F(ProcessServices, TooManyRequestsThatDoNotReturnAreRefused)
{
  std::promise<ipc::MResult> held;
  mControl->SetEnable(held.get_future().share());
  Start();
  ipc::MResult result;
  for (int request = 0; request < 8; ++request) {
    EXPECT_EQ(Enable(result, 50ms).error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
  }
  ASSERT_TRUE(mControl->mEnableCalls.WaitForCount(8));
  EXPECT_EQ(Enable(result).error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  held.set_value(ipc::MResult());
}

TEST_F(ProcessServices, ANewSubscriberGetsTheCurrentStateFirstAndThenWhatHappens)
{
  Start();
  mControl->Report(ipc::EStateUninitialized);
  mControl->Report(ipc::EStateDisabled);
  const auto subscriber = SubscribeToControl();
  subscriber->WaitUntilSubscribed();
  mControl->SendAlive();
  mControl->Report(ipc::EStateEnabled);
  ASSERT_TRUE(subscriber->Notifications().WaitForCount(3));
  const std::vector<ipc::MGenericControlNotification> notifications = subscriber->Notifications().Get();
  EXPECT_EQ(notifications[0].state().state(), ipc::EStateDisabled);
  EXPECT_TRUE(notifications[1].has_alive());
  EXPECT_EQ(notifications[2].state().state(), ipc::EStateEnabled);
}

TEST_F(ProcessServices, BeforeAnyStateIsReportedANewSubscriberGetsNothing)
{
  Start();
  const auto subscriber = SubscribeToControl();
  subscriber->WaitUntilSubscribed();
  mControl->SendAlive();
  ASSERT_TRUE(subscriber->Notifications().WaitForCount(1));
  EXPECT_TRUE(subscriber->Notifications().Get().front().has_alive());
}

TEST_F(ProcessServices, EverySubscriberGetsEveryNotification)
{
  Start();
  const auto first = SubscribeToControl();
  const auto second = SubscribeToControl();
  first->WaitUntilSubscribed();
  second->WaitUntilSubscribed();
  mControl->Report(ipc::EStateEnabled);
  EXPECT_TRUE(first->Notifications().WaitForCount(1));
  EXPECT_TRUE(second->Notifications().WaitForCount(1));
}

TEST_F(ProcessServices, ASubscriberThatDoesNotReadLosesItsStreamAndHoldsUpNobody)
{
  Start();
  // The transport takes 64 kB for whoever does not read, and does not find out that it could take more.
  grpc::ChannelArguments arguments;
  arguments.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);
  const auto stub = ipc::GenericControl::NewStub(Connect("SeccGenCtrl", arguments));
  grpc::ClientContext context;
  context.set_deadline(gpr_time_from_seconds(60, GPR_TIMESPAN));
  const auto lazy = stub->Notifications(&context, ipc::MSubscribe());
  lazy->WaitForInitialMetadata();
  const auto diligent = SubscribeToControl();
  diligent->WaitUntilSubscribed();

  // Ten thousand are more than that and the queue together.
  const auto taken = Measure([&] {
    for (size_t count = 1; count <= 10000; ++count) {
      mControl->Report(ipc::EStateEnabled);
      ASSERT_TRUE(count % 50 != 0 || diligent->Notifications().WaitForCount(count));
    }
  });
  EXPECT_LT(taken, 20s);

  size_t read = 0;
  for (ipc::MGenericControlNotification notification; lazy->Read(&notification);) ++read;
  EXPECT_LT(read, 10000);
  const auto end = lazy->Finish();
  EXPECT_FALSE(end.ok());
  EXPECT_NE(end.error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
}

TEST_F(ProcessServices, StopEndsTheStreamsAndLaterReportsGoNowhere)
{
  Start();
  const auto subscriber = SubscribeToControl();
  subscriber->WaitUntilSubscribed();
  EXPECT_LT(Stop(), 1s);
  EXPECT_EQ(subscriber->EndOfStream(), grpc::StatusCode::UNAVAILABLE);
  mControl->Report(ipc::EStateDisabled);
  mControl->SendAlive();
  mHost.reset();
  mControl->Report(ipc::EStateDisabled);
  EXPECT_THAT(subscriber->Notifications().Get(), IsEmpty());
  mHost = std::make_shared<Host>(mRoot.WriteConfiguration("{}"));
}

TEST_F(ProcessServices, TheSeventeenthSubscriberIsRefused)
{
  Start();
  std::vector<std::unique_ptr<ControlSubscriber>> subscribers;
  for (int count = 0; count < 16; ++count) {
    subscribers.push_back(SubscribeToControl());
    subscribers.back()->WaitUntilSubscribed();
  }
  EXPECT_EQ(SubscribeToControl()->EndOfStream(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  subscribers.pop_back();
  // The place is free as soon as the server has seen the end of the stream.
  const IClock::SteadyTime limit = mClock.SteadyNow() + 10s;
  bool accepted = false;
  while (!accepted && mClock.SteadyNow() < limit) {
    mControl->Report(ipc::EStateEnabled);
    const auto again = SubscribeToControl();
    accepted = again->Notifications().WaitForCount(1, 100ms);
  }
  EXPECT_TRUE(accepted);
}

TEST_F(ProcessServices, LevelAndConsoleOfTheLogAreChangedAndToldToSubscribers)
{
  Log::SetLogLevel(Log::ELogLevel::EInfo);
  mHost = std::make_shared<Host>(mRoot.WriteConfiguration("{}"));
  mHost->AddService<ILogConfig>("SeccLog", Log::CreateLogConfigService());
  Start();
  const auto stub = ipc::LogConfig::NewStub(Connect("SeccLog"));
  LogSubscriber subscriber(ipc::LogConfig::NewStub(Connect("SeccLog")));
  ASSERT_TRUE(subscriber.Notifications().WaitForCount(1));
  EXPECT_EQ(subscriber.Notifications().Get()[0].log_config().level(), ipc::ELogLevelInfo);

  ipc::MLogLevel level;
  level.set_level(ipc::ELogLevelTrace);
  ipc::MResult result;
  {
    grpc::ClientContext context;
    EXPECT_TRUE(stub->SetLevel(&context, level, &result).ok());
  }
  EXPECT_EQ(result.result(), ipc::EResultSuccess);
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::ETrace);

  ipc::MLogConsole console;
  console.set_enabled(true);
  {
    grpc::ClientContext context;
    EXPECT_TRUE(stub->SetConsoleEnabled(&context, console, &result).ok());
  }
  ASSERT_TRUE(subscriber.Notifications().WaitForCount(3));
  EXPECT_EQ(subscriber.Notifications().Get()[1].log_config().level(), ipc::ELogLevelTrace);
  EXPECT_TRUE(subscriber.Notifications().Get()[2].log_config().console_enabled());

  grpc::ClientContext context;
  ipc::MLogConfig settings;
  EXPECT_TRUE(stub->GetLogConfig(&context, ipc::MEmpty(), &settings).ok());
  EXPECT_EQ(settings.level(), ipc::ELogLevelTrace);
  EXPECT_TRUE(settings.console_enabled());
}

TEST_F(ProcessServices, ALogLevelThatDoesNotExistIsIllegalAndChangesNothing)
{
  Start();
  Log::SetLogLevel(Log::ELogLevel::EWarning);
  const auto stub = ipc::LogConfig::NewStub(Connect("SeccLog"));
  ipc::MLogLevel level;
  level.set_level(static_cast<ipc::ELogLevel>(6));
  grpc::ClientContext context;
  ipc::MResult result;
  EXPECT_TRUE(stub->SetLevel(&context, level, &result).ok());
  EXPECT_EQ(result.result(), ipc::EResultIllegal);
  EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::EWarning);
}

TEST_F(ProcessServices, AServiceWhoseSocketBelongsToALiveProcessIsLeftOutAndTheOtherKeepsIt)
{
  Start();
  Host second(mRoot.WriteConfiguration("{}"));
  const auto control = std::make_shared<CControl>();
  second.AddService<IGenericControl>("SeccGenCtrl", control);
  second.StartServices();
  EXPECT_EQ(mLog.Count("error: Cannot offer SeccGenCtrl at "), 1);
  EXPECT_TRUE(mLog.Contains("another process offers a service there"));
  second.Stop();

  ipc::MResult result;
  EXPECT_TRUE(Enable(result).ok());
  EXPECT_THAT(control->mEnableCalls.Get(), IsEmpty());
}

TEST_F(ProcessServices, TheSocketOfAKilledPredecessorIsTakenOver)
{
  CSiblingProcess(std::string("serve"), Address("SeccGenCtrl")).Kill();
  ASSERT_TRUE(std::filesystem::exists(mRoot.SocketPath("SeccGenCtrl")));
  Start();
  ipc::MResult result;
  EXPECT_TRUE(Enable(result).ok());
}

TEST_F(ProcessServices, AnAddressThatCannotBeUsedLeavesTheOtherServiceAlone)
{
  std::ofstream(mRoot.SocketPath("SeccGenCtrl")) << "no socket";
  Start();
  EXPECT_EQ(mLog.Count("error: Cannot offer SeccGenCtrl at "), 1);
  grpc::ClientContext context;
  ipc::MLogConfig settings;
  EXPECT_TRUE(ipc::LogConfig::NewStub(Connect("SeccLog"))->GetLogConfig(&context, ipc::MEmpty(), &settings).ok());
}

TEST_F(ProcessServices, ServicesMayShareAnAddress)
{
  Host host(mRoot.WriteConfiguration(
      R"({"services": {"SeccGenCtrl": "unix:run/both.sock", "SeccLog": "unix:run/both.sock"}})"));
  host.AddService<IGenericControl>("SeccGenCtrl", mControl);
  host.AddService<ILogConfig>("SeccLog", Log::CreateLogConfigService());
  host.StartServices();
  const auto channel = grpc::CreateChannel("unix:" + (mRoot.GetPath() / "run" / "both.sock").string(),
                                           grpc::InsecureChannelCredentials());
  grpc::ClientContext controlContext;
  ipc::MResult result;
  EXPECT_TRUE(ipc::GenericControl::NewStub(channel)->Enable(&controlContext, ipc::MEmpty(), &result).ok());
  grpc::ClientContext logContext;
  ipc::MLogConfig settings;
  EXPECT_TRUE(ipc::LogConfig::NewStub(channel)->GetLogConfig(&logContext, ipc::MEmpty(), &settings).ok());
}

TEST_F(ProcessServices, TheSocketIsGoneAfterTheStop)
{
  Start();
  EXPECT_TRUE(std::filesystem::exists(mRoot.SocketPath("SeccGenCtrl")));
  Stop();
  EXPECT_FALSE(std::filesystem::exists(mRoot.SocketPath("SeccGenCtrl")));
}

TEST_F(ProcessServices, AddServiceGivesAHandleThatMayBeDropped)
{
  const std::shared_ptr<IServer> server = mHost->AddService<IGenericControl>("Other", mControl);
  EXPECT_EQ(server->GetName(), "Other");
}

}  // namespace
