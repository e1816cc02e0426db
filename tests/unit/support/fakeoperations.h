#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/operation/ocpp_common/framewriter.h"
#include "src/components/operation/ocpp_common/incalloperation.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"

// What a CFakeOutCall is. The defaults are a Heartbeat.
struct SFakeOutCall {
  std::string id = "id";
  std::string action = "Heartbeat";
  EOutCallKind kind = EOutCallKind::EOrdinary;
  bool isPersistent = false;
  std::optional<uint8_t> connectorIndex;
  bool hasTransactionId = false;  // the payload then holds one, at first -1
  bool isInfoLogLevel = true;
  std::string requestLogText;
  std::string responseLogText;
};

// An out-call that does what a test says. Its payload is {} or {"transactionId":n}, and an id of -1 never replaces
// another. Safe from any thread.
class CFakeOutCall : public COutCallOperationBase {
 public:
  explicit CFakeOutCall(SFakeOutCall options)
      : COutCallOperationBase(nullptr, options.id),
        mOptions(std::move(options)),
        mIsPersistent(mOptions.isPersistent),
        mPayload(mOptions.hasTransactionId ? R"({"transactionId":-1})" : "{}")
  {
    SetBackofficeId(EBackofficeId::EPrimary);
  }
  CFakeOutCall(const CFakeOutCall& other)
      : COutCallOperationBase(other),
        mOptions(other.mOptions),
        mIsPersistent(other.mIsPersistent.load()),
        mIsResent(other.mIsResent.load()),
        mPayload(other.GetPayload())
  {}

  // Runs in HandleResponse, may throw.
  void OnResponse(std::function<void(const std::string& payload)> reaction) { mReaction = std::move(reaction); }
  // Runs in UpdateTransactionId, may throw.
  void OnUpdate(std::function<void()> reaction) { mUpdateReaction = std::move(reaction); }
  // Runs in GiveUp, may throw.
  void OnGiveUp(std::function<void()> reaction) { mGiveUpReaction = std::move(reaction); }
  void OnRequestFrame(std::function<void()> reaction) { mFrameReaction = std::move(reaction); }
  void OnIsPersistent(std::function<void()> reaction) { mPersistentReaction = std::move(reaction); }
  void SetPersistent(bool isPersistent) { mIsPersistent = isPersistent; }
  void SetPayload(const std::string& payload)
  {
    CLock lock(mMutex);
    mPayload = payload;
  }
  std::vector<std::string> GetResponses() const
  {
    CLock lock(mMutex);
    return mResponses;
  }
  std::vector<int64_t> GetTransactionIdsGiven() const
  {
    CLock lock(mMutex);
    return mTransactionIdsGiven;
  }
  int GetTimeouts() const { return mTimeouts; }
  int GetGiveUps() const { return mGiveUps; }

  const std::string& GetAction() const override { return mOptions.action; }
  void Prepare(const COperationParameters&) override {}
  std::string GetRequestFrame() const override
  {
    if (mFrameReaction) mFrameReaction();
    return FrameWriter::WriteCall(mMessageId, mOptions.action, GetPayload());
  }
  std::string GetPayload() const override
  {
    CLock lock(mMutex);
    return mPayload;
  }
  std::string GetRequestLogText() const override { return mOptions.requestLogText; }
  std::string GetResponseLogText() const override { return mOptions.responseLogText; }
  bool IsInfoLogLevel() const override { return mOptions.isInfoLogLevel; }
  void HandleResponse(const std::string& payload) override
  {
    {
      CLock lock(mMutex);
      mResponses.push_back(payload);
    }
    if (mReaction) mReaction(payload);
  }
  bool IsResendRequiredOp() const override { return mOptions.kind == EOutCallKind::EResendRequired; }
  bool IsPersistentOp() const override
  {
    if (mPersistentReaction) mPersistentReaction();
    return mIsPersistent;
  }
  bool IsBootNotificationOp() const override { return mOptions.kind == EOutCallKind::EBootNotification; }
  bool IsResent() const override { return mIsResent; }
  void MarkResend() override
  {
    if (IsResendRequiredOp()) mIsResent = true;
  }
  void UpdateTransactionId(int64_t transactionId) override
  {
    if (mUpdateReaction) mUpdateReaction();
    CLock lock(mMutex);
    mTransactionIdsGiven.push_back(transactionId);
    if (mOptions.hasTransactionId && transactionId != -1) {
      mPayload = "{\"transactionId\":" + std::to_string(transactionId) + "}";
    }
  }
  bool EndsTransaction() const override { return mOptions.action == "StopTransaction"; }
  std::optional<uint8_t> GetConnectorIndex() const override { return mOptions.connectorIndex; }
  void Timeout() override { ++mTimeouts; }
  void GiveUp() override
  {
    ++mGiveUps;
    if (mGiveUpReaction) mGiveUpReaction();
  }
  std::shared_ptr<COutCallOperationBase> Clone() const override { return std::make_shared<CFakeOutCall>(*this); }

