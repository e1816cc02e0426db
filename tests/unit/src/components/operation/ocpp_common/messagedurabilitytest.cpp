// A charge whose power is cut at every write in turn: what the central system has seen in the end.

#include "src/components/persistentmessagestoragemanager.h"
#include "tests/unit/src/components/operation/ocpp_common/operationhandlerfixture.h"
#include "tests/unit/support/fakeconfig.h"

using namespace std::chrono_literals;

namespace {

constexpr int64_t kTransactionId = 42;

// A connector that keeps its transaction id over a restart.
class CStoredConnector : public CFakeSessionClient {
 public:
  explicit CStoredConnector(std::shared_ptr<CFakeConfig> config) : mConfig(std::move(config)) {}
  int64_t GetTransactionId() override { return mConfig->GetInt("CurrentTransactionId", -1); }
  void SetTransactionId(int64_t id) override { mConfig->SetInt("CurrentTransactionId", id); }
  void ClearTransactionId() override { mConfig->SetInt("CurrentTransactionId", -1); }

 private:
  const std::shared_ptr<CFakeConfig> mConfig;
};

// What lies in flash between two lives of the process.
struct SFlash {
  CFakeConfig::CState messages;
  CFakeConfig::CState connector;
};

// One life of the process, from start to power cut (or its end).
class CLife {
 public:
  explicit CLife(const SFlash& flash)
  {
    CFakeConfig::SOptions options;
    options.medium = mMedium;
    options.stored = flash.messages;
    mMessages = std::make_shared<CFakeConfig>(options);
    options.stored = flash.connector;
    mConnector = std::make_shared<CStoredConnector>(mConnectorConfig = std::make_shared<CFakeConfig>(options));
    mStorage = std::make_unique<CPersistentMessageStorageManager>(mMessages, 2000000);
    mQueue = std::make_shared<COperationQueueManager>(*mStorage, mDiagnostics, true);
    mHandler = std::make_unique<COperationHandler>(mClock, std::make_shared<CFakeOperationFactory>(), mQueue, nullptr,
                                                   COperationHandler::CConnectors{mConnector});
    SMsgConfig config;
    config.messageTimeout = 30s;
    mHandler->SetMsgConfig(config);
    mHandler->SetIsBackofficeOnlineCB([this] { return mIsOnline && !mMedium->IsPowerCut(); });
    mHandler->SetGetOcppStatusCB([] { return EOcppStatus::EAccepted; });
    mHandler->SetResetSendTimeoutCB([] {});
    mHandler->SetSendTimeoutCB([](const IOperationHandler::COperation&) {});
    mHandler->SetSendCB([this](const std::string& frame) { return mMedium->IsPowerCut() || mLink.Send(frame); });
    mSender.Start();
    mSender.NonBlockingCall([this] { mHandler->RunExecutor(); });
  }
  ~CLife()
  {
    mHandler->StopExecutor();
    mSender.Stop();
  }

  CFakeMedium& GetMedium() { return *mMedium; }

  void Push(const std::string& id, const std::string& action, const std::optional<std::string>& payload = std::nullopt)
  {
    if (mMedium->IsPowerCut()) return;
    const auto operation = std::make_shared<CFakeOutCall>(FakeOutCalls::TransactionOptions(id, action, true));
    if (payload) operation->SetPayload(*payload);
    const bool isStart = action == "StartTransaction";
    operation->OnResponse([this, isStart](const std::string&) {
      isStart ? mConnector->SetTransactionId(kTransactionId) : mConnector->ClearTransactionId();
    });
    mHandler->PushOutCallOperation(operation);
    mClock.WaitIdle();
  }

  void Restore()
  {
    for (const auto& message : mStorage->GetStoredMessages()) {
      Push(message.messageId, OutOpTypeToName(message.type), message.payload);
    }
  }

  // The link returns; the central system answers all it gets until nothing comes any more. Gives the frames it got.
  std::vector<std::string> Drain()
  {
    std::vector<std::string> seen;
    mIsOnline = true;
    mClock.AdvanceBy(1s);
    for (auto frames = mLink.TakeFrames(); !frames.empty(); frames = mLink.TakeFrames()) {
      for (const auto& frame : frames) {
        seen.push_back(frame);
        if (mMedium->IsPowerCut()) return seen;
        mHandler->HandleInResult(frame.substr(4, frame.find('"', 4) - 4), "{}", EBackofficeId::EPrimary);
      }
      mClock.WaitIdle();
    }
    return seen;
  }

  SFlash GetFlash() const { return {mMessages->GetSurvivingState(), mConnectorConfig->GetSurvivingState()}; }

 private:
  CSimulatedClock mClock;
  CFakeDiagnosticsClient mDiagnostics;
  CFakeLink mLink;
  std::atomic<bool> mIsOnline{false};
  const std::shared_ptr<CFakeMedium> mMedium = std::make_shared<CFakeMedium>();
  std::shared_ptr<CFakeConfig> mMessages;
  std::shared_ptr<CFakeConfig> mConnectorConfig;
  std::shared_ptr<CStoredConnector> mConnector;
  std::unique_ptr<CPersistentMessageStorageManager> mStorage;
  std::shared_ptr<COperationQueueManager> mQueue;
  std::unique_ptr<COperationHandler> mHandler;
  CWorker mSender{mClock, "sender"};
};

const std::string kStartFrame = R"([2,"start","StartTransaction",{}])";
const std::string kStopFrame = R"([2,"stop","StopTransaction",{"transactionId":42}])";

// The charge runs while the link is down, then the link returns; the power goes after `cut` writes. Gives what the
// central system gets in both lives.
std::vector<std::string> ChargeWithPowerCut(uint64_t cut, uint64_t& writes)
{
  std::vector<std::string> seen;
  SFlash flash;
  {
    CLife life({});
    life.GetMedium().CutPowerAfterWrite(cut);
    life.Push("start", "StartTransaction");
    life.Push("stop", "StopTransaction");
    seen = life.Drain();
    writes = life.GetMedium().GetWriteCount();
    flash = life.GetFlash();
  }
  CLife life(flash);
  life.Restore();
  for (const auto& frame : life.Drain()) seen.push_back(frame);
  EXPECT_TRUE(life.GetFlash().messages.empty()) << cut;
  return seen;
}

// Repeats under the same id in direct succession are one message to a central system.
std::vector<std::string> WithoutRepeats(std::vector<std::string> frames)
{
  frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
  return frames;
}

}  // namespace

TEST(MessageDurability, PowerCutAtAnyWriteLosesNoStoredMessageAndNoTransactionId)
{
  const CLogCapture log;
  uint64_t writes = 1;
  uint64_t cut = 0;
  for (; cut <= writes; ++cut) {
    const auto seen = WithoutRepeats(ChargeWithPowerCut(cut, writes));
    std::vector<std::string> expected;
    if (cut >= 1) expected.push_back(kStartFrame);
    if (cut >= 2) expected.push_back(kStopFrame);
    EXPECT_EQ(seen, expected) << "power cut after write " << cut;
  }
  // Start and stop stored, id set, start cleared, id put into the stop, id cleared, stop cleared.
  EXPECT_EQ(writes, 7u);
}
