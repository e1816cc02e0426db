#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/realclock.h"
#include "src/components/hostinfo.h"
#include "src/components/websocketclient.h"
#include "src/components/websocketppwrapper.h"
#include "tests/unit/src/components/websocketclient/recordingdiagnostics.h"
#include "tests/unit/src/components/websocketclient/scriptedserver.h"
#include "tests/unit/support/logcapture.h"

// Real time, but fifty times faster: waits between attempts take milliseconds. What the library times by itself
// (time-outs, pongs) is not affected.
class CHurriedClock : public IClock {
 public:
  SystemTime SystemNow() const override { return mReal.SystemNow(); }
  SteadyTime SteadyNow() const override { return mStart + (mReal.SteadyNow() - mStart) * kFactor; }
  void Wait(CLock& lock, CCondition& condition) override { mReal.Wait(lock, condition); }
  bool WaitUntil(CLock& lock, CCondition& condition, SteadyTime deadline) override
  {
    return mReal.WaitUntil(lock, condition, mStart + (deadline - mStart) / kFactor);
  }
  void NotifyAll(CCondition& condition) override { mReal.NotifyAll(condition); }
  void RegisterThread() override {}
  void UnregisterThread() override {}
  void AnnounceThread() override {}
  void EnterForeignWait() override {}
  void LeaveForeignWait() override {}

 private:
  static constexpr int kFactor = 50;

  CRealClock mReal;
  const SteadyTime mStart = mReal.SteadyNow();
};

// One client on the real library, and what happens to it.
class CRealLink {
 public:
  struct SHost {
    std::string name = "cs.example.com";
    uint16_t port = 0;
    std::string address = "127.0.0.1";
    int64_t pongTimeout = 20;
    int64_t pingInterval = 0;
  };

  CRealLink(const CScriptedServer& server, const SHost& host)
  {
    SHostSettings settings;
    settings.chargePointId = "CP1";
    settings.basicAuthPassword = "00ff";
    settings.uri = host.name + ":" + std::to_string(host.port) + "/ocpp";
    settings.pongTimeout = host.pongTimeout;
    settings.pingInterval = host.pingInterval;
    hostInfo = std::make_shared<CHostInfo>(settings, CHostInfo::CMdnsQuery());
    hostInfo->SetResolvedAddress(host.address);
    SWebsocketOptions options;
    options.trustStores = {server.GetFolder() + "/trust/", server.GetFolder() + "/volatile/"};
    // By the hurried clock.
    options.closeTimeout *= 50;
    client = std::make_unique<CWebsocketClient>(hostInfo, std::make_shared<websocketppwrapper::CWebsocketPPWrapper>(),
                                                std::make_shared<CWorker>(clock, "websocket"), diagnostics, options);
    client->SetBackofficeId(EBackofficeId::EPrimary);
    client->SetOnOpenCallback([this](const IWebsocketClient::CConnectionHandle&) { Record("open"); });
    client->SetOnFailCallback([this](const IWebsocketClient::CConnectionHandle&, bool) { Record("fail"); });
    client->SetOnCloseCallback([this](const IWebsocketClient::CConnectionHandle&, bool willReconnect) {
      Record(willReconnect ? "lost" : "closed");
    });
    client->SetOnMessageCallback([this](std::string_view text) {
      Record(text.size() > 100 ? "message of " + std::to_string(text.size()) : "message " + std::string(text));
    });
  }

  // The callbacks use the members below until the client has gone.
  ~CRealLink() { client.reset(); }
  CRealLink(const CRealLink&) = delete;
  CRealLink& operator=(const CRealLink&) = delete;

  void Record(const std::string& event)
  {
    CLock lock(mMutex);
    mEvents.push_back(event);
    mReal.NotifyAll(mChanged);
  }

  // Waits for `event`, and takes it and all before it out.
  bool Await(const std::string& event)
  {
    const auto deadline = mReal.SteadyNow() + CScriptedServer::kPatience;
    CLock lock(mMutex);
    for (;;) {
      const auto found = std::find(mEvents.begin(), mEvents.end(), event);
      if (found != mEvents.end()) {
        mEvents.erase(mEvents.begin(), found + 1);
        return true;
      }
      if (!mReal.WaitUntil(lock, mChanged, deadline)) return false;
    }
  }

  std::vector<std::string> TakeEvents()
  {
    CLock lock(mMutex);
    return std::exchange(mEvents, {});
  }

  CHurriedClock clock;
  std::shared_ptr<CRecordingDiagnostics> diagnostics = std::make_shared<CRecordingDiagnostics>();
  std::shared_ptr<CHostInfo> hostInfo;
  std::unique_ptr<CWebsocketClient> client;

 private:
  CRealClock mReal;
  CMutex mMutex;
  CCondition mChanged;
  std::vector<std::string> mEvents GUARDED_BY(mMutex);
};

class CRealLinkTest : public testing::Test {
 public:
  // Clients go before their server.
  ~CRealLinkTest() override
  {
    mLink.reset();
    if (mIsListening) {
      Server().Command("stop", mId);
      Server().Await(mId, "stopped");
    }
  }

 protected:
  CRealLinkTest() : mId(testing::UnitTest::GetInstance()->current_test_info()->name()) {}

  // One for all tests.
  static CScriptedServer& Server()
  {
    static CScriptedServer server;
    return server;
  }

  // A server with the certificate `name`, and a client for it.
  void Listen(const std::string& name, const std::string& members = "", CRealLink::SHost host = {})
  {
    mIsListening = true;
    host.port = Server().ListenTls(mId, name, members);
    mLink = std::make_unique<CRealLink>(Server(), host);
  }

  // The same, connected.
  void Open(const std::string& members = "", const CRealLink::SHost& host = {})
  {
    Listen("good", members, host);
    mLink->client->Connect();
    ASSERT_TRUE(mLink->Await("open"));
  }

  CLogCapture mLog;
  const std::string mId;
  bool mIsListening = false;
  std::unique_ptr<CRealLink> mLink;
};
