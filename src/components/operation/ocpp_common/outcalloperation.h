#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "src/components/operation/ocpp_common/framewriter.h"
#include "src/components/operation/ocpp_common/json.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"

// The text of a stored payload, which a restored operation is built from.
struct SStoredPayload {
  std::string text;
};

// What all out-calls share. A concrete operation derives as
//   class CHeartbeatOutCall : public COutCallOperation<heartbeatRequest, heartbeatResponse, CHeartbeatOutCall>
// and adds CallAction, ResponseAction and, where it needs them, TimeoutAction, IsPersistentOp and UpdateTransactionId.
template <typename TReq, typename TResp, typename TOperation>
class COutCallOperation : public COutCallOperationBase {
 public:
  const std::string& GetAction() const override { return mAction; }

  void Prepare(const COperationParameters& parameters) override
  {
    mParameters = parameters;
    TReq request;
    CallAction(request);
    mRequest = std::move(request);
    RenewPayload();
  }

  std::string GetRequestFrame() const override { return FrameWriter::WriteCall(mMessageId, mAction, mPayload); }
  std::string GetPayload() const override { return mPayload; }
  std::string GetRequestLogText() const override { return mRequestLogText; }
  std::string GetResponseLogText() const override { return mResponseLogText; }
  bool IsInfoLogLevel() const override { return mIsInfoLogLevel; }

  void HandleResponse(const std::string& payload) override { ResponseAction(OcppJson::Read<TResp>(payload)); }

  bool IsResendRequiredOp() const override { return mKind == EOutCallKind::EResendRequired; }
  bool IsPersistentOp() const override { return false; }
  bool IsBootNotificationOp() const override { return mKind == EOutCallKind::EBootNotification; }
  bool IsResent() const override { return mIsResent; }
  void MarkResend() override
  {
    if (IsResendRequiredOp()) mIsResent = true;
  }
  void UpdateTransactionId(int64_t /*transactionId*/) override {}

  std::optional<uint8_t> GetConnectorIndex() const override
  {
    const auto connectorId = GetIntParameter(mParameters, EOperationParameter::EConnectorId);
    if (!connectorId || *connectorId < 1 || *connectorId - 1 > std::numeric_limits<uint8_t>::max()) return std::nullopt;
    return static_cast<uint8_t>(*connectorId - 1);
  }

  void Timeout() override { TimeoutAction(); }
  std::shared_ptr<COutCallOperationBase> Clone() const override
  {
    return std::make_shared<TOperation>(static_cast<const TOperation&>(*this));
  }

 protected:
  // A new call; it has no payload before Prepare.
  COutCallOperation(ISystemAccessInterface* systemAccess, std::string messageId, std::string action,
                    EOutCallKind kind = EOutCallKind::EOrdinary)
      : COutCallOperationBase(systemAccess, std::move(messageId)), mAction(std::move(action)), mKind(kind)
  {}
  // A call restored from the message store: id and payload are those of its first life. Throws like
  // OcppJson::Read when the payload is not a TReq. The derived class puts a connector id parameter into mParameters.
  COutCallOperation(ISystemAccessInterface* systemAccess, std::string messageId, SStoredPayload payload,
                    std::string action, EOutCallKind kind)
      : COutCallOperationBase(systemAccess, std::move(messageId)),
        mAction(std::move(action)),
        mKind(kind),
        mRequest(OcppJson::Read<TReq>(payload.text)),
        mPayload(std::move(payload.text))
  {}
  COutCallOperation(const COutCallOperation&) = default;

  // Fills the request from mSystemAccess and mParameters; throws a constraint exception on bad data.
  virtual void CallAction(TReq& request) = 0;
  // The operation's business reaction.
  virtual void ResponseAction(const TResp& response) = 0;
  // Reaction to an answer that did not come in time.
  virtual void TimeoutAction() {}

  // Serialises mRequest anew; to be called after a change of it.
  void RenewPayload() { mPayload = OcppJson::Write(mRequest); }

  const std::string mAction;
  const EOutCallKind mKind;
  COperationParameters mParameters;
  TReq mRequest{};
  std::string mPayload = "null";  // compact JSON text
  std::string mRequestLogText;
  std::string mResponseLogText;
  bool mIsInfoLogLevel = true;
  bool mIsResent = false;
};
