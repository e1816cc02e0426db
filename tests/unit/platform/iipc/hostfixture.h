#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/clock/realclock.h"
#include "platform/commutil/appcommunicationhost.h"
#include "platform/commutil/communicationexception.h"
#include "platform/commutil/grpcbackend.h"
#include "platform/iipc/bindings.h"
#include "tests/unit/platform/commutil/rpclogrecorder.h"
#include "tests/unit/platform/commutil/temporaryroot.h"

using Host = AppCommunicationHost<GrpcBackend>;

// A host in a filesystem root of its own, with calls that last half a second at most, and the two threads that keep it
// going.
class HostFixture : public ::testing::Test {
 protected:
  static constexpr std::chrono::milliseconds kDeadline{500};

  HostFixture() : mHost(std::make_shared<Host>(mRoot.WriteConfiguration(R"({"deadlineMs": 500})")))
  {
    std::filesystem::create_directories(mRoot.GetPath() / "run" / "secc");
  }
  ~HostFixture() override { Stop(); }

  void Start()
  {
    mHost->StartServices();
    mServerThread = std::thread([host = mHost] { host->RunServer(); });
    mNotificationThread = std::thread([host = mHost] { host->HandleClientNotifications(); });
  }

  // Stops the host and waits for its threads; gives how long it took.
  std::chrono::milliseconds Stop()
  {
    return Measure([this] {
      mHost->Stop();
      if (mServerThread.joinable()) mServerThread.join();
      if (mNotificationThread.joinable()) mNotificationThread.join();
    });
  }

  std::string Address(const std::string& service) const { return "unix:" + mRoot.SocketPath(service); }

  std::chrono::milliseconds Measure(const std::function<void()>& action) const
  {
    const IClock::SteadyTime begin = mClock.SteadyNow();
    action();
    return std::chrono::ceil<std::chrono::milliseconds>(mClock.SteadyNow() - begin);
  }

  // The text of the Rpc::CommunicationException that `call` throws; nothing when it throws none.
  static std::optional<std::string> FailureOf(const std::function<void()>& call)
  {
    try {
      call();
      return std::nullopt;
    } catch (const Rpc::CommunicationException& exception) {
      return exception.what();
    }
  }

  CRealClock mClock;
  const CTemporaryRoot mRoot;
  const CRpcLogRecorder mLog;
  std::shared_ptr<Host> mHost;

 private:
  std::thread mServerThread;
  std::thread mNotificationThread;
};