 private:
  const SFakeOutCall mOptions;
  std::function<void(const std::string&)> mReaction;
  std::function<void()> mUpdateReaction;
  std::function<void()> mGiveUpReaction;
  std::function<void()> mFrameReaction;
  std::function<void()> mPersistentReaction;
  std::atomic<bool> mIsPersistent;
  std::atomic<bool> mIsResent{false};
  std::atomic<int> mTimeouts{0};
  std::atomic<int> mGiveUps{0};
  mutable CMutex mMutex;
  std::string mPayload GUARDED_BY(mMutex);
  std::vector<std::string> mResponses GUARDED_BY(mMutex);
  std::vector<int64_t> mTransactionIdsGiven GUARDED_BY(mMutex);
};

// The out-calls that tests name by what they are.
namespace FakeOutCalls {

inline std::shared_ptr<CFakeOutCall> Heartbeat(const std::string& id)
{
  SFakeOutCall options;
  options.id = id;
  return std::make_shared<CFakeOutCall>(options);
}

inline std::shared_ptr<CFakeOutCall> BootNotification(const std::string& id)
{
  SFakeOutCall options;
  options.id = id;
  options.action = "BootNotification";
  options.kind = EOutCallKind::EBootNotification;
  return std::make_shared<CFakeOutCall>(options);
}

inline SFakeOutCall TransactionOptions(const std::string& id, const std::string& action, bool isPersistent)
{
  SFakeOutCall options;
  options.id = id;
  options.action = action;
  options.kind = EOutCallKind::EResendRequired;
  options.isPersistent = isPersistent;
  options.connectorIndex = static_cast<uint8_t>(0);
  options.hasTransactionId = action != "StartTransaction";
  return options;
}

inline std::shared_ptr<CFakeOutCall> StartTransaction(const std::string& id)
{
  return std::make_shared<CFakeOutCall>(TransactionOptions(id, "StartTransaction", true));
}

inline std::shared_ptr<CFakeOutCall> StopTransaction(const std::string& id)
{
  return std::make_shared<CFakeOutCall>(TransactionOptions(id, "StopTransaction", true));
}

inline std::shared_ptr<CFakeOutCall> MeterValues(const std::string& id, bool isPersistent = false)
{
  return std::make_shared<CFakeOutCall>(TransactionOptions(id, "MeterValues", isPersistent));
}

}  // namespace FakeOutCalls

// An in-call that does what a test says; its answer's payload is "{}" unless the test's action gives another or throws.
class CFakeInCall : public CInCallOperationBase {
 public:
  struct SBehaviour {
    // Runs in Execute, outside of any guard.
    std::function<void(const std::string& payload)> read;
    // Runs in Execute, guarded; gives the answer's payload.
    std::function<std::string()> action;
    std::function<void()> postAction;
    bool isInfoLogLevel = true;
    std::string responseLogText;
  };

  CFakeInCall(std::string id, SBehaviour behaviour)
      : CInCallOperationBase(nullptr, std::move(id)), mBehaviour(std::move(behaviour))
  {}

  std::string GetResponsePayload() const override { return mPayload; }
  std::string GetResponseLogText() const override { return mBehaviour.responseLogText; }
  bool IsInfoLogLevel() const override { return mBehaviour.isInfoLogLevel; }
  std::string Execute(const std::string& payload) override
  {
    if (mBehaviour.read) mBehaviour.read(payload);
    std::string answer = "{}";
    const auto error = Guard([&] {
      if (mBehaviour.action) answer = mBehaviour.action();
    });
    if (error) return WriteError(*error);
    mPayload = answer;
    return WriteResult(mPayload);
  }
  void PostAction() override
  {
    if (mBehaviour.postAction) mBehaviour.postAction();
  }

 private:
  const SBehaviour mBehaviour;
  std::string mPayload = "null";
};
