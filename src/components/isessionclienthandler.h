#pragma once

#include <cstdint>
#include <string>

#include "platform/iipc/messages.h"
#include "src/components/backofficeid.h"

// Why a session is deauthorized, as the session manager is told.
enum class EDeauthorizeReason : uint8_t {
  EDeauthorized = 1,
  EStopEnergy = 2,
  ERemoteStop = 3,
  EUnlockCommand = 4,
  EHardReset = 5,
  ESoftReset = 6,
  ERegistrationLost = 9,
};

// One connector as the session manager process sees it. No call throws for an absent session manager: it gives false,
// 0 or the empty text. Safe from any thread; the Handle... operations run on the notification thread.
//
// Transaction messages outlive what they tell of: they wait in queues and in the message store while sessions come and
// go, and "CurrentTransactionId" is only ever that of the StartTransaction that was answered last. Each message
// therefore keeps the key of its session's transaction, which is the message id of the session's StartTransaction, and
// asks for the id of that key. So it never goes out with the id of another session, whatever was given up before.
class ISessionClientHandler {
 public:
  // The key of whatever transaction is current, for messages of which nothing more is known: those that come back from
  // a message store of earlier versions, where the order of the queue sees to it that the current transaction is
  // theirs.
  static constexpr const char* kAnyTransaction = "any";

  virtual ~ISessionClientHandler() = default;

  virtual bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) = 0;
  virtual void DeauthorizeSession(EDeauthorizeReason reason) = 0;
  virtual std::string GetAuthorizeHandle() = 0;
  // `expiry` as date-time text.
  virtual bool ReserveConnector(const std::string& idTag, int64_t reservationId, const std::string& expiry) = 0;
  virtual bool SetConnectorAvailability(bool operative) = 0;
  virtual bool SetMessageStorageAvailable(bool available) = 0;
  virtual bool RequestUnlock(uint32_t connector) = 0;
  virtual bool SetExternalChargeApproval(bool approved, EBackofficeId backofficeId) = 0;
  virtual void SetParentIdTag(const std::string& parentIdTag) = 0;
  virtual void HandleStateChanged(const ipc::MConnectorState& state) = 0;
  virtual void HandleSessionStarted(const ipc::MMeterData& meterData) = 0;
  virtual void HandleSessionStopped(const ipc::MMeterData& meterData, uint32_t reason) = 0;
  virtual void Init() = 0;
  // 1 to 12 (ipc::EConnectorState), 0 when the session manager cannot be reached.
  virtual int32_t GetConnectorState() = 0;
  virtual bool IsSessionActive() = 0;
  virtual bool IsCharging() = 0;
  // The id that was given last; -1: none. It may be that of an earlier session than the running one.
  virtual int64_t GetTransactionId() = 0;
  virtual void SetTransactionId(int64_t id) = 0;
  virtual void ClearTransactionId() = 0;
  virtual std::string GetSessionIdTag() = 0;
  virtual bool IsReportable(int32_t state) = 0;
  virtual int32_t MapToSystemState(int32_t state) = 0;

  // Makes `key` the key of the running session's transaction. Durable.
  virtual void BeginTransaction(const std::string& key) = 0;
  // The key of the running session's transaction; empty outside of a session, and in one that has none.
  virtual std::string GetTransactionKey() = 0;
  // What became of the StartTransaction: the id that it was given, or -1 when it will never be given one. As
  // SetTransactionId, durable.
  virtual void SettleTransaction(const std::string& key, int64_t id) = 0;
  // The id of the transaction of that key; -1 while it has none, and once it is not the current one any more.
  virtual int64_t GetTransactionIdOf(const std::string& key) = 0;
};
