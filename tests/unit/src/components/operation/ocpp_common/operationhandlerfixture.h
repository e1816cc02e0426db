#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/worker/worker.h"
#include "src/components/operation/ocpp_common/erroroperation.h"
#include "src/components/operation/ocpp_common/ioperationfactory.h"
#include "src/components/operation/ocpp_common/operationhandler.h"
#include "src/components/operation/ocpp_common/operationqueuemanager.h"
#include "tests/unit/support/fakediagnosticsclient.h"
#include "tests/unit/support/fakemessagestorage.h"
#include "tests/unit/support/fakeoperations.h"
#include "tests/unit/support/fakesessionclient.h"
#include "tests/unit/support/logcapture.h"

// A factory of fake in-calls: a type with a behaviour is offered, one put into `notOffered` gives nothing, any other is
// not in the table.
class CFakeOperationFactory : public IOperationFactory {
 public:
  std::map<EInOpType, CFakeInCall::SBehaviour> behaviours;
  std::set<EInOpType> notOffered;

  std::shared_ptr<COutCallOperationBase> CreateOutOperation(EOutOpType) override { return nullptr; }
  std::shared_ptr<COutCallOperationBase> CreateOutOperation(const SMessage&) override { return nullptr; }
  std::shared_ptr<CInCallOperationBase> CreateInOperation(const std::string& id, EInOpType type,
                                                          EBackofficeId backoffice) override
  {
    if (notOffered.count(type) > 0) return nullptr;
    const auto found = behaviours.find(type);
    if (found == behaviours.end()) throw std::bad_function_call();
    auto operation = std::make_shared<CFakeInCall>(id, found->second);
    operation->SetBackofficeId(backoffice);
    return operation;
  }
  std::shared_ptr<CErrorOperation> CreateErrorResponse(const std::string& id, EInCallError error) override
  {
    return std::make_shared<CErrorOperation>(id, CInCallError(error));
  }
  bool IsInfoLogLevel(EInOpType type) const override
  {
    const auto found = behaviours.find(type);
    return found == behaviours.end() || found->second.isInfoLogLevel;
  }
};

// A link that keeps what is sent. Safe from any thread.
class CFakeLink {
 public:
  bool Send(const std::string& frame)
  {
    CLock lock(mMutex);
    mFrames.push_back(frame);
    return true;
  }
  // All frames since the last call.
  std::vector<std::string> TakeFrames()
  {
    CLock lock(mMutex);
    return std::exchange(mFrames, {});
  }

 private:
  CMutex mMutex;
  std::vector<std::string> mFrames GUARDED_BY(mMutex);
};

// A handler with its real queues and its sender thread on simulated time, connected and accepted unless a test says
// otherwise: message time-out 30 s, 3 attempts, retry interval 60 s.
class COperationHandlerTest : public testing::Test {
 protected:
  explicit COperationHandlerTest(bool isPrimary = true)
      : mQueue(std::make_shared<COperationQueueManager>(mStorage, mDiagnostics, isPrimary)),
        mConnector(std::make_shared<CFakeSessionClient>()),
        mFactory(std::make_shared<CFakeOperationFactory>()),
        mHandler(std::make_unique<COperationHandler>(mClock, mFactory, mQueue, &mDiagnostics,
                                                     COperationHandler::CConnectors{mConnector}))
  {}
  ~COperationHandlerTest() override { Stop(); }

  // As a backoffice installs it.
  void Wire()
  {
    SMsgConfig config;
    config.messageTimeout = std::chrono::seconds(30);
    config.transactionMessageAttempts = 3;
    config.transactionMessageRetryInterval = std::chrono::seconds(60);
    mHandler->SetMsgConfig(config);
    mHandler->SetIsBackofficeOnlineCB([this] { return mIsOnline.load(); });
    mHandler->SetSendCB([this](const std::string& frame) { return mLink.Send(frame); });
    mHandler->SetSendTimeoutCB([this](const IOperationHandler::COperation& operation) {
      operation->Timeout();
      ++mSendTimeouts;
    });
    mHandler->SetResetSendTimeoutCB([this] { ++mResets; });
    mHandler->SetIsHandlingAllowedCB(
        [this](EDirection direction) { return direction == EDirection::EIncoming && mIsHandlingAllowed; });
    mHandler->SetGetOcppStatusCB([this] { return mStatus.load(); });
    mHandler->SetIsBlockingTimerActiveCB([this] { return mIsBlocked.load(); });
  }

  void StartSender()
  {
    mSender.Start();
    mSender.NonBlockingCall([this] { mHandler->RunExecutor(); });
    mClock.WaitIdle();
  }

  void Start()
  {
    Wire();
    StartSender();
  }

  void Stop()
  {
    mHandler->StopExecutor();
    mSender.Stop();
  }

  void Push(const std::shared_ptr<CFakeOutCall>& operation)
  {
    EXPECT_EQ(mHandler->PushOutCallOperation(operation), EPushResult::EQueued);
    mClock.WaitIdle();
  }

  // The ids of the CALLs sent since the last time.
  std::vector<std::string> TakeSentIds()
  {
    std::vector<std::string> ids;
    for (const auto& frame : mLink.TakeFrames()) {
      if (frame.rfind("[2,\"", 0) == 0) ids.push_back(frame.substr(4, frame.find('"', 4) - 4));
    }
    return ids;
  }

  void Answer(const std::string& id, const std::string& payload = "{}")
  {
    mHandler->HandleInResult(id, payload, EBackofficeId::EPrimary);
    mClock.WaitIdle();
  }

  void Fail(const std::string& id, const std::string& code = "\"InternalError\"")
  {
    mHandler->HandleInError(id, code, "\"description\"", "{}", EBackofficeId::EPrimary);
    mClock.WaitIdle();
  }

  void Call(const std::string& id, const std::string& action, const std::string& payload = "{}")
  {
    mHandler->HandleInCall(id, action, payload, EBackofficeId::EPrimary);
  }

  using CIds = std::vector<std::string>;

  CLogCapture mLog;
  CSimulatedClock mClock;
  CFakeMessageStorage mStorage;
  CFakeDiagnosticsClient mDiagnostics;
  CFakeLink mLink;
  std::atomic<bool> mIsOnline{true};
  std::atomic<bool> mIsBlocked{false};
  std::atomic<bool> mIsHandlingAllowed{true};
  std::atomic<EOcppStatus> mStatus{EOcppStatus::EAccepted};
  std::atomic<int> mSendTimeouts{0};
  std::atomic<int> mResets{0};
  std::shared_ptr<COperationQueueManager> mQueue;
  std::shared_ptr<CFakeSessionClient> mConnector;
  std::shared_ptr<CFakeOperationFactory> mFactory;
  std::unique_ptr<COperationHandler> mHandler;
  CWorker mSender{mClock, "sender"};
};
