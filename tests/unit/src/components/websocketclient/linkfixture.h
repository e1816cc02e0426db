#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "src/components/hostinfo.h"
#include "src/components/websocketclient.h"
#include "tests/unit/src/components/websocketclient/fakewebsocketppwrapper.h"
#include "tests/unit/src/components/websocketclient/recordingdiagnostics.h"
#include "tests/unit/support/logcapture.h"

// A client on a made-up transport, in simulated time. Reconnect delays are the shortest: 3, 6, 12, 24, 48, 96 seconds.
class CLinkTest : public testing::Test {
 public:
  // Callbacks of a test may use mClient, which must then still be there.
  ~CLinkTest() override
  {
    if (mClient) mClient->Close(1000, "end of test");
    mClient.reset();
  }

 protected:
  using EOutcome = CFakeWebsocketPPWrapper::EOutcome;

  CLinkTest() { Create("cs.example.com:8443/ocpp"); }

  void Create(const std::string& uri)
  {
    mClient.reset();
    SHostSettings settings;
    settings.chargePointId = "CP1";
    settings.basicAuthPassword = "00ff";
    settings.uri = uri;
    settings.pongTimeout = 20;
    settings.pingInterval = 30;
    Create(settings);
  }

  void Create(const SHostSettings& settings)
  {
    mClient.reset();
    mTransport = std::make_shared<CFakeWebsocketPPWrapper>(mClock);
    mDiagnostics = std::make_shared<CRecordingDiagnostics>();
    mWorker = std::make_shared<CWorker>(mClock, "websocket");
    mHostInfo =
        std::make_shared<CHostInfo>(settings, [this](const std::string&, const std::vector<std::string>&, unsigned,
                                                     unsigned, unsigned, size_t, const Toolbox::SMdnsTransport&) {
          mQueryTimes.push_back(mClock.SteadyNow());
          return mDevices;
        });
    SWebsocketOptions options;
    options.random = [] { return 0u; };
    mClient = std::make_unique<CWebsocketClient>(mHostInfo, mTransport, mWorker, mDiagnostics, options);
    mClient->SetBackofficeId(EBackofficeId::EPrimary);
    mClient->SetOnOpenCallback([this](const IWebsocketClient::CConnectionHandle&) { Record("open"); });
    mClient->SetOnFailCallback([this](const IWebsocketClient::CConnectionHandle&, bool isSuppressed) {
      Record(isSuppressed ? "fail suppressed" : "fail");
    });
    mClient->SetOnCloseCallback([this](const IWebsocketClient::CConnectionHandle&, bool willReconnect) {
      Record(willReconnect ? "close, reconnecting" : "close");
    });
    mClient->SetOnMessageCallback([this](std::string_view text) { Record("message " + std::string(text)); });
  }

  // Everything that is due now has happened when these return.
  void Connect()
  {
    EXPECT_TRUE(mClient->Connect());
    mClock.WaitIdle();
  }
  void ConnectAndOpen()
  {
    mTransport->outcome = EOutcome::EOpen;
    Connect();
    ASSERT_EQ(mClient->GetStatus(), EWebsocketStatus::EOpen);
  }
  void Play(const std::function<void()>& play)
  {
    play();
    mClock.WaitIdle();
  }
  // The seconds at which attempts were made, counted from the first.
  std::vector<int64_t> AttemptTimes() const
  {
    std::vector<int64_t> times;
    const auto attempts = mTransport->GetAttempts();
    times.reserve(attempts.size());
    for (const auto& attempt : attempts) times.push_back(Seconds(attempt.time - attempts.front().time));
    return times;
  }
  static int64_t Seconds(std::chrono::nanoseconds duration)
  {
    return std::chrono::duration_cast<std::chrono::seconds>(duration).count();
  }

  void Record(const std::string& event)
  {
    CLock lock(mEventMutex);
    mEvents.push_back(event);
  }
  std::vector<std::string> TakeEvents()
  {
    CLock lock(mEventMutex);
    return std::exchange(mEvents, {});
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeWebsocketPPWrapper> mTransport;
  std::shared_ptr<CRecordingDiagnostics> mDiagnostics;
  std::shared_ptr<CWorker> mWorker;
  std::shared_ptr<CHostInfo> mHostInfo;
  std::vector<Toolbox::SMdnsDevice> mDevices;
  std::vector<IClock::SteadyTime> mQueryTimes;
  std::unique_ptr<CWebsocketClient> mClient;

 private:
  CMutex mEventMutex;
  std::vector<std::string> mEvents GUARDED_BY(mEventMutex);
};
